// Fills a media item record (ZEVO_MEDIA_INFO) from the current row of a result set,
// field by field from the column of the same name.
#include <stddef.h>
#include <stdint.h>

#include <cstring>

#include "calyx/platform.h"
#include "platform/pg_handles.h"

namespace {

enum class FieldKind { Int64, Int32, UInt32, Text };

struct FieldSpec {
    const char* column;
    FieldKind kind;
    size_t offset;
    size_t size;
};

#define CALYX_MEDIA_FIELD(name, kind) \
    { #name, FieldKind::kind, offsetof(ZEVO_MEDIA_INFO, name), sizeof(ZEVO_MEDIA_INFO::name) }

const FieldSpec kFields[] = {
    CALYX_MEDIA_FIELD(id, Int64),
    CALYX_MEDIA_FIELD(parent_id, Int64),
    CALYX_MEDIA_FIELD(path, Text),
    CALYX_MEDIA_FIELD(title, Text),
    CALYX_MEDIA_FIELD(artist, Text),
    CALYX_MEDIA_FIELD(album, Text),
    CALYX_MEDIA_FIELD(genre, Text),
    CALYX_MEDIA_FIELD(mime_type, Text),
    CALYX_MEDIA_FIELD(filesize, Int64),
    CALYX_MEDIA_FIELD(duration, Int32),
    CALYX_MEDIA_FIELD(audio_bitrate, UInt32),
    CALYX_MEDIA_FIELD(frame_bitrate, UInt32),
    CALYX_MEDIA_FIELD(video_bitrate, UInt32),
    CALYX_MEDIA_FIELD(frame_rate_num, Int32),
    CALYX_MEDIA_FIELD(frame_rate_den, Int32),
    CALYX_MEDIA_FIELD(samplerate, Int32),
    CALYX_MEDIA_FIELD(channel, Int32),
    CALYX_MEDIA_FIELD(resolutionx, Int32),
    CALYX_MEDIA_FIELD(resolutiony, Int32),
    CALYX_MEDIA_FIELD(video_codec, Text),
    CALYX_MEDIA_FIELD(container_type, Text),
    CALYX_MEDIA_FIELD(audio_codec, Text),
    CALYX_MEDIA_FIELD(track, Int32),
    CALYX_MEDIA_FIELD(year, Int32),
    CALYX_MEDIA_FIELD(rotation, Int32),
    CALYX_MEDIA_FIELD(date, Text),
    CALYX_MEDIA_FIELD(mdate, Int64),
    CALYX_MEDIA_FIELD(cdate, Int64),
    CALYX_MEDIA_FIELD(thumbnail, Text),
};

#undef CALYX_MEDIA_FIELD

static_assert(sizeof kFields / sizeof kFields[0] == kMediaInfoFieldCount,
              "every field of ZEVO_MEDIA_INFO has a column");

// strtoll-like decimal parse (leading blanks, a sign, digits; the rest ignored),
// saturating at the int64 range. Much cheaper than strtoll, which matters at thousands of
// fields per page: up to 18 digits cannot overflow and need no checks.
int64_t ParseInt64(const char* text) {
    const char* p = text;
    while (*p == ' ' || (*p >= '\t' && *p <= '\r')) {
        ++p;
    }
    bool negative = false;
    if (*p == '-' || *p == '+') {
        negative = (*p == '-');
        ++p;
    }
    uint64_t value = 0;
    int digits = 0;
    for (; digits < 18 && static_cast<unsigned>(*p - '0') <= 9; ++p, ++digits) {
        value = value * 10 + static_cast<unsigned>(*p - '0');
    }
    if (static_cast<unsigned>(*p - '0') <= 9) {
        const uint64_t limit = negative ? static_cast<uint64_t>(INT64_MAX) + 1 : INT64_MAX;
        for (; static_cast<unsigned>(*p - '0') <= 9; ++p) {
            unsigned digit = static_cast<unsigned>(*p - '0');
            if (value > (limit - digit) / 10) {
                value = limit;
                break;
            }
            value = value * 10 + digit;
        }
    }
    if (negative) {
        // Two's complement negation, well defined for INT64_MIN as well.
        return static_cast<int64_t>(0 - value);
    }
    return static_cast<int64_t>(value);
}

int64_t Clamp(int64_t value, int64_t low, int64_t high) {
    return value < low ? low : (value > high ? high : value);
}

// Stores one field; `text` null means an absent column or an SQL NULL.
void StoreField(const FieldSpec& field, const char* text, int length, ZEVO_MEDIA_INFO* info) {
    char* target = reinterpret_cast<char*>(info) + field.offset;
    switch (field.kind) {
        case FieldKind::Int64: {
            int64_t value = text != nullptr ? ParseInt64(text) : 0;
            memcpy(target, &value, sizeof value);
            break;
        }
        case FieldKind::Int32: {
            int32_t value =
                text != nullptr
                    ? static_cast<int32_t>(Clamp(ParseInt64(text), INT32_MIN, INT32_MAX))
                    : 0;
            memcpy(target, &value, sizeof value);
            break;
        }
        case FieldKind::UInt32: {
            uint32_t value =
                text != nullptr ? static_cast<uint32_t>(Clamp(ParseInt64(text), 0, UINT32_MAX)) : 0;
            memcpy(target, &value, sizeof value);
            break;
        }
        case FieldKind::Text: {
            size_t n = text != nullptr ? static_cast<size_t>(length) : 0;
            if (n > field.size - 1) {
                n = field.size - 1;
            }
            if (n > 0) {
                memcpy(target, text, n);
            }
            target[n] = '\0';
            break;
        }
    }
}

void LookUpMediaColumns(DBResult* result) {
    for (int i = 0; i < kMediaInfoFieldCount; ++i) {
        result->mediaColumns[i] = PQfnumber(result->pg, kFields[i].column);
    }
    result->mediaColumnsKnown = true;
}

}  // namespace

extern "C" int MediaInfoDBGetRecoredData(DBResult* result, DBRow row, ZEVO_MEDIA_INFO* info) {
    if (info == nullptr || !Calyx::detail::CursorOnRow(result, row)) {
        return -1;
    }
    if (!result->mediaColumnsKnown) {
        LookUpMediaColumns(result);
    }
    // An SQL NULL reads as an empty text, which gives the same zero or empty field as
    // the NULL itself, so no separate NULL test is needed.
    PGresult* pg = result->pg;
    for (int i = 0; i < kMediaInfoFieldCount; ++i) {
        int column = result->mediaColumns[i];
        const char* text = nullptr;
        int length = 0;
        if (column >= 0) {
            text = PQgetvalue(pg, row.index, column);
            if (kFields[i].kind == FieldKind::Text) {
                length = PQgetlength(pg, row.index, column);
            }
        }
        StoreField(kFields[i], text, length, info);
    }
    return 0;
}
