#include "watch/change_settler.h"

namespace calyx_dms {

void ChangeSettler::Record(const std::string& path, Event event, Clock::time_point now) {
    const bool known = pending_.count(path) != 0;
    Pending& pending = pending_[path];
    pending.last = now;
    switch (event) {
        case Event::kTouched:
            // A copy sets the mode and times after its close; alone, a touch or chmod.
            if (!known)
                pending.closed = true;
            pending.gone = false;
            break;
        case Event::kWritten:
            // Written again after a close: a new writer, wait for its close too.
            pending.closed = false;
            pending.gone = false;
            break;
        case Event::kClosed:
        case Event::kArrived:
            pending.closed = true;
            pending.gone = false;
            break;
        case Event::kGone:
            pending.gone = true;
            break;
    }
}

std::vector<std::string> ChangeSettler::TakeReady(Clock::time_point now) {
    std::vector<std::string> ready;
    for (auto it = pending_.begin(); it != pending_.end();) {
        const Pending& p = it->second;
        const Clock::duration quiet = now - p.last;
        if (p.gone || (p.closed && quiet >= settle_) || quiet >= stillOpen_) {
            ready.push_back(it->first);
            it = pending_.erase(it);
        } else {
            ++it;
        }
    }
    return ready;
}

}  // namespace calyx_dms
