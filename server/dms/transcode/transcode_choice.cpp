#include "transcode/transcode_choice.h"

#include <string.h>

#include <algorithm>

#include "calyx/core.h"
#include "calyx/host.h"
#include "common/server_paths.h"

namespace calyx_dms {

namespace {

// DLNA 1.5 flags of a stream: streaming and background transfer, connection stalling.
const char kFlags[] = "DLNA.ORG_FLAGS=01700000000000000000000000000000";
// Encoders of the video targets' audio, in the order a rule's list is read.
const char* const kAudioEncoders[] = {"aac", "ac3", "mp2"};
constexpr int kSdWidth = 720;
constexpr int kSdHeight = 576;

void Copy(char* field, size_t size, const std::string& text) {
    strncpy(field, text.c_str(), size - 1);
    field[size - 1] = '\0';
}

bool HasVideoRules(const Calyx::DMSClientChecker& checker) {
    return checker.m_agent != nullptr && !checker.m_agent->m_profileSettings.empty();
}

// The item as the transcode of `target` leaves it, in the fields the rules compare.
ZEVO_MEDIA_INFO ResultOf(const TranscodeTarget& target, const ZEVO_MEDIA_INFO& item) {
    ZEVO_MEDIA_INFO out = item;
    Copy(out.path, sizeof out.path, "transcode.ts");
    Copy(out.container_type, sizeof out.container_type, "mpegts");
    if (target.kind == TranscodeTarget::kVideo) {
        TargetFrameSize(target, item, out.resolutionx, out.resolutiony);
        Copy(out.video_codec, sizeof out.video_codec, "h264");
        if (item.audio_codec[0] != '\0')
            Copy(out.audio_codec, sizeof out.audio_codec, target.audioCodec);
        out.channel = target.channels;
        const int bits = Calyx::GetTransBitRate(EncoderArgsFor(target, item));
        out.frame_bitrate = bits > 0 ? static_cast<uint32_t>(bits) : 0;
    }
    return out;
}

// The bounds of a range condition: one number is both.
bool Bounds(const std::string& value, int& low, int& high) {
    std::vector<int32_t> bounds = Calyx::VideoRuleRangeBounds(value);
    if (bounds.empty() || bounds.size() > 2)
        return false;
    low = bounds.front();
    high = bounds.back();
    return low <= high;
}

// The video target a rule asks for, read with the library's rule splitter: its largest
// frame, the first audio codec of its list that an encoder makes, its channel range.
TranscodeTarget TargetOfRule(const std::string& rule, const ZEVO_MEDIA_INFO& item) {
    TranscodeTarget target;
    target.channels = std::clamp(item.channel, 1, 2);
    for (const Calyx::VideoRuleCondition& condition : Calyx::SplitVideoProfileRule(rule)) {
        int low = 0;
        int high = 0;
        if (condition.key == "resolutionx@" && Bounds(condition.value, low, high))
            target.maxWidth = std::clamp(high, 16, 4096);
        else if (condition.key == "resolutiony@" && Bounds(condition.value, low, high))
            target.maxHeight = std::clamp(high, 16, 2304);
        else if (condition.key == "channel@" && Bounds(condition.value, low, high))
            target.channels = std::clamp(target.channels, std::max(low, 1), std::min(high, 2));
        else if (condition.key == "audio_codec@") {
            std::vector<std::string> listed = Calyx::StringExplode(condition.value, "&");
            for (const std::string& codec : listed) {
                if (std::find(std::begin(kAudioEncoders), std::end(kAudioEncoders), codec) !=
                    std::end(kAudioEncoders)) {
                    target.audioCodec = codec;
                    break;
                }
            }
        }
    }
    return target;
}

std::string DefaultProfileName(const TranscodeTarget& target, const ZEVO_MEDIA_INFO& item) {
    if (target.kind == TranscodeTarget::kLpcm)
        return "LPCM";
    if (target.kind != TranscodeTarget::kVideo)
        return "";
    int width = 0;
    int height = 0;
    TargetFrameSize(target, item, width, height);
    const std::string size = width <= kSdWidth && height <= kSdHeight ? "SD" : "HD";
    if (target.audioCodec == "aac")
        return "AVC_TS_MP_" + size + "_AAC_MULT5_ISO";
    if (target.audioCodec == "ac3")
        return "AVC_TS_MP_" + size + "_AC3_ISO";
    return "";
}

// Music every renderer plays: MP3 and uncompressed PCM.
bool PlaysAnywhere(const ZEVO_MEDIA_INFO& item) {
    const std::string codec = Calyx::StringToLower(item.audio_codec);
    return codec == "mp3" || codec == "lpcm";
}

TranscodeOffer OfferOf(const TranscodeTarget& target, const Entry& entry,
                       Calyx::DMSClientChecker& checker) {
    const ZEVO_MEDIA_INFO& item = entry.info;
    TranscodeOffer offer;
    offer.target = target;
    offer.path = std::string(kTranscodePrefix) + TableLetter(entry.table) + "/" +
                 std::to_string(item.id) + "/" + TargetToken(target) + "." +
                 TargetExtension(target);
    offer.mime = TargetMime(target);
    offer.features = TranscodeFeatures(target, entry, checker);
    const std::string args = EncoderArgsFor(target, item);
    const int bits = Calyx::GetTransBitRate(args);
    offer.bytesPerSecond = bits > 0 ? bits / 8 : 0;
    offer.size = item.duration > 0
                     ? Calyx::PredictTransFileSize(args, static_cast<float>(item.duration))
                     : 0;
    if (target.kind == TranscodeTarget::kVideo) {
        int width = 0;
        int height = 0;
        TargetFrameSize(target, item, width, height);
        offer.resolution = std::to_string(width) + "x" + std::to_string(height);
        offer.channels = item.audio_codec[0] ? target.channels : 0;
    } else if (target.kind == TranscodeTarget::kRemux) {
        if (item.resolutionx > 0 && item.resolutiony > 0)
            offer.resolution =
                std::to_string(item.resolutionx) + "x" + std::to_string(item.resolutiony);
        offer.channels = item.channel;
    } else {
        offer.channels = target.channels;
        offer.sampleRate = target.sampleRate;
    }
    return offer;
}

}  // namespace

std::string TranscodeFeatures(const TranscodeTarget& target, const Entry& entry,
                              Calyx::DMSClientChecker& checker) {
    std::string pn;
    if (target.kind == TranscodeTarget::kVideo || target.kind == TranscodeTarget::kRemux) {
        const ZEVO_MEDIA_INFO result = ResultOf(target, entry.info);
        pn = checker.getVideoProfileName(&result);
    }
    if (pn.empty())
        pn = DefaultProfileName(target, entry.info);
    return (pn.empty() ? std::string() : "DLNA.ORG_PN=" + pn + ";") +
           "DLNA.ORG_OP=10;DLNA.ORG_CI=1;" + kFlags;
}

std::vector<TranscodeOffer> TranscodesFor(const Entry& entry, Calyx::DMSClientChecker& checker) {
    std::vector<TranscodeOffer> offers;
    const ZEVO_MEDIA_INFO& item = entry.info;
    if (entry.table == Calyx::MEDIA_TABLE_MUSIC) {
        if (PlaysAnywhere(item) || item.audio_codec[0] == '\0')
            return offers;
        if (checker.m_capability & Calyx::Agent::AGENT_CAPOPT_TRANSPCM)
            offers.push_back(OfferOf(PcmTargetFor(item, TranscodeTarget::kLpcm), entry, checker));
        if (checker.m_capability & Calyx::Agent::AGENT_CAPOPT_TRANSWAV)
            offers.push_back(OfferOf(PcmTargetFor(item, TranscodeTarget::kWav), entry, checker));
        return offers;
    }
    if (entry.table != Calyx::MEDIA_TABLE_VIDEO || !HasVideoRules(checker) ||
        !checker.getVideoProfileName(&item).empty())
        return offers;
    if ((checker.m_capability & Calyx::Agent::AGENT_CAPOPT_TRANSMKV) &&
        Calyx::StringToLower(item.container_type) == "matroska") {
        TranscodeTarget remux;
        remux.kind = TranscodeTarget::kRemux;
        const ZEVO_MEDIA_INFO result = ResultOf(remux, item);
        if (!checker.getVideoProfileName(&result).empty()) {
            offers.push_back(OfferOf(remux, entry, checker));
            return offers;
        }
    }
    // A copy of the rules: the agent is shared, and name order is the map's order.
    const std::map<std::string, std::string> rules = checker.m_agent->m_profileSettings;
    for (const auto& [name, rule] : rules) {
        const TranscodeTarget target = TargetOfRule(rule, item);
        const ZEVO_MEDIA_INFO result = ResultOf(target, item);
        // The rule is satisfied when its own transcode matches it (or a rule tried before).
        const std::string matched = checker.getVideoProfileName(&result);
        if (!matched.empty() && matched <= name) {
            offers.push_back(OfferOf(target, entry, checker));
            return offers;
        }
    }
    TranscodeTarget fallback;
    fallback.channels = std::clamp(item.channel, 1, 2);
    offers.push_back(OfferOf(fallback, entry, checker));
    return offers;
}

}  // namespace calyx_dms
