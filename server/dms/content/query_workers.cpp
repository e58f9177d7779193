#include "content/query_workers.h"

#include <utility>

namespace calyx_dms {

QueryWorkers::QueryWorkers(size_t count, GMainContext* context) : context_(context) {
    if (count == 0)
        count = 1;
    threads_.reserve(count);
    for (size_t i = 0; i < count; ++i)
        threads_.emplace_back([this, i] { Work(i); });
}

QueryWorkers::~QueryWorkers() {
    Stop();
}

void QueryWorkers::Submit(Job job) {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (stopping_)
            return;
        jobs_.push_back(std::move(job));
    }
    ready_.notify_one();
}

void QueryWorkers::Reply(std::function<void()> reply) {
    auto* heap = new std::function<void()>(std::move(reply));
    // An idle source of its own, never g_main_context_invoke: that would run the reply
    // right here on a worker whenever it could acquire the context.
    GSource* source = g_idle_source_new();
    // Default priority, as the stack's own socket sources: an answer waits behind no
    // idle work.
    g_source_set_priority(source, G_PRIORITY_DEFAULT);
    g_source_set_callback(
        source,
        [](gpointer data) -> gboolean {
            (*static_cast<std::function<void()>*>(data))();
            return G_SOURCE_REMOVE;
        },
        heap, [](gpointer data) { delete static_cast<std::function<void()>*>(data); });
    g_source_attach(source, context_);
    g_source_unref(source);
}

void QueryWorkers::Stop() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (stopping_ && threads_.empty())
            return;
        stopping_ = true;
    }
    ready_.notify_all();
    for (std::thread& thread : threads_)
        thread.join();
    threads_.clear();
    GMainContext* context = context_ ? context_ : g_main_context_default();
    while (g_main_context_pending(context))
        g_main_context_iteration(context, FALSE);
}

void QueryWorkers::Work(size_t worker) {
    for (;;) {
        Job job;
        {
            std::unique_lock<std::mutex> lock(mutex_);
            ready_.wait(lock, [this] { return stopping_ || !jobs_.empty(); });
            if (jobs_.empty())
                return;
            job = std::move(jobs_.front());
            jobs_.pop_front();
        }
        job(worker);
    }
}

}  // namespace calyx_dms
