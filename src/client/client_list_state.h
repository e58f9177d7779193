// What a DMSClientList keeps beside its documents, and the lock guard of its mutex.
// Private to the client list and its extensions.
#ifndef CALYX_CLIENT_CLIENT_LIST_STATE_H
#define CALYX_CLIENT_CLIENT_LIST_STATE_H

#include <pthread.h>

#include <string>
#include <vector>

#include "client/client_list_index.h"
#include "client/client_list_matcher.h"
#include "client/client_list_merge.h"

namespace Calyx {
namespace detail {

// Which file, and which bytes of it, a client list last read or wrote.
struct FileSnapshot {
    std::string file;  // canonical name; empty: none
    size_t size = 0;
    size_t hash = 0;

    static FileSnapshot Of(const std::string& file, const std::string& bytes);
    bool Holds(const std::string& otherFile, const std::string& bytes) const;
    void Forget() { *this = FileSnapshot(); }
};

// The position index of "ClientList", the identification records prepared from
// m_profileIDList (one record per element, in the same order) and what the list knows
// of its file.
struct ClientListState {
    ClientListIndex index;
    std::vector<IdentificationRecord> records;
    // The client list file as last loaded or saved (when it parsed), with the members
    // other writers edit, to merge their edits at the next save.
    FileSnapshot seen;
    EditableBaseline baseline;
    // A file that failed to parse at the last load: kept aside before it is overwritten.
    FileSnapshot corrupt;
};

// Removes every member of a client entry except "macAddr", "isAccess",
// "browse_user-agent" and "open_user-agent" (what EraseObject leaves).
void StripToIdentity(Json::Value& entry);

// Holds a list's plain mutex for a scope.
class MutexLock {
public:
    explicit MutexLock(pthread_mutex_t* mutex) : mutex_(mutex) { pthread_mutex_lock(mutex_); }
    ~MutexLock() { pthread_mutex_unlock(mutex_); }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

private:
    pthread_mutex_t* mutex_;
};

}  // namespace detail
}  // namespace Calyx

#endif  // CALYX_CLIENT_CLIENT_LIST_STATE_H
