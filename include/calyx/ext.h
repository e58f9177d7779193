// Extensions of libcalyx that go beyond its published interface.
//
// These are documented, stable helpers for hosts, tools and tests. They are implemented
// by the same code that the published functions use: a match report walks the records
// exactly as the client list's matching does, the name tables are the ones Agent::setPair
// reads, and the client list save is the one DMSClientList::WriteToFile performs.
// Nothing here throws.
#ifndef CALYX_EXT_H
#define CALYX_EXT_H

#include <stdint.h>

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include <json/value.h>

#include "calyx/export.h"
#include "calyx/types.h"

namespace Calyx {

class DMSClientList;

/// Resolves one of the library's fixed absolute paths (package, platform and kernel
/// files such as "/proc/net/arp") under the root prefix: when the environment variable
/// CALYX_ROOT is set and not empty, the result is its value followed by `fixedPath`;
/// otherwise `fixedPath` as it stands. The variable is read on every call.
CALYX_EXPORT std::string ResolveFixedPath(const std::string& fixedPath);

// ---------------------------------------------------------------------------------------
// JSON files
// ---------------------------------------------------------------------------------------

/// Why ReadJsonFile failed. `line` and `column` (1-based) locate a syntax error; both are
/// 0 when the file could not be opened or read.
struct JsonFileError {
    std::string message;
    int line = 0;
    int column = 0;
};

/// Parses the file at `path` the way the library's loaders do (comments allowed and
/// collected) into `root`, opening it as they do: a FIFO or socket is refused without
/// waiting ("cannot open: it is a FIFO"), a device is read without waiting (at most
/// 16 MiB), a directory fails with "cannot read: it is a directory". On failure returns
/// false, leaves `root` unspecified and, when `error` is not null, fills it with the
/// first error.
CALYX_EXPORT bool ReadJsonFile(const std::string& path, Json::Value& root, JsonFileError* error);

/// Why the file at `path` cannot be read as a file, checked through the same guarded open
/// the library's own readers use (which never waits on a FIFO): "" when it opens as a
/// regular file; otherwise a short reason that names the kind, e.g. "is a FIFO", "is a
/// directory", "is a character device", "is a socket", or "cannot open: <system error>".
CALYX_EXPORT std::string UnreadableFileReason(const std::string& path);

// ---------------------------------------------------------------------------------------
// Name tables of agent profiles (the vocabularies of Agent::setPair and video profiles)
// ---------------------------------------------------------------------------------------

/// The agent type names ("dlna", "xbox", ...) in table order.
CALYX_EXPORT std::vector<std::string> AgentTypeNames();
/// The capability option names ("xmres", "transwav", ...) in table order.
CALYX_EXPORT std::vector<std::string> AgentCapabilityNames();
/// The names of the agent type bits set in `bits`, in table order.
CALYX_EXPORT std::vector<std::string> AgentTypeNamesOf(uint32_t bits);
/// The names of the capability option bits set in `bits`, in table order.
CALYX_EXPORT std::vector<std::string> AgentCapabilityNamesOf(uint32_t bits);

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

// ---------------------------------------------------------------------------------------
// Client list
// ---------------------------------------------------------------------------------------

/// How one profile identification record judged a client entry.
struct ProfileIDStep {
    std::string profileName;  ///< the record's "profileName"
    bool matched = false;     ///< every member of its "profileID" held
    /// The first failing member, in the order the members are tried (empty when matched).
    std::string failedKey;
    std::string required;       ///< the text that member requires
    bool clientHasKey = false;  ///< whether the entry had the key at all
    std::string clientValue;    ///< the entry's value of the key ("" when absent)
};

/// Walks the profile identification records of `list` in order against `entry`, as
/// DMSClientList::DetermineOrigProfileName does, but without stopping at the first match:
/// the first step with `matched` set names the profile the match chooses ("Default
/// Profile" when none has). A record whose "profileID" is not an object matches every
/// client. Reads the records only; call it while no other thread loads the list.
CALYX_EXPORT std::vector<ProfileIDStep> ExplainOrigProfileName(const DMSClientList& list,
                                                               const Json::Value& entry);

/// The fields of a UPnP device description that a host passes to UpdateKeys with
/// "HandleDiscovery" (element name = entry key): "deviceType", "friendlyName",
/// "manufacturer", "manufacturerURL", "modelDescription", "modelName", "modelNumber",
/// "modelURL", "serialNumber", "UDN", "presentationURL". One list for every host, so a
/// device is identified the same way by the calyx tool and by a server that discovers it.
CALYX_EXPORT const std::vector<std::string>& DeviceDescriptionFields();

/// A copy of the whole client list document, taken under the list's lock.
CALYX_EXPORT Json::Value ClientListDocument(DMSClientList& list);

/// Copies the entry of `mac` (found as VerifyMacIsExist finds it) into `entry` under
/// the list's lock. False when there is no such entry.
CALYX_EXPORT bool ClientListEntry(DMSClientList& list, const std::string& mac, Json::Value& entry);

/// Edits the entry of `mac` under the list's lock, the way the package's settings screen
/// does: sets member `key` to `value` (a null `value` removes the member), then
/// recomputes "profileName" from the entry with DetermineProfileName so the user's
/// choice takes effect at once. Memory only: a second writer saves such an edit with
/// ClientListApply. Returns 1, or 0 when there is no such entry (or `key` is "macAddr"
/// or "ipAddr").
CALYX_EXPORT int ClientListSetMember(DMSClientList& list, const std::string& mac,
                                     const std::string& key, const Json::Value& value);

/// The entry of `mac` in a client list `document` (for example the one an edit of
/// ClientListApply receives), found as VerifyMacIsExist finds it: the first whose
/// "macAddr" equals `mac`, before the first entry without "macAddr". Null when there is
/// none. Takes no lock; the pointer is valid until the document changes.
CALYX_EXPORT Json::Value* ClientDocumentEntry(Json::Value& document, const std::string& mac);

/// EraseObject's trimming on a client list `document`: removes every member of the entry
/// of `mac` except "macAddr", "isAccess", "browse_user-agent" and "open_user-agent".
/// Takes no lock. False when there is no such entry.
CALYX_EXPORT bool EraseClientEntry(Json::Value& document, const std::string& mac);

/// The edit of ClientListEdit's document that ClientListSetMember makes: in `document`
/// (a client list document, for example the one an edit receives), sets member `key` of
/// the entry of `mac` (found as VerifyMacIsExist finds it) to `value` (null removes it)
/// and recomputes its "profileName" with list.DetermineProfileName. Takes no lock. False
/// when there is no such entry or `key` is "macAddr" or "ipAddr".
CALYX_EXPORT bool EditClientEntry(const DMSClientList& list, Json::Value& document,
                                  const std::string& mac, const std::string& key,
                                  const Json::Value& value);

/// Saves the client list document to `path` with the save of WriteToFile (see there:
/// the writers' lock, edits of other writers merged in, crash-safe replace or rewrite in
/// place, a corrupt file kept aside). Holds the list's lock. Returns 1, or 0 with an
/// "Error - %s could not open" line in the library log (and `*error`, when not null, set
/// to the reason) when the file cannot be written; the old file then stays.
CALYX_EXPORT int ClientListWriteTo(DMSClientList& list, const std::string& path,
                                   std::string* error);

/// An edit made by ClientListApply. It receives the document that will be saved (the
/// list's own, with other writers' edits already merged in) and returns true to save it
/// or false to abandon the edit (nothing is written, the list stays as it was). It runs
/// holding the list's lock and the writers' lock: it must not call the list's methods
/// (the Determine methods and EditClientEntry excepted), WriteToFile or any other save.
using ClientListEdit = std::function<bool(Json::Value& document)>;

/// How a second writer (a settings screen, a tool) changes a client list file that a
/// server also saves, without either losing the other's edits: in one step it takes the
/// list's lock and the writers' lock of the file's directory (waiting at most 2 s),
/// merges from `path` what other writers changed since `list` last read or wrote it,
/// applies `edit`, writes the result to `path` and releases the locks. The edited
/// document becomes the list's only when the save succeeds. A process that serves no
/// requests (a tool, a settings page) should let its edit start from the file as it is
/// (ReadJsonFile of `path` into the document: the lock keeps it current), since what it
/// loaded earlier may lack clients a server saved since. Returns 1 on success; 0 when the
/// edit declined (nothing logged) or the save failed ("Error - %s could not open" in the
/// library log; the file stays as it was). Never throws, even when `edit` does.
CALYX_EXPORT int ClientListApply(DMSClientList& list, const std::string& path,
                                 const ClientListEdit& edit);

// ---------------------------------------------------------------------------------------
// Host start-up and the road of one request
// ---------------------------------------------------------------------------------------

/// The first-start call of a host, beside DMSClientList::Load (which it does not change):
///  - when the client list file does not exist yet (a fresh box), the document starts as
///    {"ClientList": []} and nothing is logged; the file appears with the first save;
///  - when it exists but cannot be read or parsed, it behaves as LoadClientList (the same
///    level-0 message and the same document) and goes on;
///  - it always loads the profile identification records from `profileListPath`, so
///    clients are matched from the very first request (Load skips them when the client
///    list is missing, and every client would get "Default Profile" until the next start).
/// Returns false only when the profile list cannot be opened or parsed.
CALYX_EXPORT bool ClientListStartUp(DMSClientList& list, const std::string& clientListPath,
                                    const std::string& profileListPath);

/// Turns the header list of a host's HTTP layer (names as the client sent them, in
/// arrival order) into the map DMSClientList::UpdateKeys takes: every name lower-cased
/// ("User-Agent" becomes "user-agent", which is what profiles match as
/// "open_user-agent"), values unchanged. When a name occurs twice (in any case) the first
/// value is kept, as inserting into a map does everywhere in the library.
CALYX_EXPORT std::map<std::string, std::string> ClientHeaderKeys(
    const std::vector<std::pair<std::string, std::string>>& headers);

/// Removes the entry of `mac` (found exactly as VerifyMacIsExist finds it) from the client
/// list document under the list's lock, as the package's settings screen does when the
/// user forgets a device. No published operation removes entries. Memory only (a second
/// writer removes through ClientListApply with RemoveClientEntry). Returns 1 when the
/// entry was removed, 0 when there is no such entry.
CALYX_EXPORT int ClientListRemove(DMSClientList& list, const std::string& mac);

/// The removal ClientListRemove makes, on a client list `document` (for example the one an
/// edit of ClientListApply receives): drops the entry of `mac`, found as VerifyMacIsExist
/// finds it. Takes no lock. False when there is no such entry.
CALYX_EXPORT bool RemoveClientEntry(Json::Value& document, const std::string& mac);

// ---------------------------------------------------------------------------------------
// Media index database
// ---------------------------------------------------------------------------------------

/// The database server's text for the last failure on `conn` (for example the reason a
/// statement of MediaDB::Select was refused), without a trailing newline; "" when there
/// was none or `conn` is null. Available with the library's portable platform operations.
CALYX_EXPORT std::string DBConnectLastError(DBConnect* conn);

}  // namespace Calyx

#endif  // CALYX_EXT_H
