#include "media_item.h"

#include <string.h>

#include "calyx/core.h"
#include "tool.h"

namespace calyx_tool {

namespace {

int IntMember(const Json::Value& object, const char* name, const std::string& where) {
    const Json::Value& v = object[name];
    if (v.isNull())
        return 0;
    if (!v.isNumeric())
        Fail(where + ": \"" + name + "\" must be a number");
    return v.isUInt() && v.asUInt() > 0x7fffffffu ? static_cast<int>(v.asUInt()) : v.asInt();
}

std::string TextMember(const Json::Value& object, const char* name, const std::string& where) {
    const Json::Value& v = object[name];
    if (v.isNull())
        return "";
    if (!v.isString())
        Fail(where + ": \"" + name + "\" must be a string");
    return v.asString();
}

}  // namespace

void MediaItemFromJson(const Json::Value& object, const std::string& where, ZEVO_MEDIA_INFO& item) {
    if (!object.isObject())
        Fail(where + ": a media item must be an object");
    memset(&item, 0, sizeof item);
    try {
        CopyField(item.path, TextMember(object, "path", where));
        CopyField(item.title, TextMember(object, "title", where));
        CopyField(item.video_codec, TextMember(object, "video_codec", where));
        CopyField(item.audio_codec, TextMember(object, "audio_codec", where));
        CopyField(item.container_type, TextMember(object, "container_type", where));
        item.resolutionx = IntMember(object, "resolutionx", where);
        item.resolutiony = IntMember(object, "resolutiony", where);
        item.video_bitrate = static_cast<uint32_t>(IntMember(object, "video_bitrate", where));
        item.audio_bitrate = static_cast<uint32_t>(IntMember(object, "audio_bitrate", where));
        item.frame_bitrate = static_cast<uint32_t>(IntMember(object, "frame_bitrate", where));
        item.frame_rate_num = IntMember(object, "frame_rate_num", where);
        item.frame_rate_den = IntMember(object, "frame_rate_den", where);
        item.channel = IntMember(object, "channel", where);
    } catch (const Json::Exception& e) {  // a number out of the int range
        Fail(where + ": " + e.what());
    }
}

Json::Value MediaItemToJson(const ZEVO_MEDIA_INFO& item) {
    Json::Value out(Json::objectValue);
    out["path"] = item.path;
    out["container_type"] = item.container_type;
    out["video_codec"] = item.video_codec;
    out["audio_codec"] = item.audio_codec;
    out["resolutionx"] = item.resolutionx;
    out["resolutiony"] = item.resolutiony;
    out["video_bitrate"] = static_cast<int>(item.video_bitrate);
    out["audio_bitrate"] = static_cast<int>(item.audio_bitrate);
    out["frame_bitrate"] = static_cast<int>(item.frame_bitrate);
    out["frame_rate_num"] = item.frame_rate_num;
    out["frame_rate_den"] = item.frame_rate_den;
    out["channel"] = item.channel;
    return out;
}

std::string MediaItemSummary(const ZEVO_MEDIA_INFO& item) {
    std::string out = Calyx::FileGetPathBaseName(item.path);
    if (out.empty())
        out = "(no path)";
    out += "  " + std::string(item.container_type[0] ? item.container_type : "?") + " " +
           (item.video_codec[0] ? item.video_codec : "?") + "/" +
           (item.audio_codec[0] ? item.audio_codec : "?") + " " + std::to_string(item.resolutionx) +
           "x" + std::to_string(item.resolutiony) + " " + std::to_string(item.channel) + "ch";
    return out;
}

}  // namespace calyx_tool
