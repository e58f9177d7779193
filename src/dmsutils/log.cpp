// The library log: one process-wide file, leveled, flushed per line and rotated past
// 5 MiB into gzip-compressed generations "<path>.N.gz".
#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <syslog.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "calyx/core.h"
#include "calyx/platform.h"
#include "dmsutils/log_internal.h"
#include "platform/file_ops.h"

namespace Calyx {

DMSLOG_LEVEL gDMSLogLevel = DMSLOG_ERR;

namespace {

constexpr size_t kLogPathSize = 4097;
constexpr size_t kStampSize = 128;

pthread_mutex_t gLogLock = PTHREAD_MUTEX_INITIALIZER;
FILE* gLogStream = nullptr;
char gLogPath[kLogPathSize];
char gNowBuffer[kStampSize];
detail::LogClock gClock = nullptr;

// The timestamp of the last written line, reused while the second has not changed:
// formatting local time on every line would cost more than the write itself.
time_t gStampSecond = static_cast<time_t>(-1);
char gStamp[kStampSize];
size_t gStampLength = 0;

time_t CurrentTime() {
    return gClock != nullptr ? gClock() : time(nullptr);
}

// The threshold is a plain word written under the lock and read without it; the
// relaxed atomic access keeps that cheap and well defined.
DMSLOG_LEVEL LoadLevel() {
    return static_cast<DMSLOG_LEVEL>(
        __atomic_load_n(reinterpret_cast<int32_t*>(&gDMSLogLevel), __ATOMIC_RELAXED));
}

// Called with the lock held.
void RefreshStamp() {
    time_t now = CurrentTime();
    if (now != gStampSecond || gStampLength == 0) {
        gStampLength = detail::FormatLogTimestamp(now, gStamp, sizeof gStamp);
        gStampSecond = now;
    }
}

// Opens the log for appending as fopen(path, "a") would, but through the file operations
// table, so that tests can make the open fail. The lines themselves are written through
// stdio's buffer, which the table does not cover: a failed write of a log line is not
// reported anywhere, so no test needs to make one fail.
FILE* OpenLogStream(const char* path) {
    const detail::FileOps& ops = detail::CurrentFileOps();
    int fd = ops.open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    if (fd < 0) {
        return nullptr;
    }
    FILE* stream = fdopen(fd, "a");
    if (stream == nullptr) {
        ops.close(fd);
    }
    return stream;
}

// Moves the full log aside as "<path>.N" (N the first number whose archive
// "<path>.N.gz" does not exist), compresses it and reopens the log. Lock held.
void RotateLocked() {
    fflush(gLogStream);
    fclose(gLogStream);
    gLogStream = nullptr;

    const detail::FileOps& ops = detail::CurrentFileOps();
    char name[kLogPathSize];
    struct stat st;
    int n = 1;
    for (;; ++n) {
        snprintf(name, sizeof name, "%s.%d.gz", gLogPath, n);
        if (ops.stat(name, &st) != 0) {
            break;
        }
    }
    snprintf(name, sizeof name, "%s.%d", gLogPath, n);
    if (ops.rename(gLogPath, name) == 0) {
        if (QLIBCExec("/bin/gzip", name, nullptr, nullptr, nullptr, nullptr, nullptr) != 0) {
            syslog(LOG_ERR, "Failed to archive DMS logs %s", name);
        }
    }
    gLogStream = OpenLogStream(gLogPath);
}

}  // namespace

namespace detail {

size_t FormatLogTimestamp(time_t t, char* buf, size_t size) {
    if (size == 0) {
        return 0;
    }
    memset(buf, 0, size);
    struct tm local;
    if (localtime_r(&t, &local) == nullptr) {
        return 0;
    }
    // No blank between month and day on purpose: "Nov 5" but "Nov15".
    return strftime(buf, size, "%b%e %T", &local);
}

void SetLogClockForTesting(LogClock clock) {
    pthread_mutex_lock(&gLogLock);
    gClock = clock;
    gStampSecond = static_cast<time_t>(-1);
    pthread_mutex_unlock(&gLogLock);
}

}  // namespace detail

int DMSLOGInit(const char* path) {
    pthread_mutex_init(&gLogLock, nullptr);
    if (path == nullptr) {
        return 0;
    }
    snprintf(gLogPath, sizeof gLogPath, "%s", path);
    gLogStream = OpenLogStream(path);
    return gLogStream != nullptr ? 1 : 0;
}

void DMSLogClose() {
    if (gLogStream != nullptr) {
        fclose(gLogStream);
        gLogStream = nullptr;
    }
}

void DMSLOGSetLevel(DMSLOG_LEVEL level) {
    pthread_mutex_lock(&gLogLock);
    __atomic_store_n(reinterpret_cast<int32_t*>(&gDMSLogLevel), static_cast<int32_t>(level),
                     __ATOMIC_RELAXED);
    pthread_mutex_unlock(&gLogLock);
}

DMSLOG_LEVEL DMSLOGGetLevel() {
    return LoadLevel();
}

char* DMSNow() {
    detail::FormatLogTimestamp(CurrentTime(), gNowBuffer, sizeof gNowBuffer);
    return gNowBuffer;
}

void DMSPrintf(DMSLOG_LEVEL level, const char* format, ...) {
    if (static_cast<int32_t>(level) > static_cast<int32_t>(LoadLevel())) {
        return;
    }
    pthread_mutex_lock(&gLogLock);
    if (gLogStream == nullptr || format == nullptr) {
        pthread_mutex_unlock(&gLogLock);
        return;
    }

    RefreshStamp();
    // Most lines fit the stack buffer and go out in one write; longer ones are
    // formatted straight into the stream.
    char line[2048];
    memcpy(line, gStamp, gStampLength);
    line[gStampLength] = ' ';
    size_t prefix = gStampLength + 1;
    va_list args;
    va_start(args, format);
    va_list retry;
    va_copy(retry, args);
    int len = vsnprintf(line + prefix, sizeof line - prefix, format, args);
    va_end(args);
    if (len >= 0 && static_cast<size_t>(len) < sizeof line - prefix) {
        fwrite(line, 1, prefix + static_cast<size_t>(len), gLogStream);
    } else {
        // Too long for the buffer, or a conversion failed: vfprintf writes what it can,
        // so the text before a failing conversion still reaches the file.
        fwrite(line, 1, prefix, gLogStream);
        vfprintf(gLogStream, format, retry);
    }
    va_end(retry);
    fflush(gLogStream);

    struct stat st;
    if (detail::CurrentFileOps().fstat(fileno(gLogStream), &st) == 0 &&
        st.st_size > detail::kLogRotateSize) {
        RotateLocked();
    }
    pthread_mutex_unlock(&gLogLock);
}

}  // namespace Calyx
