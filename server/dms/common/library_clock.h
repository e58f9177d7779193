// Time spent inside library calls during one request, for the server's own measurements
// (logged per Browse and Search at debug level).
#ifndef CALYX_DMS_LIBRARY_CLOCK_H
#define CALYX_DMS_LIBRARY_CLOCK_H

#include <chrono>

#include "calyx/core.h"

namespace calyx_dms {

// Adds the lifetime of the object to `total` (nanoseconds) when the log shows it (level 2
// and above); otherwise reads no clock (a page of DIDL-Lite starts and stops hundreds of
// these).
class LibraryTimer {
public:
    explicit LibraryTimer(long long& total) : total_(total), timed_(Calyx::DMSLOGGetLevel() > 1) {
        if (timed_)
            start_ = std::chrono::steady_clock::now();
    }
    ~LibraryTimer() {
        if (timed_)
            total_ += std::chrono::duration_cast<std::chrono::nanoseconds>(
                          std::chrono::steady_clock::now() - start_)
                          .count();
    }
    LibraryTimer(const LibraryTimer&) = delete;
    LibraryTimer& operator=(const LibraryTimer&) = delete;

private:
    long long& total_;
    bool timed_;
    std::chrono::steady_clock::time_point start_;
};

}  // namespace calyx_dms

#endif  // CALYX_DMS_LIBRARY_CLOCK_H
