// calyx identify: the road of one request through the library.
#include <CLI/CLI.hpp>

#include <json/writer.h>
#include <sys/stat.h>
#include <upnp/ixml.h>

#include <iostream>
#include <memory>
#include <set>

#include "calyx/client.h"
#include "calyx/client_list.h"
#include "calyx/core.h"
#include "calyx/host.h"
#include "client_view.h"
#include "dms_effects.h"
#include "lint.h"
#include "requests.h"
#include "tool.h"

namespace calyx_tool {

namespace {

// What the kernel's ARP table shows for a neighbour it has not resolved.
const char kIncompleteMac[] = "00:00:00:00:00:00";

struct IdentifyOptions {
    std::string profiles;
    std::string root;
    std::string mac;
    std::string ip;
    std::string handler;
    std::vector<std::string> headers;
    std::string requestsFile;
    std::string description;
    bool save = false;
    bool explain = false;
    bool suggest = false;
    bool defaultDLNA = false;
    bool denyNewClients = false;
    bool brief = false;
    bool json = false;
};

struct DocumentDeleter {
    void operator()(IXML_Document* doc) const { ixmlDocument_free(doc); }
};

RecordedRequest ReadDescription(const std::string& path) {
    RequireReadableFile(path);
    std::unique_ptr<IXML_Document, DocumentDeleter> doc(ixmlLoadDocument(path.c_str()));
    if (!doc)
        Fail(path + ": not a well-formed XML document");
    RecordedRequest request;
    request.handler = "HandleDiscovery";
    request.requestLine = "device description " + path;
    for (const std::string& field : Calyx::DeviceDescriptionFields()) {
        bool found = false;
        std::string value = Calyx::XMLGetFirstDocumentItem(doc.get(), field.c_str(), &found);
        if (found)
            request.headers[field] = value;
    }
    if (request.headers.empty())
        Fail(path + ": no device description fields (friendlyName, modelName, ...)");
    return request;
}

// The requests to replay, in order: the description, the recorded file, then -H.
std::vector<RecordedRequest> CollectRequests(const IdentifyOptions& o) {
    std::vector<RecordedRequest> requests;
    if (!o.description.empty())
        requests.push_back(ReadDescription(o.description));
    if (!o.requestsFile.empty()) {
        for (RecordedRequest& r : ReadRequestFile(o.requestsFile)) {
            if (r.handler.empty())
                r.handler = o.handler.empty() ? "WebSerOpen" : o.handler;
            requests.push_back(r);
        }
    }
    if (!o.headers.empty()) {
        RecordedRequest r;
        r.handler = o.handler.empty() ? "WebSerOpen" : o.handler;
        r.requestLine = "-H options";
        for (const std::string& h : o.headers) {
            auto [name, value] = ParseHeaderOption(h);
            r.headers[name] = value;
        }
        requests.push_back(r);
    }
    if (requests.empty())
        UsageFail("identify: give --description, --requests or -H headers");
    for (RecordedRequest& r : requests)
        NormaliseHeaderNames(r);
    return requests;
}

// First token of a user-agent text, cut after its "/" ("VLC/3.0 LibVLC/3.0" -> "VLC/").
std::string ProductToken(const std::string& userAgent) {
    std::vector<std::string> tokens = Calyx::StringExplode(userAgent, " ");
    if (tokens.empty())
        return "";
    size_t slash = tokens[0].find('/');
    return slash == std::string::npos ? tokens[0] : tokens[0].substr(0, slash + 1);
}

Json::Value SuggestEntry(const Json::Value& entry, const std::string& userAgentKey) {
    Json::Value suggestion(Json::objectValue);
    Json::Value id(Json::objectValue);
    std::string manufacturer = EntryText(entry, "manufacturer");
    std::string model = EntryText(entry, "modelName");
    std::string userAgent = userAgentKey.empty() ? "" : EntryText(entry, userAgentKey.c_str());
    std::string token = ProductToken(userAgent);
    if (!model.empty())
        id["modelName"] = model;
    if (!manufacturer.empty() && model.empty())
        id["manufacturer"] = manufacturer;
    if (!token.empty())
        id[userAgentKey] = token;
    std::string name =
        manufacturer.empty() ? model : manufacturer + (model.empty() ? "" : " " + model);
    if (name.empty())
        name = token.empty() ? "New client" : token.substr(0, token.size() - (token.back() == '/'));
    suggestion["profileName"] = name;
    suggestion["profileID"] = id;
    suggestion["dlna"] =
        (!model.empty() || userAgent.find("DLNADOC") != std::string::npos) ? "yes" : "no";
    suggestion["agentopt"] = "";
    return suggestion;
}

// The positions' findings that are errors.
bool HasErrorsAt(const LintReport& report, int position) {
    for (const LintFinding& f : report.findings)
        if (f.error && f.position == position)
            return true;
    return false;
}

// Appends `suggestion` to a copy of the profile list and lints it. A name already taken
// gets a number (" 2", " 3", ...), since a duplicate could never be matched by name.
LintReport LintWithSuggestion(const Json::Value& profileDocument, Json::Value& suggestion,
                              int& position) {
    Json::Value extended = profileDocument;
    if (!extended.isObject())
        extended = Json::Value(Json::objectValue);
    if (!extended["ProfileList"].isArray())
        extended["ProfileList"] = Json::Value(Json::arrayValue);
    std::set<std::string> taken;
    for (const Json::Value& p : extended["ProfileList"])
        if (p.isObject() && p["profileName"].isString())
            taken.insert(p["profileName"].asString());
    const std::string base = suggestion["profileName"].asString();
    std::string name = base;
    for (int n = 2; taken.count(name) != 0 || name == Calyx::kDefaultProfileName; ++n)
        name = base + " " + std::to_string(n);
    suggestion["profileName"] = name;
    extended["ProfileList"].append(suggestion);
    position = static_cast<int>(extended["ProfileList"].size());
    return LintProfileList(extended);
}

// What calyx-dms does for a client with this checker, type by type and option by option
// (+ what it has, - what it lacks), as the table of docs/server.md says; also into
// out["effects"].
std::string ExplainEffects(const Calyx::DMSClientChecker& checker, Json::Value& out) {
    std::set<std::string> has;
    for (const auto& [name, on] : CheckerFlags(checker))
        if (on)
            has.insert(name);
    for (const std::string& name : Calyx::AgentCapabilityNamesOf(checker.m_capability))
        has.insert(name);
    std::string text = "what calyx-dms does for this client (docs/server.md):\n";
    out["effects"] = Json::Value(Json::arrayValue);
    for (const DmsEffect& e : DmsEffects()) {
        const bool on = has.count(e.name) != 0;
        Json::Value row(Json::objectValue);
        row["name"] = e.name;
        row["type"] = e.type;
        row["has"] = on;
        row["with"] = e.with;
        row["without"] = e.without;
        row["test"] = e.test;
        out["effects"].append(row);
        text += std::string("  ") + (on ? "+ " : "- ") + e.name + ": " + (on ? e.with : e.without) +
                "\n";
    }
    return text;
}

std::string StyledJson(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "\t";
    builder["emitUTF8"] = true;
    return Json::writeString(builder, value);
}

void RunIdentify(const IdentifyOptions& o) {
    if (o.mac.empty() && o.ip.empty())
        UsageFail("identify: give --ip (the MAC then comes from the ARP table) or --mac");
    ApplyRoot(o.root);
    std::vector<RecordedRequest> requests = CollectRequests(o);

    Json::Value profileDocument = LoadJsonOrFail(o.profiles);
    const std::string clientListPath = ClientListPath();
    Calyx::DMSClientList list;
    list.m_denyNewClients = o.denyNewClients;
    struct stat st;
    if (stat(clientListPath.c_str(), &st) == 0)
        LoadJsonOrFail(clientListPath);  // an existing list must load: name its problem
    // The host's first-start call: a missing client list starts empty, records always load.
    if (!Calyx::ClientListStartUp(list, clientListPath, o.profiles))
        Fail(o.profiles + ": cannot load the profile list");
    ScopedProfileList checkerProfiles(o.profiles);

    if (o.mac == kIncompleteMac)
        UsageFail("identify: --mac " + o.mac + " is no client's address");
    std::string mac = o.mac;
    if (mac.empty()) {
        mac = Calyx::GetMACAddressFromARPTable(o.ip);
        if (mac.empty())
            Fail(Calyx::ResolveFixedPath("/proc/net/arp") + ": no hardware address for " + o.ip +
                 "; give --mac");
        // The kernel lists a neighbour it has not resolved yet with an all-zero address.
        if (mac == kIncompleteMac)
            Fail(Calyx::ResolveFixedPath("/proc/net/arp") + ": the entry for " + o.ip +
                 " is incomplete (" + mac + "); give --mac");
    }

    Json::Value out(Json::objectValue);
    out["mac"] = mac;
    out["ip"] = o.ip;
    out["macFromARP"] = o.mac.empty();
    out["requests"] = Json::Value(Json::arrayValue);
    std::string userAgent;
    for (const RecordedRequest& r : requests) {
        if (!list.UpdateKeys(r.handler, mac, o.ip, r.headers))
            Fail(clientListPath +
                 ": the document cannot hold clients (its root or \"ClientList\" has the wrong "
                 "type)");
        auto ua = r.headers.find("user-agent");
        if (ua != r.headers.end())
            userAgent = ua->second;
        Json::Value item(Json::objectValue);
        item["handler"] = r.handler;
        item["source"] = r.requestLine;
        item["headers"] = static_cast<Json::UInt>(r.headers.size());
        out["requests"].append(item);
    }

    Json::Value entry;
    if (!Calyx::ClientListEntry(list, mac, entry))
        Fail(clientListPath + ": no entry for " + mac + " after the update");
    const std::string profileName = EntryText(entry, "profileName");
    const std::string orig = EntryText(entry, "profileName_Orig");
    Calyx::DMSClientChecker checker(userAgent, profileName, o.defaultDLNA);

    out["entry"] = entry;
    out["profileName"] = profileName;
    out["profileNameOrig"] = orig;
    out["userSelected"] =
        entry.isMember("profileName_UserSelected") && !entry["profileName_UserSelected"].isNull();
    out["displayName"] = EntryText(entry, "displayName");
    out["access"] = AccessText(entry);
    out["userAgent"] = userAgent;
    out["checker"] = CheckerToJson(checker);

    std::string text;
    text += "client " + mac + (o.mac.empty() ? " (from the ARP table)" : "") + "  ip " +
            OrNone(o.ip) + "\n";
    std::string how = out["userSelected"].asBool()
                          ? "chosen by the user; automatic match " + Quoted(orig)
                      : orig == Calyx::kDefaultProfileName ? "no record matched"
                                                           : "matched";
    std::vector<std::string> types;
    for (const auto& [name, on] : CheckerFlags(checker))
        if (on)
            types.push_back(name);
    TextTable facts({"", "", ""});
    for (const RecordedRequest& r : requests)
        facts.add({"  request", r.handler,
                   std::to_string(r.headers.size()) + " fields  (" + r.requestLine + ")"});
    facts.add({"  profile", profileName, "(" + how + ")"});
    facts.add({"  display name", Quoted(EntryText(entry, "displayName")), ""});
    facts.add({"  access", AccessText(entry), ""});
    facts.add({"  checker types", OrNone(Join(types, " ")),
               checker.m_agent ? "" : "(profile not in the list: user-agent DLNA test)"});
    facts.add({"  checker options",
               OrNone(Join(Calyx::AgentCapabilityNamesOf(checker.m_capability), " ")), ""});
    facts.add({"  offend chars",
               checker.m_offendChars.empty() ? "(none)" : Quoted(checker.m_offendChars), ""});
    std::string rendered = facts.render();
    text += rendered.substr(rendered.find('\n') + 1);

    if (o.explain) {
        out["explain"] = Json::Value(Json::arrayValue);
        text += "matching, first record whose every rule holds wins:\n";
        TextTable steps({"", "", ""});
        bool chosen = false;
        int position = 0;
        for (const Calyx::ProfileIDStep& s : Calyx::ExplainOrigProfileName(list, entry)) {
            ++position;
            Json::Value step(Json::objectValue);
            step["position"] = position;
            step["profileName"] = s.profileName;
            step["matched"] = s.matched;
            step["failedKey"] = s.failedKey;
            step["required"] = s.required;
            step["clientHasKey"] = s.clientHasKey;
            step["clientValue"] = s.clientValue;
            out["explain"].append(step);
            std::string verdict;
            if (s.matched) {
                verdict = chosen ? "matches too, but an earlier record wins" : "MATCHED";
                chosen = true;
            } else if (!s.clientHasKey) {
                verdict = Quoted(s.failedKey) + " absent (needs " + Quoted(s.required) + ")";
            } else {
                verdict = Quoted(s.failedKey) + " = " + Quoted(s.clientValue) + " lacks " +
                          Quoted(s.required);
            }
            steps.add({"  #" + std::to_string(position), s.profileName, verdict});
        }
        rendered = steps.render();
        text += rendered.substr(rendered.find('\n') + 1);
        if (!chosen)
            text += "  no record matched: \"Default Profile\"\n";
        text += ExplainEffects(checker, out);
    }

    if (o.suggest) {
        if (orig != Calyx::kDefaultProfileName) {
            out["suggestion"] = Json::Value();
            text += "suggestion: none needed, the client matched " + Quoted(orig) + "\n";
        } else {
            std::string uaKey = !EntryText(entry, "open_user-agent").empty() ? "open_user-agent"
                                : !EntryText(entry, "browse_user-agent").empty()
                                    ? "browse_user-agent"
                                    : "";
            Json::Value suggestion = SuggestEntry(entry, uaKey);
            int position = 0;
            LintReport report = LintWithSuggestion(profileDocument, suggestion, position);
            if (suggestion["profileID"].empty() || HasErrorsAt(report, position)) {
                // Never propose an entry that would not pass its own check.
                out["suggestion"] = Json::Value();
                out["suggestionLint"] = LintReportToJson(o.profiles, report);
                text +=
                    "suggestion: none; the client sent nothing a profile could match "
                    "safely (no model name, manufacturer or user agent)\n";
            } else {
                out["suggestion"] = suggestion;
                out["suggestionLint"] = LintReportToJson(o.profiles, report);
                text += "suggested profile list entry (append to \"ProfileList\" and edit):\n" +
                        StyledJson(suggestion) + "\nlint of " + o.profiles +
                        " with this entry added:\n" + FormatLintReport(o.profiles, report);
            }
        }
    }

    if (o.save) {
        // The fixed directory may not exist yet in a fresh root.
        if (!o.root.empty())
            CreateParentDirectories(clientListPath);
        // WriteToFile's save, to the same fixed path, with the reason when it fails.
        std::string reason;
        if (!Calyx::ClientListWriteTo(list, clientListPath, &reason))
            Fail(clientListPath + ": cannot save the client list: " + reason);
        out["saved"] = clientListPath;
        text += "saved " + clientListPath + "\n";
    }
    if (o.json)
        PrintJson(out);
    else if (o.brief)
        std::cout << mac << "\t" << profileName << "\t" << EntryText(entry, "displayName") << "\t"
                  << OrNone(Join(types, " ")) << "\t"
                  << OrNone(Join(Calyx::AgentCapabilityNamesOf(checker.m_capability), " ")) << "\n";
    else
        std::cout << text;
}

}  // namespace

void AddIdentifyCommand(CLI::App& app) {
    auto o = std::make_shared<IdentifyOptions>();
    CLI::App* cmd = app.add_subcommand(
        "identify", "Follow one client request: client list update, profile match, checker");
    cmd->add_option("--profiles,-p", o->profiles, "Profile list file")->required();
    cmd->add_option(
        "--root", o->root,
        "Root prefix: the client list is read from and saved to "
        "ROOT/var/packages/Calyx/etc/client_list.json, the ARP table is ROOT/proc/net/arp");
    cmd->add_option("--mac", o->mac,
                    "Client hardware address (default: looked up for --ip in the ARP table)");
    cmd->add_option("--ip", o->ip, "Client IP address");
    cmd->add_option("--handler", o->handler,
                    "Handler of -H headers and of unmarked recorded headers: "
                    "HandleDiscovery, HandleActionRequest or WebSerOpen (default)")
        ->check(CLI::IsMember({"HandleDiscovery", "HandleActionRequest", "WebSerOpen"}));
    cmd->add_option("-H,--header", o->headers,
                    "Request header 'Name: value' (repeatable; names are lower-cased except for "
                    "HandleDiscovery)");
    cmd->add_option("--requests", o->requestsFile,
                    "File of recorded requests (POST: HandleActionRequest, GET: WebSerOpen)");
    cmd->add_option("--description", o->description,
                    "Device description XML (sent as HandleDiscovery fields)");
    cmd->add_flag("--save", o->save, "Save the client list to its fixed path afterwards");
    cmd->add_flag("--explain", o->explain,
                  "Show every identification record tried and its first failing member, and "
                  "what calyx-dms does for the client's types and options");
    cmd->add_flag("--suggest", o->suggest,
                  "For an unmatched client, print a profile list entry that would match it");
    cmd->add_flag("--default-dlna", o->defaultDLNA,
                  "Checker's default DLNA answer for a client without user agent");
    cmd->add_flag("--deny-new-clients", o->denyNewClients, "New clients get \"isAccess\" false");
    CLI::Option* brief = cmd->add_flag(
        "--brief", o->brief, "One tab-separated line: MAC, profile, display name, types, options");
    cmd->add_flag("--json", o->json, "Machine-readable output (always valid UTF-8)")
        ->excludes(brief);
    cmd->callback([o] { RunIdentify(*o); });
}

}  // namespace calyx_tool
