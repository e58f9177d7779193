// Time spent inside library calls during one request, for the server's own measurements.
#ifndef CALYX_DMS_LIBRARY_CLOCK_H
#define CALYX_DMS_LIBRARY_CLOCK_H

#include <chrono>

namespace calyx_dms {

// Adds the lifetime of the object to `total` (nanoseconds).
class LibraryTimer {
public:
    explicit LibraryTimer(long long& total)
        : total_(total), start_(std::chrono::steady_clock::now()) {}
    ~LibraryTimer() {
        total_ += std::chrono::duration_cast<std::chrono::nanoseconds>(
                      std::chrono::steady_clock::now() - start_)
                      .count();
    }
    LibraryTimer(const LibraryTimer&) = delete;
    LibraryTimer& operator=(const LibraryTimer&) = delete;

private:
    long long& total_;
    std::chrono::steady_clock::time_point start_;
};

}  // namespace calyx_dms

#endif  // CALYX_DMS_LIBRARY_CLOCK_H
