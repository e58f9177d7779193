#include "upnp/didl_metadata.h"

#include <stdio.h>
#include <time.h>

#include "calyx/core.h"
#include "calyx/host.h"
#include "common/library_clock.h"

namespace calyx_dms {

namespace {

std::string Element(const char* name, const std::string& text) {
    return std::string("<") + name + ">" + Calyx::XMLEscape(text, nullptr) + "</" + name + ">";
}

std::string Attribute(const char* name, const std::string& value) {
    return std::string(" ") + name + "=\"" + value + "\"";
}

// Bits per second to the bytes per second of res@bitrate.
long long BytesPerSecond(long long bitsPerSecond) {
    return bitsPerSecond / 8;
}

// The bit rate of the whole stream: the container's, else the sum of its parts.
long long StreamBitRate(const ZEVO_MEDIA_INFO& info, bool withVideo) {
    if (info.frame_bitrate > 0)
        return info.frame_bitrate;
    return static_cast<long long>(info.audio_bitrate) + (withVideo ? info.video_bitrate : 0);
}

std::string LocalTimeText(long long seconds) {
    const time_t when = static_cast<time_t>(seconds);
    struct tm parts;
    if (localtime_r(&when, &parts) == nullptr)
        return "";
    char text[32];
    strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &parts);
    return text;
}

}  // namespace

std::string ItemDateOf(const Entry& entry) {
    const ZEVO_MEDIA_INFO& info = entry.info;
    if (info.date[0])
        return info.date;
    if (info.year > 0 && info.year <= 9999) {
        char text[16];
        snprintf(text, sizeof text, "%04d-01-01", info.year);
        return text;
    }
    // A song's file time says nothing about the song; a video's or photo's is the best
    // guess of when it was made.
    if (entry.table != Calyx::MEDIA_TABLE_MUSIC && info.mdate > 0)
        return LocalTimeText(info.mdate);
    return "";
}

std::string ItemElements(const Entry& entry, long long& libraryNanos) {
    const ZEVO_MEDIA_INFO& info = entry.info;
    std::string out;
    const std::string date = ItemDateOf(entry);
    if (!date.empty()) {
        LibraryTimer timer(libraryNanos);
        out += Element("dc:date", Calyx::DMSFormatUPNPDate(date.c_str()));
    }
    if (entry.table != Calyx::MEDIA_TABLE_MUSIC)
        return out;
    if (info.artist[0])
        out += Element("upnp:artist", info.artist) + Element("dc:creator", info.artist);
    if (info.album[0])
        out += Element("upnp:album", info.album);
    if (info.genre[0])
        out += Element("upnp:genre", info.genre);
    if (info.track > 0)
        out += Element("upnp:originalTrackNumber", std::to_string(info.track));
    return out;
}

std::string ResAttributes(const Entry& entry, long long& libraryNanos) {
    const ZEVO_MEDIA_INFO& info = entry.info;
    const bool photo = entry.table == Calyx::MEDIA_TABLE_PHOTO;
    const bool video = entry.table == Calyx::MEDIA_TABLE_VIDEO;
    std::string out;
    if (info.duration > 0 && !photo) {
        LibraryTimer timer(libraryNanos);
        out += Attribute("duration", Calyx::DMSFormatUPNPDuration(info.duration));
    }
    if (info.filesize > 0)
        out += Attribute("size", std::to_string(info.filesize));
    if (!photo) {
        const long long rate = BytesPerSecond(StreamBitRate(info, video));
        if (rate > 0)
            out += Attribute("bitrate", std::to_string(rate));
        if (info.samplerate > 0)
            out += Attribute("sampleFrequency", std::to_string(info.samplerate));
        if (info.channel > 0)
            out += Attribute("nrAudioChannels", std::to_string(info.channel));
        if (entry.bitsPerSample > 0)
            out += Attribute("bitsPerSample", std::to_string(entry.bitsPerSample));
    }
    if (info.resolutionx > 0 && info.resolutiony > 0 && entry.table != Calyx::MEDIA_TABLE_MUSIC)
        out += Attribute("resolution",
                         std::to_string(info.resolutionx) + "x" + std::to_string(info.resolutiony));
    return out;
}

}  // namespace calyx_dms
