#include "store/index_schema.h"

#include <libpq-fe.h>
#include <stdlib.h>

#include <memory>

#include "indexer/media_index_schema.h"

namespace calyx_dms {

bool PrepareMediaIndex(std::string& error) {
    // A server that does not answer is not waited for long: the caller tries again.
    const char* timeout = getenv("PGCONNECT_TIMEOUT");
    const std::string conninfo =
        std::string(
            "dbname=calyx user=admin client_encoding=UTF8 fallback_application_name=calyx") +
        (timeout != nullptr && *timeout != '\0' ? "" : " connect_timeout=10");
    std::unique_ptr<PGconn, decltype(&PQfinish)> conn(PQconnectdb(conninfo.c_str()), PQfinish);
    if (!conn || PQstatus(conn.get()) != CONNECTION_OK) {
        error = conn ? calyx_indexer::OneLine(PQerrorMessage(conn.get())) : "out of memory";
        return false;
    }
    PQsetNoticeProcessor(
        conn.get(), [](void*, const char*) {}, nullptr);
    if (!calyx_indexer::ApplyMediaIndexSchema(conn.get(), error)) {
        error = "cannot apply the media index schema: " + error;
        return false;
    }
    return true;
}

}  // namespace calyx_dms
