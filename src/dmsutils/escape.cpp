// Escaping and encoding for URLs, XML and PostgreSQL literals.
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "calyx/core.h"
#include "calyx/platform.h"

namespace Calyx {

namespace {

const char kHexDigits[] = "0123456789ABCDEF";

bool IsUnreserved(unsigned char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '-' ||
           c == '.' || c == '_';
}

std::string PercentEncode(const std::string& s, bool keepSlash) {
    std::string result;
    result.reserve(s.size());
    for (char ch : s) {
        unsigned char c = static_cast<unsigned char>(ch);
        if (IsUnreserved(c) || (keepSlash && c == '/')) {
            result += ch;
        } else {
            result += '%';
            result += kHexDigits[c >> 4];
            result += kHexDigits[c & 0x0F];
        }
    }
    return result;
}

}  // namespace

std::string URLEncode(const std::string& s) {
    return PercentEncode(s, false);
}

std::string URLEncodeNoSlash(const std::string& s) {
    return PercentEncode(s, true);
}

std::string XMLEscape(const std::string& s, const char* dashChars) {
    std::string result;
    result.reserve(s.size());
    for (char c : s) {
        // The dash test comes first, so a listed character never becomes an entity. A
        // NUL byte is always "listed": strchr finds the terminator.
        if (dashChars != nullptr && strchr(dashChars, c) != nullptr) {
            result += '-';
            continue;
        }
        switch (c) {
            case '"':
                result += "&quot;";
                break;
            case '<':
                result += "&lt;";
                break;
            case '>':
                result += "&gt;";
                break;
            case '\'':
                result += "&apos;";
                break;
            case '&':
                result += "&amp;";
                break;
            default:
                result += c;
        }
    }
    return result;
}

std::string SQLEscapeString(const std::string& s) {
    char* escaped = ZEVODBEscapeStrAlloc(s.c_str());
    if (escaped == nullptr) {
        return std::string();
    }
    std::string result(escaped);
    free(escaped);
    return result;
}

std::string SQLEscapeCondition(const std::string& s) {
    // Literal quoting first, backslash doubling second; the buffer is sized for every
    // byte doubled so the platform call can never overflow it.
    std::string quoted = SQLEscapeString(s);
    size_t size = 2 * quoted.size() + 1;
    std::unique_ptr<char[]> buffer(new char[size]);
    buffer[0] = '\0';
    ZEVODBEscapeBackslash(buffer.get(), static_cast<int>(size), quoted.c_str());
    return std::string(buffer.get());
}

}  // namespace Calyx
