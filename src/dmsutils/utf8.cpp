// UTF-8 checks shared by the hosts that must hand on valid UTF-8 only.
#include "calyx/utf8.h"

namespace Calyx {

size_t Utf8SequenceLength(const std::string& text, size_t pos) {
    if (pos >= text.size())
        return 0;
    const auto byte = [&](size_t k) { return static_cast<unsigned char>(text[k]); };
    const unsigned char lead = byte(pos);
    if (lead < 0x80)
        return 1;
    // The sequence length and the allowed range of its second byte, which excludes
    // overlong forms, surrogates and code points above U+10FFFF.
    size_t length;
    unsigned char low = 0x80, high = 0xBF;
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
    if (pos + length > text.size())
        return 0;
    if (byte(pos + 1) < low || byte(pos + 1) > high)
        return 0;
    for (size_t k = 2; k < length; ++k) {
        if (byte(pos + k) < 0x80 || byte(pos + k) > 0xBF)
            return 0;
    }
    return length;
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

}  // namespace Calyx
