#include "upnp/update_events.h"

#include <memory>
#include <utility>

#include "calyx/core.h"

namespace calyx_dms {

namespace {

// Containers read per poll; a larger burst is read over the next polls.
constexpr size_t kContainersPerPoll = 1000;

guint AsUi4(long long value) {
    return static_cast<guint>(value);  // ui4: the stored bigint modulo 2^32
}

}  // namespace

std::string FormatContainerUpdateIds(const std::map<std::string, long long>& containers) {
    std::string text;
    for (const auto& [container, updateId] : containers) {
        if (!text.empty())
            text += ',';
        text += container + "," + std::to_string(AsUi4(updateId));
    }
    return text;
}

UpdateEvents::UpdateEvents(GUPnPService* service, QueryWorkers& workers,
                           std::vector<Catalog>& workerCatalogs)
    : service_(service), workers_(workers), workerCatalogs_(workerCatalogs) {
    queryHandler_ = g_signal_connect(
        service, "query-variable",
        G_CALLBACK(+[](GUPnPService*, const char* variable, GValue* value, gpointer self) {
            static_cast<const UpdateEvents*>(self)->Answer(variable, value);
        }),
        this);
    timer_ = g_timeout_add(
        kPollMilliseconds,
        [](gpointer self) -> gboolean {
            static_cast<UpdateEvents*>(self)->Poll();
            return G_SOURCE_CONTINUE;
        },
        this);
    Poll();
}

UpdateEvents::~UpdateEvents() {
    Stop();
}

void UpdateEvents::Stop() {
    stopped_ = true;
    if (timer_ != 0)
        g_source_remove(timer_);
    timer_ = 0;
    if (queryHandler_ != 0)
        g_signal_handler_disconnect(service_, queryHandler_);
    queryHandler_ = 0;
}

void UpdateEvents::Answer(const char* variable, GValue* value) const {
    // A new subscriber's initial event: the values as they are now.
    const std::string name = variable;
    if (name == "SystemUpdateID") {
        g_value_init(value, G_TYPE_UINT);
        g_value_set_uint(value, AsUi4(system_ < 0 ? 0 : system_));
    } else if (name == "ContainerUpdateIDs") {
        g_value_init(value, G_TYPE_STRING);
        g_value_set_string(value, lastContainers_.c_str());
    }
}

void UpdateEvents::Poll() {
    SendIfDue();
    if (polling_ || stopped_)
        return;
    polling_ = true;
    const long long since = seenContainers_;
    std::weak_ptr<int> alive = alive_;
    workers_.Submit([this, since, alive](size_t worker) {
        auto changed = std::make_shared<std::vector<ContainerUpdate>>();
        long long changedAt = 0;
        // Before the first read there is nothing to tell about containers.
        const long long system = workerCatalogs_[worker].ReadUpdates(
            since, since < 0 ? 0 : kContainersPerPoll, *changed, changedAt);
        // Replies run on the main loop, at the latest when the workers stop.
        workers_.Reply([this, system, changed, changedAt, alive] {
            if (!alive.lock())
                return;
            polling_ = false;
            if (system >= 0)
                changedAt_ = changedAt;
            if (system >= 0 && !stopped_)
                Merge(system, *changed);
        });
    });
}

void UpdateEvents::Merge(long long system, const std::vector<ContainerUpdate>& changed) {
    if (system_ < 0) {
        // The first read: subscribers learn these values from their initial event.
        system_ = sentSystem_ = system;
        seenContainers_ = system;
        return;
    }
    if (system > system_)
        system_ = system;
    for (const ContainerUpdate& update : changed) {
        long long& pending = pending_[update.container];
        pending = std::max(pending, update.updateId);
        seenContainers_ = std::max(seenContainers_, update.updateId);
    }
    SendIfDue();
}

void UpdateEvents::SendIfDue() {
    if (stopped_ || (system_ == sentSystem_ && pending_.empty()))
        return;
    const auto now = std::chrono::steady_clock::now();
    if (now - lastSent_ < kModeration)
        return;  // the timer comes back within a poll period
    lastSent_ = now;
    sentSystem_ = system_;
    lastContainers_ = FormatContainerUpdateIds(pending_);
    pending_.clear();
    gupnp_service_freeze_notify(service_);
    gupnp_service_notify(service_, "SystemUpdateID", G_TYPE_UINT, AsUi4(system_), nullptr);
    if (!lastContainers_.empty())
        gupnp_service_notify(service_, "ContainerUpdateIDs", G_TYPE_STRING, lastContainers_.c_str(),
                             nullptr);
    gupnp_service_thaw_notify(service_);
    if (Calyx::DMSLOGGetLevel() > 1)
        Calyx::DMSPrintf(Calyx::DMSLOG_DEBUG,
                         "calyx-dms: event SystemUpdateID %lld, ContainerUpdateIDs \"%s\"\n",
                         system_, lastContainers_.c_str());
}

}  // namespace calyx_dms
