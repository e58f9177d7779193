// Client list: the persistent record of clients and the discovery update.
//
// One DMSClientList holds the client list document (one entry per client MAC address),
// the profile identification records read from the profile list file, and saves the
// document to "/var/packages/Calyx/etc/client_list.json" (under the root prefix, see
// ResolveFixedPath in calyx/core.h). No function here throws.
//
// Threads: one plain mutex per object. UpdateKeys, EraseObject and WriteToFile hold it
// for their whole run; the lookups (VerifyMacIsExist, FindMacByIP, FindKey) take it too,
// so the host may call them from request threads while other threads update. Loading
// installs its results under the mutex but is meant for start-up. The Determine
// operations only read the identification records, which change only while loading.
//
// Input that does not have the expected JSON types is never rejected at load time and
// never makes a call throw or crash. What it yields:
//  - a root that is not an object (array, string, number, bool): the document holds no
//    clients; lookups find nothing and add nothing, EraseObject returns 0, UpdateKeys
//    returns 0 (level-2 message) and the document is saved back unchanged;
//  - "ClientList" that is neither an array nor null (an object, a string, a bool, a
//    number other than the integer 0): treated the same way. The integer 0 marks the
//    placeholder document, which UpdateKeys throws away and rebuilds;
//  - an entry that is not an object (string, array, number, null) counts as an entry
//    without "macAddr" and without "ipAddr": it ends the scans of VerifyMacIsExist and
//    FindMacByIP like any such entry;
//  - member values are read as text with the JSON library's conversion (a number as its
//    decimal form, a bool as "true"/"false", null as ""); a value that is an array or an
//    object has no text: a "macAddr" or "ipAddr" of that kind never equals any address
//    (but, being present, does not end the scan), FindKey returns "" for it, and
//    matching, DetermineProfileName and DetermineDisplayName treat it as absent;
//  - in the profile list: a root that is not an object, a "ProfileList" that is not an
//    array and elements that are not objects give no records; a "profileName" that is
//    an array or object makes the element unusable (skipped); a "profileID" that is not an object
//    (string, number, bool, non-empty array) has no members and so matches every client; a
//    "profileID" member whose value is an array or object never matches, one whose value is null
//    requires only that the key be present.
// Header values of any size and any bytes (empty, several MB, not UTF-8) are kept in
// memory exactly as given; on disk they are as the JSON writer escapes them.
#ifndef CALYX_CLIENT_LIST_H
#define CALYX_CLIENT_LIST_H

#include <json/value.h>
#include <pthread.h>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "calyx/export.h"
#include "calyx/types.h"

namespace Calyx {

/// Where the client list file lives, before the root prefix (ResolveFixedPath) is applied.
constexpr char kClientListFixedPath[] = "/var/packages/Calyx/etc/client_list.json";

namespace detail {
struct ClientListState;
struct ClientListAccess;
}  // namespace detail

/// The persistent record of media clients, one JSON entry per MAC address.
class CALYX_EXPORT DMSClientList {
public:
    /// Empty document and records; new clients admitted. Reads no file.
    DMSClientList();
    DMSClientList(const DMSClientList&) = delete;
    DMSClientList& operator=(const DMSClientList&) = delete;

    /// LoadClientList(clientListPath); when that succeeds, the result of
    /// LoadProfileIDList(profileListPath). False when either fails (a failed profile list
    /// leaves the loaded client document in place). Meant to be called once: a second
    /// call replaces the document and appends the identification records again.
    /// A missing client list file (a fresh box) fails here before the profile list is
    /// read, so every client would get "Default Profile": hosts start with
    /// ClientListStartUp (below), which covers that case.
    bool Load(const std::string& clientListPath, const std::string& profileListPath);

    /// Parses the file at `path` (comments kept) as the client document, as if straight
    /// into the current one: a file the reader rejects at once (empty, garbage) leaves the
    /// list, a comment-only file adds its comment, a file that breaks off inside replaces
    /// it with what was read up to the break. Swapped in under the lock, so a reload while
    /// other threads serve is safe. A device is read without waiting (at most 16 MiB); a
    /// FIFO or socket cannot be opened. 1 on success; 0 with "Error:
    /// DMSClientList::LoadClientList - %s could not open" (document unchanged) or "... -
    /// Json::Reader::parse failed" (a file that did not parse is kept aside by the next
    /// save, see WriteToFile).
    int LoadClientList(const std::string& path);

    /// Appends to the identification records every "ProfileList" element of the file at
    /// `path` that has both a present "profileName" and a present "profileID", in file
    /// order. 1 on success (also with no "ProfileList"); 0 with a level-0 message when the
    /// file cannot be opened or parsed.
    int LoadProfileIDList(const std::string& path);

