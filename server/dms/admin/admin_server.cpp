#include "admin/admin_server.h"

#include <algorithm>
#include <memory>

#include "admin/admin_client_edit.h"
#include "admin/admin_client_rows.h"
#include "admin/admin_page.h"
#include "admin/admin_style.h"
#include "admin/config_setting.h"
#include "admin/password_hash.h"
#include "calyx/client.h"
#include "calyx/client_list.h"
#include "calyx/core.h"
#include "clients/client_list_keeper.h"

namespace calyx_dms {

namespace {

const char kCookie[] = "calyx_admin";
const goffset kMaxFormBytes = goffset{64} * 1024;
// No script runs on the page at all; styles come only from the page's own style sheet.
const char kContentSecurityPolicy[] =
    "default-src 'none'; script-src 'none'; style-src 'self'; img-src 'self'; "
    "form-action 'self'; frame-ancestors 'none'; base-uri 'none'";

using FormFields = std::unique_ptr<GHashTable, decltype(&g_hash_table_unref)>;

FormFields DecodeForm(SoupServerMessage* msg) {
    SoupMessageBody* body = soup_server_message_get_request_body(msg);
    GBytes* bytes = soup_message_body_flatten(body);
    gsize size = 0;
    const char* data = static_cast<const char*>(g_bytes_get_data(bytes, &size));
    std::string text(data ? data : "", size);
    g_bytes_unref(bytes);
    return FormFields(soup_form_decode(text.c_str()), &g_hash_table_unref);
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
    soup_message_headers_replace(headers, "Referrer-Policy", "no-referrer");
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
      profiles_(Calyx::LoadedProfileNames()) {}

AdminServer::~AdminServer() {
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
    GSocketAddress* socket =
        g_inet_socket_address_new(address, static_cast<guint16>(settings_.port));
    g_object_unref(address);
    server_ = soup_server_new("server-header", "calyx-dms", nullptr);
    soup_server_add_handler(server_, nullptr, HandleRequest, this, nullptr);
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
        (route != "/client" && route != "/settings" && route != "/logout" && route != "/rescan"))
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
    if (route == "/client")
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
    FormFields fields = DecodeForm(msg);
    if (!PasswordMatches(Field(fields.get(), "password"), settings_.passwordHash)) {
        const char* host = soup_server_message_get_remote_host(msg);
        LogChange(std::string("wrong password from ") + (host ? host : "?"));
        return Respond(msg, SOUP_STATUS_FORBIDDEN,
                       RenderLoginPage(texts_, texts_.Translate("wrong_password")));
    }
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

}  // namespace calyx_dms
