// The straightforward video-profile selection, step by step as the rules are described:
// copy the profile map, split every rule on every call, compare through the string
// helpers. The library's compiled path must give exactly its results; the differential
// test and the benchmark use it as the yardstick.
#ifndef CALYX_TESTS_CLIENT_VIDEO_PROFILE_REFERENCE_H
#define CALYX_TESTS_CLIENT_VIDEO_PROFILE_REFERENCE_H

#include <ctype.h>
#include <stdint.h>

#include <map>
#include <string>
#include <vector>

#include "calyx/core.h"
#include "calyx/types.h"

namespace calyx_reference {

// strtol in base 10 as on a machine whose long has 32 bits: leading white space, an
// optional sign, then digits up to the first other byte; saturates at the 32-bit limits.
inline long Strtol32(const std::string& text) {
    const char* c = text.c_str();
    while (isspace(static_cast<unsigned char>(*c))) {
        ++c;
    }
    bool negative = false;
    if (*c == '+' || *c == '-') {
        negative = *c == '-';
        ++c;
    }
    int64_t magnitude = 0;
    const int64_t limit = negative ? 2147483648LL : 2147483647LL;
    for (; *c >= '0' && *c <= '9'; ++c) {
        magnitude = magnitude * 10 + (*c - '0');
        if (magnitude > limit) {
            magnitude = limit;  // saturated; later digits cannot bring it back
        }
    }
    return static_cast<long>(negative ? -magnitude : magnitude);
}

inline bool SatisfyValue(const std::string& setting, const std::string& value) {
    std::vector<std::string> pieces = Calyx::StringExplode(setting, "&");
    for (size_t i = 0; i < pieces.size(); ++i) {
        if (pieces[i] == Calyx::StringToLower(value)) {
            return true;
        }
    }
    return false;
}

inline void RangeBySetting(const std::string& setting, std::string& low, std::string& high) {
    std::vector<std::string> pieces = Calyx::StringExplode(setting, "~");
    if (pieces.size() == 1) {
        low = pieces[0];
    } else if (pieces.size() == 2) {
        low = pieces[0];
        high = pieces[1];
    }
}

inline bool SatisfyRange(const std::string& setting, const int& value) {
    std::string low;
    std::string high;
    RangeBySetting(setting, low, high);
    if (low.empty()) {
        return false;
    }
    if (high.empty()) {
        return value == Strtol32(low);
    }
    return Strtol32(low) <= value && value <= Strtol32(high);
}

// True when the one rule holds for the item (the body of the per-profile loop).
inline bool RuleMatches(const std::string& rule, const std::string& ext,
                        const std::string& videoCodec, const std::string& audioCodec,
                        const std::string& containerType, const ZEVO_MEDIA_INFO* item) {
    static const char* const keys[12] = {
        "ext@",           "resolutionx@",    "resolutiony@",    "video_codec@",
        "audio_codec@",   "container_type@", "video_bitrate@",  "audio_bitrate@",
        "frame_bitrate@", "frame_rate_num@", "frame_rate_den@", "channel@",
    };
    std::string values[12];
    std::vector<std::string> pieces = Calyx::StringExplode(rule, "#");
    for (size_t p = 0; p < pieces.size(); ++p) {
        for (int k = 0; k < 12; ++k) {
            size_t at = pieces[p].find(keys[k]);
            if (at != std::string::npos) {
                values[k] = pieces[p].substr(at + std::string(keys[k]).size());
                break;
            }
        }
    }
    bool any = false;
    for (int k = 0; k < 12; ++k) {
        any = any || !values[k].empty();
    }
    if (!any) {
        return false;
    }
    if (!values[0].empty() && !SatisfyValue(values[0], ext))
        return false;
    if (!values[1].empty() && !SatisfyRange(values[1], item->resolutionx))
        return false;
    if (!values[2].empty() && !SatisfyRange(values[2], item->resolutiony))
        return false;
    if (!values[3].empty() && !SatisfyValue(values[3], videoCodec))
        return false;
    if (!values[4].empty() && !SatisfyValue(values[4], audioCodec))
        return false;
    if (!values[5].empty() && !SatisfyValue(values[5], containerType))
        return false;
    if (!values[6].empty() && !SatisfyRange(values[6], static_cast<int>(item->video_bitrate)))
        return false;
    if (!values[7].empty() && !SatisfyRange(values[7], static_cast<int>(item->audio_bitrate)))
        return false;
    if (!values[8].empty() && !SatisfyRange(values[8], static_cast<int>(item->frame_bitrate)))
        return false;
    if (!values[9].empty() && !SatisfyRange(values[9], item->frame_rate_num))
        return false;
    if (!values[10].empty() && !SatisfyRange(values[10], item->frame_rate_den))
        return false;
    if (!values[11].empty() && !SatisfyRange(values[11], item->channel))
        return false;
    return true;
}

// The video profile name for `item` under `settings` (an agent's m_profileSettings).
inline std::string VideoProfileName(const std::map<std::string, std::string>& settings,
                                    const ZEVO_MEDIA_INFO* item) {
    std::string ext = Calyx::FileGetFileExt(item->path);
    std::string videoCodec = item->video_codec;
    std::string audioCodec = item->audio_codec;
    std::string containerType = item->container_type;
    std::map<std::string, std::string> copy = settings;
    for (std::map<std::string, std::string>::const_iterator it = copy.begin(); it != copy.end();
         ++it) {
        if (RuleMatches(it->second, ext, videoCodec, audioCodec, containerType, item)) {
            return it->first;
        }
    }
    return std::string();
}

}  // namespace calyx_reference

#endif  // CALYX_TESTS_CLIENT_VIDEO_PROFILE_REFERENCE_H
