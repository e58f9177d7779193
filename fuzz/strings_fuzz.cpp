// String helpers on arbitrary bytes, with the properties each one promises.
#include <cctype>
#include <cstdint>
#include <string>
#include <vector>

#include "calyx/core.h"
#include "fuzz_support.h"

namespace {

// Straight reading of the numeric rule: an optional leading sign, then digits only.
bool ReferenceIsNumeric(const std::string& s, bool allowMinus) {
    if (s.empty()) {
        return false;
    }
    char first = s[0];
    if (!(isdigit(static_cast<unsigned char>(first)) || first == '+' ||
          (allowMinus && first == '-'))) {
        return false;
    }
    for (size_t i = 1; i < s.size(); ++i) {
        if (!isdigit(static_cast<unsigned char>(s[i]))) {
            return false;
        }
    }
    return true;
}

size_t CountOccurrences(const std::string& text, const std::string& pattern) {
    size_t count = 0;
    for (size_t at = text.find(pattern); at != std::string::npos;
         at = text.find(pattern, at + pattern.size())) {
        ++count;
    }
    return count;
}

void CheckExplodeImplode(const std::string& text, const std::string& delimiterBytes) {
    // The delimiter set is a C text: it ends at its first NUL byte.
    std::string delims(delimiterBytes.c_str());
    std::vector<std::string> pieces = Calyx::StringExplode(text, delims);
    std::string visible = text.substr(0, text.find('\0'));  // a NUL byte ends the text
    size_t total = 0;
    for (const std::string& piece : pieces) {
        FUZZ_CHECK(!piece.empty(), "empty piece from " + calyx_fuzz::Show(text));
        FUZZ_CHECK(piece.find_first_of(delims.c_str()) == std::string::npos,
                   "delimiter inside piece " + calyx_fuzz::Show(piece));
        FUZZ_CHECK(visible.find(piece) != std::string::npos,
                   "piece not in text: " + calyx_fuzz::Show(piece));
        total += piece.size();
    }
    FUZZ_CHECK(total <= visible.size(), "pieces longer than text");
    if (delims.find(',') != std::string::npos) {
        // Joined with a delimiter, the pieces split back into themselves.
        std::string joined = Calyx::StringImplode(pieces, ",");
        FUZZ_CHECK(joined.find(",,") == std::string::npos, "empty piece in " + joined);
        FUZZ_CHECK(Calyx::StringExplode(joined, delims) == pieces,
                   "explode(implode(pieces)) differs for " + calyx_fuzz::Show(text));
    }
    std::string joined = Calyx::StringImplode(pieces, nullptr);
    FUZZ_CHECK(joined.size() == total, "null separator added bytes");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider input(data, size);
    std::string delims = input.ConsumeRandomLengthString(8);
    std::string from = input.ConsumeRandomLengthString(8);
    std::string to = input.ConsumeRandomLengthString(8);
    bool allowMinus = input.ConsumeBool();
    std::string text = input.ConsumeRemainingBytesAsString();

    CheckExplodeImplode(text, delims);
    CheckExplodeImplode(text, ",");

    FUZZ_CHECK(Calyx::StringIsNumeric(text, allowMinus) == ReferenceIsNumeric(text, allowMinus),
               "StringIsNumeric " + calyx_fuzz::Show(text));

    std::string replaced = Calyx::StringReplace(text, from, to);
    if (from.empty()) {
        FUZZ_CHECK(replaced == text, "empty pattern changed the text");
    } else {
        size_t n = CountOccurrences(text, from);
        FUZZ_CHECK(replaced.size() == text.size() - n * from.size() + n * to.size(),
                   "StringReplace length for " + calyx_fuzz::Show(text));
        FUZZ_CHECK(Calyx::StringReplace(text, from, from) == text, "identity replacement");
    }

    std::string lower = Calyx::StringToLower(text);
    FUZZ_CHECK(lower.size() == text.size(), "StringToLower changed the length");
    for (size_t i = 0; i < text.size(); ++i) {
        FUZZ_CHECK(lower[i] == static_cast<char>(tolower(static_cast<unsigned char>(text[i]))),
                   "StringToLower byte");
    }

    std::string out = "unchanged";
    Calyx::AddUnderscore(text, out);
    if (text.empty()) {
        FUZZ_CHECK(out == "unchanged", "AddUnderscore changed out for an empty input");
    } else {
        FUZZ_CHECK(out.find(' ') == std::string::npos, "blank left in " + calyx_fuzz::Show(out));
        FUZZ_CHECK(out == Calyx::StringImplode(Calyx::StringExplode(text, " "), "_"),
                   "AddUnderscore differs from explode+implode");
    }
    return 0;
}
