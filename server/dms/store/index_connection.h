// A connection to the media index that is made when first needed and made again after a
// failed attempt, so that the server serves (answering that the index cannot be read)
// while its database server is not there yet. Once made, the library's connection
// re-establishes itself after a lost connection.
#ifndef CALYX_DMS_STORE_INDEX_CONNECTION_H
#define CALYX_DMS_STORE_INDEX_CONNECTION_H

#include <chrono>
#include <string>

#include "calyx/platform.h"

namespace calyx_dms {

class IndexConnection {
public:
    // `retry`: how long after a failed attempt the next one may be made. A
    // `statementTimeoutMs` above 0 is set on every connection made (a statement running
    // longer ends with an error).
    explicit IndexConnection(std::chrono::steady_clock::duration retry = std::chrono::seconds(2),
                             unsigned statementTimeoutMs = 0)
        : retry_(retry), statementTimeoutMs_(statementTimeoutMs) {}
    ~IndexConnection();
    IndexConnection(const IndexConnection&) = delete;
    IndexConnection& operator=(const IndexConnection&) = delete;

    // The connection (database "calyx", user "admin", libpq's defaults for the rest), or
    // null while it cannot be made; a failed attempt is repeated at most once per `retry`.
    // Used by one thread at a time.
    DBConnect* Get();

    // Makes an attempt now unless connected. True when connected.
    bool Connect();

    // libpq's reason for the last failed attempt ("" when the last attempt succeeded).
    const std::string& failure() const { return failure_; }

private:
    std::chrono::steady_clock::duration retry_;
    unsigned statementTimeoutMs_;
    DBConnect* conn_ = nullptr;
    bool tried_ = false;
    std::chrono::steady_clock::time_point lastAttempt_;
    std::string failure_;
};

}  // namespace calyx_dms

#endif  // CALYX_DMS_STORE_INDEX_CONNECTION_H
