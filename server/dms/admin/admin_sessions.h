// Logged-in sessions of the settings page, kept in memory: a random cookie token per
// login and, per session, a random token that every form must send back (CSRF).
#ifndef CALYX_DMS_ADMIN_SESSIONS_H
#define CALYX_DMS_ADMIN_SESSIONS_H

#include <chrono>
#include <map>
#include <string>

namespace calyx_dms {

struct AdminSession {
    std::string csrf;
    std::string notice;  // shown once on the next page (the result of the last change)
    std::chrono::steady_clock::time_point lastUse;
};

class AdminSessions {
public:
    // A new session; returns its cookie token ("" when the system has no randomness).
    std::string Open();
    // The live session of `token`, or null (unknown or idle too long).
    AdminSession* Find(const std::string& token);
    void Close(const std::string& token);

private:
    std::map<std::string, AdminSession> sessions_;
};

// The value of cookie `name` in a Cookie request header ("" when absent).
std::string CookieValue(const char* cookieHeader, const std::string& name);

// Whether a form's token equals the session's, compared in constant time.
bool CsrfMatches(const AdminSession& session, const std::string& sent);

}  // namespace calyx_dms

#endif  // CALYX_DMS_ADMIN_SESSIONS_H
