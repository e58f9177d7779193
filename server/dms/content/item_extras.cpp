// The extras come with the row, as subselects of the same statement: a page costs one
// statement whatever it holds.
#include "content/item_extras.h"

#include <stdlib.h>

#include "calyx/core.h"

namespace calyx_dms {

namespace {

// A folder's cover, as one text: "<id> <width> <height> <scaled 0|1> <mime>".
std::string FolderCoverColumn(const char* table) {
    return ", (SELECT " + CoverTextSql("d") + " FROM directory d WHERE d.id = " + table +
           ".parent_id AND d.cover_original <> '') AS folder_cover";
}

long long Number(const std::string& text) {
    return strtoll(text.c_str(), nullptr, 10);
}

}  // namespace

std::string CoverTextSql(const std::string& alias) {
    const std::string a = alias + ".";
    return "concat_ws(' ', " + a + "id, " + a + "cover_width, " + a + "cover_height, (" + a +
           "cover_thumbnail <> '')::int, " + a + "cover_mime)";
}

// "<id> <width> <height> <scaled> <mime>"
void ParseCoverText(const std::string& text, char owner, CoverFacts& cover) {
    std::vector<std::string> fields = Calyx::StringExplode(text, " ");
    if (fields.size() != 5)
        return;
    cover.owner = owner;
    cover.id = Number(fields[0]);
    cover.width = static_cast<int>(Number(fields[1]));
    cover.height = static_cast<int>(Number(fields[2]));
    cover.scaled = fields[3] == "1";
    cover.mime = fields[4];
}

std::string ItemColumns(Calyx::MEDIA_TABLE_TYPE table) {
    switch (table) {
        case Calyx::MEDIA_TABLE_MUSIC:
            return "*" + FolderCoverColumn("music");
        case Calyx::MEDIA_TABLE_VIDEO:
            return "*" + FolderCoverColumn("video") +
                   ", (SELECT string_agg(concat_ws(' ', s.id, s.format, s.language), ',' "
                   "ORDER BY s.language, s.id) FROM subtitle s WHERE s.video_path = "
                   "video.path) AS subtitles";
        case Calyx::MEDIA_TABLE_DIRECTORY:
            return "*, (SELECT v.id FROM video v WHERE v.parent_id = directory.id AND "
                   "v.thumbnail <> '' AND NOT v.hidden ORDER BY v.title, v.id LIMIT 1) AS "
                   "first_video";
        default:
            break;
    }
    return "*";
}

void ReadItemExtras(Calyx::MediaDB& db, Calyx::MEDIA_TABLE_TYPE table, long long id,
                    ItemExtras& extras) {
    extras = ItemExtras{};
    const char letter = table == Calyx::MEDIA_TABLE_MUSIC   ? 'm'
                        : table == Calyx::MEDIA_TABLE_VIDEO ? 'v'
                        : table == Calyx::MEDIA_TABLE_PHOTO ? 'p'
                                                            : 'd';
    if (!db.FetchField("cover_original").empty()) {
        extras.cover.owner = letter;
        extras.cover.id = id;
        extras.cover.mime = db.FetchField("cover_mime");
        extras.cover.width = db.FetchFieldAsInt("cover_width");
        extras.cover.height = db.FetchFieldAsInt("cover_height");
        extras.cover.original = db.FetchField("cover_original");
        extras.cover.thumbnail = db.FetchField("cover_thumbnail");
        extras.cover.small = db.FetchField("cover_small");
        extras.cover.scaled = !extras.cover.thumbnail.empty() && !extras.cover.small.empty();
    } else if (table == Calyx::MEDIA_TABLE_MUSIC || table == Calyx::MEDIA_TABLE_VIDEO) {
        ParseCoverText(db.FetchField("folder_cover"), 'd', extras.cover);
    }
    extras.large = db.FetchField("large");
    for (const std::string& subtitle : Calyx::StringExplode(db.FetchField("subtitles"), ",")) {
        std::vector<std::string> fields = Calyx::StringExplode(subtitle, " ");
        if (fields.size() >= 2)
            extras.subtitles.push_back(
                {Number(fields[0]), fields[1], fields.size() > 2 ? fields[2] : ""});
    }
    extras.firstVideoThumbnail = Number(db.FetchField("first_video"));
}

}  // namespace calyx_dms
