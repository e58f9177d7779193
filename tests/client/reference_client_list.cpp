// The literal client list algorithms, for differential testing and benchmarks.
#include "reference_client_list.h"

#include <json/reader.h>
#include <json/writer.h>
#include <strings.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>

namespace calyx_test {

namespace {

bool Present(const Json::Value& v) {
    if (v.isNull()) {
        return false;
    }
    if (v.isArray() || v.isObject()) {
        return v.size() != 0;
    }
    return true;
}

// Text of a scalar by the JSON library's conversion; arrays and objects have none.
bool Text(const Json::Value& v, std::string& out) {
    if (v.isArray() || v.isObject()) {
        return false;
    }
    out = v.asString();
    return true;
}

bool Member(const Json::Value& object, const std::string& key, const Json::Value*& out) {
    if (!object.isObject() || !object.isMember(key)) {
        return false;
    }
    out = &object[key];
    return true;
}

bool PresentText(const Json::Value& entry, const std::string& key, std::string& out) {
    const Json::Value* v = nullptr;
    return Member(entry, key, v) && Present(*v) && Text(*v, out);
}

bool Parse(const std::string& path, Json::Value& doc, bool& opened) {
    std::ifstream in(path.c_str());
    opened = static_cast<bool>(in);
    if (!opened) {
        return false;
    }
    try {
        Json::Reader reader;
        return reader.parse(in, doc, true);
    } catch (const std::exception&) {
        doc = Json::Value();
        return false;
    }
}

}  // namespace

bool ReferenceClientList::Load(const std::string& clientListPath,
                               const std::string& profileListPath) {
    if (LoadClientList(clientListPath) == 0) {
        return false;
    }
    return LoadProfileIDList(profileListPath) != 0;
}

int ReferenceClientList::LoadClientList(const std::string& path) {
    Json::Value doc;
    bool opened = false;
    bool ok = Parse(path, doc, opened);
    if (!opened) {
        return 0;
    }
    root_ = doc;
    return ok ? 1 : 0;
}

int ReferenceClientList::LoadProfileIDList(const std::string& path) {
    Json::Value doc;
    bool opened = false;
    if (!Parse(path, doc, opened)) {
        return 0;
    }
    if (!doc.isObject() || !doc.isMember("ProfileList") || !doc["ProfileList"].isArray()) {
        return 1;
    }
    const Json::Value& list = doc["ProfileList"];
    for (Json::ArrayIndex i = 0; i < list.size(); ++i) {
        const Json::Value& element = list[i];
        const Json::Value* id = nullptr;
        const Json::Value* name = nullptr;
        std::string nameText;
        if (!Member(element, "profileID", id) || !Present(*id) ||
            !Member(element, "profileName", name) || !Present(*name) || !Text(*name, nameText)) {
            continue;
        }
        Json::Value record;
        record["profileName"] = nameText;
        record["profileID"] = *id;
        profileIDList_.append(record);
    }
    return 1;
}

std::string ReferenceClientList::Serialize() const {
    std::ostringstream out;
    Json::StyledStreamWriter writer("\t");
    writer.write(out, root_);
    return out.str();
}

bool ReferenceClientList::VerifyUnlocked(const std::string& mac, unsigned int& index) {
    if (!root_.isNull() && !root_.isObject()) {
        return false;
    }
    Json::Value& list = root_["ClientList"];
    if (!list.isArray()) {
        return false;
    }
    for (Json::ArrayIndex i = 0; i < list.size(); ++i) {
        const Json::Value& entry = list[i];
        if (!entry.isObject() || !entry.isMember("macAddr")) {
            return false;
        }
        std::string text;
        if (Text(entry["macAddr"], text) && text == mac) {
            index = i;
            return true;
        }
    }
    return false;
}

bool ReferenceClientList::VerifyMacIsExist(const std::string& mac, unsigned int& index) {
    std::lock_guard<std::mutex> lock(mutex_);
    return VerifyUnlocked(mac, index);
}

std::string ReferenceClientList::FindMacByIP(const std::string& ip) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!root_.isNull() && !root_.isObject()) {
        return "";
    }
    Json::Value& list = root_["ClientList"];
    if (!list.isArray()) {
        return "";
    }
    for (Json::ArrayIndex i = 0; i < list.size(); ++i) {
        const Json::Value& entry = list[i];
        if (!entry.isObject() || !entry.isMember("ipAddr")) {
            return "";
        }
        std::string text;
        if (Text(entry["ipAddr"], text) && text == ip) {
            std::string mac;
            if (entry.isMember("macAddr") && Text(entry["macAddr"], mac)) {
                return mac;
            }
            return "";
        }
    }
    return "";
}

std::string ReferenceClientList::FindKey(const std::string& mac, const std::string& key) {
    std::lock_guard<std::mutex> lock(mutex_);
    unsigned int index = 0;
    if (!VerifyUnlocked(mac, index)) {
        return "";
    }
    Json::Value& member = root_["ClientList"][index][key];
    std::string text;
    if (Present(member) && Text(member, text)) {
        return text;
    }
    return "";
}

