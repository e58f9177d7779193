// X_MS_MediaReceiverRegistrar:1, which Windows Media Player, Windows and the Xbox ask a
// media server for before they browse it. Who may browse is decided by the access gate
// before any action runs, so every client that reaches these actions is authorized.
#ifndef CALYX_DMS_MEDIA_RECEIVER_REGISTRAR_H
#define CALYX_DMS_MEDIA_RECEIVER_REGISTRAR_H

#include <libgupnp/gupnp.h>

namespace calyx_dms {

inline constexpr char kRegistrarType[] = "urn:microsoft.com:service:X_MS_MediaReceiverRegistrar:1";

// Connects IsAuthorized and IsValidated (Result 1), RegisterDevice (an empty response
// message) and the evented update ids (always 0: authorization never changes).
void ConnectMediaReceiverRegistrar(GUPnPService* service);

}  // namespace calyx_dms

#endif  // CALYX_DMS_MEDIA_RECEIVER_REGISTRAR_H
