#include "clients/renderer_watch.h"

#include <map>
#include <string>

#include "calyx/client_list.h"
#include "calyx/core.h"
#include "calyx/host.h"

namespace calyx_dms {

namespace {

// Renderers, and the Xbox 360, which announces itself as a media center extender.
const char* const kWatchedTypes[] = {"urn:schemas-upnp-org:device:MediaRenderer:1",
                                     "urn:schemas-microsoft-com:device:MediaCenterExtender:1"};

// The host of the description's URL: the address the renderer answers on.
std::string HostOf(const char* location) {
    GUri* uri = location ? g_uri_parse(location, G_URI_FLAGS_NONE, nullptr) : nullptr;
    std::string host = uri && g_uri_get_host(uri) ? g_uri_get_host(uri) : "";
    if (uri)
        g_uri_unref(uri);
    return host;
}

}  // namespace

RendererWatch::RendererWatch(GUPnPContext* context, Calyx::DMSClientList& list) : list_(list) {
    for (const char* type : kWatchedTypes) {
        GUPnPControlPoint* controlPoint = gupnp_control_point_new(context, type);
        g_signal_connect(
            controlPoint, "device-proxy-available",
            G_CALLBACK(+[](GUPnPControlPoint*, GUPnPDeviceProxy* proxy, gpointer self) {
                static_cast<RendererWatch*>(self)->OnRenderer(proxy);
            }),
            this);
        gssdp_resource_browser_set_active(GSSDP_RESOURCE_BROWSER(controlPoint), TRUE);
        controlPoints_.push_back(controlPoint);
    }
}

RendererWatch::~RendererWatch() {
    for (GUPnPControlPoint* controlPoint : controlPoints_)
        g_object_unref(controlPoint);
}

void RendererWatch::OnRenderer(GUPnPDeviceProxy* proxy) {
    GUPnPDeviceInfo* info = GUPNP_DEVICE_INFO(proxy);
    const std::string ip = HostOf(gupnp_device_info_get_location(info));
    const std::string mac = Calyx::GetMACAddressFromARPTable(ip);
    std::map<std::string, std::string> fields;
    for (const std::string& field : Calyx::DeviceDescriptionFields()) {
        char* value = gupnp_device_info_get_description_value(info, field.c_str());
        if (value && *value)
            fields[field] = value;
        g_free(value);
    }
    if (mac.empty() || !list_.UpdateKeys("HandleDiscovery", mac, ip, fields)) {
        if (Calyx::DMSLOGGetLevel() >= 1)
            Calyx::DMSPrintf(Calyx::DMSLOG_INFO,
                             "calyx-dms: renderer at %s not recorded (no hardware address)\n",
                             ip.c_str());
        return;
    }
    if (Calyx::DMSLOGGetLevel() >= 1)
        Calyx::DMSPrintf(Calyx::DMSLOG_INFO, "calyx-dms: renderer %s (%s) is \"%s\"\n", mac.c_str(),
                         ip.c_str(), list_.FindKey(mac, "profileName").c_str());
}

}  // namespace calyx_dms
