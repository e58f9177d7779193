// Reading untrusted JSON values without the JSON library's exceptions.
#include "dmsutils/json_values.h"

namespace Calyx {
namespace detail {

bool ScalarText(const Json::Value& value, std::string& out) {
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
            out = value.asString();
            return true;
    }
}

bool TextOf(const Json::Value& value, std::string& out) {
    if (value.isString()) {
        return ScalarText(value, out);
    }
    try {
        return ScalarText(value, out);
    } catch (const std::exception&) {
        return false;
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
