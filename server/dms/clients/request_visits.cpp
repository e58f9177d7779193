#include "clients/request_visits.h"

namespace calyx_dms {

namespace {

// The one key under which a visit is attached; private to this file, so nothing else can
// attach or read anything but a ClientVisit under it.
GQuark VisitQuark() {
    static const GQuark quark = g_quark_from_static_string("calyx-dms-visit");
    return quark;
}

}  // namespace

void RequestVisits::Attach(SoupServerMessage* msg, std::unique_ptr<ClientVisit> visit) {
    if (!visit->mac.empty())
        sightings_.Seen(visit->mac);
    g_object_set_qdata_full(G_OBJECT(msg), VisitQuark(), visit.release(),
                            [](gpointer data) { delete static_cast<ClientVisit*>(data); });
}

ClientVisit* RequestVisits::Of(SoupServerMessage* msg) {
    return static_cast<ClientVisit*>(g_object_get_qdata(G_OBJECT(msg), VisitQuark()));
}

}  // namespace calyx_dms
