#include "upnp/action_arguments.h"

namespace calyx_dms {

ClientVisit* ActionVisit(GUPnPServiceAction* action) {
    // The stack hands out a reference of its own: without the unref every answered
    // message, with its whole answer, stayed in memory.
    SoupServerMessage* message = gupnp_service_action_get_message(action);
    ClientVisit* visit = RequestVisits::Of(message);
    g_object_unref(message);
    return visit;
}

std::string TextArgument(GUPnPServiceAction* action, const char* name) {
    char* value = nullptr;
    gupnp_service_action_get(action, name, G_TYPE_STRING, &value, nullptr);
    std::string text = value ? value : "";
    g_free(value);
    return text;
}

}  // namespace calyx_dms
