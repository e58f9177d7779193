#include "media_server.h"

#include <glib-unix.h>
#include <glib/gstdio.h>
#include <libgupnp/gupnp.h>
#include <limits.h>
#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
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
#include "indexing/index_scheduler.h"
#include "indexing/media_folders.h"
#include "indexing/thumbnail_backlog.h"
#include "install_paths.h"
#include "library_session.h"
#include "state_folder.h"
#include "store/index_connection.h"
#include "store/index_schema.h"
#include "store/private_cluster.h"
#include "transcode/transcode_http.h"
#include "transcode/transcode_jobs.h"
#include "upnp/connection_manager.h"
#include "upnp/content_directory.h"
#include "upnp/description.h"
#include "upnp/media_receiver_registrar.h"
#include "upnp/samsung_actions.h"
#include "upnp/update_events.h"
#include "watch/media_watch.h"

namespace calyx_dms {

namespace {

// Long enough for the stack to send every queued bye-bye announcement.
const guint kByeByeMilliseconds = 800;
// Between two SSDP announcements (GSSDP's default is 120 ms): the start's set (a bye-bye
// and three alive per resource, 24 messages) goes out in half a second instead of three,
// so control points already on the network see the server at once, and every bye-bye
// of the stop goes out within kByeByeMilliseconds.
const guint kSsdpMessageDelayMs = 20;

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

void Say(const std::string& line) {
    if (Calyx::DMSLOGGetLevel() >= 1)
        Calyx::DMSPrintf(Calyx::DMSLOG_INFO, "calyx-dms: %s\n", line.c_str());
    std::cout << "calyx-dms: " << line << std::endl;
}

// How often the server tries again to reach a database server that is not there yet.
constexpr guint kDatabaseRetrySeconds = 5;

// The defaults that depend on where the server runs, filled in.
bool ResolveSettings(Options& o, std::string& error) {
    if (o.stateDir.empty())
        o.stateDir = DefaultStateFolder();
    if (o.stateDir.empty()) {
        error = "no state folder: give --state-dir (HOME is not set)";
        return false;
    }
    if (!MakeStateFolder(o.stateDir, 0700, error))
        return false;
    if (o.log.empty())
        o.log = o.stateDir + "/calyx-dms.log";
    if (o.profiles.empty())
        o.profiles = DataFile("profiles.json");
    // The workers run at a lower priority: serving goes first, and an idle machine
    // indexes with every processor.
    if (o.indexWorkers == 0)
        o.indexWorkers = std::max(1L, sysconf(_SC_NPROCESSORS_ONLN));
    return true;
}

// Indexes the media folders once the media index can be read: at once, or when the
// database server has come up (retrying every few seconds, saying so once).
class IndexStarter {
public:
    // `ready` runs once the index can be read, before the indexing starts.
    IndexStarter(IndexScheduler& scheduler, std::vector<MediaFolder> folders,
                 std::function<void()> ready)
        : scheduler_(scheduler), folders_(std::move(folders)), ready_(std::move(ready)) {}
    ~IndexStarter() {
        if (timer_ != 0)
            g_source_remove(timer_);
    }
    IndexStarter(const IndexStarter&) = delete;
    IndexStarter& operator=(const IndexStarter&) = delete;

    void Start() {
        if (TryOnce())
            return;
        timer_ = g_timeout_add_seconds(
            kDatabaseRetrySeconds,
            [](gpointer self) -> gboolean {
                auto* starter = static_cast<IndexStarter*>(self);
                if (!starter->TryOnce())
                    return G_SOURCE_CONTINUE;
                starter->timer_ = 0;
                return G_SOURCE_REMOVE;
            },
            this);
    }

private:
    bool TryOnce() {
        std::string error;
        if (!PrepareMediaIndex(error)) {
            if (error != lastError_)
                Say("the media index cannot be read yet (" + error + "); retrying every " +
                    std::to_string(kDatabaseRetrySeconds) + " s");
            lastError_ = error;
            return false;
        }
        if (!lastError_.empty())
            Say("the media index can be read now");
        if (ready_)
            ready_();
        if (!folders_.empty())
            scheduler_.Request(folders_);
        return true;
    }

