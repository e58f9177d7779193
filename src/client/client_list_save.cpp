// The bytes of the client list file.
#include "client/client_list_save.h"

#include <json/writer.h>

#include <sstream>

namespace Calyx {
namespace detail {

std::string SerializeClientDocument(const Json::Value& document) {
    std::ostringstream out;
    Json::StyledStreamWriter writer("\t");
    writer.write(out, document);
    return out.str();
}

}  // namespace detail
}  // namespace Calyx
