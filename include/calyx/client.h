// Client identification: agent profiles, the process-wide profile list, client matching and
// video profile selection.
//
// Thread safety: the profile list has no lock. Load it (InitProfileList) before other
// threads use it and release it (ReleaseClientList) after they stop; in between, GetAgent,
// checker construction and getVideoProfileName may run on any number of threads at once.
// Nothing here throws.
#ifndef CALYX_CLIENT_H
#define CALYX_CLIENT_H

#include <stdint.h>

#include <map>
#include <string>
#include <vector>

#include "calyx/export.h"
#include "calyx/types.h"

namespace Json {
class Value;
}  // namespace Json

namespace Calyx {

/// The profile name of a client that no record matches: it means "no profile" and is never
/// looked up in the profile list.
constexpr char kDefaultProfileName[] = "Default Profile";
/// A profile list setting whose key begins with this names a video profile.
constexpr char kProfileSettingPrefix[] = "profile";

namespace client_detail {
struct CompiledVideoProfiles;

// Internal to the library: an agent's video-profile rules in their compiled form. It
// stands here only because Agent holds one (its size is part of Agent's layout); its
// contents are the library's own. Built on first use (safe from several threads at once)
// and built again whenever the settings' content differs from what they were compiled
// from (a replaced set stays allocated until reset or destruction, since another thread
// may still read it); dropped by setPair. Copies start empty: the copy compiles its own
// rules when first asked.
class CALYX_EXPORT CompiledRulesCache {
public:
    CompiledRulesCache() = default;
    CompiledRulesCache(const CompiledRulesCache&) {}
    // Assigning only drops the compiled rules, which is as safe onto itself as onto another.
    // NOLINTNEXTLINE(bugprone-unhandled-self-assignment)
    CompiledRulesCache& operator=(const CompiledRulesCache&) {
        reset();
        return *this;
    }
    ~CompiledRulesCache() { reset(); }

    void reset();
    const CompiledVideoProfiles* get(const std::map<std::string, std::string>& settings) const;

private:
    // Read and written only with atomic operations, by the library.
    mutable const CompiledVideoProfiles* compiled_ = nullptr;
};
}  // namespace client_detail

/// One client profile of the profile list: its name, the renderer families it belongs to
/// (agent types), the optional behaviours switched on for it (capability options), the
/// characters the client cannot display and its profile settings (video-profile rules).
///
/// Agents are filled through setPair while the profile list loads and are read-only
/// afterwards. The fields are public for the host to read. A direct edit of
/// m_profileSettings is seen by the next getVideoProfileName (which compares the map with
/// what its compiled rules came from); it must not overlap with selections on other
/// threads.
class CALYX_EXPORT Agent {
public:
    /// Renderer families, as bits of m_agentType.
    enum AGENT_TYPE : uint32_t {
        AGENT_TYPE_DLNA = 1u << 0,       ///< "dlna"
        AGENT_TYPE_XBOX = 1u << 1,       ///< "xbox"
        AGENT_TYPE_MSCLIENT = 1u << 2,   ///< "msclient"
        AGENT_TYPE_WMP = 1u << 3,        ///< "wmp"
        AGENT_TYPE_ROKU = 1u << 4,       ///< "roku"
        AGENT_TYPE_MUSICONLY = 1u << 5,  ///< "musiconly"
        AGENT_TYPE_WDTVLIVE = 1u << 6,   ///< "wdtvlive"
        AGENT_TYPE_SAMSUNGTV = 1u << 7,  ///< "samsungtv"
    };

