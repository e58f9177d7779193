// What stands between a hostile device and the media port: every request judged from its
// head before its body is read (bounds, Host, body size, the client's access), the client
// list kept to what identification needs and within its cap, and repeated log lines
// collapsed. Made once the library session has loaded the client list.
#ifndef CALYX_DMS_CONTAINMENT_H
#define CALYX_DMS_CONTAINMENT_H

#include <libsoup/soup.h>

#include <string>

#include "calyx/client_list.h"
#include "clients/access_gate.h"
#include "clients/client_cap.h"
#include "clients/early_gate.h"
#include "clients/identification_headers.h"
#include "clients/log_limiter.h"
#include "clients/own_hosts.h"
#include "clients/request_visits.h"
#include "limit_options.h"

namespace calyx_dms {

class Containment {
public:
    // Trims the client list file at `listPath` (an earlier version may have let it grow)
    // and watches the requests of `server`. Everything borrowed must outlive this object.
    Containment(SoupServer* server, Calyx::DMSClientList& list, const std::string& listPath,
                RequestVisits& visits, const LimitSettings& limits);
    ~Containment();
    Containment(const Containment&) = delete;
    Containment& operator=(const Containment&) = delete;

    ClientCap& cap() { return cap_; }

private:
    OwnHostsCache hosts_;
    LogLimiter log_;
    guint flushTimer_ = 0;
    IdentificationHeaders filter_;
    ClientCap cap_;
    AccessGate gate_;
    EarlyGate early_;
};

}  // namespace calyx_dms

#endif  // CALYX_DMS_CONTAINMENT_H
