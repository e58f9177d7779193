// DMSClientList: loading, saving, lookups and the discovery update of the client list.
#include "calyx/client_list.h"
#include "calyx/client.h"

#include <cstdio>

#include "calyx/core.h"
#include "client/client_list_headers.h"
#include "client/client_list_persist.h"
#include "client/client_list_state.h"
#include "dmsutils/json_document.h"
#include "dmsutils/json_values.h"

namespace Calyx {

namespace {

using detail::ClientListState;
using detail::MutexLock;

const char* const kGeneralDisplayName = "General DMA";
constexpr size_t kHeaderKeySize = 50;
constexpr size_t kDisplayNameSize = 200;

void DeleteState(ClientListState* state) {
    delete state;
}

// "ClientList" of the document, added as null when the document (null or an object)
// lacks it, as a lookup by name does; null when the root cannot have members.
Json::Value* ClientListOf(Json::Value& root) {
    if (!root.isNull() && !root.isObject()) {
        return nullptr;
    }
    return &root["ClientList"];
}

void RebuildIndex(const Json::Value& root, ClientListState& state) {
    state.index.Rebuild(detail::FindMember(root, "ClientList"));
}

// The placeholder document holds "ClientList": 0, an integer (not 0.0, false or "0").
bool IsPlaceholderList(const Json::Value& root) {
    const Json::Value* list = detail::FindMember(root, "ClientList");
    if (list == nullptr) {
        return false;
    }
    if (list->type() == Json::intValue) {
        return list->asLargestInt() == 0;
    }
    return list->type() == Json::uintValue && list->asLargestUInt() == 0;
}

bool FindEntryLocked(Json::Value& root, const ClientListState& state, const std::string& mac,
                     unsigned int& index) {
    if (ClientListOf(root) == nullptr) {
        return false;
    }
    unsigned pos = 0;
    if (!state.index.FindMac(mac, pos)) {
        return false;
    }
    index = pos;
    return true;
}

enum class HeaderTarget { kOpen, kBrowse, kDiscovery, kNone };

HeaderTarget TargetOf(const std::string& source) {
    if (source == "WebSerOpen") {
        return HeaderTarget::kOpen;
    }
    if (source == "HandleActionRequest") {
        return HeaderTarget::kBrowse;
    }
    if (source == "HandleDiscovery") {
        return HeaderTarget::kDiscovery;
    }
    return HeaderTarget::kNone;
}

void StoreHeaders(HeaderTarget target, const std::map<std::string, std::string>& headers,
                  Json::Value& entry) {
    if (target == HeaderTarget::kNone) {
        return;
    }
    char key[kHeaderKeySize];
    for (const auto& header : headers) {
        if (detail::IsSkippedHeader(header.first)) {
            continue;
        }
        if (target == HeaderTarget::kDiscovery) {
            entry[header.first] = header.second;
            continue;
        }
        // Composed keys are cut at 49 characters, the size of the key buffer.
        snprintf(key, sizeof key, target == HeaderTarget::kOpen ? "open_%s" : "browse_%s",
                 header.first.c_str());
        entry[key] = header.second;
    }
}

}  // namespace

namespace detail {

void StripToIdentity(Json::Value& entry) {
    for (const std::string& name : entry.getMemberNames()) {
        if (name != "macAddr" && name != "isAccess" && name != "browse_user-agent" &&
            name != "open_user-agent") {
            entry.removeMember(name);
        }
    }
}

}  // namespace detail

DMSClientList::DMSClientList()
    : m_root(), m_profileIDList(), m_denyNewClients(false), m_state(nullptr, &DeleteState) {
    pthread_mutex_init(&m_mutex, nullptr);
    m_state.reset(new ClientListState);
}

bool DMSClientList::Load(const std::string& clientListPath, const std::string& profileListPath) {
    if (LoadClientList(clientListPath) == 0) {
        return false;
    }
    return LoadProfileIDList(profileListPath) != 0;
}

int DMSClientList::LoadClientList(const std::string& path) {
    try {
        // The file is parsed into a copy of the current document, as if straight into it:
        // a file the reader rejects at once leaves the old list (a comment-only file adds
        // its comment), one that breaks off inside leaves what was read up to the break.
        Json::Value document;
        {
            MutexLock lock(&m_mutex);
            document = m_root;
        }
        detail::JsonFileRead read;
        detail::JsonFileOutcome outcome =
            detail::LoadJsonFile(path, "DMSClientList::LoadClientList", document, &read);
        if (outcome == detail::JsonFileOutcome::kCannotOpen) {
            return 0;
        }
        const bool parsed = outcome == detail::JsonFileOutcome::kParsed;
        MutexLock lock(&m_mutex);
        if (!read.readerGaveUp) {  // a reader that threw left nothing usable
            m_root.swap(document);
            RebuildIndex(m_root, *m_state);
        }
        detail::RememberLoadedFile(*this, path, read, parsed);
        return parsed ? 1 : 0;
    } catch (const std::exception&) {
        return 0;
    }
}

int DMSClientList::LoadProfileIDList(const std::string& path) {
    try {
        Json::Value document;
        if (detail::LoadJsonFile(path, "DMSClientList::LoadProfileIDList", document) !=
            detail::JsonFileOutcome::kParsed) {
            return 0;
        }
        Json::Value jsonRecords(Json::arrayValue);
        std::vector<detail::IdentificationRecord> records;
        detail::CollectIdentificationRecords(document, &jsonRecords, records);

        MutexLock lock(&m_mutex);
        for (Json::ArrayIndex i = 0; i < jsonRecords.size(); ++i) {
            m_profileIDList.append(std::move(jsonRecords[i]));
        }
        for (auto& record : records) {
            m_state->records.push_back(std::move(record));
        }
        return 1;
    } catch (const std::exception&) {
        return 0;
    }
}

int DMSClientList::WriteToFile() {
    MutexLock lock(&m_mutex);
    std::string path = kClientListFixedPath;
    try {
        path = ResolveFixedPath(kClientListFixedPath);
        return detail::SaveClientListLocked(*this, path, nullptr, nullptr);
    } catch (const std::exception&) {  // out of memory
        if (DMSLOGGetLevel() >= 0) {
            DMSPrintf(DMSLOG_ERR, "Error - %s could not open\n", path.c_str());
        }
        return 0;
    }
}

bool DMSClientList::VerifyMacIsExist(const std::string& mac, unsigned int& index) {
    MutexLock lock(&m_mutex);
    try {
        return FindEntryLocked(m_root, *m_state, mac, index);
    } catch (const std::exception&) {
        return false;
    }
}

std::string DMSClientList::FindMacByIP(const std::string& ip) {
    MutexLock lock(&m_mutex);
    try {
        Json::Value* list = ClientListOf(m_root);
        unsigned pos = 0;
        if (list == nullptr || !m_state->index.FindIp(ip, pos)) {
            return std::string();
        }
        const Json::Value* mac = detail::FindMember((*list)[pos], "macAddr");
        return mac != nullptr ? detail::TextOrEmpty(*mac) : std::string();
    } catch (const std::exception&) {
        return std::string();
    }
}

std::string DMSClientList::FindKey(const std::string& mac, const std::string& key) {
    MutexLock lock(&m_mutex);
    try {
        unsigned int pos = 0;
        if (!FindEntryLocked(m_root, *m_state, mac, pos)) {
            return std::string();
        }
        Json::Value& entry = m_root["ClientList"][pos];
        bool existed = detail::FindMember(entry, key) != nullptr;
        // Looking the member up by name adds it as null when the entry lacks it.
        const Json::Value& member = entry[key];
        std::string text;
        if (detail::IsPresent(&member)) {
            detail::TextOf(member, text);
        }
        if (!existed) {
            m_state->index.Update(pos, entry);  // a null "ipAddr" no longer ends the scan
        }
        return text;
    } catch (const std::exception&) {
        RebuildIndex(m_root, *m_state);
        return std::string();
    }
}

int DMSClientList::EraseObject(const std::string& mac) {
    MutexLock lock(&m_mutex);
    try {
        unsigned int pos = 0;
        if (!FindEntryLocked(m_root, *m_state, mac, pos)) {
            return 0;
        }
        Json::Value& entry = m_root["ClientList"][pos];
        detail::StripToIdentity(entry);
        m_state->index.Update(pos, entry);
        return 1;
    } catch (const std::exception&) {
        RebuildIndex(m_root, *m_state);
        return 0;
    }
}

int DMSClientList::UpdateKeys(const std::string& source, const std::string& mac,
                              const std::string& ip,
                              const std::map<std::string, std::string>& headers) {
    MutexLock lock(&m_mutex);
    if (mac.empty()) {
        if (DMSLOGGetLevel() > 1) {
            DMSPrintf(DMSLOG_DEBUG,
                      "Error: DMSClientList::UpdateKeys - MAC address is empty by %s from ARP "
                      "talble\n",
                      ip.c_str());
        }
        return 0;
    }
    try {
        if (IsPlaceholderList(m_root)) {
            m_root.clear();
            RebuildIndex(m_root, *m_state);
        }
        Json::Value* list = ClientListOf(m_root);
        if (list == nullptr || !(list->isNull() || list->isArray())) {
            if (DMSLOGGetLevel() > 1) {
                DMSPrintf(DMSLOG_DEBUG,
                          "Error: DMSClientList::UpdateKeys - the client list document holds "
                          "no client array\n");
            }
            return 0;
        }
        HeaderTarget target = TargetOf(source);
        // Matched profile, effective profile and display name, in that order: each
        // step reads what the previous one stored.
        auto refreshProfileAndName = [this](Json::Value& entry) {
            std::string text;
            DetermineOrigProfileName(entry, text);
            entry["profileName_Orig"] = text;
            DetermineProfileName(entry, text);
            entry["profileName"] = text;
            DetermineDisplayName(entry, text);
            entry["displayName"] = text;
        };
        unsigned int pos = 0;
        if (!m_state->index.FindMac(mac, pos)) {
            Json::Value entry(Json::objectValue);
            StoreHeaders(target, headers, entry);
            entry["ipAddr"] = ip;
            entry["macAddr"] = mac;
            entry["isAccess"] = !m_denyNewClients;
            refreshProfileAndName(entry);
            Json::ArrayIndex newPos = list->size();
            list->append(std::move(entry));
            m_state->index.Update(newPos, (*list)[newPos]);
            return 1;
        }
        Json::Value& entry = (*list)[pos];
        StoreHeaders(target, headers, entry);
        entry["ipAddr"] = ip;
        refreshProfileAndName(entry);
        m_state->index.Update(pos, entry);
        return 1;
    } catch (const std::exception&) {
        // Out of memory half-way: the document may hold part of the update; the index
        // must describe it as it is.
        try {
            RebuildIndex(m_root, *m_state);
        } catch (const std::exception&) {
        }
        return 0;
    }
}

void DMSClientList::DetermineDisplayName(const Json::Value& entry, std::string& out) const {
    std::string manufacturer;
    if (!detail::PresentText(entry, "manufacturer", manufacturer)) {
        manufacturer.clear();
    }
    std::string field;
    for (const char* name : {"friendlyName", "modelDescription", "modelName"}) {
        if (detail::PresentText(entry, name, field)) {
            char buffer[kDisplayNameSize];
            snprintf(buffer, sizeof buffer, "%s %s", manufacturer.c_str(), field.c_str());
            out = buffer;
            return;
        }
    }
    const Json::Value* orig = detail::FindMember(entry, "profileName_Orig");
    std::string origName = orig != nullptr ? detail::TextOrEmpty(*orig) : std::string();
    out = origName == kDefaultProfileName ? kGeneralDisplayName : origName;
}

void DMSClientList::DetermineProfileName(const Json::Value& entry, std::string& out) const {
    std::string selected;
    if (detail::PresentText(entry, "profileName_UserSelected", selected)) {
        out = selected;
        return;
    }
    const Json::Value* orig = detail::FindMember(entry, "profileName_Orig");
    out = orig != nullptr ? detail::TextOrEmpty(*orig) : std::string();
}

void DMSClientList::DetermineOrigProfileName(const Json::Value& entry, std::string& out) const {
    out = detail::FirstMatchingProfile(m_state->records, entry);
}

}  // namespace Calyx
