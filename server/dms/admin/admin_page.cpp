#include "admin/admin_page.h"

#include "calyx/core.h"

namespace calyx_dms {

namespace {

std::string Html(const std::string& text) {
    return Calyx::XMLEscape(text, nullptr);
}

std::string T(const Calyx::DMSStringBundle& texts, const char* key) {
    return Html(texts.Translate(key));
}

std::string Head(const Calyx::DMSStringBundle& texts) {
    return "<!DOCTYPE html>\n<html lang=\"" + T(texts, "html_lang") +
           "\"><head><meta charset=\"utf-8\">"
           "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">"
           "<title>" +
           T(texts, "admin_title") +
           "</title><link rel=\"stylesheet\" href=\"/admin.css\"></head><body>\n";
}

std::string Notice(const std::string& notice) {
    return notice.empty() ? "" : "<p class=\"notice\" role=\"status\">" + Html(notice) + "</p>\n";
}

std::string CsrfField(const std::string& csrf) {
    return "<input type=\"hidden\" name=\"csrf\" value=\"" + Html(csrf) + "\">";
}

std::string LastSeenText(time_t when) {
    if (when == 0)
        return "\u2014";
    char text[32];
    struct tm local;
    localtime_r(&when, &local);
    strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
    return text;
}

// The address of the table sorted by `key`: a second click on the current key reverses it.
std::string SortLink(const ClientsPageView& view, const std::string& key) {
    const std::string sort = view.sort == key ? "-" + key : key;
    std::string href = "/?sort=" + sort;
    if (!view.filter.empty())
        href += "&q=" + Calyx::URLEncode(view.filter);
    return href;
}

// The address of page `page` of the table as it is sorted and filtered now.
std::string PageLink(const ClientsPageView& view, size_t page) {
    std::string href = "/?page=" + std::to_string(page);
    if (!view.sort.empty())
        href += "&sort=" + Calyx::URLEncode(view.sort);
    if (!view.filter.empty())
        href += "&q=" + Calyx::URLEncode(view.filter);
    return href;
}

std::string Pager(const Calyx::DMSStringBundle& texts, const ClientsPageView& view) {
    if (view.pages <= 1)
        return "";
    std::string html = "<nav class=\"pages\">";
    if (view.page > 1)
        html += "<a rel=\"prev\" href=\"" + Html(PageLink(view, view.page - 1)) + "\">" +
                T(texts, "previous_page") + "</a> ";
    html += "<span>" + T(texts, "page") + " " + std::to_string(view.page) + " / " +
            std::to_string(view.pages) + "</span>";
    if (view.page < view.pages)
        html += " <a rel=\"next\" href=\"" + Html(PageLink(view, view.page + 1)) + "\">" +
                T(texts, "next_page") + "</a>";
    return html + "</nav>\n";
}

// The forms that remove several entries at once; the rows' boxes belong to the first.
std::string BulkForms(const Calyx::DMSStringBundle& texts, const ClientsPageView& view) {
    return "<div class=\"bulk\"><form id=\"bulk\" method=\"post\" action=\"/clients/remove\">" +
           CsrfField(view.csrf) + "<button class=\"remove\">" + T(texts, "remove_selected") +
           "</button></form> <form method=\"post\" action=\"/clients/remove-undecided\">" +
           CsrfField(view.csrf) + "<button class=\"remove\">" + T(texts, "remove_undecided") +
           "</button></form></div>\n";
}

std::string Heading(const Calyx::DMSStringBundle& texts, const ClientsPageView& view) {
    static const char* const kLabels[] = {"device_name",     "mac_address", "ip_address",
                                          "matched_profile", "user_choice", "access",
                                          "last_seen"};
    std::string html = "<thead><tr>";
    const auto& keys = ClientSortKeys();
    for (size_t i = 0; i < keys.size(); ++i) {
        std::string mark = view.sort == keys[i]         ? " \u25b2"
                           : view.sort == "-" + keys[i] ? " \u25bc"
                                                        : "";
        html += "<th><a href=\"" + Html(SortLink(view, keys[i])) + "\">" + T(texts, kLabels[i]) +
                mark + "</a></th>";
    }
    return html + "<th>" + T(texts, "change") + "</th></tr></thead>\n";
}

std::string Cell(const Calyx::DMSStringBundle& texts, const char* label, const char* cls,
                 const std::string& text) {
    return "<td class=\"" + std::string(cls) + "\" data-label=\"" + T(texts, label) + "\">" +
           Html(text) + "</td>";
}

std::string ProfileSelect(const Calyx::DMSStringBundle& texts, const ClientsPageView& view,
                          const ClientRow& row) {
    std::string html = "<select name=\"profile\" aria-label=\"" + T(texts, "profile") + "\">";
    html += "<option value=\"\"" + std::string(row.choice.empty() ? " selected" : "") + ">" +
            T(texts, "automatic") + "</option>";
    for (const std::string& name : view.profiles)
        html += "<option value=\"" + Html(name) + "\"" + (name == row.choice ? " selected" : "") +
                ">" + Html(name) + "</option>";
    return html + "</select>";
}

std::string Row(const Calyx::DMSStringBundle& texts, const ClientsPageView& view,
                const ClientRow& row) {
    std::string html = "<tr data-mac=\"" + Html(row.mac) + "\">";
    html += Cell(texts, "device_name", "name", row.name);
    html += Cell(texts, "mac_address", "mac", row.mac);
    html += Cell(texts, "ip_address", "ip", row.ip);
    html += Cell(texts, "matched_profile", "profile", row.profile);
    html += Cell(texts, "user_choice", "choice",
                 row.choice.empty() ? texts.Translate("automatic") : row.choice);
    html += Cell(texts, "access", row.allowed ? "access allowed" : "access denied",
                 texts.Translate(row.allowed ? "allowed" : "denied"));
    html += Cell(texts, "last_seen", "seen", LastSeenText(row.lastSeen));
    html +=
        "<td class=\"actions\"><label class=\"select\"><input type=\"checkbox\" "
        "name=\"mac\" form=\"bulk\" value=\"" +
        Html(row.mac) + "\"> " + T(texts, "select_client") + "</label>";
    html += "<form method=\"post\" action=\"/client\">" + CsrfField(view.csrf) +
            "<input type=\"hidden\" name=\"mac\" value=\"" + Html(row.mac) + "\">" +
            ProfileSelect(texts, view, row) + "<button name=\"action\" value=\"profile\">" +
            T(texts, "apply") + "</button>";
    html += row.allowed
                ? "<button name=\"action\" value=\"deny\">" + T(texts, "deny") + "</button>"
                : "<button name=\"action\" value=\"allow\">" + T(texts, "allow") + "</button>";
    html += "<button name=\"action\" value=\"remove\" class=\"remove\">" + T(texts, "remove") +
            "</button></form></td></tr>\n";
    return html;
}

std::string Count(long long count) {
    return count < 0 ? "\u2014" : std::to_string(count);
}

// Items per type, the scan under way, the last change and the "Rescan now" button.
std::string Library(const Calyx::DMSStringBundle& texts, const ClientsPageView& view) {
    const LibraryPanel& library = view.library;
    if (!library.shown)
        return "";
    std::string html = "<section class=\"library\"><h2>" + T(texts, "library") + "</h2><dl>";
    html += "<dt>" + T(texts, "music") + "</dt><dd class=\"count-music\">" + Count(library.music) +
            "</dd>";
    html += "<dt>" + T(texts, "video") + "</dt><dd class=\"count-video\">" + Count(library.video) +
            "</dd>";
    html += "<dt>" + T(texts, "photo") + "</dt><dd class=\"count-photo\">" + Count(library.photo) +
            "</dd>";
    html += "<dt>" + T(texts, "scan") + "</dt><dd class=\"scan\">" +
            (library.scan.empty() ? T(texts, "no_scan") : Html(library.scan)) + "</dd>";
    html += "<dt>" + T(texts, "last_change") + "</dt><dd class=\"last-change\">" +
            Html(LastSeenText(library.lastChange)) + "</dd></dl>";
    return html + "<form method=\"post\" action=\"/rescan\">" + CsrfField(view.csrf) +
           "<button name=\"rescan\" value=\"1\">" + T(texts, "rescan_now") +
           "</button></form></section>\n";
}

}  // namespace

std::string RenderLoginPage(const Calyx::DMSStringBundle& texts, const std::string& notice) {
    return Head(texts) + "<main class=\"login\"><h1>" + T(texts, "admin_title") + "</h1>\n" +
           Notice(notice) + "<form method=\"post\" action=\"/login\"><label>" +
           T(texts, "password") +
           " <input type=\"password\" name=\"password\" autocomplete=\"current-password\" "
           "required autofocus></label> <button>" +
           T(texts, "log_in") + "</button></form></main></body></html>\n";
}

std::string RenderClientsPage(const Calyx::DMSStringBundle& texts, const ClientsPageView& view) {
    std::string html = Head(texts) + "<header><h1>" + T(texts, "admin_title") +
                       "</h1><form method=\"post\" action=\"/logout\">" + CsrfField(view.csrf) +
                       "<button>" + T(texts, "log_out") + "</button></form></header>\n<main>\n" +
                       Notice(view.notice);
    html += "<form method=\"post\" action=\"/settings\" class=\"settings\">" +
            CsrfField(view.csrf) + "<label><input type=\"checkbox\" name=\"deny_new\" value=\"1\"" +
            (view.denyNewClients ? " checked" : "") + "> " + T(texts, "deny_new_clients") +
            "</label> <button>" + T(texts, "apply") + "</button></form>\n";
    html += Library(texts, view);
    html +=
        "<form method=\"get\" action=\"/\" class=\"filter\"><input type=\"hidden\" "
        "name=\"sort\" value=\"" +
        Html(view.sort) + "\"><label>" + T(texts, "filter") +
        " <input type=\"search\" name=\"q\" value=\"" + Html(view.filter) + "\"></label> <button>" +
        T(texts, "filter") + "</button></form>\n";
    html += "<table class=\"clients\">" + Heading(texts, view) + "<tbody>\n";
    for (const ClientRow& row : view.rows)
        html += Row(texts, view, row);
    html += "</tbody></table>\n";
    if (view.rows.empty())
        html += "<p class=\"empty\">" + T(texts, "no_clients") + "</p>\n";
    // The client list keys clients by MAC: two programs on one machine share an entry.
    html += "<p class=\"one-mac\">" + T(texts, "one_entry_per_mac") + "</p>\n";
    html += Pager(texts, view) + BulkForms(texts, view);
    return html + "</main></body></html>\n";
}

std::string RenderMessagePage(const Calyx::DMSStringBundle& texts, const std::string& message) {
    return Head(texts) + "<main class=\"login\"><h1>" + T(texts, "admin_title") + "</h1>\n" +
           Notice(message) + "<p><a href=\"/\">" + T(texts, "back") +
           "</a></p></main></body></html>\n";
}

}  // namespace calyx_dms
