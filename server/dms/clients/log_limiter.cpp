#include "clients/log_limiter.h"

#include "calyx/core.h"

namespace calyx_dms {

namespace {

const char kOtherClients[] = "other clients";

}  // namespace

std::string GroupThousands(unsigned long long number) {
    std::string digits = std::to_string(number);
    for (int i = static_cast<int>(digits.size()) - 3; i > 0; i -= 3)
        digits.insert(static_cast<size_t>(i), ",");
    return digits;
}

LogLimiter::LogLimiter(unsigned interval, size_t maxKeys)
    : interval_(interval == 0 ? 1 : interval), maxKeys_(maxKeys == 0 ? 1 : maxKeys) {}

void LogLimiter::Write(const std::string& line) const {
    if (sink_) {
        sink_(line);
        return;
    }
    if (Calyx::DMSLOGGetLevel() >= 1)
        Calyx::DMSPrintf(Calyx::DMSLOG_INFO, "%s", line.c_str());
}

void LogLimiter::Report(const std::pair<std::string, std::string>& key,
                        const Window& window) const {
    if (window.suppressed == 0)
        return;
    const std::string span =
        interval_.count() == 60 ? std::string("minute") : std::to_string(interval_.count()) + " s";
    Write("calyx-dms: " + key.first + " for " + key.second + ": " +
          GroupThousands(window.suppressed) + " more in the last " + span + "\n");
}

void LogLimiter::Info(const std::string& kind, const std::string& client, const std::string& line) {
    const Clock::time_point now = Clock::now();
    std::pair<std::string, std::string> key(kind, client);
    auto it = windows_.find(key);
    if (it == windows_.end() && windows_.size() >= maxKeys_) {
        key.second = kOtherClients;
        it = windows_.find(key);
    }
    if (it != windows_.end() && now - it->second.started < interval_) {
        ++it->second.suppressed;
        return;
    }
    if (it != windows_.end()) {
        Report(it->first, it->second);
        it->second = Window{now, 0};
    } else {
        windows_.emplace(key, Window{now, 0});
    }
    Write(line);
}

void LogLimiter::Flush(bool all) {
    const Clock::time_point now = Clock::now();
    for (auto it = windows_.begin(); it != windows_.end();) {
        if (all || now - it->second.started >= interval_) {
            Report(it->first, it->second);
            it = windows_.erase(it);
        } else {
            ++it;
        }
    }
}

}  // namespace calyx_dms