int ReferenceClientList::EraseObject(const std::string& mac) {
    std::lock_guard<std::mutex> lock(mutex_);
    unsigned int index = 0;
    if (!VerifyUnlocked(mac, index)) {
        return 0;
    }
    Json::Value& entry = root_["ClientList"][index];
    for (const std::string& name : entry.getMemberNames()) {
        if (name != "macAddr" && name != "isAccess" && name != "browse_user-agent" &&
            name != "open_user-agent") {
            entry.removeMember(name);
        }
    }
    return 1;
}

void ReferenceClientList::StoreHeaders(const std::string& source,
                                       const std::map<std::string, std::string>& headers,
                                       Json::Value& entry) const {
    // The transport headers, and the credentials that are never recorded.
    static const char* const kSkip[] = {"Cache-Control", "Pragma",         "Connection",
                                        "Host",          "Host",           "DATE",
                                        "Accept",        "content-length", "content-type",
                                        "soapaction",    "authorization",  "proxy-authorization",
                                        "cookie"};
    for (const auto& header : headers) {
        bool skip = false;
        for (const char* s : kSkip) {
            skip = skip || strcasecmp(header.first.c_str(), s) == 0;
        }
        if (skip) {
            continue;
        }
        char key[50];
        if (source == "WebSerOpen") {
            snprintf(key, sizeof key, "open_%s", header.first.c_str());
            entry[key] = header.second;
        } else if (source == "HandleActionRequest") {
            snprintf(key, sizeof key, "browse_%s", header.first.c_str());
            entry[key] = header.second;
        } else if (source == "HandleDiscovery") {
            entry[header.first] = header.second;
        }
    }
}

void ReferenceClientList::Refresh(Json::Value& entry) const {
    std::string text;
    DetermineOrigProfileName(entry, text);
    entry["profileName_Orig"] = text;
    DetermineProfileName(entry, text);
    entry["profileName"] = text;
    DetermineDisplayName(entry, text);
    entry["displayName"] = text;
}

int ReferenceClientList::UpdateKeys(const std::string& source, const std::string& mac,
                                    const std::string& ip,
                                    const std::map<std::string, std::string>& headers) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (mac.empty()) {
        return 0;
    }
    if (root_.isObject() && root_.isMember("ClientList")) {
        const Json::Value& list = root_["ClientList"];
        bool integer = list.type() == Json::intValue || list.type() == Json::uintValue;
        if (integer && list.asLargestInt() == 0) {
            root_.clear();  // the placeholder document
        }
    }
    if (!root_.isNull() && !root_.isObject()) {
        return 0;
    }
    if (!root_["ClientList"].isNull() && !root_["ClientList"].isArray()) {
        return 0;
    }
    unsigned int index = 0;
    if (!VerifyUnlocked(mac, index)) {
        Json::Value entry;
        StoreHeaders(source, headers, entry);
        entry["ipAddr"] = ip;
        entry["macAddr"] = mac;
        entry["isAccess"] = !denyNewClients;
        Refresh(entry);
        root_["ClientList"].append(entry);
        return 1;
    }
    Json::Value& entry = root_["ClientList"][index];
    StoreHeaders(source, headers, entry);
    entry["ipAddr"] = ip;
    Refresh(entry);
    return 1;
}

void ReferenceClientList::DetermineOrigProfileName(const Json::Value& entry,
                                                   std::string& out) const {
    for (Json::ArrayIndex r = 0; r < profileIDList_.size(); ++r) {
        const Json::Value& record = profileIDList_[r];
        const Json::Value& id = record["profileID"];
        bool matched = true;
        if (id.isObject()) {
            for (const std::string& key : id.getMemberNames()) {
                std::string have;
                std::string want;
                if (!PresentText(entry, key, have) || !Text(id[key], want) ||
                    strstr(have.c_str(), want.c_str()) == nullptr) {
                    matched = false;
                    break;
                }
            }
        }
        if (matched) {
            out = record["profileName"].asString();
            return;
        }
    }
    out = "Default Profile";
}

void ReferenceClientList::DetermineProfileName(const Json::Value& entry, std::string& out) const {
    std::string text;
    if (PresentText(entry, "profileName_UserSelected", text)) {
        out = text;
        return;
    }
    const Json::Value* orig = nullptr;
    out.clear();
    if (Member(entry, "profileName_Orig", orig)) {
        Text(*orig, out);
    }
}

void ReferenceClientList::DetermineDisplayName(const Json::Value& entry, std::string& out) const {
    std::string manufacturer;
    if (!PresentText(entry, "manufacturer", manufacturer)) {
        manufacturer.clear();
    }
    for (const char* field : {"friendlyName", "modelDescription", "modelName"}) {
        std::string text;
        if (PresentText(entry, field, text)) {
            char buffer[200];
            snprintf(buffer, sizeof buffer, "%s %s", manufacturer.c_str(), text.c_str());
            out = buffer;
            return;
        }
    }
    const Json::Value* orig = nullptr;
    std::string origText;
    if (Member(entry, "profileName_Orig", orig)) {
        Text(*orig, origText);
    }
    out = origText == "Default Profile" ? "General DMA" : origText;
}

}  // namespace calyx_test
