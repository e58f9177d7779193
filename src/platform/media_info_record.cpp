// Fills a media item record (ZEVO_MEDIA_INFO) from the current row of a result set,
// field by field from the column of the same name.
#include <stddef.h>
#include <stdint.h>

#include <cstring>

#include "calyx/platform.h"
#include "platform/int_parse.h"
#include "platform/pg_handles.h"

namespace {

using Calyx::detail::ClampInt64;
using Calyx::detail::ParseSaturatingInt64;

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

// Stores one field; `text` null means an absent column or an SQL NULL.
void StoreField(const FieldSpec& field, const char* text, int length, ZEVO_MEDIA_INFO* info) {
    char* target = reinterpret_cast<char*>(info) + field.offset;
    switch (field.kind) {
        case FieldKind::Int64: {
            int64_t value = text != nullptr ? ParseSaturatingInt64(text) : 0;
            memcpy(target, &value, sizeof value);
            break;
        }
        case FieldKind::Int32: {
            int32_t value = text != nullptr ? static_cast<int32_t>(ClampInt64(
                                                  ParseSaturatingInt64(text), INT32_MIN, INT32_MAX))
                                            : 0;
            memcpy(target, &value, sizeof value);
            break;
        }
        case FieldKind::UInt32: {
            uint32_t value =
                text != nullptr
                    ? static_cast<uint32_t>(ClampInt64(ParseSaturatingInt64(text), 0, UINT32_MAX))
                    : 0;
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
