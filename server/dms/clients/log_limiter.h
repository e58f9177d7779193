// Collapses repeated log lines of one kind from one client: the first line of an interval
// is written, the rest only counted, and one line per interval tells how many there were
// ("... 8,690 more in the last minute"), so a client cannot fill the disk through the log.
#ifndef CALYX_DMS_CLIENTS_LOG_LIMITER_H
#define CALYX_DMS_CLIENTS_LOG_LIMITER_H

#include <chrono>
#include <map>
#include <string>
#include <utility>

namespace calyx_dms {

class LogLimiter {
public:
    using Clock = std::chrono::steady_clock;

    // `interval` in seconds (at least 1); at most `maxKeys` kinds and clients are told apart,
    // the rest share one count.
    explicit LogLimiter(unsigned interval, size_t maxKeys = 1024);

    // Writes `line` (a whole log line, ending in "\n") at info level unless a line of
    // `kind` about `client` was written less than an interval ago; then it is counted.
    void Info(const std::string& kind, const std::string& client, const std::string& line);
    // Writes the count of every key whose interval has ended and forgets those keys;
    // called by a timer and at shutdown (`all`: every key, ended or not).
    void Flush(bool all = false);

    // For tests: the lines that Info and Flush would have written go to `sink` instead.
    void SetSinkForTest(void (*sink)(const std::string&)) { sink_ = sink; }

private:
    struct Window {
        Clock::time_point started;
        unsigned long long suppressed = 0;
    };
    void Write(const std::string& line) const;
    void Report(const std::pair<std::string, std::string>& key, const Window& window) const;

    std::chrono::seconds interval_;
    size_t maxKeys_;
    std::map<std::pair<std::string, std::string>, Window> windows_;
    void (*sink_)(const std::string&) = nullptr;
};

// 8690 -> "8,690".
std::string GroupThousands(unsigned long long number);

}  // namespace calyx_dms

#endif  // CALYX_DMS_CLIENTS_LOG_LIMITER_H
