// The folders indexed for one media type, from the platform's index folder file.
#include <sys/stat.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include <json/value.h>

#include "calyx/core.h"
#include "calyx/host.h"
#include "dmsutils/json_document.h"
#include "dmsutils/json_values.h"
#include "host/media_type_word.h"
#include "platform/file_kind.h"

namespace Calyx {

namespace {

using FolderMap = std::map<std::string, std::string>;

// Whether `entry` has `key` present (see detail::IsPresent).
bool HasPresent(const Json::Value& entry, const char* key) {
    return detail::IsPresent(detail::FindMember(entry, key));
}

// The JSON library's boolean conversion; a value it cannot convert is not true.
bool IsTrue(const Json::Value& value) {
    try {
        return value.asBool();
    } catch (const Json::Exception&) {
        return false;
    }
}

void InsertIfResolvable(FolderMap& folders, const std::string& sharePath, const std::string& name) {
    std::string path = GetAbsolutePath(sharePath);
    if (!path.empty()) {
        folders.emplace(path, name);
    }
}

// No entry is a default folder: the type's share first, then every entry marked for
// the type, under its "name".
void CollectWithoutDefaults(const Json::Value& entries, const std::string& word,
                            FolderMap& folders) {
    InsertIfResolvable(folders, word, word);
    for (const Json::Value& entry : entries) {
        if (!HasPresent(entry, word.c_str()) || !HasPresent(entry, "path") ||
            !HasPresent(entry, "name") || !IsTrue(entry[word])) {
            continue;
        }
        std::string path;
        std::string name;
        // A "path" or "name" without text (an array or object) skips the entry.
        if (detail::ScalarText(entry["path"], path) && detail::ScalarText(entry["name"], name)) {
            InsertIfResolvable(folders, path, name);
        }
    }
}

// Some entry is a default folder: only entries that carry "default" count; a default
// one shows under its share name. The type's share is added last, unchecked, so an
// entry that named the same folder keeps its name and a missing share gives "".
void CollectWithDefaults(const Json::Value& entries, const std::string& word, FolderMap& folders) {
    for (const Json::Value& entry : entries) {
        if (!HasPresent(entry, "default") || !HasPresent(entry, word.c_str()) ||
            !HasPresent(entry, "path") || !HasPresent(entry, "name") || !IsTrue(entry[word])) {
            continue;
        }
        // A "path" or "name" without text (an array or object) skips the entry.
        std::string path;
        if (!detail::ScalarText(entry["path"], path)) {
            continue;
        }
        std::vector<std::string> components = StringExplode(path, "/");
        if (components.empty()) {
            continue;
        }
        std::string name;
        if (IsTrue(entry["default"])) {
            name = components[0];
        } else if (!detail::ScalarText(entry["name"], name)) {
            continue;
        }
        InsertIfResolvable(folders, path, name);
    }
    folders.emplace(GetAbsolutePath(word), word);
}

bool HasDefaultEntry(const Json::Value& entries) {
    for (const Json::Value& entry : entries) {
        if (HasPresent(entry, "default") && IsTrue(entry["default"])) {
            return true;
        }
    }
    return false;
}

FolderMap CollectIndexLocations(const std::string& word) {
    FolderMap folders;
    std::string file = ResolveFixedPath("/usr/zevo/etc/index_folder.conf");
    struct stat st;
    if (stat(file.c_str(), &st) != 0) {
        InsertIfResolvable(folders, word, word);
        return folders;
    }
    std::string text;
    // A directory reads as nothing and so fails to parse; a device is read without
    // waiting; a FIFO or socket cannot be opened.
    if (!detail::ReadJsonSource(file, text)) {
        if (DMSLOGGetLevel() >= 0) {
            DMSPrintf(DMSLOG_ERR, "Error: %s could not open\n", file.c_str());
        }
        return folders;
    }
    Json::Value root;
    if (!detail::ParseJsonDocument(text, root)) {
        if (DMSLOGGetLevel() >= 0) {
            DMSPrintf(DMSLOG_ERR, "Error: Json::Reader::parse %s failed\n", file.c_str());
        }
        return folders;
    }
    // Any other top level is taken as a list without entries.
    const Json::Value entries = root.isArray() ? root : Json::Value(Json::arrayValue);
    if (HasDefaultEntry(entries)) {
        CollectWithDefaults(entries, word, folders);
    } else {
        CollectWithoutDefaults(entries, word, folders);
    }
    return folders;
}

}  // namespace

std::map<std::string, std::string> GetIndexLoacationPath(const MEDIA_TABLE_TYPE& type) {
    const char* word = detail::MediaTypeWord(type);
    if (word == nullptr) {
        return {};
    }
    try {
        return CollectIndexLocations(word);
    } catch (const std::exception&) {
        // Out of memory while building the map: nothing usable to return.
        return {};
    }
}

}  // namespace Calyx