    /// Capability options, as bits of m_capability. The host decides what each one means.
    enum AGENT_CAPOPT : uint32_t {
        AGENT_CAPOPT_XMRES = 1u << 0,               ///< "xmres"
        AGENT_CAPOPT_TRANSWAV = 1u << 1,            ///< "transwav"
        AGENT_CAPOPT_TRANSPCM = 1u << 2,            ///< "transpcm"
        AGENT_CAPOPT_XALBART = 1u << 3,             ///< "xalbart"
        AGENT_CAPOPT_REVIMGRES = 1u << 4,           ///< "revimgres"
        AGENT_CAPOPT_XVCOVER = 1u << 5,             ///< "xvcover"
        AGENT_CAPOPT_TRANSMKV = 1u << 6,            ///< "transmkv"
        AGENT_CAPOPT_VIDEOALBART = 1u << 7,         ///< "videoalbart"
        AGENT_CAPOPT_VIDEOSRT = 1u << 8,            ///< "videosrt"
        AGENT_CAPOPT_PHOTOWITHXLTHUMB = 1u << 9,    ///< "photowithxlthumb"
        AGENT_CAPOPT_VIDEOSUBTITLEITEM = 1u << 10,  ///< "videosubtitleitem"
        AGENT_CAPOPT_PHOTOFORCEJPEGPN = 1u << 11,   ///< "photoforcejpegpn"
        AGENT_CAPOPT_XLIBDLNAMODULE = 1u << 12,     ///< "xlibdlnamodule"
        AGENT_CAPOPT_PHOTOFORCEBGTHUMB = 1u << 13,  ///< "photoforcebgthumb"
        AGENT_CAPOPT_CUSTOMIZESYMBOL = 1u << 14,    ///< "customizesymbol"
        AGENT_CAPOPT_ORIGCOVER = 1u << 15,          ///< "origcover"
        AGENT_CAPOPT_SENDVSMETADATA = 1u << 16,     ///< "sendvsmetadata"
        AGENT_CAPOPT_VIDEOWITHEXT = 1u << 17,       ///< "videowithext"
    };

    /// An agent named `profileName` with no types, options, offend chars or settings.
    explicit Agent(const std::string& profileName);
    virtual ~Agent();

    /// Sets (`on`) or clears the bits of `type` in m_agentType; any mask is accepted.
    void setAgentType(AGENT_TYPE type, bool on);
    /// Sets (`on`) or clears the bits of `opt` in m_capability; any mask is accepted.
    void setCapability(AGENT_CAPOPT opt, bool on);
    /// True when `name` equals the profile name byte for byte (case matters).
    bool checkProfileName(const std::string& name);

    /// Takes one key/value pair of a profile entry; the first rule that applies decides:
    /// - a key beginning with "profile": when it holds an "@", the text after the first
    ///   "@" becomes a setting key whose first value is kept (later ones are dropped);
    ///   without an "@" the pair is ignored;
    /// - an agent type name ("dlna", "xbox", ...; exact bytes): the type is switched on
    ///   when `value` is exactly "yes", off otherwise;
    /// - "agentopt": every option name among the blank- or tab-separated words of `value`
    ///   is switched on (unknown words are ignored; nothing is switched off);
    /// - anything else is ignored.
    void setPair(const std::string& key, const std::string& value);

    std::string m_offendChars;  ///< characters this client cannot display
    uint32_t m_agentType;       ///< bits of AGENT_TYPE
    uint32_t m_capability;      ///< bits of AGENT_CAPOPT
    /// Profile settings by the text after the "@" of their key: video-profile rules.
    std::map<std::string, std::string> m_profileSettings;
    std::string m_profileName;  ///< the profile's name; never changed after construction

    /// The compiled form of m_profileSettings used by getVideoProfileName (internal).
    client_detail::CompiledRulesCache m_compiledRules;
};

/// The result of matching one client to a profile, made per request, plus the class-wide
/// profile list.
///
/// Profile list file: a JSON object (comments allowed) whose "ProfileList" array holds one
/// object per profile. Of each entry, "profileName" names the agent (an entry without it is
/// skipped), "offendchars" becomes m_offendChars, "profileID" is not read here, and every
/// other member goes to Agent::setPair in ascending byte order of the member names. Values
/// are read as text: a number as its decimal text, a boolean as "true"/"false", null as "".
///
/// Wrong-typed input is loaded as far as it makes sense and never throws: a top level that
/// is not an object, or a "ProfileList" that is not an array, adds nothing (the load still
/// succeeds); an entry that is not an object, or whose "profileName" is an array or object,
/// is skipped; any other member whose value is an array or object is ignored, and the rest
/// of its entry is loaded.
class CALYX_EXPORT DMSClientChecker {
public:
    /// Appends one agent per usable entry of the profile list file at `path` (earlier
    /// agents keep shadowing later ones of the same name). False, with an error logged and
    /// the list unchanged, when the file cannot be opened or is not valid JSON.
    static bool InitProfileList(const std::string& path);
    /// Deletes every agent of the list and empties it. Checkers made earlier keep a
    /// dangling m_agent, which the host must no longer use.
    static void ReleaseClientList();
    /// The first agent in list order named exactly `profileName`, or null. Borrowed.
    static Agent* GetAgent(const std::string& profileName);
    /// `text` up to its first newline, leading spaces dropped, with a backslash before each
    /// of the characters .[]*+?|^${}\<>() so it can stand inside a regular expression. A
    /// null `text` gives "".
    static std::string EscapeRegex(const char* text);

