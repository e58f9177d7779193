#include "clients/request_head.h"

#include <arpa/inet.h>

#include <algorithm>

namespace calyx_dms {

namespace {

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

bool AllDigits(const std::string& text) {
    return !text.empty() && text.size() <= 5 &&
           text.find_first_not_of("0123456789") == std::string::npos;
}

// The canonical text of an IP literal, or "" when `text` is none.
std::string CanonicalAddress(const std::string& text) {
    unsigned char bytes[16];
    char out[INET6_ADDRSTRLEN];
    if (inet_pton(AF_INET, text.c_str(), bytes) == 1)
        return inet_ntop(AF_INET, bytes, out, sizeof out) ? out : "";
    if (inet_pton(AF_INET6, text.c_str(), bytes) == 1)
        return inet_ntop(AF_INET6, bytes, out, sizeof out) ? out : "";
    return "";
}

// Parses a Content-Length value: digits only, at most 18 of them.
bool ParseLength(const std::string& text, long long& length) {
    size_t begin = text.find_first_not_of(" \t");
    size_t end = text.find_last_not_of(" \t");
    if (begin == std::string::npos)
        return false;
    std::string digits = text.substr(begin, end - begin + 1);
    if (digits.size() > 18 || digits.find_first_not_of("0123456789") != std::string::npos)
        return false;
    length = std::stoll(digits);
    return true;
}

}  // namespace

unsigned StatusOf(HeadVerdict verdict) {
    switch (verdict) {
        case HeadVerdict::kServe:
            return 0;
        case HeadVerdict::kHeadTooLarge:
            return 431;
        case HeadVerdict::kForeignHost:
            return 403;
        case HeadVerdict::kBodyTooLarge:
            return 413;
        case HeadVerdict::kBadLength:
            return 400;
    }
    return 400;
}

bool IsOwnHost(const std::string& host, const OwnHosts& own) {
    std::string name = host;
    std::string port;
    if (!name.empty() && name[0] == '[') {
        size_t close = name.find(']');
        if (close == std::string::npos)
            return false;
        std::string rest = name.substr(close + 1);
        if (!rest.empty()) {
            if (rest[0] != ':' || !AllDigits(rest.substr(1)))
                return false;
        }
        name = name.substr(1, close - 1);
        if (name.find(':') == std::string::npos)
            return false;  // brackets hold IPv6 literals only
    } else if (std::count(name.begin(), name.end(), ':') == 1) {
        size_t colon = name.find(':');
        port = name.substr(colon + 1);
        name = name.substr(0, colon);
        if (!AllDigits(port))
            return false;
    } else if (name.find(':') != std::string::npos) {
        return false;  // an IPv6 literal must stand in brackets
    }
    if (name.empty())
        return false;
    std::string address = CanonicalAddress(name);
    if (!address.empty())
        return own.addresses.count(address) > 0;
    return own.names.count(Lower(name)) > 0;
}

HeadVerdict JudgeRequestHead(const RequestHead& head, const OwnHosts& own,
                             const HeadLimits& limits) {
    if (head.headers.size() > limits.maxHeaders)
        return HeadVerdict::kHeadTooLarge;
    size_t bytes = 0;
    for (const auto& [name, value] : head.headers)
        bytes += name.size() + value.size();
    if (bytes > limits.maxHeadBytes)
        return HeadVerdict::kHeadTooLarge;

    bool sawHost = false;
    bool sawLength = false;
    long long length = 0;
    for (const auto& [name, value] : head.headers) {
        const std::string lower = Lower(name);
        if (lower == "host") {
            // A second Host is as foreign as a wrong one: which one a proxy used is unknown.
            if (sawHost || !IsOwnHost(value, own))
                return HeadVerdict::kForeignHost;
            sawHost = true;
        } else if (lower == "content-length") {
            long long thisLength = 0;
            if (!ParseLength(value, thisLength) || (sawLength && thisLength != length))
                return HeadVerdict::kBadLength;
            sawLength = true;
            length = thisLength;
        }
    }
    if (sawLength && length > limits.maxBodyBytes)
        return HeadVerdict::kBodyTooLarge;
    return HeadVerdict::kServe;
}

}  // namespace calyx_dms
