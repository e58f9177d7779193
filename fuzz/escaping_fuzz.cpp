// Escaping helpers: the output belongs to its target syntax and decodes back to the input.
#include <cctype>
#include <cstdint>
#include <cstring>
#include <string>

#include "calyx/core.h"
#include "fuzz_support.h"

namespace {

int HexValue(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return -1;  // lower-case digits are not produced
}

bool IsUnreserved(unsigned char c) {
    return isalnum(c) || c == '-' || c == '.' || c == '_';
}

// Checks that `encoded` holds only unreserved bytes (plus "/" when kept) and "%XX"
// triples, and that it decodes to `original`.
void CheckPercentEncoding(const std::string& original, const std::string& encoded, bool keepSlash) {
    std::string decoded;
    for (size_t i = 0; i < encoded.size(); ++i) {
        unsigned char c = static_cast<unsigned char>(encoded[i]);
        if (c == '%') {
            FUZZ_CHECK(i + 2 < encoded.size(), "truncated escape in " + calyx_fuzz::Show(encoded));
            int high = HexValue(encoded[i + 1]);
            int low = HexValue(encoded[i + 2]);
            FUZZ_CHECK(high >= 0 && low >= 0, "bad escape in " + calyx_fuzz::Show(encoded));
            unsigned char byte = static_cast<unsigned char>(high * 16 + low);
            FUZZ_CHECK(!IsUnreserved(byte) && !(keepSlash && byte == '/'),
                       "needless escape in " + calyx_fuzz::Show(encoded));
            decoded += static_cast<char>(byte);
            i += 2;
        } else {
            FUZZ_CHECK(IsUnreserved(c) || (keepSlash && c == '/'),
                       "reserved byte left in " + calyx_fuzz::Show(encoded));
            decoded += static_cast<char>(c);
        }
    }
    FUZZ_CHECK(decoded == original, "does not decode back: " + calyx_fuzz::Show(original));
}

std::string XMLUnescape(const std::string& escaped) {
    static const struct {
        const char* entity;
        char byte;
    } kEntities[] = {
        {"&quot;", '"'}, {"&lt;", '<'}, {"&gt;", '>'}, {"&apos;", '\''}, {"&amp;", '&'}};
    std::string out;
    for (size_t i = 0; i < escaped.size();) {
        if (escaped[i] != '&') {
            out += escaped[i++];
            continue;
        }
        bool matched = false;
        for (const auto& e : kEntities) {
            size_t n = strlen(e.entity);
            if (escaped.compare(i, n, e.entity) == 0) {
                out += e.byte;
                i += n;
                matched = true;
                break;
            }
        }
        FUZZ_CHECK(matched, "bare ampersand in " + calyx_fuzz::Show(escaped));
    }
    return out;
}

void CheckXMLEscape(const std::string& text, const std::string& dashes) {
    std::string plain = Calyx::XMLEscape(text, nullptr);
    FUZZ_CHECK(plain.find_first_of("<>\"'") == std::string::npos,
               "special character left in " + calyx_fuzz::Show(plain));
    FUZZ_CHECK(XMLUnescape(plain) == text, "XMLEscape does not round-trip");

    // With a dash set: each listed byte (and NUL, which strchr finds as the terminator)
    // becomes "-" first, the rest is escaped as usual.
    std::string expected;
    for (char c : text) {
        expected += (c == '\0' || strchr(dashes.c_str(), c) != nullptr) ? '-' : c;
    }
    std::string dashed = Calyx::XMLEscape(text, dashes.c_str());
    FUZZ_CHECK(dashed == Calyx::XMLEscape(expected, nullptr),
               "dash set " + calyx_fuzz::Show(dashes) + " on " + calyx_fuzz::Show(text));
}

void CheckSQL(const std::string& text) {
    std::string visible = text.substr(0, text.find('\0'));
    std::string literal = Calyx::SQLEscapeString(text);
    // Inside '...', every quote is doubled: undoubling gives the text back.
    std::string undoubled;
    for (size_t i = 0; i < literal.size(); ++i) {
        undoubled += literal[i];
        if (literal[i] == '\'') {
            FUZZ_CHECK(i + 1 < literal.size() && literal[i + 1] == '\'',
                       "lone quote in " + calyx_fuzz::Show(literal));
            ++i;
        }
    }
    FUZZ_CHECK(undoubled == visible, "SQLEscapeString does not round-trip");

    std::string condition = Calyx::SQLEscapeCondition(text);
    FUZZ_CHECK(condition == Calyx::StringReplace(literal, "\\", "\\\\"),
               "SQLEscapeCondition is not the literal with doubled backslashes");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider input(data, size);
    std::string dashes = input.ConsumeRandomLengthString(6);
    std::string text = input.ConsumeRemainingBytesAsString();

    CheckPercentEncoding(text, Calyx::URLEncode(text), false);
    CheckPercentEncoding(text, Calyx::URLEncodeNoSlash(text), true);
    CheckXMLEscape(text, dashes);
    CheckSQL(text);
    return 0;
}
