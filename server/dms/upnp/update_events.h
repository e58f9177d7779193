// ContentDirectory's evented update ids: SystemUpdateID and ContainerUpdateIDs follow the
// index's stored update ids and reach subscribers through the UPnP stack's eventing,
// moderated by a timer of our own (the stack sends every notification at once).
#ifndef CALYX_DMS_UPDATE_EVENTS_H
#define CALYX_DMS_UPDATE_EVENTS_H

#include <libgupnp/gupnp.h>

#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "content/catalog.h"
#include "content/query_workers.h"

namespace calyx_dms {

class UpdateEvents {
public:
    // Shortest time between two events, as ContentDirectory moderates both variables.
    static constexpr std::chrono::milliseconds kModeration{2000};
    // How often the stored ids are read (on a query worker, never on the main loop).
    static constexpr guint kPollMilliseconds = 500;

    // Answers new subscribers' queries of `service` at once and starts polling through
    // `workers` (worker i reads through `workerCatalogs[i]`). Everything given must
    // outlive this object.
    UpdateEvents(GUPnPService* service, QueryWorkers& workers,
                 std::vector<Catalog>& workerCatalogs);
    ~UpdateEvents();
    UpdateEvents(const UpdateEvents&) = delete;
    UpdateEvents& operator=(const UpdateEvents&) = delete;

    // Stops polling and sending; call before the workers stop.
    void Stop();

    // The newest SystemUpdateID read, -1 before the first successful read.
    long long system() const { return system_; }
    // When the index last changed (seconds since the epoch), as last read; 0: never.
    long long changedAt() const { return changedAt_; }

private:
    void Poll();
    // Main loop: what a poll found.
    void Merge(long long system, const std::vector<ContainerUpdate>& changed);
    // Sends one event when something changed and the last one is old enough.
    void SendIfDue();
    void Answer(const char* variable, GValue* value) const;

    GUPnPService* service_;
    QueryWorkers& workers_;
    std::vector<Catalog>& workerCatalogs_;
    guint timer_ = 0;
    gulong queryHandler_ = 0;
    bool polling_ = false;  // a poll is on a worker
    bool stopped_ = false;
    long long system_ = -1;          // newest read
    long long changedAt_ = 0;        // when the index last changed, as last read
    long long sentSystem_ = -1;      // last evented (or the first read: nothing to tell then)
    long long seenContainers_ = -1;  // container ids up to this one are merged
    std::map<std::string, long long> pending_;
    std::string lastContainers_;  // the last ContainerUpdateIDs evented
    std::chrono::steady_clock::time_point lastSent_{};
    // Polls still on a worker when this object goes hold only a weak reference to it.
    std::shared_ptr<int> alive_ = std::make_shared<int>(0);
};

// The ContainerUpdateIDs text: "id,value,id,value..." (values as ui4).
std::string FormatContainerUpdateIds(const std::map<std::string, long long>& containers);

}  // namespace calyx_dms

#endif  // CALYX_DMS_UPDATE_EVENTS_H
