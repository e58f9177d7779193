// What the index holds about a row beyond the media item record: its cover, the large
// form of a photo, the subtitle files of a video, a folder's first video thumbnail.
#ifndef CALYX_DMS_CONTENT_ITEM_EXTRAS_H
#define CALYX_DMS_CONTENT_ITEM_EXTRAS_H

#include <string>
#include <vector>

#include "calyx/media_db.h"
#include "calyx/types.h"

namespace calyx_dms {

// A cover picture and the row that holds it: the item's own (a song's embedded picture)
// or its folder's (a cover file). Its files are served by that row's id.
struct CoverFacts {
    char owner = 0;    // table letter of the holding row ('m', 'v', 'd'); 0: no cover
    long long id = 0;  // id of the holding row
    std::string mime;  // of the original picture
    int width = 0, height = 0;
    bool scaled = false;  // the JPEG_TN and JPEG_SM forms exist
    // The files, read only for the row's own cover (the HTTP handler serves them).
    std::string original, thumbnail, small;
};

struct SubtitleFacts {
    long long id = 0;
    std::string format;    // srt, ass, ssa, sub, smi, vtt
    std::string language;  // "" when the file name names none
};

struct ItemExtras {
    CoverFacts cover;
    std::string large;  // path of a photo's large JPEG form, or ""
    std::vector<SubtitleFacts> subtitles;
    long long firstVideoThumbnail = 0;  // a folder: id of its first video with a thumbnail
};

// The SQL text of the cover held by the row `alias` of the music or directory table, as
// ParseCoverText reads it ('' when the row holds none).
std::string CoverTextSql(const std::string& alias);
// A cover's text into `cover`, held by a row of the table of letter `owner`; `cover` is
// unchanged for an empty text.
void ParseCoverText(const std::string& text, char owner, CoverFacts& cover);

// The select list that reads a row of `table` with its extras: "*" and the subselects
// that ReadItemExtras reads.
std::string ItemColumns(Calyx::MEDIA_TABLE_TYPE table);

// The extras of the current row of `db` (a Select of ItemColumns(table)); the row's own
// id is `id`.
void ReadItemExtras(Calyx::MediaDB& db, Calyx::MEDIA_TABLE_TYPE table, long long id,
                    ItemExtras& extras);

}  // namespace calyx_dms

#endif  // CALYX_DMS_CONTENT_ITEM_EXTRAS_H
