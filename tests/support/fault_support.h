// Fault-injection helpers: a lower file-size limit for the scope (the "full disk").
#ifndef CALYX_TESTS_SUPPORT_FAULT_SUPPORT_H
#define CALYX_TESTS_SUPPORT_FAULT_SUPPORT_H

#include <signal.h>
#include <sys/resource.h>

namespace calyx_fault {

// Lowers the soft RLIMIT_FSIZE to `bytes` and ignores SIGXFSZ, so that writes past the
// limit fail with EFBIG as on a full disk; everything is restored at the end of the scope.
class ScopedFileSizeLimit {
public:
    explicit ScopedFileSizeLimit(rlim_t bytes) {
        getrlimit(RLIMIT_FSIZE, &old_);
        struct rlimit limit = old_;
        limit.rlim_cur = bytes;
        ok_ = setrlimit(RLIMIT_FSIZE, &limit) == 0;
        oldHandler_ = signal(SIGXFSZ, SIG_IGN);
    }
    ~ScopedFileSizeLimit() {
        setrlimit(RLIMIT_FSIZE, &old_);
        signal(SIGXFSZ, oldHandler_);
    }
    ScopedFileSizeLimit(const ScopedFileSizeLimit&) = delete;
    ScopedFileSizeLimit& operator=(const ScopedFileSizeLimit&) = delete;
    bool ok() const { return ok_; }

private:
    struct rlimit old_;
    void (*oldHandler_)(int);
    bool ok_;
};

}  // namespace calyx_fault

#endif  // CALYX_TESTS_SUPPORT_FAULT_SUPPORT_H
