// Limits on event subscriptions (GENA), which the UPnP stack accepts from anyone for any
// callback: a callback must point at the subscriber's own address, and one client holds at
// most a bounded number of live subscriptions. Subscriptions are counted from the
// requests and the stack's answers, since the stack offers no hook of its own.
#ifndef CALYX_DMS_CLIENTS_GENA_LIMITS_H
#define CALYX_DMS_CLIENTS_GENA_LIMITS_H

#include <chrono>
#include <map>
#include <string>

namespace calyx_dms {

// The most live subscriptions of one client.
constexpr size_t kMaxSubscriptionsPerClient = 50;

// Whether every URL of a CALLBACK header ("<http://10.0.0.5:4000/cb><http://...>") is an
// http URL whose host is the address `subscriber` (IPv4 or IPv6, compared as addresses).
// False for an empty or malformed header.
bool CallbackPointsAt(const std::string& callback, const std::string& subscriber);

// Seconds of a TIMEOUT header ("Second-1800"; "infinite" and anything else: a day).
long long SubscriptionSeconds(const std::string& timeout);

class GenaLimits {
public:
    using Clock = std::chrono::steady_clock;

    // The HTTP status refusing a request (0: let the stack answer it). `method` is
    // SUBSCRIBE or UNSUBSCRIBE (anything else passes); `sid`, `callback` the headers ("" if
    // absent). An UNSUBSCRIBE forgets the subscription.
    unsigned Judge(const std::string& method, const std::string& client, const std::string& sid,
                   const std::string& callback);
    // The stack answered a SUBSCRIBE of `client` with `status`, subscription `sid` for
    // `seconds`: a 200 counts it (a renewal only extends it).
    void Answered(const std::string& client, unsigned status, const std::string& sid,
                  long long seconds);

    // Live subscriptions of `client` (for tests and logs).
    size_t Count(const std::string& client);

private:
    void Expire(const std::string& client);

    std::map<std::string, std::map<std::string, Clock::time_point>> live_;
};

}  // namespace calyx_dms

#endif  // CALYX_DMS_CLIENTS_GENA_LIMITS_H
