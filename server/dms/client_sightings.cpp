#include "client_sightings.h"

#include "client_road.h"

namespace calyx_dms {

namespace {

void RequestRead(SoupServer*, SoupServerMessage* msg, gpointer self) {
    ClientVisit* visit = VisitOf(msg);
    if (visit && !visit->mac.empty())
        static_cast<ClientSightings*>(self)->Seen(visit->mac);
}

}  // namespace

ClientSightings::ClientSightings(SoupServer* server) : server_(server) {
    handler_ = g_signal_connect(server_, "request-read", G_CALLBACK(RequestRead), this);
}

ClientSightings::~ClientSightings() {
    g_signal_handler_disconnect(server_, handler_);
}

}  // namespace calyx_dms
