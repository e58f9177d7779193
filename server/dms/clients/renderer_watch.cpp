#include "clients/renderer_watch.h"

#include <arpa/inet.h>
#include <upnp/ixml.h>

#include <string.h>

#include <memory>

#include "calyx/client_list.h"
#include "calyx/core.h"
#include "calyx/host.h"
#include "clients/client_cap.h"
#include "clients/identification_headers.h"

namespace calyx_dms {

namespace {

// Renderers, and the Xbox 360, which announces itself as a media center extender: the device
// types without their version. The browsers search for version 1, which devices of later
// versions answer too; but a device announces its own version (current Android televisions
// announce a renderer of version 3), so any version counts.
const char* const kWatchedTypes[] = {"urn:schemas-upnp-org:device:MediaRenderer:",
                                     "urn:schemas-microsoft-com:device:MediaCenterExtender:"};
// GSSDP's message kinds (its "message-received" signal): a search answer, an announcement.
const int kSearchAnswer = 1;
const int kAnnouncement = 2;
// Senders remembered at most; an older one is forgotten first.
const size_t kMaxSenders = 1024;

bool SameAddress(const std::string& a, const std::string& b) {
    unsigned char x[16] = {};
    unsigned char y[16] = {};
    if (inet_pton(AF_INET, a.c_str(), x) == 1)
        return inet_pton(AF_INET, b.c_str(), y) == 1 && memcmp(x, y, 4) == 0;
    if (inet_pton(AF_INET6, a.c_str(), x) == 1)
        return inet_pton(AF_INET6, b.c_str(), y) == 1 && memcmp(x, y, 16) == 0;
    return false;
}

struct DocumentDeleter {
    void operator()(IXML_Document* doc) const { ixmlDocument_free(doc); }
};

void MessageReceived(GSSDPClient*, const char* from, guint, int type, SoupMessageHeaders* headers,
                     gpointer self) {
    static_cast<RendererWatch*>(self)->OnMessage(from, type, headers);
}

}  // namespace

bool IsWatchedDeviceType(const char* target) {
    if (!target)
        return false;
    for (const char* type : kWatchedTypes) {
        const size_t stem = strlen(type);
        if (strncmp(target, type, stem) != 0)
            continue;
        const char* version = target + stem;
        bool digits = *version >= '1' && *version <= '9';
        for (const char* c = version; digits && *c; ++c)
            digits = *c >= '0' && *c <= '9';
        if (digits && strlen(version) <= 3)
            return true;
    }
    return false;
}

bool LocationOfSender(const std::string& location, const std::string& sender) {
    GUri* uri = g_uri_parse(location.c_str(), G_URI_FLAGS_NONE, nullptr);
    if (!uri)
        return false;
    const bool ok = g_strcmp0(g_uri_get_scheme(uri), "http") == 0 && g_uri_get_host(uri) &&
                    !g_uri_get_userinfo(uri) && SameAddress(g_uri_get_host(uri), sender);
    g_uri_unref(uri);
    return ok;
}

RendererWatch::RendererWatch(GUPnPContext* context, Calyx::DMSClientList& list, ClientCap* cap)
    : client_(GSSDP_CLIENT(context)), list_(list), cap_(cap) {
    handler_ = g_signal_connect(client_, "message-received", G_CALLBACK(MessageReceived), this);
    for (const char* type : kWatchedTypes) {
        browsers_.push_back(gssdp_resource_browser_new(client_, (std::string(type) + "1").c_str()));
        gssdp_resource_browser_set_active(browsers_.back(), TRUE);
    }
}

RendererWatch::~RendererWatch() {
    g_signal_handler_disconnect(client_, handler_);
    for (GSSDPResourceBrowser* browser : browsers_)
        g_object_unref(browser);
}

void RendererWatch::OnMessage(const char* from, int type, SoupMessageHeaders* headers) {
    if (!from || !headers || (type != kSearchAnswer && type != kAnnouncement))
        return;
    const char* target = soup_message_headers_get_one(headers, type == kAnnouncement ? "NT" : "ST");
    const char* nts = soup_message_headers_get_one(headers, "NTS");
    const char* location = soup_message_headers_get_one(headers, "Location");
    if (!IsWatchedDeviceType(target) || !location ||
        (type == kAnnouncement && (!nts || strcmp(nts, "ssdp:alive") != 0)))
        return;
    const std::string sender = from;
    if (!LocationOfSender(location, sender)) {
        if (Calyx::DMSLOGGetLevel() > 1)
            Calyx::DMSPrintf(Calyx::DMSLOG_DEBUG,
                             "calyx-dms: renderer at %s names a description elsewhere; not "
                             "fetched\n",
                             sender.c_str());
        return;
    }
    const auto now = std::chrono::steady_clock::now();
    auto last = lastFetch_.find(sender);
    if (last != lastFetch_.end() &&
        now - last->second < std::chrono::seconds(kRendererFetchSeconds))
        return;
    if (last == lastFetch_.end() && lastFetch_.size() >= kMaxSenders) {
        auto oldest = lastFetch_.begin();
        for (auto it = lastFetch_.begin(); it != lastFetch_.end(); ++it)
            if (it->second < oldest->second)
                oldest = it;
        lastFetch_.erase(oldest);
    }
    lastFetch_[sender] = now;
    fetcher_.Fetch(location, [this, sender](bool ok, const std::string& body) {
        if (ok)
            OnDescription(sender, body);
        else if (Calyx::DMSLOGGetLevel() >= 1)
            Calyx::DMSPrintf(Calyx::DMSLOG_INFO,
                             "calyx-dms: description of the renderer at %s not read (failed, "
                             "too slow or over %zu bytes)\n",
                             sender.c_str(), kMaxDescriptionBytes);
    });
}

void RendererWatch::OnDescription(const std::string& ip, const std::string& body) {
    IXML_Document* parsed = nullptr;
    if (ixmlParseBufferEx(body.c_str(), &parsed) != IXML_SUCCESS)
        return;
    std::unique_ptr<IXML_Document, DocumentDeleter> doc(parsed);
    std::map<std::string, std::string> fields;
    for (const std::string& field : Calyx::DeviceDescriptionFields()) {
        bool found = false;
        std::string value = Calyx::XMLGetFirstDocumentItem(doc.get(), field.c_str(), &found);
        if (found && !value.empty())
            fields[field] = value;
    }
    const std::string mac = Calyx::GetMACAddressFromARPTable(ip);
    unsigned index = 0;
    const bool known = !mac.empty() && list_.VerifyMacIsExist(mac, index);
    if (mac.empty() ||
        !list_.UpdateKeys("HandleDiscovery", mac, ip, IdentificationHeaders::CutFields(fields))) {
        if (Calyx::DMSLOGGetLevel() >= 1)
            Calyx::DMSPrintf(Calyx::DMSLOG_INFO,
                             "calyx-dms: renderer at %s not recorded (no hardware address)\n",
                             ip.c_str());
        return;
    }
    if (!known && cap_)
        cap_->OnNewEntry();
    if (Calyx::DMSLOGGetLevel() >= 1)
        Calyx::DMSPrintf(Calyx::DMSLOG_INFO, "calyx-dms: renderer %s (%s) is \"%s\"\n", mac.c_str(),
                         ip.c_str(), list_.FindKey(mac, "profileName").c_str());
}

}  // namespace calyx_dms
