// Exception-free reading of untrusted JSON values for the client list.
#include "client/client_list_json.h"

namespace Calyx {
namespace detail {

bool TextOf(const Json::Value& value, std::string& out) {
    switch (value.type()) {
        case Json::arrayValue:
        case Json::objectValue:
            return false;
        case Json::stringValue: {
            const char* begin = nullptr;
            const char* end = nullptr;
            if (value.getString(&begin, &end)) {
                out.assign(begin, end);
            } else {
                out.clear();
            }
            return true;
        }
        default:
            try {
                out = value.asString();
            } catch (const std::exception&) {
                return false;
            }
            return true;
    }
}

std::string TextOrEmpty(const Json::Value& value) {
    std::string text;
    TextOf(value, text);
    return text;
}

bool PresentText(const Json::Value& object, const std::string& key, std::string& out) {
    const Json::Value* member = FindMember(object, key);
    return IsPresent(member) && TextOf(*member, out);
}

}  // namespace detail
}  // namespace Calyx
