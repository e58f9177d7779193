// Indexed paths: the index holds UTF-8 only, so other bytes of a file name are escaped.
#include "indexed_path.h"

#include "indexer.h"

namespace calyx_indexer {

namespace {

// Length of the valid UTF-8 sequence starting at text[i], or 0 when it is not one
// (overlong forms, surrogates and code points above U+10FFFF are invalid too).
size_t Utf8SequenceLength(const std::string& text, size_t i) {
    const auto byte = [&](size_t k) { return static_cast<unsigned char>(text[k]); };
    const unsigned char lead = byte(i);
    if (lead < 0x80)
        return 1;
    size_t length;
    unsigned char low = 0x80, high = 0xBF;  // range of the second byte
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        if (lead == 0xE0)
            low = 0xA0;
        if (lead == 0xED)
            high = 0x9F;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        if (lead == 0xF0)
            low = 0x90;
        if (lead == 0xF4)
            high = 0x8F;
    } else {
        return 0;
    }
    if (i + length > text.size())
        return 0;
    if (byte(i + 1) < low || byte(i + 1) > high)
        return 0;
    for (size_t k = 2; k < length; ++k) {
        if (byte(i + k) < 0x80 || byte(i + k) > 0xBF)
            return 0;
    }
    return length;
}

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
        const size_t length = path[i] == '%' ? 0 : Utf8SequenceLength(path, i);
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

std::string ValidUtf8(const std::string& text) {
    std::string out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size();) {
        const size_t length = Utf8SequenceLength(text, i);
        if (length == 0) {
            out += "\xEF\xBF\xBD";  // U+FFFD REPLACEMENT CHARACTER
            ++i;
        } else {
            out.append(text, i, length);
            i += length;
        }
    }
    return out;
}

}  // namespace calyx_indexer
