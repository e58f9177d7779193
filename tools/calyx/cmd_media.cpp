// calyx media count|list
#include <CLI/CLI.hpp>

#include <iostream>

#include "calyx/core.h"
#include "calyx/host.h"
#include "media_item.h"
#include "media_source.h"
#include "tool.h"

namespace calyx_tool {

namespace {

void AddQueryOptions(CLI::App* cmd, MediaQuery& query, bool listing) {
    cmd->add_option("--type", query.type, "Table: music, video, photo, playlist or directory")
        ->capture_default_str();
    cmd->add_option("--exclude-codec", query.excludeCodecs,
                    "Leave out items with this video codec (repeatable)");
    cmd->add_option("--exclude-ext", query.excludeExts,
                    "Leave out paths ending in .EXT, any case (repeatable)");
    if (listing) {
        cmd->add_option("--limit", query.limit, "At most this many rows (0: all)")
            ->capture_default_str();
        cmd->add_option("--offset", query.offset, "Skip this many rows first");
        cmd->add_option("--order", query.order, "ORDER BY expression (default: id)");
    }
}

void RunCount(const MediaQuery& query, bool json) {
    int total = CountMediaItems(query);
    if (json) {
        Json::Value out(Json::objectValue);
        out["type"] = query.type;
        out["count"] = total;
        PrintJson(out);
    } else {
        std::cout << total << " " << query.type << " items\n";
    }
}

void RunList(const MediaQuery& query, bool json) {
    std::vector<ZEVO_MEDIA_INFO> items = ListMediaItems(query);
    if (json) {
        Json::Value out(Json::arrayValue);
        for (const ZEVO_MEDIA_INFO& item : items) {
            Json::Value row = MediaItemToJson(item);
            row["id"] = static_cast<Json::Int64>(item.id);
            row["title"] = item.title;
            row["mime_type"] = item.mime_type;
            row["duration"] = item.duration;
            out.append(row);
        }
        PrintJson(out);
        return;
    }
    TextTable table({"ID", "TITLE", "DURATION", "FORMAT", "PATH"});
    for (const ZEVO_MEDIA_INFO& item : items) {
        std::string format = item.container_type;
        if (item.video_codec[0])
            format += " " + std::string(item.video_codec);
        if (item.audio_codec[0])
            format += (item.video_codec[0] ? "/" : " ") + std::string(item.audio_codec);
        if (item.resolutionx > 0)
            format +=
                " " + std::to_string(item.resolutionx) + "x" + std::to_string(item.resolutiony);
        table.add({std::to_string(item.id), item.title, Calyx::DMSFormatUPNPDuration(item.duration),
                   format, item.path});
    }
    std::cout << table.render() << items.size() << " rows\n";
}

}  // namespace

void AddMediaCommand(CLI::App& app) {
    CLI::App* cmd =
        app.add_subcommand("media", "Count or list items of the media index (PostgreSQL)");
    cmd->footer(
        "The server is reached as the library does: database \"calyx\", user \"admin\";\n"
        "PGHOST and PGPORT select another server.");

    auto countQuery = std::make_shared<MediaQuery>();
    auto countJson = std::make_shared<bool>(false);
    CLI::App* count = cmd->add_subcommand("count", "Number of items that pass the filters");
    AddQueryOptions(count, *countQuery, false);
    count->add_flag("--json", *countJson, "Machine-readable output");
    count->callback([countQuery, countJson] { RunCount(*countQuery, *countJson); });

    auto listQuery = std::make_shared<MediaQuery>();
    listQuery->limit = 100;
    auto listJson = std::make_shared<bool>(false);
    CLI::App* list = cmd->add_subcommand("list", "Items that pass the filters");
    AddQueryOptions(list, *listQuery, true);
    list->add_flag("--json", *listJson, "Machine-readable output");
    list->callback([listQuery, listJson] { RunList(*listQuery, *listJson); });
}

}  // namespace calyx_tool
