// Merging the edits another writer made to the client list file into the document in
// memory: the user's choices ("profileName_UserSelected", "isAccess") and removed
// entries come from disk; everything else stays as memory has it.
#ifndef CALYX_CLIENT_CLIENT_LIST_MERGE_H
#define CALYX_CLIENT_CLIENT_LIST_MERGE_H

#include <json/value.h>

#include <functional>
#include <string>
#include <unordered_map>

namespace Calyx {
namespace detail {

// The members of one entry that other writers edit, as a file held them. An absent
// member is a null value with `present` false.
struct EditableMembers {
    bool hasUserSelected = false;
    Json::Value userSelected;
    bool hasAccess = false;
    Json::Value access;
};

// The editable members of every entry of a document, by "macAddr" (entries whose
// "macAddr" is not a string are left out; of two entries with one MAC the first counts).
using EditableBaseline = std::unordered_map<std::string, EditableMembers>;
EditableBaseline BaselineOf(const Json::Value& document);

// Recomputes "profileName" of an entry (DetermineProfileName).
using ProfileNameRule = std::function<void(const Json::Value& entry, std::string& out)>;

// Applies to `memory` what changed in `disk` since `baseline` (the file as this object
// last read or wrote it): for each entry in both (same "macAddr"), an editable member
// added, changed or removed on disk replaces memory's, and "profileName" is recomputed;
// an entry in `baseline` that `disk` no longer has is removed from memory. True when
// `memory` changed.
bool MergeEditsFromDisk(Json::Value& memory, const Json::Value& disk,
                        const EditableBaseline& baseline, const ProfileNameRule& profileName);

}  // namespace detail
}  // namespace Calyx

#endif  // CALYX_CLIENT_CLIENT_LIST_MERGE_H
