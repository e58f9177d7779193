// Media renderers (and media center extenders: the Xbox 360) on the network are identified from
// their device description as soon as they announce themselves, before they send the server a
// single request. GSSDP's resource browser looks for them; each description is fetched by the
// server's own bounded fetch, only from the address that sent the announcement and at most once per
// sender in a while, so an announcement cannot make the server download without limit or
// send requests to other hosts.
#ifndef CALYX_DMS_CLIENTS_RENDERER_WATCH_H
#define CALYX_DMS_CLIENTS_RENDERER_WATCH_H

#include <libgupnp/gupnp.h>

#include <chrono>
#include <map>
#include <string>
#include <vector>

#include "calyx/client_list.h"
#include "clients/description_fetch.h"

namespace calyx_dms {

class ClientCap;

// Seconds between two fetches of descriptions announced by one sender.
constexpr unsigned kRendererFetchSeconds = 30;

// Whether an SSDP target names a watched device type (a media renderer or a media center
// extender) of any version: "urn:schemas-upnp-org:device:MediaRenderer:3" is one.
bool IsWatchedDeviceType(const char* target);

// Whether an announcement from `sender` may name `location`: an http URL whose host is
// the sender's own address.
bool LocationOfSender(const std::string& location, const std::string& sender);

class RendererWatch {
public:
    // `cap` (may be null) is told about entries the watch creates.
    RendererWatch(GUPnPContext* context, Calyx::DMSClientList& list, ClientCap* cap);
    ~RendererWatch();
    RendererWatch(const RendererWatch&) = delete;
    RendererWatch& operator=(const RendererWatch&) = delete;

    // An SSDP message the client received: announcements and search answers naming a
    // renderer lead to a fetch of its description.
    void OnMessage(const char* from, int type, SoupMessageHeaders* headers);
    // A fetched description of the renderer at `ip`.
    void OnDescription(const std::string& ip, const std::string& body);

private:
    GSSDPClient* client_;
    std::vector<GSSDPResourceBrowser*> browsers_;  // one per watched device type
    gulong handler_ = 0;
    Calyx::DMSClientList& list_;
    ClientCap* cap_;
    DescriptionFetcher fetcher_;
    std::map<std::string, std::chrono::steady_clock::time_point> lastFetch_;  // by sender
};

}  // namespace calyx_dms

#endif  // CALYX_DMS_CLIENTS_RENDERER_WATCH_H
