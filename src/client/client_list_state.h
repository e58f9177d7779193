// What a DMSClientList keeps beside its documents, and the lock guard of its mutex.
// Private to the client list and its extensions.
#ifndef CALYX_CLIENT_CLIENT_LIST_STATE_H
#define CALYX_CLIENT_CLIENT_LIST_STATE_H

#include <pthread.h>

#include <vector>

#include "client/client_list_index.h"
#include "client/client_list_matcher.h"

namespace Calyx {
namespace detail {

// The position index of "ClientList" and the identification records prepared from
// m_profileIDList (one record per element, in the same order).
struct ClientListState {
    ClientListIndex index;
    std::vector<IdentificationRecord> records;
};

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
