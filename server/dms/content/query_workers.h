// A fixed set of threads that answer index queries off the main loop, so that one slow
// Browse does not hold up every other client. Each thread owns its own database
// connection (a libpq connection serves one thread at a time); the answer is handed back
// to the main loop, where the UPnP stack may be called.
#ifndef CALYX_DMS_QUERY_WORKERS_H
#define CALYX_DMS_QUERY_WORKERS_H

#include <glib.h>

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace calyx_dms {

class QueryWorkers {
public:
    // A job runs on worker `worker` (0 .. count-1): the index of the thread's own state.
    using Job = std::function<void(size_t worker)>;

    // Starts `count` threads (at least one). `context` is the main loop's context, where
    // Reply runs its callbacks (null: the global default context).
    explicit QueryWorkers(size_t count, GMainContext* context = nullptr);
    // Stops the workers: see Stop.
    ~QueryWorkers();
    QueryWorkers(const QueryWorkers&) = delete;
    QueryWorkers& operator=(const QueryWorkers&) = delete;

    size_t count() const { return threads_.size(); }

    // Queues `job`; the first free worker runs it. Jobs queued after Stop are dropped.
    void Submit(Job job);
    // Runs `reply` on the main loop's context (from any thread), in the order of the calls
    // made by one thread.
    void Reply(std::function<void()> reply);
    // Lets the workers finish every queued job, joins them, then runs the replies still
    // waiting, so that no request is left without its answer. Call from the thread that
    // owns the main context, after its loop has stopped.
    void Stop();

private:
    void Work(size_t worker);

    GMainContext* context_;
    std::mutex mutex_;
    std::condition_variable ready_;
    std::deque<Job> jobs_;
    bool stopping_ = false;
    std::vector<std::thread> threads_;
};

}  // namespace calyx_dms

#endif  // CALYX_DMS_QUERY_WORKERS_H
