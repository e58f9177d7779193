// Client list: the persistent record of clients and the discovery update.
//
// One DMSClientList holds the client list document (one entry per client MAC address),
// the profile identification records read from the profile list file, and saves the
// document to "/var/packages/Calyx/etc/client_list.json" (under the root prefix, see
// calyx/ext.h). No function here throws.
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

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "calyx/export.h"
#include "calyx/types.h"

namespace Calyx {

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
    /// ClientListStartUp (calyx/ext.h), which covers that case.
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
    /// keys). ClientHeaderKeys (calyx/ext.h) turns a header list into this map with the
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
    friend struct detail::ClientListAccess;  // the extensions of calyx/ext.h

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

}  // namespace Calyx

#endif  // CALYX_CLIENT_LIST_H
