#include "containment.h"

#include "calyx/core.h"
#include "clients/client_list_trim.h"

namespace calyx_dms {

namespace {

// The filter is made after the trim: the trim runs before the cap counts the entries.
IdentificationHeaders TrimmedFilter(Calyx::DMSClientList& list, const std::string& path,
                                    size_t cap) {
    IdentificationHeaders filter(Calyx::ProfileIDKeys(list));
    const int trimmed = TrimClientList(list, path, filter, cap);
    if (trimmed > 0 && Calyx::DMSLOGGetLevel() >= 1)
        Calyx::DMSPrintf(Calyx::DMSLOG_INFO,
                         "calyx-dms: trimmed %d client list entries to what identification "
                         "uses\n",
                         trimmed);
    else if (trimmed < 0 && Calyx::DMSLOGGetLevel() >= 0)
        Calyx::DMSPrintf(Calyx::DMSLOG_ERR,
                         "Error: calyx-dms - cannot save the trimmed client list %s\n",
                         path.c_str());
    return filter;
}

}  // namespace

Containment::Containment(SoupServer* server, Calyx::DMSClientList& list,
                         const std::string& listPath, RequestVisits& visits,
                         const LimitSettings& limits)
    : hosts_(limits.hostNames),
      log_(limits.logCollapseInterval),
      filter_(TrimmedFilter(list, listPath, limits.maxClients)),
      cap_(list, limits.maxClients),
      gate_(server, list, visits, ClientRecording{&filter_, &cap_}),
      early_(
          server, hosts_, HeadLimits{}, [this](SoupServerMessage* msg) { return gate_.Admit(msg); },
          log_) {
    flushTimer_ = g_timeout_add_seconds(
        limits.logCollapseInterval,
        [](gpointer log) -> gboolean {
            static_cast<LogLimiter*>(log)->Flush();
            return G_SOURCE_CONTINUE;
        },
        &log_);
}

Containment::~Containment() {
    g_source_remove(flushTimer_);
    log_.Flush(true);
}

}  // namespace calyx_dms
