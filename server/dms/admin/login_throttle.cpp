#include "admin/login_throttle.h"

#include <algorithm>

namespace calyx_dms {

namespace {

// Addresses remembered at most; beyond it the one waiting least is forgotten.
const size_t kMaxSources = 4096;

long long WholeSeconds(std::chrono::steady_clock::duration wait) {
    auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(wait).count();
    return std::max<long long>(1, (ms + 999) / 1000);
}

}  // namespace

LoginThrottle::LoginThrottle(std::chrono::milliseconds interval, size_t maxGuesses)
    : interval_(std::max(interval, std::chrono::milliseconds(60))),
      maxGuesses_(std::max<size_t>(maxGuesses, 1)) {}

bool LoginThrottle::Allow(const std::string& address, Clock::time_point now,
                          long long& retryAfter) {
    while (!guesses_.empty() && now - guesses_.front() >= interval_)
        guesses_.pop_front();
    auto it = sources_.find(address);
    if (it != sources_.end() && now < it->second.notBefore) {
        retryAfter = WholeSeconds(it->second.notBefore - now);
        return false;
    }
    if (guesses_.size() >= maxGuesses_) {
        retryAfter = WholeSeconds(guesses_.front() + interval_ - now);
        return false;
    }
    guesses_.push_back(now);
    return true;
}

void LoginThrottle::Failed(const std::string& address, Clock::time_point now) {
    if (sources_.size() >= kMaxSources && sources_.count(address) == 0) {
        auto least = std::min_element(sources_.begin(), sources_.end(), [](auto& a, auto& b) {
            return a.second.notBefore < b.second.notBefore;
        });
        sources_.erase(least);
    }
    Source& source = sources_[address];
    source.failures = std::min(source.failures + 1, 20u);
    const std::chrono::milliseconds wait =
        std::min(std::chrono::milliseconds(1000LL << (source.failures - 1)), interval_);
    source.notBefore = now + wait;
}

void LoginThrottle::Succeeded(const std::string& address) {
    sources_.erase(address);
}

}  // namespace calyx_dms
