// Loading and saving a DMSClientList's document with everything around the file itself:
// the writers' lock, temporaries of killed saves, edits of other writers merged in, a
// corrupt file kept aside. Private to the client list.
#ifndef CALYX_CLIENT_CLIENT_LIST_PERSIST_H
#define CALYX_CLIENT_CLIENT_LIST_PERSIST_H

#include <json/value.h>

#include <functional>
#include <string>

#include "calyx/client_list.h"
#include "dmsutils/json_document.h"

namespace Calyx {
namespace detail {

// Records what a load of `path` read: the file and its members that other writers edit
// when `document` parsed from it, or the file as corrupt when it did not. Call it with
// the list's mutex held.
void RememberLoadedFile(DMSClientList& list, const std::string& path, const JsonFileRead& read,
                        bool parsed);

// The save of WriteToFile to `path`, with the list's mutex held by the caller: takes the
// directory lock (at most 2 s), removes temporaries of killed saves, merges what other
// writers changed in the file since this object last read or wrote it, applies `edit`
// (when given; false abandons the save), keeps a corrupt file aside, writes. Merged and
// edited values reach the list only when the save succeeds. 1 on success; 0 after
// logging "Error - %s could not open\n" with `path`, the errno in `*failure` (0 when the
// edit abandoned the save).
int SaveClientListLocked(DMSClientList& list, const std::string& path,
                         const std::function<bool(Json::Value&)>* edit, int* failure);

}  // namespace detail
}  // namespace Calyx

#endif  // CALYX_CLIENT_CLIENT_LIST_PERSIST_H
