// calyx video-profile
#include <CLI/CLI.hpp>

#include <string.h>

#include <iostream>

#include "calyx/client.h"
#include "media_item.h"
#include "media_source.h"
#include "tool.h"

namespace calyx_tool {

namespace {

struct VideoProfileOptions {
    std::string profiles;
    std::string profile;
    std::string itemsFile;
    bool fromIndex = false;
    MediaQuery query;
    // One item described by options.
    std::string path, container, videoCodec, audioCodec, frameRate;
    int width = 0, height = 0, videoBitrate = 0, audioBitrate = 0, frameBitrate = 0, channels = 0;
    bool explain = false;
    bool brief = false;
    bool json = false;
};

void ParseFrameRate(const std::string& text, ZEVO_MEDIA_INFO& item) {
    if (text.empty())
        return;
    size_t slash = text.find('/');
    try {
        size_t used = 0;
        item.frame_rate_num = std::stoi(text.substr(0, slash), &used);
        if (used != text.substr(0, slash).size())
            throw std::invalid_argument(text);
        item.frame_rate_den = 1;
        if (slash != std::string::npos) {
            std::string den = text.substr(slash + 1);
            item.frame_rate_den = std::stoi(den, &used);
            if (used != den.size())
                throw std::invalid_argument(text);
        }
    } catch (const std::exception&) {
        UsageFail("--frame-rate " + Quoted(text) + ": expected N or N/D, e.g. 30000/1001");
    }
}

std::vector<ZEVO_MEDIA_INFO> CollectItems(const VideoProfileOptions& o) {
    std::vector<ZEVO_MEDIA_INFO> items;
    bool described = !o.path.empty() || !o.container.empty() || !o.videoCodec.empty() ||
                     !o.audioCodec.empty() || o.width || o.height || o.videoBitrate ||
                     o.audioBitrate || o.frameBitrate || o.channels || !o.frameRate.empty();
    int sources = (described ? 1 : 0) + (o.itemsFile.empty() ? 0 : 1) + (o.fromIndex ? 1 : 0);
    if (sources == 0)
        UsageFail(
            "video-profile: describe an item (--path, --container, ...), or give --items FILE or "
            "--from-index");
    if (sources > 1)
        UsageFail("video-profile: use only one of item options, --items and --from-index");
    if (described) {
        ZEVO_MEDIA_INFO item;
        memset(&item, 0, sizeof item);
        CopyField(item.path, o.path);
        CopyField(item.container_type, o.container);
        CopyField(item.video_codec, o.videoCodec);
        CopyField(item.audio_codec, o.audioCodec);
        item.resolutionx = o.width;
        item.resolutiony = o.height;
        item.video_bitrate = static_cast<uint32_t>(o.videoBitrate);
        item.audio_bitrate = static_cast<uint32_t>(o.audioBitrate);
        item.frame_bitrate = static_cast<uint32_t>(o.frameBitrate);
        item.channel = o.channels;
        ParseFrameRate(o.frameRate, item);
        items.push_back(item);
    } else if (!o.itemsFile.empty()) {
        Json::Value doc = LoadJsonOrFail(o.itemsFile);
        const Json::Value& list = doc.isObject() ? doc["items"] : doc;
        if (!list.isArray())
            Fail(o.itemsFile + ": expected an array of media items (or an object with \"items\")");
        for (Json::ArrayIndex i = 0; i < list.size(); ++i) {
            items.emplace_back();
            MediaItemFromJson(list[i], o.itemsFile + ": item " + std::to_string(i + 1),
                              items.back());
        }
    } else {
        items = ListMediaItems(o.query);
    }
    return items;
}

void RunVideoProfile(const VideoProfileOptions& o) {
    std::vector<ZEVO_MEDIA_INFO> items = CollectItems(o);
    ScopedProfileList profiles(o.profiles);
    Calyx::DMSClientChecker checker("", o.profile, false);
    if (checker.m_agent == nullptr || o.profile == Calyx::kDefaultProfileName)
        Fail(o.profiles + ": no profile named " + Quoted(o.profile));

    Json::Value out(Json::objectValue);
    out["profile"] = o.profile;
    out["items"] = Json::Value(Json::arrayValue);
    std::string text;
    std::string brief;
    TextTable table({"ITEM", "VIDEO PROFILE"});
    int number = 0;
    for (ZEVO_MEDIA_INFO& item : items) {
        std::string chosen = checker.getVideoProfileName(&item);
        brief += std::to_string(++number) + "\t" + (chosen.empty() ? "-" : chosen) + "\t" +
                 MediaItemSummary(item) + "\n";
        Json::Value row(Json::objectValue);
        row["item"] = MediaItemToJson(item);
        row["videoProfile"] = chosen;
        table.add({MediaItemSummary(item), OrNone(chosen)});
        if (o.explain) {
            row["tried"] = Json::Value(Json::arrayValue);
            text += MediaItemSummary(item) + "  ->  " + OrNone(chosen) + "\n";
            bool chosenSeen = false;
            for (const Calyx::VideoProfileVerdict& v :
                 Calyx::ExplainVideoProfiles(checker.m_agent, &item)) {
                Json::Value step(Json::objectValue);
                step["name"] = v.profileName;
                step["rule"] = v.rule;
                step["matched"] = v.matched;
                step["failedKey"] = v.failedKey;
                step["failedCondition"] = v.failedCondition;
                step["itemValue"] = v.itemValue;
                row["tried"].append(step);
                std::string line = "    " + v.profileName + ": ";
                if (v.matched && !chosenSeen) {
                    line += "matched (chosen)";
                    chosenSeen = true;
                } else if (v.matched) {
                    line += "matched too (an earlier name wins)";
                } else if (v.failedKey.empty()) {
                    line += "names no known condition";
                } else {
                    line += "fails " + v.failedKey + Quoted(v.failedCondition) + " (item has " +
                            Quoted(v.itemValue) + ")";
                }
                text += line + "\n";
            }
        }
        out["items"].append(row);
    }
    if (o.json)
        PrintJson(out);
    else if (o.brief)
        std::cout << brief;
    else if (o.explain)
        std::cout << "profile " << Quoted(o.profile) << "\n" << text;
    else
        std::cout << "profile " << Quoted(o.profile) << "\n" << table.render();
}

}  // namespace

void AddVideoProfileCommand(CLI::App& app) {
    auto o = std::make_shared<VideoProfileOptions>();
    CLI::App* cmd = app.add_subcommand(
        "video-profile", "Show the video profile a client profile chooses for media items");
    cmd->add_option("--profiles,-p", o->profiles, "Profile list file")->required();
    cmd->add_option("--profile,-n", o->profile, "Client profile name")->required();
    cmd->add_option("--path", o->path, "Item: file path (its extension is tested)");
    cmd->add_option("--container", o->container, "Item: container type, e.g. matroska");
    cmd->add_option("--video-codec", o->videoCodec, "Item: video codec, e.g. h264");
    cmd->add_option("--audio-codec", o->audioCodec, "Item: audio codec, e.g. aac");
    cmd->add_option("--width", o->width, "Item: frame width in pixels");
    cmd->add_option("--height", o->height, "Item: frame height in pixels");
    cmd->add_option("--video-bitrate", o->videoBitrate, "Item: video bit rate");
    cmd->add_option("--audio-bitrate", o->audioBitrate, "Item: audio bit rate");
    cmd->add_option("--frame-bitrate", o->frameBitrate, "Item: frame bit rate");
    cmd->add_option("--frame-rate", o->frameRate, "Item: frame rate N or N/D");
    cmd->add_option("--channels", o->channels, "Item: audio channel count");
    cmd->add_option("--items", o->itemsFile,
                    "JSON file of items (array, or object with \"items\")");
    CLI::Option* fromIndex =
        cmd->add_flag("--from-index", o->fromIndex, "Take the items from the media index");
    cmd->add_option("--limit", o->query.limit, "With --from-index: at most this many rows")
        ->needs(fromIndex);
    cmd->add_option("--offset", o->query.offset, "With --from-index: skip this many rows")
        ->needs(fromIndex);
    cmd->add_option("--order", o->query.order, "With --from-index: ORDER BY expression")
        ->needs(fromIndex);
    cmd->add_flag("--explain", o->explain,
                  "Show every video profile tried and its first failing condition");
    CLI::Option* brief =
        cmd->add_flag("--brief", o->brief,
                      "One tab-separated line per item: number, video profile (- for none), item");
    cmd->add_flag("--json", o->json, "Machine-readable output (always valid UTF-8)")
        ->excludes(brief);
    cmd->callback([o] { RunVideoProfile(*o); });
}

}  // namespace calyx_tool
