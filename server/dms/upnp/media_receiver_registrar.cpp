#include "upnp/media_receiver_registrar.h"

#include <string.h>

namespace calyx_dms {

namespace {

void Authorized(GUPnPService*, GUPnPServiceAction* action, gpointer) {
    gupnp_service_action_set(action, "Result", G_TYPE_INT, 1, nullptr);
    gupnp_service_action_return_success(action);
}

void RegisterDevice(GUPnPService*, GUPnPServiceAction* action, gpointer) {
    gupnp_service_action_set(action, "RegistrationRespMsg", G_TYPE_STRING, "", nullptr);
    gupnp_service_action_return_success(action);
}

// The initial event of a subscription carries these; nothing ever changes them.
void QueryUpdateId(GUPnPService*, char* variable, GValue* value, gpointer) {
    if (g_str_has_suffix(variable, "UpdateID")) {
        g_value_init(value, G_TYPE_UINT);
        g_value_set_uint(value, 0);
    }
}

}  // namespace

void ConnectMediaReceiverRegistrar(GUPnPService* service) {
    g_signal_connect(service, "action-invoked::IsAuthorized", G_CALLBACK(Authorized), nullptr);
    g_signal_connect(service, "action-invoked::IsValidated", G_CALLBACK(Authorized), nullptr);
    g_signal_connect(service, "action-invoked::RegisterDevice", G_CALLBACK(RegisterDevice),
                     nullptr);
    g_signal_connect(service, "query-variable", G_CALLBACK(QueryUpdateId), nullptr);
}

}  // namespace calyx_dms