    /// Saves the document, tab-indented, to "/var/packages/Calyx/etc/client_list.json"
    /// (root prefix applied; a symbolic link at the path is followed). Steps:
    ///  - takes the writers' lock, flock on the file's directory, waiting at most 2 s;
    ///  - removes temporary files of killed saves ("." + name + "." + six characters);
    ///  - when the file's bytes differ from what this object last loaded or saved there,
    ///    merges another writer's edits: "profileName_UserSelected" and "isAccess" changed
    ///    on disk replace memory's (and "profileName" is recomputed), entries removed on
    ///    disk are removed; nothing else comes from disk;
    ///  - drops members holding credentials ("open_"/"browse_" + "authorization",
    ///    "proxy-authorization" or "cookie") that older versions recorded;
    ///  - copies a file that failed to parse at the last load, if still there unchanged,
    ///    to "<file>.corrupt";
    ///  - writes through a synced temporary file renamed over the old one (permission bits
    ///    and owner kept), or in place where a rename would not keep what the file is (a
    ///    device, a FIFO, hard links, a file or directory we may not write, a foreign
    ///    owner, a name too long): then a failed write may leave the file incomplete.
    /// 1 on success; 0 with "Error - %s could not open" when any step fails, memory as it
    /// was (merged values stay only on success). Do not call it while holding the writers'
    /// lock (inside a ClientListApply edit): it would wait for itself.
    int WriteToFile();

    /// Position of the entry whose "macAddr" equals `mac` (exact bytes) in `index`; false
    /// (index unchanged) when there is none before the first entry without "macAddr".
    /// Adds a null "ClientList" to a document object that lacks it.
    bool VerifyMacIsExist(const std::string& mac, unsigned int& index);

    /// "macAddr" of the first entry whose "ipAddr" equals `ip` ("" if it has none); "" when
    /// no entry before the first one without "ipAddr" matches.
    std::string FindMacByIP(const std::string& ip);

    /// The text of member `key` of the entry of `mac`; "" when there is no such entry or
    /// the member is absent. A member the entry lacks is added to it as null.
    std::string FindKey(const std::string& mac, const std::string& key);

    /// Removes from the entry of `mac` every member except "macAddr", "isAccess",
    /// "browse_user-agent" and "open_user-agent". 1 when done, 0 for an unknown MAC.
    int EraseObject(const std::string& mac);

    /// Creates or refreshes the entry of `mac` from a request seen by handler `source`
    /// ("HandleDiscovery", "HandleActionRequest", "WebSerOpen"), stores the headers (never
    /// the transport headers of the skip list, nor the credentials "authorization",
    /// "proxy-authorization" and "cookie", compared without regard to case), matches
    /// the profile and sets the display name. 1 when done; 0 for an empty MAC or a document
    /// that cannot hold clients (see above).
    ///
    /// PASS HTTP HEADER NAMES IN LOWER CASE. A header is stored under "open_" (WebSerOpen)
    /// or "browse_" (HandleActionRequest) followed by its name exactly as passed, and
    /// profiles match those keys byte for byte: profile lists are written for
    /// "open_user-agent", so a host that passes "User-Agent" stores "open_User-Agent" and
    /// no profile ever matches it (EraseObject also keeps only the lower-case user-agent
    /// keys). ClientHeaderKeys (below) turns a header list into this map with the
    /// names lower-cased. Discovery fields (HandleDiscovery) are stored under their own
    /// names, in their own case ("friendlyName", "modelName", ...).
    ///
    /// Recorded: every header except Cache-Control, Pragma, Connection, Host, Date,
    /// Accept, Content-Length, Content-Type and SOAPAction (compared without regard to
    /// case); a later header with the same key overwrites the earlier one. A composed key
    /// is cut after 49 characters ("open_" + the first 44 characters of the name). Other
    /// sources record no headers. Values are stored as given.
    int UpdateKeys(const std::string& source, const std::string& mac, const std::string& ip,
                   const std::map<std::string, std::string>& headers);

    /// The name shown for the client described by `entry`: manufacturer and the first of
    /// friendlyName/modelDescription/modelName ("%s %s", at most 199 bytes), else
    /// "General DMA" for the default profile, else "profileName_Orig".
    void DetermineDisplayName(const Json::Value& entry, std::string& out) const;

    /// "profileName_UserSelected" when present, else "profileName_Orig" (or "").
    void DetermineProfileName(const Json::Value& entry, std::string& out) const;

    /// The "profileName" of the first identification record all of whose rules hold for
    /// `entry`, else "Default Profile".
    void DetermineOrigProfileName(const Json::Value& entry, std::string& out) const;

private:
    friend struct detail::ClientListAccess;  // the extensions at the end of this header

    pthread_mutex_t m_mutex;
    Json::Value m_root;
    Json::Value m_profileIDList;

public:
    /// A new client entry gets "isAccess" = !m_denyNewClients. False after construction.
    bool m_denyNewClients;

private:
    // The position index of the document and the prepared identification records.
    std::unique_ptr<detail::ClientListState, void (*)(detail::ClientListState*)> m_state;
};

// =======================================================================================
// Beyond the published interface: match reports, entry access and edits, saving to any
// path, edits by a second writer, the first start and the road of one request. Built on the
// matcher, index and save that DMSClientList itself uses.
// =======================================================================================

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

/// Every key that a member of a "profileID" of the identification records names
/// ("open_user-agent", "modelName", ...), sorted, each once: the keys of a client entry
/// that matching reads, so a host need record nothing else. Empty when no records are
/// loaded. Reads the records only; call it while no other thread loads the list.
CALYX_EXPORT std::vector<std::string> ProfileIDKeys(const DMSClientList& list);

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

}  // namespace Calyx

#endif  // CALYX_CLIENT_LIST_H
