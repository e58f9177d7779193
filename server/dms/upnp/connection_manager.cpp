#include "upnp/connection_manager.h"

#include <string.h>

namespace calyx_dms {

namespace {

// The formats the server can send (the index gives each file's MIME type).
const char kSourceProtocols[] =
    "http-get:*:video/mp4:*,http-get:*:video/x-matroska:*,http-get:*:video/mpeg:*,"
    "http-get:*:video/vnd.dlna.mpeg-tts:*,http-get:*:video/x-msvideo:*,"
    "http-get:*:video/quicktime:*,http-get:*:video/webm:*,http-get:*:audio/mpeg:*,"
    "http-get:*:audio/mp4:*,http-get:*:audio/flac:*,http-get:*:audio/x-flac:*,"
    "http-get:*:audio/ogg:*,http-get:*:audio/wav:*,http-get:*:image/jpeg:*,"
    "http-get:*:image/png:*,http-get:*:image/gif:*";

void GetProtocolInfo(GUPnPService*, GUPnPServiceAction* action, gpointer) {
    gupnp_service_action_set(action, "Source", G_TYPE_STRING, kSourceProtocols, "Sink",
                             G_TYPE_STRING, "", nullptr);
    gupnp_service_action_return_success(action);
}

void GetCurrentConnectionIDs(GUPnPService*, GUPnPServiceAction* action, gpointer) {
    gupnp_service_action_set(action, "ConnectionIDs", G_TYPE_STRING, "0", nullptr);
    gupnp_service_action_return_success(action);
}

void GetCurrentConnectionInfo(GUPnPService*, GUPnPServiceAction* action, gpointer) {
    char* id = nullptr;
    gupnp_service_action_get(action, "ConnectionID", G_TYPE_STRING, &id, nullptr);
    bool known = id && strcmp(id, "0") == 0;
    g_free(id);
    if (!known) {
        gupnp_service_action_return_error(action, 706, "Invalid connection reference");
        return;
    }
    gupnp_service_action_set(action, "RcsID", G_TYPE_INT, -1, "AVTransportID", G_TYPE_INT, -1,
                             "ProtocolInfo", G_TYPE_STRING, "", "PeerConnectionManager",
                             G_TYPE_STRING, "", "PeerConnectionID", G_TYPE_INT, -1, "Direction",
                             G_TYPE_STRING, "Output", "Status", G_TYPE_STRING, "OK", nullptr);
    gupnp_service_action_return_success(action);
}

}  // namespace

void ConnectConnectionManager(GUPnPService* service) {
    g_signal_connect(service, "action-invoked::GetProtocolInfo", G_CALLBACK(GetProtocolInfo),
                     nullptr);
    g_signal_connect(service, "action-invoked::GetCurrentConnectionIDs",
                     G_CALLBACK(GetCurrentConnectionIDs), nullptr);
    g_signal_connect(service, "action-invoked::GetCurrentConnectionInfo",
                     G_CALLBACK(GetCurrentConnectionInfo), nullptr);
}

}  // namespace calyx_dms
