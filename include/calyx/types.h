// Types shared by every subsystem of libcalyx.
//
// MEDIA_TABLE_TYPE and DMSLOG_LEVEL live in namespace Calyx. The media item record
// ZEVO_MEDIA_INFO and the database handles DBConnect, DBResult and DBRow belong to the
// platform and therefore stand at global scope, with C layout.
#ifndef CALYX_TYPES_H
#define CALYX_TYPES_H

#include <stdint.h>

#include "calyx/export.h"

/// Largest share-relative path the library accepts, and the size of its path buffers.
#define ZEVO_MAXPATH 4095

/// An open connection to the media index database. Opaque; made by ZEVODBConnect and
/// released by ZEVODBClose (calyx/platform.h).
typedef struct DBConnect DBConnect;

/// A result set of ZEVODBExecute (calyx/platform.h). Opaque; released by ZEVODBFreeResult.
/// One thread at a time may use a result set.
typedef struct DBResult DBResult;

/// Row cursor for ZEVODBFetchRow (calyx/platform.h). ZEVODBFetchRow positions it from the
/// result set it is given: a cursor that last walked another result set starts again at
/// its first row.
typedef struct DBRow {
    uint64_t result_serial;  ///< which result set the cursor walks (0: none yet)
    int32_t index;           ///< current row, 0-based
} DBRow;

/// One media item as the media index records it.
///
/// The media index fills a record from one row of a media table: every field is read
/// from the column of the same name (a missing column or an SQL NULL leaves the field
/// zero or empty; a text longer than its array is cut and always NUL-terminated).
/// Video profile selection reads path, the three bit rates, the frame rate, channel,
/// the resolution and the three codec/container texts.
typedef struct ZEVO_MEDIA_INFO {
    int64_t id;                   ///< row id in its media table
    int64_t parent_id;            ///< id of the directory row that holds the item (0: none)
    char path[ZEVO_MAXPATH + 1];  ///< absolute path of the media file
    char title[512];              ///< display title
    char artist[256];             ///< performer (music) or author
    char album[256];              ///< album (music) or series (video)
    char genre[128];              ///< genre text
    char mime_type[64];           ///< MIME type, e.g. "video/mp4"
    int64_t filesize;             ///< size of the file in bytes
    int32_t duration;             ///< playing time in whole seconds
    uint32_t audio_bitrate;       ///< audio bit rate, bits per second
    uint32_t frame_bitrate;       ///< the overall (frame) bit rate recorded for the item
    uint32_t video_bitrate;       ///< video bit rate, bits per second
    int frame_rate_num;           ///< frame-rate numerator
    int frame_rate_den;           ///< frame-rate denominator
    int samplerate;               ///< audio sampling rate in Hz
    int channel;                  ///< audio channel count
    int resolutionx;              ///< frame or picture width in pixels
    int resolutiony;              ///< frame or picture height in pixels
    char video_codec[255];        ///< video codec name, e.g. "h264"
    char container_type[64];      ///< container format name, e.g. "mpegts"
    char audio_codec[64];         ///< audio codec name, e.g. "aac"
    int track;                    ///< track number on its album (0: unknown)
    int year;                     ///< year of recording or release (0: unknown)
    int rotation;                 ///< picture rotation in degrees (photo, video)
    char date[32];                ///< date taken or recorded, "YYYY-MM-DD hh:mm:ss" (may be empty)
    int64_t mdate;                ///< file modification time, seconds since the epoch
    int64_t cdate;                ///< time the item entered the index, seconds since the epoch
    char thumbnail[ZEVO_MAXPATH + 1];  ///< path of a cached thumbnail (may be empty)
} ZEVO_MEDIA_INFO;

namespace Calyx {

/// Which table of the media index, or which media share, a call concerns.
enum MEDIA_TABLE_TYPE {
    MEDIA_TABLE_MUSIC = 0,      ///< "music"
    MEDIA_TABLE_VIDEO = 1,      ///< "video"
    MEDIA_TABLE_PHOTO = 2,      ///< "photo"
    MEDIA_TABLE_PLAYLIST = 3,   ///< "playlist"
    MEDIA_TABLE_DIRECTORY = 4,  ///< "directory"
};

/// Log level of the library log: a message is written when its level is at most the
/// current threshold. Smaller is more important.
enum DMSLOG_LEVEL : int32_t {
    DMSLOG_ERR = 0,    ///< failure reports ("Error: ...")
    DMSLOG_INFO = 1,   ///< reserved; the library writes nothing at this level
    DMSLOG_DEBUG = 2,  ///< detail lines
};

}  // namespace Calyx

#endif  // CALYX_TYPES_H
