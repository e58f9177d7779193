#include "clients/gena_limits.h"

#include <arpa/inet.h>

#include <string.h>

namespace calyx_dms {

namespace {

const long long kDefaultSeconds = 24LL * 3600;
// More clients than this are not told apart: beyond it, subscriptions of new clients
// are refused until old ones expire.
const size_t kMaxClients = 4096;

bool SameAddress(const std::string& a, const std::string& b) {
    unsigned char x[16] = {};
    unsigned char y[16] = {};
    if (inet_pton(AF_INET, a.c_str(), x) == 1)
        return inet_pton(AF_INET, b.c_str(), y) == 1 && memcmp(x, y, 4) == 0;
    if (inet_pton(AF_INET6, a.c_str(), x) == 1)
        return inet_pton(AF_INET6, b.c_str(), y) == 1 && memcmp(x, y, 16) == 0;
    return false;
}

// The host of "http://host[:port][/path]" ("" when it is not such a URL).
std::string HostOfHttpUrl(const std::string& url) {
    const std::string scheme = "http://";
    if (url.compare(0, scheme.size(), scheme) != 0)
        return "";
    std::string rest = url.substr(scheme.size());
    rest = rest.substr(0, rest.find_first_of("/?#"));
    if (rest.find('@') != std::string::npos)
        return "";  // no user information
    if (!rest.empty() && rest[0] == '[') {
        size_t close = rest.find(']');
        return close == std::string::npos ? "" : rest.substr(1, close - 1);
    }
    return rest.substr(0, rest.find(':'));
}

}  // namespace

bool CallbackPointsAt(const std::string& callback, const std::string& subscriber) {
    size_t urls = 0;
    size_t at = 0;
    for (;;) {
        at = callback.find_first_not_of(" \t", at);
        if (at == std::string::npos)
            break;
        if (callback[at] != '<')
            return false;
        size_t close = callback.find('>', at);
        if (close == std::string::npos)
            return false;
        const std::string host = HostOfHttpUrl(callback.substr(at + 1, close - at - 1));
        if (host.empty() || !SameAddress(host, subscriber))
            return false;
        ++urls;
        at = close + 1;
    }
    return urls > 0;
}

long long SubscriptionSeconds(const std::string& timeout) {
    const std::string prefix = "Second-";
    if (timeout.size() <= prefix.size() || strncasecmp(timeout.c_str(), prefix.c_str(), 7) != 0)
        return kDefaultSeconds;
    const std::string digits = timeout.substr(prefix.size());
    if (digits.size() > 9 || digits.find_first_not_of("0123456789") != std::string::npos)
        return kDefaultSeconds;
    return std::stoll(digits);
}

void GenaLimits::Expire(const std::string& client) {
    auto it = live_.find(client);
    if (it == live_.end())
        return;
    const Clock::time_point now = Clock::now();
    for (auto s = it->second.begin(); s != it->second.end();)
        s = s->second <= now ? it->second.erase(s) : std::next(s);
    if (it->second.empty())
        live_.erase(it);
}

unsigned GenaLimits::Judge(const std::string& method, const std::string& client,
                           const std::string& sid, const std::string& callback) {
    if (method == "UNSUBSCRIBE") {
        auto it = live_.find(client);
        if (it != live_.end()) {
            it->second.erase(sid);
            if (it->second.empty())
                live_.erase(it);
        }
        return 0;
    }
    if (method != "SUBSCRIBE" || !sid.empty())
        return 0;  // a renewal names its subscription and carries no callback
    if (!CallbackPointsAt(callback, client))
        return 412;  // Precondition Failed: the answer for an unusable callback
    Expire(client);
    auto it = live_.find(client);
    const size_t held = it == live_.end() ? 0 : it->second.size();
    if (held >= kMaxSubscriptionsPerClient || (it == live_.end() && live_.size() >= kMaxClients))
        return 503;
    return 0;
}

void GenaLimits::Answered(const std::string& client, unsigned status, const std::string& sid,
                          long long seconds) {
    if (status != 200 || sid.empty())
        return;
    auto it = live_.find(client);
    if (it == live_.end() && live_.size() >= kMaxClients)
        return;
    live_[client][sid] = Clock::now() + std::chrono::seconds(seconds);
}

size_t GenaLimits::Count(const std::string& client) {
    Expire(client);
    auto it = live_.find(client);
    return it == live_.end() ? 0 : it->second.size();
}

}  // namespace calyx_dms
