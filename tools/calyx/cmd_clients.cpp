// calyx clients list|show|erase|remove|set-profile|allow|deny
#include <CLI/CLI.hpp>

#include <algorithm>
#include <iostream>

#include "calyx/client.h"
#include "calyx/client_list.h"
#include "calyx/core.h"
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
    bool force = false;
    bool json = false;
};

std::string ResolveFile(const ClientsOptions& o) {
    ApplyRoot(o.root);
    return o.file.empty() ? ClientListPath() : o.file;
}

void LoadList(const std::string& path, Calyx::DMSClientList& list) {
    LoadJsonOrFail(path);  // names the kind of a non-file, the line and column of a syntax error
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

// The stored MAC of the one entry whose "macAddr" equals `mac` without regard to case
// (people type addresses in either case; the library compares them exactly). No entry
// fails; several are a usage error that lists them.
std::string ResolveMac(Calyx::DMSClientList& list, const std::string& mac,
                       const std::string& path) {
    const Json::Value document = Calyx::ClientListDocument(list);
    std::vector<std::string> matches;
    if (document.isObject() && document["ClientList"].isArray())
        for (const Json::Value& entry : document["ClientList"]) {
            const std::string stored = EntryText(entry, "macAddr");
            if (!stored.empty() && Calyx::StringToLower(stored) == Calyx::StringToLower(mac) &&
                std::find(matches.begin(), matches.end(), stored) == matches.end())
                matches.push_back(stored);
        }
    if (matches.empty())
        Fail(path + ": no client with MAC " + Quoted(mac));
    if (matches.size() > 1) {
        std::vector<std::string> quoted;
        quoted.reserve(matches.size());
        for (const std::string& m : matches)
            quoted.push_back(Quoted(m));
        UsageFail(path + ": MAC " + Quoted(mac) + " matches several clients: " +
                  Join(quoted, ", ") + "; give it exactly as stored");
    }
    return matches.front();
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
    PrintEntry(path, EntryOrFail(list, ResolveMac(list, o.mac, path), path), o.json, "");
}

// A user's profile choice must name a profile the server knows: one of the profile list,
// or the library's own "Default Profile". Without a list to check, --force is needed.
void CheckProfileChoice(const ClientsOptions& o) {
    if (o.force || o.profileName == Calyx::kDefaultProfileName)
        return;
    if (o.profiles.empty())
        UsageFail("set-profile: give --profiles to check that " + Quoted(o.profileName) +
                  " exists, or --force");
    ScopedProfileList profiles(o.profiles);
    if (Calyx::DMSClientChecker::GetAgent(o.profileName) == nullptr)
        UsageFail("set-profile: " + o.profiles + " has no profile named " + Quoted(o.profileName) +
                  " (--force sets it all the same)");
}

enum class Edit { Erase, Remove, SetProfile, Allow, Deny };

void RunEdit(const ClientsOptions& o, Edit edit) {
    const std::string path = ResolveFile(o);
    if (edit == Edit::SetProfile && !o.automatic) {
        if (o.profileName.empty())
            UsageFail("set-profile: give a PROFILE name or --auto");
        CheckProfileChoice(o);
    }
    Calyx::DMSClientList list;
    LoadList(path, list);
    const std::string mac = ResolveMac(list, o.mac, path);
    std::string note;
    Calyx::ClientListEdit change;
    switch (edit) {
        case Edit::Erase:
            change = [&mac](Json::Value& doc) { return Calyx::EraseClientEntry(doc, mac); };
            note = "erased " + mac + " down to its identity, access and user agents";
            break;
        case Edit::Remove:
            change = [&mac](Json::Value& doc) { return Calyx::RemoveClientEntry(doc, mac); };
            break;
        case Edit::SetProfile: {
            // A null choice follows the automatic match again.
            Json::Value selected = o.automatic ? Json::Value() : Json::Value(o.profileName);
            note = o.automatic ? mac + " follows the automatic match again"
                               : mac + " uses profile " + Quoted(o.profileName);
            change = [&list, &mac, selected](Json::Value& doc) {
                return Calyx::EditClientEntry(list, doc, mac, "profileName_UserSelected", selected);
            };
            break;
        }
        case Edit::Allow:
        case Edit::Deny:
            change = [&list, &mac, edit](Json::Value& doc) {
                return Calyx::EditClientEntry(list, doc, mac, "isAccess",
                                              Json::Value(edit == Edit::Allow));
            };
            note = mac + (edit == Edit::Allow ? " may use the server" : " may not use the server");
            break;
    }
    // One ClientListApply call: under the writers' lock, so that a server saving the same
    // file neither undoes this edit nor loses what it saved meanwhile. The tool serves no
    // requests, so it edits the file as it is under the lock, not what it read before.
    auto onCurrentFile = [&path, &change](Json::Value& doc) {
        Json::Value current;
        if (Calyx::ReadJsonFile(path, current, nullptr))
            doc.swap(current);
        return change(doc);
    };
    if (!Calyx::ClientListApply(list, path, onCurrentFile))
        Fail(path + ": cannot save (see the library log), or " + mac + " is gone");
    if (edit != Edit::Remove) {
        PrintEntry(path, EntryOrFail(list, mac, path), o.json, note + "; saved " + path);
    } else if (o.json) {
        Json::Value out(Json::objectValue);
        out["file"] = path;
        out["removed"] = mac;
        out["saved"] = true;
        PrintJson(out);
    } else {
        std::cout << "removed " << mac << "; saved " << path << "\n";
    }
}

}  // namespace

