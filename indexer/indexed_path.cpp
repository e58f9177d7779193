// Indexed paths: the index holds UTF-8 only, so other bytes of a file name are escaped.
#include "indexer/indexed_path.h"

namespace calyx_indexer {

namespace {

int HexValue(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return -1;
}

}  // namespace

std::string EncodeIndexedPath(const std::string& path) {
    static const char kHex[] = "0123456789ABCDEF";
    std::string out;
    out.reserve(path.size());
    for (size_t i = 0; i < path.size();) {
        const size_t length = path[i] == '%' ? 0 : Calyx::Utf8SequenceLength(path, i);
        if (length == 0) {
            const auto byte = static_cast<unsigned char>(path[i]);
            out += '%';
            out += kHex[byte >> 4];
            out += kHex[byte & 0xF];
            ++i;
        } else {
            out.append(path, i, length);
            i += length;
        }
    }
    return out;
}

std::string DecodeIndexedPath(const std::string& indexedPath) {
    std::string out;
    out.reserve(indexedPath.size());
    for (size_t i = 0; i < indexedPath.size(); ++i) {
        if (indexedPath[i] == '%' && i + 2 < indexedPath.size() &&
            HexValue(indexedPath[i + 1]) >= 0 && HexValue(indexedPath[i + 2]) >= 0) {
            out +=
                static_cast<char>(HexValue(indexedPath[i + 1]) * 16 + HexValue(indexedPath[i + 2]));
            i += 2;
        } else {
            out += indexedPath[i];
        }
    }
    return out;
}

}  // namespace calyx_indexer
