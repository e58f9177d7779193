// calyx clients list|show|erase|set-profile|allow|deny
#include <CLI/CLI.hpp>

#include <errno.h>
#include <string.h>
#include <sys/stat.h>

#include <iostream>

#include "calyx/client.h"
#include "calyx/client_list.h"
#include "calyx/ext.h"
#include "client_view.h"
#include "tool.h"

namespace calyx_tool {

namespace {

struct ClientsOptions {
    std::string file;
    std::string root;
    std::string profiles;
    std::string mac;
    std::string profileName;
    bool automatic = false;
    bool json = false;
};

std::string ResolveFile(const ClientsOptions& o) {
    ApplyRoot(o.root);
    return o.file.empty() ? ClientListPath() : o.file;
}

void LoadList(const std::string& path, Calyx::DMSClientList& list) {
    struct stat st;
    if (stat(path.c_str(), &st) != 0)
        Fail(path + ": cannot open: " + strerror(errno));
    LoadJsonOrFail(path);  // names the line and column of a syntax error
    if (!list.LoadClientList(path))
        Fail(path + ": cannot load the client list");
}

Json::Value EntrySummary(const Json::Value& entry) {
    Json::Value out(Json::objectValue);
    out["macAddr"] = EntryText(entry, "macAddr");
    out["ipAddr"] = EntryText(entry, "ipAddr");
    out["displayName"] = EntryText(entry, "displayName");
    out["profileName"] = EntryText(entry, "profileName");
    out["profileName_Orig"] = EntryText(entry, "profileName_Orig");
    out["profileName_UserSelected"] = entry.isObject() && entry.isMember("profileName_UserSelected")
                                          ? entry["profileName_UserSelected"]
                                          : Json::Value();
    out["isAccess"] =
        entry.isObject() && entry.isMember("isAccess") ? entry["isAccess"] : Json::Value();
    return out;
}

void RunList(const ClientsOptions& o) {
    const std::string path = ResolveFile(o);
    Calyx::DMSClientList list;
    LoadList(path, list);
    Json::Value document = Calyx::ClientListDocument(list);
    const Json::Value empty(Json::arrayValue);
    const Json::Value& clients =
        document.isObject() && document["ClientList"].isArray() ? document["ClientList"] : empty;
    if (o.json) {
        Json::Value out(Json::objectValue);
        out["file"] = path;
        out["clients"] = Json::Value(Json::arrayValue);
        for (const Json::Value& entry : clients)
            out["clients"].append(EntrySummary(entry));
        PrintJson(out);
        return;
    }
    TextTable table({"MAC", "IP", "PROFILE", "ACCESS", "DISPLAY NAME"});
    for (const Json::Value& entry : clients) {
        std::string profile = EntryText(entry, "profileName");
        if (entry.isObject() && entry.isMember("profileName_UserSelected") &&
            !entry["profileName_UserSelected"].isNull())
            profile += " (user)";
        table.add({EntryText(entry, "macAddr"), EntryText(entry, "ipAddr"), profile,
                   AccessText(entry), EntryText(entry, "displayName")});
    }
    std::cout << table.render() << clients.size() << (clients.size() == 1 ? " client" : " clients")
              << " in " << path << "\n";
}

Json::Value EntryOrFail(Calyx::DMSClientList& list, const std::string& mac,
                        const std::string& path) {
    Json::Value entry;
    if (!Calyx::ClientListEntry(list, mac, entry))
        Fail(path + ": no client with MAC " + Quoted(mac));
    return entry;
}

void PrintEntry(const std::string& path, const Json::Value& entry, bool json,
                const std::string& note) {
    if (json) {
        Json::Value out(Json::objectValue);
        out["file"] = path;
        out["entry"] = entry;
        if (!note.empty())
            out["saved"] = true;
        PrintJson(out);
        return;
    }
    if (!note.empty())
        std::cout << note << "\n";
    TextTable table({"KEY", "VALUE"});
    for (const std::string& key : entry.getMemberNames()) {
        const Json::Value& v = entry[key];
        std::string text = v.isString() ? Quoted(v.asString())
                           : v.isNull() ? "null"
                           : (v.isArray() || v.isObject())
                               ? "(" + std::to_string(v.size()) + " members)"
                               : v.asString();
        table.add({key, text});
    }
    std::cout << table.render();
}

void RunShow(const ClientsOptions& o) {
    const std::string path = ResolveFile(o);
    Calyx::DMSClientList list;
    LoadList(path, list);
    PrintEntry(path, EntryOrFail(list, o.mac, path), o.json, "");
}

enum class Edit { Erase, SetProfile, Allow, Deny };

void RunEdit(const ClientsOptions& o, Edit edit) {
    const std::string path = ResolveFile(o);
    Calyx::DMSClientList list;
    LoadList(path, list);
    EntryOrFail(list, o.mac, path);
    std::string note;
    // The edit goes through ClientListApply: under the writers' lock, after merging what
    // a running server saved meanwhile, so neither loses the other's changes.
    Calyx::ClientListEdit change;
    switch (edit) {
        case Edit::Erase:
            change = [&o](Json::Value& doc) { return Calyx::EraseClientEntry(doc, o.mac); };
            note = "erased " + o.mac + " down to its identity, access and user agents";
            break;
        case Edit::SetProfile: {
            Json::Value selected;  // null: follow the automatic match
            if (o.automatic) {
                note = o.mac + " follows the automatic match again";
            } else {
                if (o.profileName.empty())
                    UsageFail("set-profile: give a PROFILE name or --auto");
                if (!o.profiles.empty()) {
                    ScopedProfileList profiles(o.profiles);
                    if (Calyx::DMSClientChecker::GetAgent(o.profileName) == nullptr)
                        Fail(o.profiles + ": no profile named " + Quoted(o.profileName));
                }
                selected = Json::Value(o.profileName);
                note = o.mac + " uses profile " + Quoted(o.profileName);
            }
            change = [&list, &o, selected](Json::Value& doc) {
                return Calyx::EditClientEntry(list, doc, o.mac, "profileName_UserSelected",
                                              selected);
            };
            break;
        }
        case Edit::Allow:
        case Edit::Deny:
            change = [&list, &o, edit](Json::Value& doc) {
                return Calyx::EditClientEntry(list, doc, o.mac, "isAccess",
                                              Json::Value(edit == Edit::Allow));
            };
            note =
                o.mac + (edit == Edit::Allow ? " may use the server" : " may not use the server");
            break;
    }
    // The tool serves no requests: what it read may be older than what a server saved
    // since, so it edits the file as it is under the writers' lock.
    auto onCurrentFile = [&path, &change](Json::Value& doc) {
        Json::Value current;
        if (Calyx::ReadJsonFile(path, current, nullptr))
            doc.swap(current);
        return change(doc);
    };
    if (!Calyx::ClientListApply(list, path, onCurrentFile))
        Fail(path + ": cannot save (see the library log), or " + o.mac + " is gone");
    PrintEntry(path, EntryOrFail(list, o.mac, path), o.json, note + "; saved " + path);
}

}  // namespace

void AddClientsCommand(CLI::App& app) {
    auto o = std::make_shared<ClientsOptions>();
    CLI::App* cmd =
        app.add_subcommand("clients", "List, show and edit the entries of a client list file");
    cmd->require_subcommand(1);
    cmd->fallthrough();
    cmd->add_option("--file,-f", o->file,
                    "Client list file (default: the fixed path under --root)");
    cmd->add_option("--root", o->root, "Root prefix of the fixed client list path");
    cmd->add_flag("--json", o->json, "Machine-readable output");
    cmd->footer("Edits save through the library's crash-safe save (temporary file, sync, rename).");

    cmd->add_subcommand("list", "One line per client")->callback([o] { RunList(*o); });
    CLI::App* show = cmd->add_subcommand("show", "Every member of one client entry");
    show->add_option("MAC", o->mac, "Client hardware address, as stored")->required();
    show->callback([o] { RunShow(*o); });
    CLI::App* erase =
        cmd->add_subcommand("erase", "Trim an entry to its MAC, access flag and user agents");
    erase->add_option("MAC", o->mac, "Client hardware address")->required();
    erase->callback([o] { RunEdit(*o, Edit::Erase); });
    CLI::App* setProfile = cmd->add_subcommand(
        "set-profile", "Choose the client's profile (\"profileName_UserSelected\")");
    setProfile->add_option("MAC", o->mac, "Client hardware address")->required();
    setProfile->add_option("PROFILE", o->profileName, "Profile name");
    setProfile->add_flag("--auto", o->automatic,
                         "Remove the user's choice: the automatic match applies again");
    setProfile->add_option("--profiles,-p", o->profiles,
                           "Check that PROFILE exists in this profile list");
    setProfile->callback([o] { RunEdit(*o, Edit::SetProfile); });
    CLI::App* allow =
        cmd->add_subcommand("allow", "Let the client use the server (\"isAccess\" true)");
    allow->add_option("MAC", o->mac, "Client hardware address")->required();
    allow->callback([o] { RunEdit(*o, Edit::Allow); });
    CLI::App* deny = cmd->add_subcommand("deny", "Keep the client out (\"isAccess\" false)");
    deny->add_option("MAC", o->mac, "Client hardware address")->required();
    deny->callback([o] { RunEdit(*o, Edit::Deny); });
}

}  // namespace calyx_tool