void AddClientsCommand(CLI::App& app) {
    auto o = std::make_shared<ClientsOptions>();
    CLI::App* cmd =
        app.add_subcommand("clients", "List, show and edit the entries of a client list file");
    cmd->fallthrough();
    cmd->add_option("--file,-f", o->file,
                    "Client list file (default: the fixed path under --root)");
    cmd->add_option("--root", o->root, "Root prefix of the fixed client list path");
    cmd->add_flag("--json", o->json, "Machine-readable output");
    cmd->footer(
        "Edits are one locked edit of the file (ClientListApply): a server saving the same "
        "file keeps them, and they keep what it saved.");

    cmd->add_subcommand("list", "One line per client")->callback([o] { RunList(*o); });
    CLI::App* show = cmd->add_subcommand("show", "Every member of one client entry");
    show->add_option("MAC", o->mac, "Client hardware address (any case)")->required();
    show->callback([o] { RunShow(*o); });
    CLI::App* erase =
        cmd->add_subcommand("erase", "Trim an entry to its MAC, access flag and user agents");
    erase->add_option("MAC", o->mac, "Client hardware address")->required();
    erase->callback([o] { RunEdit(*o, Edit::Erase); });
    CLI::App* remove =
        cmd->add_subcommand("remove", "Drop the client's entry from the list altogether");
    remove->add_option("MAC", o->mac, "Client hardware address")->required();
    remove->callback([o] { RunEdit(*o, Edit::Remove); });
    CLI::App* setProfile = cmd->add_subcommand(
        "set-profile", "Choose the client's profile (\"profileName_UserSelected\")");
    setProfile->add_option("MAC", o->mac, "Client hardware address")->required();
    CLI::Option* automatic = setProfile->add_flag(
        "--auto", o->automatic, "Remove the user's choice: the automatic match applies again");
    setProfile->add_option("PROFILE", o->profileName, "Profile name")->excludes(automatic);
    setProfile->add_option("--profiles,-p", o->profiles,
                           "Profile list that must hold PROFILE (\"Default Profile\" is always "
                           "accepted)");
    setProfile->add_flag("--force", o->force, "Set PROFILE even if no profile list holds it")
        ->excludes(automatic);
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
