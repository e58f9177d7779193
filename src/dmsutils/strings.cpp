// String utilities: byte strings, no locale or character-set awareness.
#include <cctype>
#include <cstring>
#include <string>
#include <vector>

#include "calyx/core.h"
#include "dmsutils/syslog_report.h"

namespace Calyx {

bool StringIsNumeric(const std::string& s, bool allowMinus) {
    if (s.empty()) {
        return false;
    }
    char first = s[0];
    bool firstOk = (first >= '0' && first <= '9') || first == '+' || (allowMinus && first == '-');
    if (!firstOk) {
        return false;
    }
    for (size_t i = 1; i < s.size(); ++i) {
        if (s[i] < '0' || s[i] > '9') {
            return false;
        }
    }
    // A lone sign is accepted on purpose.
    return true;
}

// The by-value parameters are part of the published signature.
std::string StringReplace(std::string src, std::string from, std::string to) {  // NOLINT
    // An empty pattern would match forever; leave the text as it is.
    if (from.empty() || src.find(from) == std::string::npos) {
        return src;
    }
    std::string result;
    size_t start = 0;
    size_t p;
    while ((p = src.find(from, start)) != std::string::npos) {
        result.append(src, start, p - start);
        result += to;
        start = p + from.size();
    }
    result.append(src, start, std::string::npos);
    return result;
}

std::string StringImplode(const std::vector<std::string>& parts, const char* sep) {
    std::string result;
    const char* separator = sep != nullptr ? sep : "";
    for (size_t i = 0; i < parts.size(); ++i) {
        result += parts[i];
        if (i + 1 < parts.size()) {
            result += separator;
        }
    }
    return result;
}

std::vector<std::string> StringExplode(const std::string& s, const std::string& delims) {
    // Same pieces as strtok_r over a NUL-terminated copy: the text and the delimiter
    // set both end at their first NUL byte, runs of delimiters count as one, and empty
    // pieces never appear. Done in place to spare the copy.
    std::vector<std::string> pieces;
    const char* text = s.c_str();
    size_t length = strlen(text);
    if (length == 0) {
        return pieces;
    }
    bool isDelim[256] = {};
    for (const char* d = delims.c_str(); *d != '\0'; ++d) {
        isDelim[static_cast<unsigned char>(*d)] = true;
    }
    size_t i = 0;
    while (i < length) {
        while (i < length && isDelim[static_cast<unsigned char>(text[i])]) {
            ++i;
        }
        size_t start = i;
        while (i < length && !isDelim[static_cast<unsigned char>(text[i])]) {
            ++i;
        }
        if (i > start) {
            pieces.emplace_back(text + start, i - start);
        }
    }
    return pieces;
}

std::string StringToLower(const std::string& s) {
    std::string result(s);
    for (char& c : result) {
        c = static_cast<char>(tolower(static_cast<unsigned char>(c)));
    }
    return result;
}

void AddUnderscore(const std::string& in, std::string& out) {
    if (in.empty()) {
        CALYX_REPORT_BAD_PARAMETER();
        return;
    }
    out = StringImplode(StringExplode(in, " "), "_");
}

}  // namespace Calyx
