// The statement timeout of the query workers' database connections: a Search or Browse
// that runs longer (a pathological query, a table locked by another program) ends with
// an error instead of holding a worker.
#ifndef CALYX_DMS_CONTENT_STATEMENT_TIMEOUT_H
#define CALYX_DMS_CONTENT_STATEMENT_TIMEOUT_H

#include <optional>
#include <string>

namespace calyx_dms {

// While one lives, connections made with the client library's defaults carry
// "statement_timeout" (milliseconds; 0: none) in their options (PGOPTIONS), which the
// connection keeps when it is re-established. Make it only while no other thread runs.
class StatementTimeoutForNewConnections {
public:
    explicit StatementTimeoutForNewConnections(unsigned milliseconds);
    ~StatementTimeoutForNewConnections();
    StatementTimeoutForNewConnections(const StatementTimeoutForNewConnections&) = delete;
    StatementTimeoutForNewConnections& operator=(const StatementTimeoutForNewConnections&) = delete;

private:
    std::optional<std::string> previous_;  // PGOPTIONS before, if it was set
};

}  // namespace calyx_dms

#endif  // CALYX_DMS_CONTENT_STATEMENT_TIMEOUT_H
