// Which changed paths are ready to be indexed: a file being written is held until it has
// been closed and stayed the same for a moment, so that a long copy is indexed once, after
// it is complete; paths that are gone, and folders or files moved in, need no such wait.
#ifndef CALYX_DMS_CHANGE_SETTLER_H
#define CALYX_DMS_CHANGE_SETTLER_H

#include <chrono>
#include <map>
#include <string>
#include <vector>

namespace calyx_dms {

class ChangeSettler {
public:
    using Clock = std::chrono::steady_clock;

    enum class Event {
        kWritten,  // created or written to; may still be open for writing
        kTouched,  // its attributes changed (times, mode): open or not as it was
        kClosed,   // a writer closed it
        kArrived,  // moved in, or a new folder: complete as it is
        kGone,     // deleted or moved away
    };

    // `settle`: how long a closed file must stay untouched; `stillOpen`: how long one that
    // was never seen closed (a writer that keeps it open) must stay untouched.
    ChangeSettler(Clock::duration settle, Clock::duration stillOpen)
        : settle_(settle), stillOpen_(stillOpen) {}

    void Record(const std::string& path, Event event, Clock::time_point now);
    // The paths ready at `now`, each once, in path order; they are forgotten here.
    std::vector<std::string> TakeReady(Clock::time_point now);
    bool empty() const { return pending_.empty(); }
    size_t size() const { return pending_.size(); }

private:
    struct Pending {
        Clock::time_point last;
        bool closed = false;
        bool gone = false;
    };
    Clock::duration settle_;
    Clock::duration stillOpen_;
    std::map<std::string, Pending> pending_;
};

}  // namespace calyx_dms

#endif  // CALYX_DMS_CHANGE_SETTLER_H
