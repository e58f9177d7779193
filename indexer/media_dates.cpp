// Dates from container tags and EXIF, written the one way the index accepts.
#include "indexer/media_dates.h"

#include <ctype.h>

namespace calyx_indexer {

namespace {

// True when `text` matches `pattern`, where '9' stands for a digit and other characters
// for themselves, over the pattern's length.
bool Matches(const std::string& text, const char* pattern) {
    size_t i = 0;
    for (; pattern[i] != '\0'; ++i) {
        if (i >= text.size())
            return false;
        const unsigned char c = static_cast<unsigned char>(text[i]);
        if (pattern[i] == '9' ? !isdigit(c) : c != static_cast<unsigned char>(pattern[i]))
            return false;
    }
    return true;
}

}  // namespace

int YearOfTag(const std::string& tag) {
    return Matches(tag, "9999") ? std::stoi(tag.substr(0, 4)) : 0;
}

std::string IndexDateOfTag(const std::string& tag) {
    if (Matches(tag, "9999-99-99T99:99:99") || Matches(tag, "9999-99-99 99:99:99"))
        return tag.substr(0, 10) + " " + tag.substr(11, 8);
    if (Matches(tag, "9999-99-99") && (tag.size() == 10))
        return tag + " 00:00:00";
    return "";
}

std::string IndexDateOfExif(const std::string& exif) {
    if (!Matches(exif, "9999:99:99 99:99:99"))
        return "";
    std::string date = exif.substr(0, 19);
    date[4] = '-';
    date[7] = '-';
    return date;
}

int RotationOfExifOrientation(int orientation) {
    switch (orientation) {
        case 3:
            return 180;
        case 6:
            return 90;
        case 8:
            return 270;
        default:
            return 0;
    }
}

}  // namespace calyx_indexer
