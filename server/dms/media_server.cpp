#include "media_server.h"

#include <glib-unix.h>
#include <glib/gstdio.h>
#include <libgupnp/gupnp.h>
#include <signal.h>
#include <unistd.h>

#include <iostream>
#include <memory>
#include <optional>
#include <vector>

#include "admin/admin_server.h"
#include "calyx/core.h"
#include "calyx/host.h"
#include "calyx/platform.h"
#include "clients/client_list_keeper.h"
#include "clients/client_sightings.h"
#include "clients/renderer_watch.h"
#include "clients/request_visits.h"
#include "common/server_paths.h"
#include "containment.h"
#include "content/bookmarks.h"
#include "content/catalog.h"
#include "content/query_workers.h"
#include "content/statement_timeout.h"
#include "database_setting.h"
#include "http/connection_policy.h"
#include "http/media_http.h"
#include "library_session.h"
#include "transcode/transcode_http.h"
#include "transcode/transcode_jobs.h"
#include "upnp/connection_manager.h"
#include "upnp/content_directory.h"
#include "upnp/description.h"
#include "upnp/media_receiver_registrar.h"
#include "upnp/samsung_actions.h"
#include "upnp/update_events.h"

namespace calyx_dms {

namespace {

// Long enough for the stack to send every queued bye-bye announcement.
const guint kByeByeMilliseconds = 800;

// A temporary directory removed with everything in it.
class ScratchDirectory {
public:
    ScratchDirectory() {
        char* dir = g_dir_make_tmp("calyx-dms-XXXXXX", nullptr);
        path_ = dir ? dir : "";
        g_free(dir);
    }
    ~ScratchDirectory() {
        if (path_.empty())
            return;
        // Only the server writes here: the descriptions and the device icons.
        if (GDir* dir = g_dir_open(path_.c_str(), 0, nullptr)) {
            while (const char* name = g_dir_read_name(dir))
                g_remove((path_ + "/" + name).c_str());
            g_dir_close(dir);
        }
        g_rmdir(path_.c_str());
    }
    const std::string& path() const { return path_; }

private:
    std::string path_;
};

template <typename T>
struct GObjectDeleter {
    void operator()(T* object) const { g_object_unref(object); }
};
template <typename T>
using GObjectPtr = std::unique_ptr<T, GObjectDeleter<T>>;

int Fail(const std::string& message) {
    std::cerr << "calyx-dms: " << message << "\n";
    if (Calyx::DMSLOGGetLevel() >= 0)
        Calyx::DMSPrintf(Calyx::DMSLOG_ERR, "Error: calyx-dms - %s\n", message.c_str());
    return 1;
}

struct DatabaseConnection {
    DBConnect* conn = ZEVODBConnect(nullptr, "admin", nullptr, "calyx");
    DatabaseConnection() = default;
    DatabaseConnection(const DatabaseConnection&) = delete;
    DatabaseConnection& operator=(const DatabaseConnection&) = delete;
    ~DatabaseConnection() {
        if (conn)
            ZEVODBClose(conn);
    }
};

}  // namespace

int RunMediaServer(const Options& options) {
    std::string error;
    if (!ApplyDatabaseSetting(options.database, error))
        return Fail(error);
    LibrarySession session(options);
    if (!session.Start(error))
        return Fail(error);

    // One connection for the main loop (update ids, media files) and one per query worker;
    // the workers' statements end at the statement timeout.
    DatabaseConnection mainConnection;
    std::optional<std::vector<DatabaseConnection>> workerConnections;
    {
        StatementTimeoutForNewConnections timeout(options.limits.statementTimeout);
        workerConnections.emplace(options.queryThreads);
    }
    bool connected = mainConnection.conn != nullptr;
    for (const DatabaseConnection& connection : *workerConnections)
        connected = connected && connection.conn;
    if (!connected)
        return Fail("cannot connect to the media index database \"calyx\" as \"admin\"");
    // The server's own table (bookmarks); without it everything else still works.
    if (!ApplyServerSchema(mainConnection.conn, error)) {
        std::cerr << "calyx-dms: " << error << "; resume positions are not kept" << std::endl;
        if (Calyx::DMSLOGGetLevel() >= 0)
            Calyx::DMSPrintf(Calyx::DMSLOG_ERR, "calyx-dms: %s\n", error.c_str());
    }
    StampCache stamps;
    Catalog catalog(mainConnection.conn, stamps);
    std::vector<Catalog> workerCatalogs;
    for (const DatabaseConnection& connection : *workerConnections)
        workerCatalogs.emplace_back(connection.conn, stamps);
    // Made before the UPnP context: requests still streaming when it goes stop their
    // workers through it.
    const long cores = sysconf(_SC_NPROCESSORS_ONLN);
    TranscodeJobs transcodes(
        options.transcoder.empty() ? TranscodeJobs::DefaultWorker() : options.transcoder,
        options.transcodes > 0 ? options.transcodes : static_cast<unsigned>(cores > 0 ? cores : 1));
    // Stopped (answering what is queued) once the main loop has ended, while everything
    // its jobs use is still there.
    std::optional<QueryWorkers> workers;

    GError* gerror = nullptr;
    GObjectPtr<GUPnPContext> context(gupnp_context_new_full(
        options.interface.empty() ? nullptr : options.interface.c_str(), nullptr,
        static_cast<guint16>(options.port), GSSDP_UDA_VERSION_1_0, &gerror));
    if (!context) {
        std::string reason = gerror ? gerror->message : "unknown error";
        g_clear_error(&gerror);
        return Fail("cannot start UPnP on " +
                    (options.interface.empty() ? std::string("any interface") : options.interface) +
                    ": " + reason);
    }

    DeviceIdentity identity;
    identity.friendlyName =
        options.friendlyName.empty() ? session.texts().Translate("title") : options.friendlyName;
    identity.modelName = Calyx::DMSGetProductModel();
    identity.serialNumber = Calyx::DMSGetProductSerial();
    identity.udn = Calyx::DMSGetProductUDN();
    ScratchDirectory scratch;
    if (scratch.path().empty() || !WriteDescriptions(scratch.path(), identity, error))
        return Fail(scratch.path().empty() ? "cannot create a temporary directory" : error);

    // Identify every request and turn denied clients away before any handler runs; each
    // visit travels with its request and counts as a sighting of its client.
    ClientSightings sightings;
    RequestVisits visits(sightings);
    // First of all, every answer follows the request's connection wishes (a refusal too).
    ConnectionPolicy connectionPolicy(gupnp_context_get_server(context.get()));
    // The head of each request is judged before its body is read: Host, sizes, access.
    Containment containment(gupnp_context_get_server(context.get()), session.clients(),
                            ClientListPath(), visits, options.limits);

    GObjectPtr<GUPnPRootDevice> device(gupnp_root_device_new(context.get(), kDescriptionPath + 1,
                                                             scratch.path().c_str(), &gerror));
    if (!device) {
        std::string reason = gerror ? gerror->message : "unknown error";
        g_clear_error(&gerror);
        return Fail("cannot create the UPnP device: " + reason);
    }
    GObjectPtr<GUPnPServiceInfo> cds(gupnp_device_info_get_service(
        GUPNP_DEVICE_INFO(device.get()), "urn:schemas-upnp-org:service:ContentDirectory:1"));
    GObjectPtr<GUPnPServiceInfo> cm(gupnp_device_info_get_service(
        GUPNP_DEVICE_INFO(device.get()), "urn:schemas-upnp-org:service:ConnectionManager:1"));
    GObjectPtr<GUPnPServiceInfo> registrar(
        gupnp_device_info_get_service(GUPNP_DEVICE_INFO(device.get()), kRegistrarType));
    if (!cds || !cm || !registrar)
        return Fail("the device description lacks one of its services");
    const std::string baseUrl = std::string("http://") +
                                gssdp_client_get_host_ip(GSSDP_CLIENT(context.get())) + ":" +
                                std::to_string(gupnp_context_get_port(context.get()));
    workers.emplace(workerCatalogs.size());
    ContentDirectory contentDirectory(GUPNP_SERVICE(cds.get()), catalog, workerCatalogs, *workers,
                                      session.texts(), baseUrl, identity.friendlyName);
    UpdateEvents updateEvents(GUPNP_SERVICE(cds.get()), *workers, workerCatalogs);
    ConnectConnectionManager(GUPNP_SERVICE(cm.get()));
    ConnectMediaReceiverRegistrar(GUPNP_SERVICE(registrar.get()));
    ConnectSamsungActions(GUPNP_SERVICE(cds.get()), catalog);
    // Clients that need another model name get the description that has it, at the same
    // address (the stack picks the file by the request's User-Agent).
    GRegex* msAgents =
        g_regex_new(kMsAgentPattern, G_REGEX_OPTIMIZE, G_REGEX_MATCH_DEFAULT, nullptr);
    // The stack hosts the description under a path of its own choice (the device's UUID).
    GUri* described = g_uri_parse(gupnp_device_info_get_location(GUPNP_DEVICE_INFO(device.get())),
                                  G_URI_FLAGS_NONE, nullptr);
    bool msHosted = msAgents && described &&
                    gupnp_context_host_path_for_agent(context.get(),
                                                      (scratch.path() + kMsDescriptionFile).c_str(),
                                                      g_uri_get_path(described), msAgents);
    if (described)
        g_uri_unref(described);
    if (msAgents)
        g_regex_unref(msAgents);
    if (!msHosted)
        return Fail("cannot serve the description for Windows Media Player and the Xbox");
    ServedFiles servedFiles(mainConnection.conn, options.limits.followLinks);
    ServeMedia(context.get(), catalog, servedFiles);
    ServeTranscodes(context.get(), catalog, transcodes, servedFiles);

    std::optional<RendererWatch> renderers;
    if (options.discoverRenderers)
        renderers.emplace(context.get(), session.clients(), &containment.cap());
    ClientListKeeper keeper(session.clients(), ClientListPath(), options.saveInterval);
    // The settings page, only when a password hash is configured (there is no default).
    std::optional<AdminServer> admin;
    std::optional<ConnectionPolicy> adminConnectionPolicy;
    if (!options.admin.passwordHash.empty()) {
        admin.emplace(session.clients(), session.texts(), sightings, options.admin);
        if (!admin->Start(gupnp_context_get_port(context.get()), error))
            return Fail(error);
        adminConnectionPolicy.emplace(admin->Server());
        std::cout << "calyx-dms: settings page at " << admin->Url() << std::endl;
    }

    GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
    auto stop = [](gpointer l) -> gboolean {
        g_main_loop_quit(static_cast<GMainLoop*>(l));
        return G_SOURCE_CONTINUE;
    };
    auto quit = [](gpointer l) -> gboolean {
        g_main_loop_quit(static_cast<GMainLoop*>(l));
        return G_SOURCE_REMOVE;
    };
    // The signal sources stay until shutdown, so a second signal is harmless.
    guint term = g_unix_signal_add(SIGTERM, stop, loop);
    guint interrupt = g_unix_signal_add(SIGINT, stop, loop);
    signal(SIGPIPE, SIG_IGN);

    gupnp_root_device_set_available(device.get(), TRUE);
    const std::string location = gupnp_device_info_get_location(GUPNP_DEVICE_INFO(device.get()));
    if (Calyx::DMSLOGGetLevel() >= 1)
        Calyx::DMSPrintf(Calyx::DMSLOG_INFO, "calyx-dms: serving \"%s\" at %s\n",
                         identity.friendlyName.c_str(), location.c_str());
    std::cout << "calyx-dms: serving \"" << identity.friendlyName << "\" at " << location
              << std::endl;
    g_main_loop_run(loop);

    // Shut down: bye-bye announcements, the last save, then the library. The stack
    // spaces its SSDP messages with timers, so the loop runs a moment longer to send them.
    g_source_remove(term);
    g_source_remove(interrupt);
    gupnp_root_device_set_available(device.get(), FALSE);
    g_timeout_add(kByeByeMilliseconds, quit, loop);
    g_main_loop_run(loop);
    g_main_loop_unref(loop);
    updateEvents.Stop();
    workers->Stop();
    keeper.Check();
    if (Calyx::DMSLOGGetLevel() >= 1)
        Calyx::DMSPrintf(Calyx::DMSLOG_INFO, "calyx-dms: stopped\n");
    std::cout << "calyx-dms: stopped" << std::endl;
    return 0;
}

}  // namespace calyx_dms
