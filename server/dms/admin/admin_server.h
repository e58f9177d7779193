// The settings page: its own HTTP server on its own port (the loopback address by
// default), never the port the media clients use. Lists the clients and changes their
// profile choice and access, removes entries and switches the policy for new clients.
#ifndef CALYX_DMS_ADMIN_SERVER_H
#define CALYX_DMS_ADMIN_SERVER_H

#include <libsoup/soup.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "admin/admin_options.h"
#include "admin/admin_page.h"
#include "admin/admin_sessions.h"
#include "admin/login_throttle.h"
#include "calyx/client_list.h"
#include "calyx/i18n.h"
#include "clients/client_sightings.h"
#include "clients/early_gate.h"
#include "clients/log_limiter.h"
#include "clients/own_hosts.h"

namespace calyx_dms {

class AdminServer {
public:
    // `sightings` fill the "last seen" column; the drop-down of profiles offers the names
    // of the agents the library has loaded. Everything borrowed must outlive this object.
    AdminServer(Calyx::DMSClientList& list, const Calyx::DMSStringBundle& texts,
                const ClientSightings& sightings, AdminSettings settings);
    ~AdminServer();
    AdminServer(const AdminServer&) = delete;
    AdminServer& operator=(const AdminServer&) = delete;

    // Starts listening; false with `error` set when the address or port cannot be used,
    // the address is not a loopback address and --admin-allow-remote was not given, or
    // the configured password hash is not one --hash-password makes.
    bool Start(unsigned mediaPort, std::string& error);
    // The address to open in a browser, once started.
    std::string Url() const;
    // The HTTP server of the page, once started (null before).
    SoupServer* Server() const { return server_; }

    void Handle(SoupServerMessage* msg, const char* path);

    // The media library's panel: `view` gives what it shows, `rescan` starts a rescan of
    // every media folder ("Rescan now"). Without them the page has no such panel.
    void SetLibrary(std::function<LibraryPanel()> view, std::function<void()> rescan) {
        libraryView_ = std::move(view);
        rescan_ = std::move(rescan);
    }

private:
    void ShowClients(SoupServerMessage* msg, AdminSession& session);
    // Whether a change may come from where the request's Origin says (a page of another
    // site may post forms here; a browser names that site in Origin).
    bool OriginMatches(SoupServerMessage* msg) const;
    void RemoveClients(AdminSession& session, const std::vector<std::string>& macs, bool undecided);
    void LogIn(SoupServerMessage* msg);
    void ChangeClientFromForm(AdminSession& session, const std::string& mac,
                              const std::string& action, const std::string& profile);
    void ChangeNewClientPolicy(AdminSession& session, bool deny);

    Calyx::DMSClientList& list_;
    const Calyx::DMSStringBundle& texts_;
    const AdminSettings settings_;
    const ClientSightings& sightings_;
    AdminSessions sessions_;
    std::vector<std::string> profiles_;
    SoupServer* server_ = nullptr;
    std::function<LibraryPanel()> libraryView_;
    std::function<void()> rescan_;
    OwnHostsCache hosts_;
    LogLimiter log_;
    LoginThrottle throttle_;
    // Bounds the page's requests before their bodies are read, as on the media port.
    std::unique_ptr<EarlyGate> early_;
};

}  // namespace calyx_dms

#endif  // CALYX_DMS_ADMIN_SERVER_H