    /// Matches `profileName` to the profile list. A profile found by name (never for the
    /// name "Default Profile") gives its type flags, capability bits and offend chars;
    /// otherwise only m_isDLNA can be set: to `defaultDLNA` when `userAgent` is empty, to
    /// true when `userAgent` contains "DLNADOC".
    DMSClientChecker(const std::string& userAgent, const std::string& profileName,
                     bool defaultDLNA);

    /// A copy of m_offendChars.
    std::string GetOffendChar();

    /// The name of the first video profile of the matched agent (in ascending name order)
    /// whose every condition `item` satisfies; "" when none does, when no agent matched or
    /// when `item` is null. Allocates nothing but the returned name.
    std::string getVideoProfileName(const ZEVO_MEDIA_INFO* item);
    /// True when one of the "&"-separated alternatives of `setting` equals `value` lowered.
    bool checkIsSatisfyValue(const std::string& setting, const std::string& value);
    /// Splits `setting` at "~": one piece goes to `low`, two pieces to `low` and `high`;
    /// any other count touches neither.
    void getRangeBySetting(const std::string& setting, std::string& low, std::string& high);
    /// True when `value` equals the single bound of `setting`, or lies within its two
    /// bounds (inclusive). Bounds are read like strtol in base 10, saturated to 32 bits.
    bool checkIsSatisfyRange(const std::string& setting, const int& value);

