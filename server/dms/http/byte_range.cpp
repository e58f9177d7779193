#include "http/byte_range.h"

#include <stdlib.h>

namespace calyx_dms {

namespace {

// A non-negative decimal number filling the whole of `text`; -1 otherwise.
long long Number(const std::string& text) {
    if (text.empty() || text.size() > 18 ||
        text.find_first_not_of("0123456789") != std::string::npos)
        return -1;
    return strtoll(text.c_str(), nullptr, 10);
}

std::string Trimmed(const std::string& text) {
    size_t begin = text.find_first_not_of(" \t");
    size_t end = text.find_last_not_of(" \t");
    return begin == std::string::npos ? "" : text.substr(begin, end - begin + 1);
}

}  // namespace

ByteRange ParseByteRange(const std::string& header, long long size) {
    ByteRange whole{ByteRange::kWhole, 0, size};
    std::string text = Trimmed(header);
    if (text.compare(0, 6, "bytes=") != 0)
        return whole;
    // Only the first range of a list is served.
    const size_t comma = text.find(',');
    std::string range = Trimmed(text.substr(6, comma == std::string::npos ? comma : comma - 6));
    size_t dash = range.find('-');
    if (dash == std::string::npos)
        return whole;
    long long first = Number(Trimmed(range.substr(0, dash)));
    long long last = Number(Trimmed(range.substr(dash + 1)));
    if (dash == 0) {  // the last n bytes
        if (last < 0)
            return whole;
        if (last == 0 || size == 0)
            return {ByteRange::kUnsatisfiable, 0, 0};
        long long n = last < size ? last : size;
        return {ByteRange::kPart, size - n, n};
    }
    if (first < 0 || (dash + 1 < range.size() && last < 0) || (last >= 0 && last < first))
        return whole;
    if (first >= size)
        return {ByteRange::kUnsatisfiable, 0, 0};
    if (last < 0 || last >= size)
        last = size - 1;
    return {ByteRange::kPart, first, last - first + 1};
}

}  // namespace calyx_dms
