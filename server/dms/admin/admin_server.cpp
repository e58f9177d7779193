#include "admin/admin_server.h"

#include <algorithm>
#include <memory>

#include "admin/admin_client_edit.h"
#include "admin/admin_client_rows.h"
#include "admin/admin_page.h"
#include "admin/admin_style.h"
#include "admin/config_setting.h"
#include "admin/form_fields.h"
#include "admin/password_hash.h"
#include "calyx/client.h"
#include "calyx/client_list.h"
#include "calyx/core.h"
#include "clients/client_cap.h"
#include "clients/client_list_keeper.h"

namespace calyx_dms {

namespace {

const char kCookie[] = "calyx_admin";
const goffset kMaxFormBytes = goffset{64} * 1024;
const size_t kRowsPerPage = 100;
const guint kTooManyRequests = 429;  // libsoup names no such status
// No script runs on the page at all; styles come only from the page's own style sheet.
const char kContentSecurityPolicy[] =
    "default-src 'none'; script-src 'none'; style-src 'self'; img-src 'self'; "
    "form-action 'self'; frame-ancestors 'none'; base-uri 'none'";

using FormFields = std::unique_ptr<GHashTable, decltype(&g_hash_table_unref)>;

std::string BodyText(SoupServerMessage* msg) {
    SoupMessageBody* body = soup_server_message_get_request_body(msg);
    GBytes* bytes = soup_message_body_flatten(body);
    gsize size = 0;
    const char* data = static_cast<const char*>(g_bytes_get_data(bytes, &size));
    std::string text(data ? data : "", size);
    g_bytes_unref(bytes);
    return text;
}

FormFields DecodeForm(SoupServerMessage* msg) {
    return FormFields(soup_form_decode(BodyText(msg).c_str()), &g_hash_table_unref);
}

std::vector<std::string> WithLocalhost(std::vector<std::string> names) {
    names.emplace_back("localhost");
    return names;
}

// A positive page number from the query, else 1.
size_t PageNumber(const std::string& text) {
    if (text.empty() || text.size() > 6 ||
        text.find_first_not_of("0123456789") != std::string::npos)
        return 1;
    return std::max<size_t>(1, std::stoul(text));
}

std::string Field(GHashTable* fields, const char* name) {
    const char* value =
        fields ? static_cast<const char*>(g_hash_table_lookup(fields, name)) : nullptr;
    return value ? value : "";
}

void Respond(SoupServerMessage* msg, guint status, const std::string& body,
             const char* type = "text/html; charset=utf-8") {
    SoupMessageHeaders* headers = soup_server_message_get_response_headers(msg);
    soup_message_headers_replace(headers, "Content-Security-Policy", kContentSecurityPolicy);
    soup_message_headers_replace(headers, "X-Content-Type-Options", "nosniff");
    // "same-origin", not "no-referrer": with no referrer at all, a browser's own form posts
    // carry "Origin: null", which a forged post from a sandboxed frame carries too.
    soup_message_headers_replace(headers, "Referrer-Policy", "same-origin");
    soup_message_headers_replace(headers, "Cache-Control", "no-store");
    soup_server_message_set_status(msg, status, nullptr);
    soup_server_message_set_response(msg, type, SOUP_MEMORY_COPY, body.data(), body.size());
}

void SeeOther(SoupServerMessage* msg) {
    Respond(msg, SOUP_STATUS_SEE_OTHER, "");
    soup_message_headers_replace(soup_server_message_get_response_headers(msg), "Location", "/");
}

void LogChange(const std::string& what) {
    if (Calyx::DMSLOGGetLevel() >= 1)
        Calyx::DMSPrintf(Calyx::DMSLOG_INFO, "calyx-dms: settings page: %s\n", what.c_str());
}

// The profile names of the profile list file, in its order, each once.
void HandleRequest(SoupServer*, SoupServerMessage* msg, const char* path, GHashTable*,
                   gpointer self) {
    static_cast<AdminServer*>(self)->Handle(msg, path);
}

}  // namespace

AdminServer::AdminServer(Calyx::DMSClientList& list, const Calyx::DMSStringBundle& texts,
                         const ClientSightings& sightings, AdminSettings settings)
    : list_(list),
      texts_(texts),
      settings_(std::move(settings)),
      sightings_(sightings),
      profiles_(Calyx::LoadedProfileNames()),
      hosts_(WithLocalhost(settings_.hostNames)),
      log_(60),
      throttle_(std::chrono::seconds(settings_.loginInterval)) {}

AdminServer::~AdminServer() {
    early_.reset();  // it watches the server, which goes next
    if (server_) {
        soup_server_disconnect(server_);
        g_object_unref(server_);
    }
}

bool AdminServer::Start(unsigned mediaPort, std::string& error) {
    if (!IsPasswordHash(settings_.passwordHash)) {
        error = "admin-password-hash is not a hash made by calyx-dms --hash-password";
        return false;
    }
    if (settings_.port == mediaPort) {
        error = "the settings page cannot share port " + std::to_string(mediaPort) +
                " with the media clients";
        return false;
    }
    GInetAddress* address = g_inet_address_new_from_string(settings_.address.c_str());
    if (!address) {
        error = "admin-address \"" + settings_.address + "\" is not an IP address";
        return false;
    }
    if (!g_inet_address_get_is_loopback(address) && !settings_.allowRemote) {
        g_object_unref(address);
        error = "the settings page is plain HTTP: on " + settings_.address +
                " a password typed into it would cross the network readable by anyone; keep "
                "it on the loopback address and use an SSH tunnel, or give "
                "--admin-allow-remote";
        return false;
    }
    GSocketAddress* socket =
        g_inet_socket_address_new(address, static_cast<guint16>(settings_.port));
    g_object_unref(address);
    server_ = soup_server_new("server-header", "calyx-dms", nullptr);
    soup_server_add_handler(server_, nullptr, HandleRequest, this, nullptr);
    early_ = std::make_unique<EarlyGate>(server_, hosts_, HeadLimits{}, nullptr, log_);
    GError* gerror = nullptr;
    bool listening =
        soup_server_listen(server_, socket, static_cast<SoupServerListenOptions>(0), &gerror);
    g_object_unref(socket);
    if (!listening) {
        error = "cannot serve the settings page on " + Url() + ": " +
                (gerror ? gerror->message : "unknown error");
        g_clear_error(&gerror);
        return false;
    }
    return true;
}

std::string AdminServer::Url() const {
    const bool v6 = settings_.address.find(':') != std::string::npos;
    return "http://" + (v6 ? "[" + settings_.address + "]" : settings_.address) + ":" +
           std::to_string(settings_.port) + "/";
}

void AdminServer::Handle(SoupServerMessage* msg, const char* path) {
    const std::string method = soup_server_message_get_method(msg);
    const std::string route = path ? path : "";
    if (method == "GET" && route == "/admin.css")
        return Respond(msg, SOUP_STATUS_OK, kAdminStyleSheet, "text/css; charset=utf-8");
    if (method == "POST" && soup_server_message_get_request_body(msg)->length > kMaxFormBytes)
        return Respond(msg, SOUP_STATUS_REQUEST_ENTITY_TOO_LARGE, "");
    if (method == "POST" && !OriginMatches(msg)) {
        LogChange("refused a change posted from another site");
        return Respond(msg, SOUP_STATUS_FORBIDDEN,
                       RenderMessagePage(texts_, texts_.Translate("form_expired")));
    }

    const std::string token = CookieValue(
        soup_message_headers_get_one(soup_server_message_get_request_headers(msg), "Cookie"),
        kCookie);
    AdminSession* session = sessions_.Find(token);
    if (method == "GET" && route == "/")
        return session ? ShowClients(msg, *session)
                       : Respond(msg, SOUP_STATUS_OK, RenderLoginPage(texts_, ""));
    if (method == "POST" && route == "/login")
        return LogIn(msg);
    if (method != "POST" ||
        (route != "/client" && route != "/settings" && route != "/logout" && route != "/rescan" &&
         route != "/clients/remove" && route != "/clients/remove-undecided"))
        return Respond(msg, SOUP_STATUS_NOT_FOUND,
                       RenderMessagePage(texts_, texts_.Translate("not_found")));

    // Every change needs a session and the session's form token.
    FormFields fields = DecodeForm(msg);
    if (!session)
        return Respond(msg, SOUP_STATUS_FORBIDDEN,
                       RenderMessagePage(texts_, texts_.Translate("not_logged_in")));
    if (!CsrfMatches(*session, Field(fields.get(), "csrf"))) {
        LogChange("refused a change without a valid form token");
        return Respond(msg, SOUP_STATUS_FORBIDDEN,
                       RenderMessagePage(texts_, texts_.Translate("form_expired")));
    }
    if (route == "/logout") {
        sessions_.Close(token);
        return SeeOther(msg);
    }
    if (route == "/rescan") {
        if (rescan_) {
            rescan_();
            LogChange("rescan of every media folder requested");
            session->notice = texts_.Translate("rescan_started");
        }
        return SeeOther(msg);
    }
    if (route == "/clients/remove" || route == "/clients/remove-undecided")
        RemoveClients(*session, FormValues(BodyText(msg), "mac"),
                      route == "/clients/remove-undecided");
    else if (route == "/client")
        ChangeClientFromForm(*session, Field(fields.get(), "mac"), Field(fields.get(), "action"),
                             Field(fields.get(), "profile"));
    else
        ChangeNewClientPolicy(*session, Field(fields.get(), "deny_new") == "1");
    SeeOther(msg);
}

void AdminServer::ShowClients(SoupServerMessage* msg, AdminSession& session) {
    GUri* uri = soup_server_message_get_uri(msg);
    const char* query = uri ? g_uri_get_query(uri) : nullptr;
    FormFields fields(soup_form_decode(query ? query : ""), &g_hash_table_unref);
    ClientsPageView view;
    view.sort = Field(fields.get(), "sort");
    view.filter = Field(fields.get(), "q");
    view.rows =
        ClientRows(Calyx::ClientListDocument(list_), sightings_.Times(), list_.m_denyNewClients);
    FilterRows(view.rows, view.filter);
    SortRows(view.rows, view.sort);
    // A page at a time: a list of thousands of entries would be megabytes of HTML.
    view.total = view.rows.size();
    view.pages = std::max<size_t>(1, (view.total + kRowsPerPage - 1) / kRowsPerPage);
    view.page = std::min(PageNumber(Field(fields.get(), "page")), view.pages);
    const size_t first = (view.page - 1) * kRowsPerPage;
    view.rows.erase(view.rows.begin(),
                    view.rows.begin() + static_cast<std::ptrdiff_t>(std::min(first, view.total)));
    if (view.rows.size() > kRowsPerPage)
        view.rows.resize(kRowsPerPage);
    view.profiles = profiles_;
    view.csrf = session.csrf;
    view.notice = session.notice;
    view.denyNewClients = list_.m_denyNewClients;
    if (libraryView_)
        view.library = libraryView_();
    session.notice.clear();
    Respond(msg, SOUP_STATUS_OK, RenderClientsPage(texts_, view));
}

void AdminServer::LogIn(SoupServerMessage* msg) {
    const char* remote = soup_server_message_get_remote_host(msg);
    const std::string address = remote ? remote : "?";
    const auto now = LoginThrottle::Clock::now();
    long long retryAfter = 0;
    if (!throttle_.Allow(address, now, retryAfter)) {
        // Not even checked: a guess that waits is no guess.
        log_.Info(
            "login", address,
            "calyx-dms: settings page: too many password guesses; " + address + " must wait\n");
        Respond(msg, kTooManyRequests,
                RenderLoginPage(texts_, texts_.Translate("too_many_guesses")));
        soup_message_headers_replace(soup_server_message_get_response_headers(msg), "Retry-After",
                                     std::to_string(retryAfter).c_str());
        return;
    }
    FormFields fields = DecodeForm(msg);
    if (!PasswordMatches(Field(fields.get(), "password"), settings_.passwordHash)) {
        throttle_.Failed(address, now);
        log_.Info("wrong password", address,
                  "calyx-dms: settings page: wrong password from " + address + "\n");
        return Respond(msg, SOUP_STATUS_FORBIDDEN,
                       RenderLoginPage(texts_, texts_.Translate("wrong_password")));
    }
    throttle_.Succeeded(address);
    const std::string token = sessions_.Open();
    if (token.empty())
        return Respond(msg, SOUP_STATUS_INTERNAL_SERVER_ERROR,
                       RenderLoginPage(texts_, texts_.Translate("save_failed")));
    SeeOther(msg);
    soup_message_headers_append(
        soup_server_message_get_response_headers(msg), "Set-Cookie",
        (std::string(kCookie) + "=" + token + "; Path=/; HttpOnly; SameSite=Strict").c_str());
}

void AdminServer::ChangeClientFromForm(AdminSession& session, const std::string& mac,
                                       const std::string& action, const std::string& profile) {
    ClientChange change;
    if (action == "profile") {
        change.kind = ClientChange::Kind::kProfile;
        change.profile = profile;
        if (!profile.empty() &&
            std::find(profiles_.begin(), profiles_.end(), profile) == profiles_.end()) {
            session.notice = texts_.Translate("unknown_profile");
            return;
        }
    } else if (action == "allow" || action == "deny" || action == "remove") {
        change.kind = action == "allow"  ? ClientChange::Kind::kAllow
                      : action == "deny" ? ClientChange::Kind::kDeny
                                         : ClientChange::Kind::kRemove;
    } else {
        session.notice = texts_.Translate("save_failed");
        return;
    }
    std::string error;
    if (!ChangeClient(list_, ClientListPath(), mac, change, error)) {
        session.notice = texts_.Translate("save_failed") + ": " + error;
        return;
    }
    LogChange(action + " " + mac + (action == "profile" ? " \"" + profile + "\"" : ""));
    session.notice = texts_.Translate("saved");
}

void AdminServer::ChangeNewClientPolicy(AdminSession& session, bool deny) {
    std::string error;
    if (settings_.configFile.empty()) {
        session.notice = texts_.Translate("no_config_file");
        return;
    }
    if (!SaveConfigSetting(settings_.configFile, "deny-new-clients", deny ? "true" : "false",
                           error)) {
        session.notice = texts_.Translate("save_failed") + ": " + error;
        return;
    }
    list_.m_denyNewClients = deny;
    LogChange(deny ? "new clients denied" : "new clients admitted");
    session.notice = texts_.Translate("saved");
}

bool AdminServer::OriginMatches(SoupServerMessage* msg) const {
    SoupMessageHeaders* headers = soup_server_message_get_request_headers(msg);
    const char* origin = soup_message_headers_get_one(headers, "Origin");
    if (!origin)
        return true;  // not a browser (curl, a script): nothing to forge from
    const char* host = soup_message_headers_get_one(headers, "Host");
    return host && std::string(origin) == std::string("http://") + host;
}

void AdminServer::RemoveClients(AdminSession& session, const std::vector<std::string>& macs,
                                bool undecided) {
    const bool denyNew = list_.m_denyNewClients;
    size_t removed = 0;
    const int saved = Calyx::ClientListApply(list_, ClientListPath(), [&](Json::Value& document) {
        removed = 0;
        std::vector<std::string> doomed = macs;
        if (undecided && document.isObject() && document["ClientList"].isArray())
            for (const Json::Value& entry : document["ClientList"])
                if (IsUndecided(entry, denyNew) && entry["macAddr"].isString())
                    doomed.push_back(entry["macAddr"].asString());
        for (const std::string& mac : doomed)
            removed += Calyx::RemoveClientEntry(document, mac) ? 1 : 0;
        return removed > 0;
    });
    if (removed > 0 && saved != 1) {
        session.notice = texts_.Translate("save_failed");
        return;
    }
    LogChange("removed " + std::to_string(removed) + " clients" +
              (undecided ? " never decided about" : ""));
    session.notice = texts_.Translate("saved");
}

}  // namespace calyx_dms
