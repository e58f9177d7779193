// Video-profile rules in compiled form: parsed once per agent, evaluated without allocating.
//
// A rule is "#"-separated conditions "key@value" over twelve fields of a media item. The
// compiled form keeps, per rule, only its non-empty conditions in evaluation order, with
// the alternatives of a list condition split and the bounds of a range condition parsed,
// so that holding an item against it costs a few comparisons.
#ifndef CALYX_CLIENT_VIDEO_PROFILE_RULES_H
#define CALYX_CLIENT_VIDEO_PROFILE_RULES_H

#include <stddef.h>
#include <stdint.h>

#include <array>
#include <map>
#include <string>
#include <vector>

#include "calyx/client.h"
#include "calyx/types.h"

namespace Calyx {
namespace client_detail {

// The twelve condition fields, in the order their key texts are tried and their
// conditions are evaluated.
enum class VideoField : uint8_t {
    Ext,
    ResolutionX,
    ResolutionY,
    VideoCodec,
    AudioCodec,
    ContainerType,
    VideoBitrate,
    AudioBitrate,
    FrameBitrate,
    FrameRateNum,
    FrameRateDen,
    Channel,
};
constexpr size_t kVideoFieldCount = 12;

// The key text with its "@", e.g. "ext@".
const char* VideoFieldKeyText(VideoField field);
// True for the fields compared as lists of alternatives (ext and the three codec texts);
// the others are ranges.
bool IsAlternativesField(VideoField field);

// The condition value of each field as the rule gives it: for each "#" piece, the first
// key text (in field order) found anywhere in it claims the piece with everything after
// its first occurrence; a later piece overrides an earlier one.
// Pieces that name no key text are ignored; `ignored`, when given, receives them in order.
std::array<std::string, kVideoFieldCount> SplitRuleConditions(
    const std::string& rule, std::vector<std::string>* ignored = nullptr);

// A range bound: strtol in base 10 (leading space, sign, digits up to the first other
// byte, 0 when there are none), saturated to the 32-bit range.
int32_t ParseRangeBound(const std::string& text);

// The bounds of a range condition: its "~"-separated pieces (empty ones dropped), each read
// with ParseRangeBound. One bound means exactly, two an inclusive range, others never.
std::vector<int32_t> ReadRangeBounds(const std::string& text);

struct CompiledCondition {
    enum class Kind : uint8_t {
        Alternatives,  // the lowered item text equals one of `alternatives`
        Exact,         // the item value equals `low`
        Between,       // low <= item value <= high
        Never,         // a range with no bound or more than two: nothing satisfies it
    };
    VideoField field;
    Kind kind;
    int32_t low;
    int32_t high;
    std::vector<std::string> alternatives;
    std::string text;  // the condition value as written, for diagnostics
};

struct CompiledRule {
    std::string name;
    std::string text;
    // False when the rule names no known condition with a value: it then never matches.
    bool namesCondition;
    std::vector<CompiledCondition> conditions;  // the non-empty ones, in field order
};

struct CompiledVideoProfiles {
    std::vector<CompiledRule> rules;  // in ascending byte order of the profile names
    // The settings these rules were compiled from, laid out in one buffer (each key and
    // value as its length and bytes, in map order) so that checking a map against them
    // reads memory in one sweep: any other content is compiled again.
    std::string source;
    size_t sourceEntries = 0;
    bool CompiledFrom(const std::map<std::string, std::string>& settings) const;
    // The rules this set replaced, kept alive (a thread may still hold them) until the
    // cache is reset or destroyed.
    const CompiledVideoProfiles* replaced = nullptr;
};

CompiledRule CompileVideoProfileRule(const std::string& name, const std::string& rule);
CompiledVideoProfiles* CompileVideoProfiles(const std::map<std::string, std::string>& settings);

// The values of one media item that conditions compare, looked at in place.
struct VideoItemView {
    const char* text[kVideoFieldCount];  // text fields (ext and codecs); others null
    size_t length[kVideoFieldCount];
    int number[kVideoFieldCount];  // range fields; bit rates converted to int
};
void MakeVideoItemView(const ZEVO_MEDIA_INFO& item, VideoItemView& view);

struct RuleOutcome {
    bool matched;
    // The first failing condition; null when matched or when the rule names no condition.
    const CompiledCondition* failed;
};
RuleOutcome EvaluateVideoProfileRule(const CompiledRule& rule, const VideoItemView& item);

}  // namespace client_detail
}  // namespace Calyx

#endif  // CALYX_CLIENT_VIDEO_PROFILE_RULES_H
