// Limits password guesses on the settings page: after each failed login from an address,
// that address waits longer before its next guess (doubling), and all addresses together
// get at most a fixed number of guesses per interval.
#ifndef CALYX_DMS_ADMIN_LOGIN_THROTTLE_H
#define CALYX_DMS_ADMIN_LOGIN_THROTTLE_H

#include <chrono>
#include <deque>
#include <map>
#include <string>

namespace calyx_dms {

class LoginThrottle {
public:
    using Clock = std::chrono::steady_clock;

    // At most `maxGuesses` guesses per `interval`; an address's first wait after a failure
    // is a second, doubling with each further failure up to `interval`.
    explicit LoginThrottle(std::chrono::milliseconds interval = std::chrono::seconds(60),
                           size_t maxGuesses = 10);

    // Whether a guess from `address` may be checked now; when not, `retryAfter` says how
    // long to wait (whole seconds, at least 1). A guess that may be checked is counted.
    bool Allow(const std::string& address, Clock::time_point now, long long& retryAfter);
    // The outcome of a checked guess.
    void Failed(const std::string& address, Clock::time_point now);
    void Succeeded(const std::string& address);

private:
    struct Source {
        unsigned failures = 0;
        Clock::time_point notBefore;
    };

    std::chrono::milliseconds interval_;
    size_t maxGuesses_;
    std::deque<Clock::time_point> guesses_;  // within the last interval, oldest first
    std::map<std::string, Source> sources_;
};

}  // namespace calyx_dms

#endif  // CALYX_DMS_ADMIN_LOGIN_THROTTLE_H
