#include "admin/form_fields.h"

#include <glib.h>

#include <algorithm>

namespace calyx_dms {

namespace {

bool Decode(std::string text, std::string& out) {
    std::replace(text.begin(), text.end(), '+', ' ');
    char* decoded = g_uri_unescape_string(text.c_str(), nullptr);
    if (!decoded)
        return false;
    out = decoded;
    g_free(decoded);
    return true;
}

}  // namespace

std::vector<std::string> FormValues(const std::string& body, const std::string& name) {
    std::vector<std::string> values;
    size_t at = 0;
    while (at <= body.size()) {
        size_t end = body.find('&', at);
        if (end == std::string::npos)
            end = body.size();
        const std::string pair = body.substr(at, end - at);
        const size_t equals = pair.find('=');
        std::string key;
        std::string value;
        if (equals != std::string::npos && Decode(pair.substr(0, equals), key) && key == name &&
            Decode(pair.substr(equals + 1), value))
            values.push_back(value);
        at = end + 1;
    }
    return values;
}

}  // namespace calyx_dms