    std::string m_offendChars;  ///< the matched agent's offend chars, or ""
    std::string m_profileName;  ///< the profile name the checker was made for
    bool m_isMSClient;
    bool m_isXbox;
    bool m_isDLNA;
    bool m_isWMP;
    bool m_isMusicOnly;
    bool m_isRoku;
    bool m_isWDTVLive;
    bool m_isSamsungTV;
    bool m_defaultDLNA;     ///< the constructor's `defaultDLNA`
    uint32_t m_capability;  ///< the matched agent's capability bits, or 0
    Agent* m_agent;         ///< the matched agent (borrowed from the profile list), or null
};

// =======================================================================================
// Beyond the published interface: the vocabularies of Agent::setPair, the rule splitter of
// video profile selection, how the loader reads a profile list and why an item does or does
// not get a video profile. Read from the tables, the parser and the loader that the
// published functions use.
// =======================================================================================

/// The agent type names ("dlna", "xbox", ...) in table order.
CALYX_EXPORT std::vector<std::string> AgentTypeNames();
/// The capability option names ("xmres", "transwav", ...) in table order.
CALYX_EXPORT std::vector<std::string> AgentCapabilityNames();
/// The names of the agent type bits set in `bits`, in table order.
CALYX_EXPORT std::vector<std::string> AgentTypeNamesOf(uint32_t bits);
/// The names of the capability option bits set in `bits`, in table order.
CALYX_EXPORT std::vector<std::string> AgentCapabilityNamesOf(uint32_t bits);

/// The names of the agents the profile list load made ("profileName" of each agent), in
/// load order, each once: exactly the profiles DMSClientChecker can find. Empty before
/// InitProfileList and after ReleaseClientList. Not safe while a load or release runs.
CALYX_EXPORT std::vector<std::string> LoadedProfileNames();

/// One condition of a video-profile rule as the matcher reads it.
struct VideoRuleCondition {
    std::string key;      ///< the key text with its "@", e.g. "resolutionx@"
    std::string value;    ///< the condition value, e.g. "1~1920"
    bool isList = false;  ///< true: alternatives separated by "&"; false: a range
};

/// The twelve condition key texts ("ext@" ... "channel@") in the order they are tried.
CALYX_EXPORT std::vector<std::string> VideoProfileConditionKeys();
/// Splits `rule` exactly as video profile selection does and returns its non-empty
/// conditions in evaluation order. Empty when the rule names no known condition (such a
/// rule never matches).
CALYX_EXPORT std::vector<VideoRuleCondition> SplitVideoProfileRule(const std::string& rule);
/// The "#"-separated pieces of `rule` that name no condition key, in order: video profile
/// selection ignores them.
CALYX_EXPORT std::vector<std::string> VideoRuleIgnoredPieces(const std::string& rule);

/// The bounds of a range condition (the value of a VideoRuleCondition that is not a list,
/// e.g. "1~1920") as video profile selection reads them: its "~"-separated pieces (empty
/// pieces dropped), each read like strtol in base 10 and saturated to 32 bits. The
/// condition can hold only with one bound (exactly) or two (inclusive range).
CALYX_EXPORT std::vector<int32_t> VideoRuleRangeBounds(const std::string& value);

/// How loading the profile list treats one member of a "ProfileList" entry.
enum class ProfileMemberUse : uint8_t {
    Name,              ///< "profileName": names the agent
    Identification,    ///< "profileID": not read here (the client list matches with it)
    OffendChars,       ///< "offendchars": the agent's offend chars
    Setting,           ///< a key beginning with "profile" that holds an "@": a video profile
    SettingWithoutAt,  ///< a key beginning with "profile" without an "@": ignored
    AgentType,         ///< an agent type name ("dlna", ...): switched on by "yes"
    AgentOptions,      ///< "agentopt": the capability options named by its words
    Unknown,           ///< any other key: ignored
};

/// One member of a "ProfileList" entry as the loader reads it.
struct ProfileMemberReading {
    std::string key;
    ProfileMemberUse use = ProfileMemberUse::Unknown;
    /// False for an array or object value, which has no text: the loader then ignores the
    /// member, whatever its key.
    bool hasText = false;
    std::string text;     ///< the value as text (a number in decimal, "true"/"false", null "")
    std::string setting;  ///< Setting: the setting key, the text after the first "@"
    /// Setting: the key of the member whose rule the setting holds; another key than
    /// `key` when an earlier member (in load order) set the same setting first.
    std::string settingFrom;
    /// AgentOptions: the words of the value (blank- or tab-separated) that name no
    /// capability option, in order; they are ignored.
    std::vector<std::string> unknownOptions;
};

/// One element of "ProfileList" as the loader reads it.
struct ProfileEntryReading {
    bool isObject = false;  ///< false: the element is skipped
    /// True when the loader makes an agent of the entry: it is an object with a present
    /// "profileName" that has a text form. False: skipped whole.
    bool loaded = false;
    std::string profileName;  ///< the agent's name when loaded
    /// Every member of a loaded entry, in the order the loader takes them (ascending byte
    /// order of the keys).
    std::vector<ProfileMemberReading> members;
};

/// What the top level of a profile list document gives the loader.
enum class ProfileListShape : uint8_t {
    NotAnObject,  ///< the document is not an object: nothing is loaded
    NoList,       ///< "ProfileList" is missing or null: nothing is loaded
    NotAnArray,   ///< "ProfileList" is neither an array nor null: nothing is loaded
    List,         ///< "ProfileList" is an array: its elements are read
};

/// A profile list document as DMSClientChecker::InitProfileList reads it.
struct ProfileListReading {
    ProfileListShape shape = ProfileListShape::NotAnObject;
    std::vector<ProfileEntryReading> entries;  ///< one per element of "ProfileList"
};

/// Reads `document` (a parsed profile list file) the way InitProfileList loads it, with the
/// same decisions, and reports them without loading anything. Never throws: out of memory
/// gives what was read so far.
CALYX_EXPORT ProfileListReading ReadProfileListDocument(const Json::Value& document);

/// How one video-profile rule judged one item.
struct VideoProfileVerdict {
    std::string profileName;  ///< the video profile (setting key)
    std::string rule;         ///< its rule text
    bool matched = false;     ///< every condition held
    /// Why it did not match: the key text of the first failing condition (e.g.
    /// "resolutionx@"), or "" when the rule names no known condition. "" when matched.
    std::string failedKey;
    std::string failedCondition;  ///< the failing condition's value, e.g. "1~1920"
    std::string itemValue;        ///< the item's value it was held against, as text
};

/// Holds `item` against every video profile of `agent` in the order getVideoProfileName
/// tries them, without stopping at the first match; the first verdict with `matched` set
/// names the profile getVideoProfileName returns. Empty when either pointer is null.
CALYX_EXPORT std::vector<VideoProfileVerdict> ExplainVideoProfiles(const Agent* agent,
                                                                   const ZEVO_MEDIA_INFO* item);

}  // namespace Calyx

#endif  // CALYX_CLIENT_H
