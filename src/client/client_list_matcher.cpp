// Profile identification records and the matcher.
#include "client/client_list_matcher.h"

#include <cstring>

#include "calyx/client.h"
#include "dmsutils/json_values.h"

namespace Calyx {
namespace detail {

namespace {

const std::string& DefaultProfile() {
    static const std::string name(kDefaultProfileName);
    return name;
}

std::string CutAtNul(const std::string& text) {
    return text.substr(0, text.find('\0'));
}

}  // namespace

std::vector<IdentificationRule> PrepareRules(const Json::Value& profileID) {
    std::vector<IdentificationRule> rules;
    if (!profileID.isObject()) {
        return rules;
    }
    // Object members come in ascending name order, the order in which rules are tried.
    for (auto it = profileID.begin(); it != profileID.end(); ++it) {
        IdentificationRule rule;
        rule.key = it.name();
        std::string text;
        rule.hasNeedle = TextOf(*it, text);
        rule.needle = CutAtNul(text);
        rules.push_back(std::move(rule));
    }
    return rules;
}

void CollectIdentificationRecords(const Json::Value& profileListDocument, Json::Value* jsonRecords,
                                  std::vector<IdentificationRecord>& records) {
    const Json::Value* list = FindMember(profileListDocument, "ProfileList");
    if (list == nullptr || !list->isArray()) {
        return;
    }
    for (Json::ArrayIndex i = 0; i < list->size(); ++i) {
        const Json::Value& element = (*list)[i];
        const Json::Value* id = FindMember(element, "profileID");
        const Json::Value* name = FindMember(element, "profileName");
        std::string profileName;
        if (!IsPresent(id) || !IsPresent(name) || !TextOf(*name, profileName)) {
            continue;
        }
        if (jsonRecords != nullptr) {
            Json::Value record(Json::objectValue);
            record["profileName"] = profileName;
            record["profileID"] = *id;
            jsonRecords->append(std::move(record));
        }
        records.push_back(IdentificationRecord{profileName, PrepareRules(*id)});
    }
}

bool MatchRecord(const IdentificationRecord& record, const Json::Value& entry,
                 RuleFailure* failure) {
    std::string converted;
    for (const IdentificationRule& rule : record.rules) {
        const Json::Value* member = FindMember(entry, rule.key);
        // The client's value is searched as a C string: it ends at its first NUL byte.
        // Strings are read in place (header values may be large); other scalars are
        // converted first.
        const char* haystack = nullptr;
        if (IsPresent(member)) {
            if (member->isString()) {
                haystack = member->asCString();
            } else if (TextOf(*member, converted)) {
                haystack = converted.c_str();
            }
        }
        if (haystack != nullptr && rule.hasNeedle &&
            strstr(haystack, rule.needle.c_str()) != nullptr) {
            continue;
        }
        if (failure != nullptr) {
            failure->rule = &rule;
            failure->keyPresent = haystack != nullptr;
            failure->clientValue.clear();
            if (haystack != nullptr) {
                TextOf(*member, failure->clientValue);
            }
        }
        return false;
    }
    return true;
}

const std::string& FirstMatchingProfile(const std::vector<IdentificationRecord>& records,
                                        const Json::Value& entry) {
    for (const IdentificationRecord& record : records) {
        if (MatchRecord(record, entry, nullptr)) {
            return record.profileName;
        }
    }
    return DefaultProfile();
}

std::vector<RecordVerdict> ExplainMatches(const std::vector<IdentificationRecord>& records,
                                          const Json::Value& entry) {
    std::vector<RecordVerdict> verdicts;
    verdicts.reserve(records.size());
    for (const IdentificationRecord& record : records) {
        RecordVerdict verdict;
        verdict.record = &record;
        verdict.matched = MatchRecord(record, entry, &verdict.failure);
        verdicts.push_back(std::move(verdict));
    }
    return verdicts;
}

}  // namespace detail
}  // namespace Calyx