    IndexScheduler& scheduler_;
    std::vector<MediaFolder> folders_;
    std::function<void()> ready_;
    std::string lastError_;
    guint timer_ = 0;
};

// True when neither --database nor libpq's environment names a database server.
bool NoDatabaseNamed(const Options& o) {
    for (const char* name : {"PGHOST", "PGHOSTADDR", "PGSERVICE"}) {
        const char* value = getenv(name);
        if (value != nullptr && *value != '\0')
            return false;
    }
    return o.database.empty();
}

// Starts the private cluster and points libpq's environment (the library's connections
// and the index worker's) at its socket.
bool StartPrivateCluster(const Options& o, std::optional<PrivateCluster>& cluster,
                         std::string& error) {
    ClusterSettings settings;
    settings.folder = o.stateDir + "/postgresql";
    settings.programs = FindServerPrograms(o.pgBindir, error);
    if (settings.programs.empty())
        return false;
    cluster.emplace(settings);
    if (!cluster->Start(error)) {
        error = "the private database cluster in " + settings.folder + " did not start: " + error;
        return false;
    }
    setenv("PGHOST", cluster->socketFolder().c_str(), 1);
    setenv("PGPORT", std::to_string(cluster->port()).c_str(), 1);
    Say("media index: private PostgreSQL cluster " + cluster->dataFolder() + " (" +
        cluster->history() + "; socket " + cluster->socketFolder() + ")");
    return true;
}

// Restarts the private cluster if its server has ended (checked every few seconds).
class ClusterGuard {
public:
    explicit ClusterGuard(PrivateCluster& cluster) : cluster_(cluster) {
        timer_ = g_timeout_add_seconds(
            5,
            [](gpointer self) -> gboolean {
                static_cast<ClusterGuard*>(self)->Check();
                return G_SOURCE_CONTINUE;
            },
            this);
    }
    ~ClusterGuard() { g_source_remove(timer_); }
    ClusterGuard(const ClusterGuard&) = delete;
    ClusterGuard& operator=(const ClusterGuard&) = delete;

private:
    void Check() {
        std::string why;
        if (cluster_.Alive(why))
            return;
        Say("the private database server stopped (" + why + "); starting it again");
        std::string error;
        if (!cluster_.Start(error) && Calyx::DMSLOGGetLevel() >= 0)
            Calyx::DMSPrintf(Calyx::DMSLOG_ERR, "Error: calyx-dms - %s\n", error.c_str());
    }

