#include "client/video_profile_rules.h"

#include <memory>

#include <ctype.h>
#include <string.h>

#include "calyx/core.h"
#include "platform/int_parse.h"

namespace Calyx {
namespace client_detail {

namespace {

const char* const kKeyTexts[kVideoFieldCount] = {
    "ext@",           "resolutionx@",    "resolutiony@",    "video_codec@",
    "audio_codec@",   "container_type@", "video_bitrate@",  "audio_bitrate@",
    "frame_bitrate@", "frame_rate_num@", "frame_rate_den@", "channel@",
};

size_t BoundedLength(const char* text, size_t capacity) {
    return strnlen(text, capacity);
}

template <size_t N>
void SetText(VideoItemView& view, VideoField field, const char (&text)[N]) {
    size_t index = static_cast<size_t>(field);
    view.text[index] = text;
    view.length[index] = BoundedLength(text, N);
}

bool EqualsLowered(const std::string& alternative, const char* text, size_t length) {
    if (alternative.size() != length) {
        return false;
    }
    for (size_t i = 0; i < length; ++i) {
        // Only the item side is lowered: an upper-case alternative never matches.
        if (alternative[i] != static_cast<char>(tolower(static_cast<unsigned char>(text[i])))) {
            return false;
        }
    }
    return true;
}

bool Satisfies(const CompiledCondition& condition, const VideoItemView& item) {
    size_t index = static_cast<size_t>(condition.field);
    switch (condition.kind) {
        case CompiledCondition::Kind::Alternatives:
            for (const std::string& alternative : condition.alternatives) {
                if (EqualsLowered(alternative, item.text[index], item.length[index])) {
                    return true;
                }
            }
            return false;
        case CompiledCondition::Kind::Exact:
            return item.number[index] == condition.low;
        case CompiledCondition::Kind::Between:
            return condition.low <= item.number[index] && item.number[index] <= condition.high;
        case CompiledCondition::Kind::Never:
            return false;
    }
    return false;
}

CompiledCondition CompileCondition(VideoField field, const std::string& text) {
    CompiledCondition condition{field, CompiledCondition::Kind::Never, 0, 0, {}, text};
    if (IsAlternativesField(field)) {
        condition.kind = CompiledCondition::Kind::Alternatives;
        condition.alternatives = StringExplode(text, "&");
        return condition;
    }
    const std::vector<int32_t> bounds = ReadRangeBounds(text);
    if (bounds.size() == 1) {
        condition.kind = CompiledCondition::Kind::Exact;
        condition.low = bounds[0];
    } else if (bounds.size() == 2) {
        condition.kind = CompiledCondition::Kind::Between;
        condition.low = bounds[0];
        condition.high = bounds[1];
    }
    return condition;
}

}  // namespace

const char* VideoFieldKeyText(VideoField field) {
    return kKeyTexts[static_cast<size_t>(field)];
}

bool IsAlternativesField(VideoField field) {
    return field == VideoField::Ext || field == VideoField::VideoCodec ||
           field == VideoField::AudioCodec || field == VideoField::ContainerType;
}

std::array<std::string, kVideoFieldCount> SplitRuleConditions(const std::string& rule,
                                                              std::vector<std::string>* ignored) {
    std::array<std::string, kVideoFieldCount> values;
    for (const std::string& piece : StringExplode(rule, "#")) {
        bool claimed = false;
        for (size_t i = 0; i < kVideoFieldCount && !claimed; ++i) {
            size_t found = piece.find(kKeyTexts[i]);
            if (found != std::string::npos) {
                values[i] = piece.substr(found + strlen(kKeyTexts[i]));
                claimed = true;
            }
        }
        if (!claimed && ignored != nullptr) {
            ignored->push_back(piece);
        }
    }
    return values;
}

std::vector<int32_t> ReadRangeBounds(const std::string& text) {
    std::vector<int32_t> bounds;
    for (const std::string& piece : StringExplode(text, "~")) {
        bounds.push_back(ParseRangeBound(piece));
    }
    return bounds;
}

int32_t ParseRangeBound(const std::string& text) {
    return detail::ParseSaturatingInt32(text.c_str());
}

CompiledRule CompileVideoProfileRule(const std::string& name, const std::string& rule) {
    CompiledRule compiled{name, rule, false, {}};
    std::array<std::string, kVideoFieldCount> values = SplitRuleConditions(rule);
    for (size_t i = 0; i < kVideoFieldCount; ++i) {
        if (!values[i].empty()) {
            compiled.namesCondition = true;
            compiled.conditions.push_back(CompileCondition(static_cast<VideoField>(i), values[i]));
        }
    }
    return compiled;
}

namespace {

void AppendSized(std::string& out, const std::string& text) {
    const size_t size = text.size();
    out.append(reinterpret_cast<const char*>(&size), sizeof size);
    out.append(text);
}

// Whether `text` stands at `pos` of `source` as AppendSized put it; advances `pos`.
bool MatchesSized(const std::string& source, size_t& pos, const std::string& text) {
    size_t size = 0;
    if (source.size() - pos < sizeof size) {
        return false;
    }
    memcpy(&size, source.data() + pos, sizeof size);
    pos += sizeof size;
    if (size != text.size() || source.size() - pos < size ||
        memcmp(source.data() + pos, text.data(), size) != 0) {
        return false;
    }
    pos += size;
    return true;
}

}  // namespace

bool CompiledVideoProfiles::CompiledFrom(const std::map<std::string, std::string>& settings) const {
    if (settings.size() != sourceEntries) {
        return false;
    }
    size_t pos = 0;
    for (const auto& setting : settings) {
        if (!MatchesSized(source, pos, setting.first) ||
            !MatchesSized(source, pos, setting.second)) {
            return false;
        }
    }
    return pos == source.size();
}

CompiledVideoProfiles* CompileVideoProfiles(const std::map<std::string, std::string>& settings) {
    auto compiled = std::make_unique<CompiledVideoProfiles>();
    compiled->rules.reserve(settings.size());
    for (const auto& setting : settings) {
        compiled->rules.push_back(CompileVideoProfileRule(setting.first, setting.second));
    }
    for (const auto& setting : settings) {
        AppendSized(compiled->source, setting.first);
        AppendSized(compiled->source, setting.second);
    }
    compiled->sourceEntries = settings.size();
    return compiled.release();
}

void MakeVideoItemView(const ZEVO_MEDIA_INFO& item, VideoItemView& view) {
    for (size_t i = 0; i < kVideoFieldCount; ++i) {
        view.text[i] = nullptr;
        view.length[i] = 0;
        view.number[i] = 0;
    }
    // The extension is the text after the last "." of the whole path ("" without one).
    size_t pathLength = BoundedLength(item.path, sizeof(item.path));
    const void* dot = memrchr(item.path, '.', pathLength);
    size_t extIndex = static_cast<size_t>(VideoField::Ext);
    if (dot != nullptr) {
        const char* ext = static_cast<const char*>(dot) + 1;
        view.text[extIndex] = ext;
        view.length[extIndex] = static_cast<size_t>(item.path + pathLength - ext);
    } else {
        view.text[extIndex] = item.path + pathLength;
    }
    SetText(view, VideoField::VideoCodec, item.video_codec);
    SetText(view, VideoField::AudioCodec, item.audio_codec);
    SetText(view, VideoField::ContainerType, item.container_type);
    view.number[static_cast<size_t>(VideoField::ResolutionX)] = item.resolutionx;
    view.number[static_cast<size_t>(VideoField::ResolutionY)] = item.resolutiony;
    view.number[static_cast<size_t>(VideoField::VideoBitrate)] =
        static_cast<int>(item.video_bitrate);
    view.number[static_cast<size_t>(VideoField::AudioBitrate)] =
        static_cast<int>(item.audio_bitrate);
    view.number[static_cast<size_t>(VideoField::FrameBitrate)] =
        static_cast<int>(item.frame_bitrate);
    view.number[static_cast<size_t>(VideoField::FrameRateNum)] = item.frame_rate_num;
    view.number[static_cast<size_t>(VideoField::FrameRateDen)] = item.frame_rate_den;
    view.number[static_cast<size_t>(VideoField::Channel)] = item.channel;
}

RuleOutcome EvaluateVideoProfileRule(const CompiledRule& rule, const VideoItemView& item) {
    if (!rule.namesCondition) {
        return {false, nullptr};
    }
    for (const CompiledCondition& condition : rule.conditions) {
        if (!Satisfies(condition, item)) {
            return {false, &condition};
        }
    }
    return {true, nullptr};
}

void CompiledRulesCache::reset() {
    const CompiledVideoProfiles* compiled =
        __atomic_exchange_n(&compiled_, nullptr, __ATOMIC_ACQ_REL);
    while (compiled != nullptr) {
        const CompiledVideoProfiles* older = compiled->replaced;
        delete compiled;
        compiled = older;
    }
}

const CompiledVideoProfiles* CompiledRulesCache::get(
    const std::map<std::string, std::string>& settings) const {
    // The slot is a plain pointer in the public header (which keeps <atomic> out of it);
    // every access here is atomic.
    const CompiledVideoProfiles* current = __atomic_load_n(&compiled_, __ATOMIC_ACQUIRE);
    // m_profileSettings is public: a host may have edited it directly since the rules
    // were compiled. Comparing contents sees every change, also one that keeps the size.
    if (current != nullptr && current->CompiledFrom(settings)) {
        return current;
    }
    // Several threads may compile at once; the first to publish wins, the others discard.
    CompiledVideoProfiles* fresh = CompileVideoProfiles(settings);
    fresh->replaced = current;
    const CompiledVideoProfiles* published = fresh;
    if (__atomic_compare_exchange_n(&compiled_, &current, published, false, __ATOMIC_ACQ_REL,
                                    __ATOMIC_ACQUIRE)) {
        return fresh;
    }
    fresh->replaced = nullptr;
    delete fresh;
    return current;
}

}  // namespace client_detail
}  // namespace Calyx
