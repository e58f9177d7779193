// The one door through which the client list's helpers and extensions reach its private
// members. Private to the library.
#ifndef CALYX_CLIENT_CLIENT_LIST_ACCESS_H
#define CALYX_CLIENT_CLIENT_LIST_ACCESS_H

#include <pthread.h>

#include "calyx/client_list.h"
#include "client/client_list_state.h"

namespace Calyx {
namespace detail {

struct ClientListAccess {
    static pthread_mutex_t& Mutex(DMSClientList& list) { return list.m_mutex; }
    static Json::Value& Root(DMSClientList& list) { return list.m_root; }
    static ClientListState& State(DMSClientList& list) { return *list.m_state; }
    static const std::vector<IdentificationRecord>& Records(const DMSClientList& list) {
        return list.m_state->records;
    }
};

}  // namespace detail
}  // namespace Calyx

#endif  // CALYX_CLIENT_CLIENT_LIST_ACCESS_H