    PrivateCluster& cluster_;
    guint timer_ = 0;
};

}  // namespace

int RunMediaServer(const Options& given) {
    std::string error;
    Options options = given;
    if (!ResolveSettings(options, error))
        return Fail(error);
    if (!ApplyDatabaseSetting(options.database, error))
        return Fail(error);
    // Folders that are not there are said at once (a mount may come later: not fatal).
    std::vector<std::string> problems;
    const std::vector<MediaFolder> folders = CombineMediaFolders(options.media, problems);
    for (const std::string& problem : problems)
        std::cerr << "calyx-dms: " << problem << "\n";
    LibrarySession session(options);
    if (!session.Start(error))
        return Fail(error);
    for (const std::string& problem : problems)
        if (Calyx::DMSLOGGetLevel() >= 0)
            Calyx::DMSPrintf(Calyx::DMSLOG_ERR, "Error: calyx-dms - %s\n", problem.c_str());
    // Without a database server named, the server runs one of its own (stopped last).
    std::optional<PrivateCluster> cluster;
    if (NoDatabaseNamed(options) && !StartPrivateCluster(options, cluster, error))
        return Fail(error);
    std::optional<ClusterGuard> clusterGuard;
    if (cluster)
        clusterGuard.emplace(*cluster);

    // One connection for the main loop (update ids, media files) and one per query worker,
    // each made when first needed: the server serves before its database server is there.
    // The workers' statements end at the statement timeout; a first attempt now carries it
    // in the connection's options (kept when the connection is re-established).
    IndexConnection mainConnection;
    std::vector<std::unique_ptr<IndexConnection>> workerConnections;
    {
        StatementTimeoutForNewConnections timeout(options.limits.statementTimeout);
        for (unsigned i = 0; i < options.queryThreads; ++i) {
            workerConnections.push_back(std::make_unique<IndexConnection>(
                std::chrono::seconds(2), options.limits.statementTimeout));
            workerConnections.back()->Connect();
        }
    }
    StampCache stamps;
    Catalog catalog(mainConnection, stamps);
    std::vector<Catalog> workerCatalogs;
    workerCatalogs.reserve(workerConnections.size());
    for (const std::unique_ptr<IndexConnection>& connection : workerConnections)
        workerCatalogs.emplace_back(*connection, stamps);

    // The media folders are indexed by worker processes while the server serves.
    IndexerSettings indexing;
    indexing.program = WorkerProgram();
    indexing.thumbnailFolder = options.stateDir + "/thumbnails";
    indexing.workers = static_cast<int>(options.indexWorkers);
    indexing.workerLog = options.stateDir + "/index-worker.log";
    indexing.forgetAfter = options.forgetAfter;
    IndexScheduler scheduler(indexing);
    // Thumbnails the index lacks, made after the answers that went without them.
    ThumbnailBacklogSettings thumbnailing;
    thumbnailing.program = indexing.program;
    thumbnailing.thumbnailFolder = indexing.thumbnailFolder;
    thumbnailing.workerLog = options.stateDir + "/thumbnail-worker.log";
    ThumbnailBacklog thumbnails(thumbnailing);
    // The update id is read again at the next request once the worker's rows are in,
    // rather than up to a second later: the new items are listed at once.
    scheduler.SetIndexChanged([&stamps] { stamps.Forget(); });
    scheduler.SetObserver([](const IndexStatus& status) {
        if (status.state == IndexStatus::kIdle && status.runs > 0)
            std::cout << "calyx-dms: " << status.lastResult << std::endl;
    });
    // The server's own table (bookmarks) next to the index; without it everything else
    // still works.
    IndexStarter starter(scheduler, folders, [&mainConnection] {
        std::string error;
        DBConnect* conn = mainConnection.Get();
        if (conn != nullptr && ApplyServerSchema(conn, error))
            return;
        if (error.empty())
            error = "cannot connect: " + mainConnection.failure();
        std::cerr << "calyx-dms: " << error << "; resume positions are not kept" << std::endl;
        if (Calyx::DMSLOGGetLevel() >= 0)
            Calyx::DMSPrintf(Calyx::DMSLOG_ERR, "calyx-dms: %s\n", error.c_str());
    });
    // The media folders followed as they change: what changed goes to changed-path runs.
    std::optional<MediaWatch> mediaWatch;
    if (!folders.empty()) {
        WatchSettings watching;
        for (const MediaFolder& folder : folders) {
            char resolved[PATH_MAX];
            watching.folders.emplace_back(realpath(folder.path.c_str(), resolved) ? resolved
                                                                                  : folder.path);
        }
        watching.rescanInterval = options.rescanInterval;
        // The tests' seam: they never change the real limit under /proc.
        if (const char* file = getenv("CALYX_INOTIFY_LIMIT_FILE"))
            watching.limitFile = file;
        mediaWatch.emplace(watching, [&scheduler, &folders](const std::vector<std::string>& paths) {
            if (paths.empty())
                scheduler.Request(folders);
            else
                scheduler.RequestChanges(paths);
        });
    }
    // Made before the UPnP context: requests still streaming when it goes stop their
    // workers through it.
    const long cores = sysconf(_SC_NPROCESSORS_ONLN);
    TranscodeJobs transcodes(
        options.transcoder.empty() ? TranscoderProgram() : options.transcoder,
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
                                      session.texts(), baseUrl, identity.friendlyName,
                                      size_t{options.keptAnswersMib} << 20);
    contentDirectory.SetMissingThumbnailHandler(
        [&thumbnails](const std::vector<std::string>& ids) { thumbnails.Want(ids); });
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
    ServedFiles servedFiles(mainConnection, options.limits.followLinks);
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
        // The media library panel: the index's counts and the background indexing.
        admin->SetLibrary(
            [&catalog, &scheduler, &folders] {
                LibraryPanel panel;
                panel.shown = !folders.empty();
                panel.music = catalog.Count(Calyx::MEDIA_TABLE_MUSIC, "");
                panel.video = catalog.Count(Calyx::MEDIA_TABLE_VIDEO, "");
                panel.photo = catalog.Count(Calyx::MEDIA_TABLE_PHOTO, "");
                if (scheduler.status().state != IndexStatus::kIdle)
                    panel.scan = DescribeIndexStatus(scheduler.status());
                std::vector<ContainerUpdate> none;
                long long changedAt = 0;
                if (catalog.ReadUpdates(0, 0, none, changedAt) >= 0)
                    panel.lastChange = static_cast<time_t>(changedAt);
                return panel;
            },
            [&scheduler, &folders] { scheduler.Request(folders); });
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

    gssdp_resource_group_set_message_delay(gupnp_root_device_get_ssdp_resource_group(device.get()),
                                           kSsdpMessageDelayMs);
    gupnp_root_device_set_available(device.get(), TRUE);
    const std::string location = gupnp_device_info_get_location(GUPNP_DEVICE_INFO(device.get()));
    if (Calyx::DMSLOGGetLevel() >= 1)
        Calyx::DMSPrintf(Calyx::DMSLOG_INFO, "calyx-dms: serving \"%s\" at %s\n",
                         identity.friendlyName.c_str(), location.c_str());
    std::cout << "calyx-dms: serving \"" << identity.friendlyName << "\" at " << location
              << std::endl;
    starter.Start();
    if (mediaWatch)
        mediaWatch->Start();
    g_main_loop_run(loop);

    // Shut down: bye-bye announcements, the last save, then the library. The stack
    // spaces its SSDP messages with timers, so the loop runs a moment longer to send them.
    g_source_remove(term);
    g_source_remove(interrupt);
    gupnp_root_device_set_available(device.get(), FALSE);
    g_timeout_add(kByeByeMilliseconds, quit, loop);
    g_main_loop_run(loop);
    g_main_loop_unref(loop);
    scheduler.Stop();
    updateEvents.Stop();
    workers->Stop();
    keeper.Check();
    if (Calyx::DMSLOGGetLevel() >= 1)
        Calyx::DMSPrintf(Calyx::DMSLOG_INFO, "calyx-dms: stopped\n");
    std::cout << "calyx-dms: stopped" << std::endl;
    return 0;
}

}  // namespace calyx_dms
