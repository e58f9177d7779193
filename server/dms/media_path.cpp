#include "media_path.h"

#include <ctype.h>

namespace calyx_dms {

namespace {

int HexValue(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    return tolower(static_cast<unsigned char>(c)) - 'a' + 10;
}

}  // namespace

std::string DecodeStoredPath(const std::string& stored) {
    std::string out;
    out.reserve(stored.size());
    for (size_t i = 0; i < stored.size(); ++i) {
        if (stored[i] == '%' && i + 2 < stored.size() &&
            isxdigit(static_cast<unsigned char>(stored[i + 1])) &&
            isxdigit(static_cast<unsigned char>(stored[i + 2]))) {
            out += static_cast<char>(HexValue(stored[i + 1]) * 16 + HexValue(stored[i + 2]));
            i += 2;
        } else {
            out += stored[i];
        }
    }
    return out;
}

}  // namespace calyx_dms
