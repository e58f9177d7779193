#include "content/views.h"

#include <algorithm>
#include <cctype>

#include "calyx/core.h"
#include "calyx/utf8.h"

namespace calyx_dms {

namespace {

struct ViewName {
    View view;
    const char* list;
    const char* prefix;
    const char* column;
    const char* upnpClass;
};

const ViewName kViews[] = {
    {View::kArtist, "artists", "ar", "artist", "object.container.person.musicArtist"},
    {View::kAlbum, "albums", "al", "album", "object.container.album.musicAlbum"},
    {View::kGenre, "genres", "ge", "genre", "object.container.genre.musicGenre"},
};

// A photo's month ("YYYY-MM", '' when unknown), a column the schema computes.
const char kPhotoMonth[] = "taken_month";

std::string Quoted(const std::string& value) {
    return "'" + Calyx::SQLEscapeString(value) + "'";
}

std::string Hex(const std::string& bytes) {
    static const char digits[] = "0123456789abcdef";
    std::string out;
    for (unsigned char c : bytes) {
        out += digits[c >> 4];
        out += digits[c & 15];
    }
    return out;
}

bool Unhex(const std::string& hex, std::string& bytes) {
    if (hex.size() % 2 != 0)
        return false;
    bytes.clear();
    for (size_t i = 0; i < hex.size(); i += 2) {
        int value = 0;
        for (size_t j = i; j < i + 2; ++j) {
            const char c = hex[j];
            const int digit = c >= '0' && c <= '9'   ? c - '0'
                              : c >= 'a' && c <= 'f' ? c - 'a' + 10
                                                     : -1;
            if (digit < 0)
                return false;
            value = value * 16 + digit;
        }
        bytes += static_cast<char>(value);
    }
    return true;
}

bool IsText(const std::string& bytes) {
    for (size_t i = 0; i < bytes.size();) {
        const size_t n = Calyx::Utf8SequenceLength(bytes, i);
        if (n == 0 || bytes[i] == '\0')
            return false;
        i += n;
    }
    return true;
}

bool AllDigits(const std::string& text) {
    return std::all_of(text.begin(), text.end(),
                       [](char c) { return isdigit(static_cast<unsigned char>(c)) != 0; });
}

const ViewName* TagView(View view) {
    for (const ViewName& v : kViews)
        if (v.view == view)
            return &v;
    return nullptr;
}

}  // namespace

const char* ViewListId(View view) {
    const ViewName* tag = TagView(view);
    return tag ? tag->list : "dates";
}

bool ParseViewListId(const std::string& text, View& view) {
    for (const ViewName& v : kViews) {
        if (text == v.list) {
            view = v.view;
            return true;
        }
    }
    if (text != "dates")
        return false;
    view = View::kYear;
    return true;
}

std::string GroupId(View view, const std::string& value) {
    if (const ViewName* tag = TagView(view))
        return tag->prefix + Hex(value);
    std::string digits = value;
    digits.erase(std::remove(digits.begin(), digits.end(), '-'), digits.end());
    return "y" + digits;
}

bool ParseGroupId(const std::string& text, View& view, std::string& value) {
    if (text.size() >= 2 && text[0] == 'y') {
        const std::string digits = text.substr(1);
        if (!AllDigits(digits) || (digits.size() != 4 && digits.size() != 6))
            return false;
        view = digits.size() == 4 ? View::kYear : View::kMonth;
        value = digits.size() == 4 ? digits : digits.substr(0, 4) + "-" + digits.substr(4);
        return true;
    }
    for (const ViewName& v : kViews) {
        if (text.compare(0, 2, v.prefix) == 0 && Unhex(text.substr(2), value) && IsText(value)) {
            view = v.view;
            return true;
        }
    }
    return false;
}

Calyx::MEDIA_TABLE_TYPE ViewTable(View view) {
    return TagView(view) ? Calyx::MEDIA_TABLE_MUSIC : Calyx::MEDIA_TABLE_PHOTO;
}

std::string GroupValueSql(View view) {
    if (const ViewName* tag = TagView(view))
        return std::string("COALESCE(") + tag->column + ", '')";
    return view == View::kYear ? std::string("left(") + kPhotoMonth + ", 4)" : kPhotoMonth;
}

std::string GroupCondition(View view, const std::string& value) {
    if (const ViewName* tag = TagView(view))
        return value.empty() ? GroupValueSql(view) + " = ''"
                             : std::string(tag->column) + " = " + Quoted(value);
    return GroupValueSql(view) + " = " + Quoted(value);
}

std::string GroupsWithin(View view, const std::string& within) {
    if (view == View::kMonth)
        return GroupValueSql(View::kYear) + " = " + Quoted(within);
    return TagView(view) ? "" : std::string(kPhotoMonth) + " <> ''";
}

std::string GroupValueCondition(View view, const std::string& value,
                                std::vector<std::string>& values) {
    const ViewName* tag = TagView(view);
    if (tag && value.empty())
        return GroupValueSql(view) + " = ''";
    values.push_back(value);
    return (tag ? std::string(tag->column) : GroupValueSql(view)) + " = $1";
}

std::string GroupsWithinValue(View view, const std::string& within,
                              std::vector<std::string>& values) {
    if (view != View::kMonth)
        return GroupsWithin(view, within);
    values.push_back(within);
    return GroupValueSql(View::kYear) + " = $1";
}

const char* GroupClass(View view) {
    const ViewName* tag = TagView(view);
    if (tag)
        return tag->upnpClass;
    return view == View::kMonth ? "object.container.album.photoAlbum"
                                : "object.container.storageFolder";
}

std::string GroupItemOrder(View view) {
    switch (view) {
        case View::kAlbum:
            return "track ASC NULLS LAST, title COLLATE calyx_title ASC, id ASC";
        case View::kArtist:
            return "album COLLATE calyx_title ASC, track ASC NULLS LAST, "
                   "title COLLATE calyx_title ASC, id ASC";
        case View::kMonth:
        case View::kYear:
            return "date ASC, mdate ASC, id ASC";
        case View::kGenre:
            break;
    }
    return "title COLLATE calyx_title ASC, id ASC";
}

}  // namespace calyx_dms
