// Profile identification: the records read from the profile list, prepared once so that
// matching a client costs no JSON parsing, and the matcher that can also say why a
// record did not match.
#ifndef CALYX_CLIENT_CLIENT_LIST_MATCHER_H
#define CALYX_CLIENT_CLIENT_LIST_MATCHER_H

#include <json/value.h>

#include <string>
#include <vector>

namespace Calyx {
namespace detail {

// One member of a "profileID" object: the client entry key and the text that must
// occur in its value.
struct IdentificationRule {
    std::string key;
    // The required text up to its first NUL byte (it is searched as a C string).
    std::string needle;
    // False when the member's value is an array or an object: the rule never holds.
    bool hasNeedle = true;
};

// One profile identification record: all rules must hold (in member-name order).
struct IdentificationRecord {
    std::string profileName;
    std::vector<IdentificationRule> rules;
};

// Why a rule failed: the key was absent (or had no text), or its value lacked the text.
struct RuleFailure {
    const IdentificationRule* rule = nullptr;
    bool keyPresent = false;
    std::string clientValue;  // the client's value, when keyPresent
};

// The rules of a "profileID" value; a value that is not an object has none.
std::vector<IdentificationRule> PrepareRules(const Json::Value& profileID);

// Appends the usable elements of a parsed profile list document, in order, both as JSON
// records {"profileName", "profileID"} (to `jsonRecords`, unless null) and prepared.
void CollectIdentificationRecords(const Json::Value& profileListDocument, Json::Value* jsonRecords,
                                  std::vector<IdentificationRecord>& records);

// Whether every rule of `record` holds for the client `entry`. On false, `failure` (if
// not null) describes the first rule that failed.
bool MatchRecord(const IdentificationRecord& record, const Json::Value& entry,
                 RuleFailure* failure);

// The name of the first record that matches `entry`, or kDefaultProfileName.
const std::string& FirstMatchingProfile(const std::vector<IdentificationRecord>& records,
                                        const Json::Value& entry);

// The verdict on one record, for showing how a client was matched.
struct RecordVerdict {
    const IdentificationRecord* record = nullptr;
    bool matched = false;
    RuleFailure failure;  // set when !matched
};

// Every record's verdict, in record order (matching continues past the first match).
std::vector<RecordVerdict> ExplainMatches(const std::vector<IdentificationRecord>& records,
                                          const Json::Value& entry);

}  // namespace detail
}  // namespace Calyx

#endif  // CALYX_CLIENT_CLIENT_LIST_MATCHER_H
