#include "admin/admin_sessions.h"

#include <sys/random.h>

#include "admin/password_hash.h"
#include "calyx/core.h"

namespace calyx_dms {

namespace {

const auto kIdleLimit = std::chrono::hours(1);
const size_t kMaxSessions = 16;  // the oldest goes when a login would exceed this

// 32 random bytes as hex; "" when the kernel gives none.
std::string RandomToken() {
    unsigned char bytes[32];
    if (getrandom(bytes, sizeof bytes, 0) != static_cast<ssize_t>(sizeof bytes))
        return "";
    static const char kHex[] = "0123456789abcdef";
    std::string token;
    for (unsigned char b : bytes) {
        token += kHex[b >> 4];
        token += kHex[b & 15];
    }
    return token;
}

}  // namespace

std::string AdminSessions::Open() {
    const auto now = std::chrono::steady_clock::now();
    for (auto it = sessions_.begin(); it != sessions_.end();)
        it = now - it->second.lastUse > kIdleLimit ? sessions_.erase(it) : std::next(it);
    while (sessions_.size() >= kMaxSessions) {
        auto oldest = sessions_.begin();
        for (auto it = sessions_.begin(); it != sessions_.end(); ++it)
            if (it->second.lastUse < oldest->second.lastUse)
                oldest = it;
        sessions_.erase(oldest);
    }
    std::string token = RandomToken();
    AdminSession session;
    session.csrf = RandomToken();
    session.lastUse = now;
    if (token.empty() || session.csrf.empty())
        return "";
    sessions_[token] = session;
    return token;
}

AdminSession* AdminSessions::Find(const std::string& token) {
    auto it = sessions_.find(token);
    if (token.empty() || it == sessions_.end())
        return nullptr;
    const auto now = std::chrono::steady_clock::now();
    if (now - it->second.lastUse > kIdleLimit) {
        sessions_.erase(it);
        return nullptr;
    }
    it->second.lastUse = now;
    return &it->second;
}

void AdminSessions::Close(const std::string& token) {
    sessions_.erase(token);
}

std::string CookieValue(const char* cookieHeader, const std::string& name) {
    if (!cookieHeader)
        return "";
    for (const std::string& piece : Calyx::StringExplode(cookieHeader, ";")) {
        const size_t start = piece.find_first_not_of(' ');
        const std::string pair = start == std::string::npos ? "" : piece.substr(start);
        if (pair.compare(0, name.size() + 1, name + "=") == 0)
            return pair.substr(name.size() + 1);
    }
    return "";
}

bool CsrfMatches(const AdminSession& session, const std::string& sent) {
    return !sent.empty() && SameSecret(sent, session.csrf);
}

}  // namespace calyx_dms
