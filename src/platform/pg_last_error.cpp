// The server's reason for the last failure on a connection of the portable
// database layer.
#include <string>

#include "calyx/media_db.h"
#include "platform/pg_handles.h"

namespace Calyx {

std::string DBConnectLastError(DBConnect* conn) {
    try {
        if (conn == nullptr || conn->pg == nullptr)
            return "";
        std::string text = PQerrorMessage(conn->pg);
        while (!text.empty() && (text.back() == '\n' || text.back() == ' '))
            text.pop_back();
        return text;
    } catch (const std::exception&) {
        return "";
    }
}

}  // namespace Calyx
