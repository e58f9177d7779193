#include "store/index_connection.h"

#include "calyx/media_db.h"

namespace calyx_dms {

IndexConnection::~IndexConnection() {
    if (conn_ != nullptr)
        ZEVODBClose(conn_);
}

DBConnect* IndexConnection::Get() {
    if (conn_ == nullptr && (!tried_ || std::chrono::steady_clock::now() - lastAttempt_ >= retry_))
        Connect();
    return conn_;
}

bool IndexConnection::Connect() {
    if (conn_ != nullptr)
        return true;
    tried_ = true;
    lastAttempt_ = std::chrono::steady_clock::now();
    conn_ = ZEVODBConnect(nullptr, "admin", nullptr, "calyx");
    failure_ = conn_ != nullptr ? "" : Calyx::DBConnectFailureReason();
    if (conn_ == nullptr && failure_.empty())
        failure_ = "the database server cannot be reached";
    if (conn_ != nullptr && statementTimeoutMs_ > 0) {
        DBResult* result = nullptr;
        const std::string set = "SET statement_timeout = " + std::to_string(statementTimeoutMs_);
        if (ZEVODBExecute(conn_, set.c_str(), &result) == 0)
            ZEVODBFreeResult(result);
    }
    return conn_ != nullptr;
}

}  // namespace calyx_dms
