// Media renderers (and media center extenders) on the network are identified from their
// device description as soon as they announce themselves, before they send the server a
// single request.
#ifndef CALYX_DMS_RENDERER_WATCH_H
#define CALYX_DMS_RENDERER_WATCH_H

#include <libgupnp/gupnp.h>

#include <vector>

#include "calyx/client_list.h"

namespace calyx_dms {

class RendererWatch {
public:
    RendererWatch(GUPnPContext* context, Calyx::DMSClientList& list);
    ~RendererWatch();
    RendererWatch(const RendererWatch&) = delete;
    RendererWatch& operator=(const RendererWatch&) = delete;

    void OnRenderer(GUPnPDeviceProxy* proxy);

private:
    std::vector<GUPnPControlPoint*> controlPoints_;  // one per watched device type
    Calyx::DMSClientList& list_;
};

}  // namespace calyx_dms

#endif  // CALYX_DMS_RENDERER_WATCH_H
