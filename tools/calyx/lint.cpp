#include "lint.h"

#include <ctype.h>

#include <algorithm>
#include <map>
#include <set>

#include "calyx/client.h"
#include "calyx/core.h"
#include "calyx/media_names.h"
#include "lint_coverage.h"
#include "tool.h"

namespace calyx_tool {

namespace {

// A bound written as a plain decimal number (optional blanks and sign before it).
bool IsPlainNumber(const std::string& text) {
    size_t i = 0;
    while (i < text.size() && (text[i] == ' ' || text[i] == '\t'))
        ++i;
    if (i < text.size() && (text[i] == '+' || text[i] == '-'))
        ++i;
    if (i == text.size())
        return false;
    for (; i < text.size(); ++i)
        if (!isdigit(static_cast<unsigned char>(text[i])))
            return false;
    return true;
}

bool HasUpper(const std::string& text) {
    return std::any_of(text.begin(), text.end(), [](unsigned char c) { return isupper(c) != 0; });
}

// The names a list condition is meant to compare with, or null when any word will do.
const std::vector<std::string>* VocabularyOf(const std::string& conditionKey) {
    if (conditionKey == "container_type@")
        return &Calyx::KnownMediaContainerNames();
    if (conditionKey == "video_codec@" || conditionKey == "audio_codec@")
        return &Calyx::KnownMediaCodecNames();
    return nullptr;
}

class Linter {
public:
    explicit Linter(LintReport& report) : report_(report) {}

    void add(bool error, int position, const std::string& name, const std::string& key,
             const std::string& message) {
        LintFinding f;
        f.error = error;
        f.position = position;
        f.profileName = name;
        f.key = key;
        f.message = message;
        (error ? report_.errors : report_.warnings)++;
        report_.findings.push_back(f);
    }

    void lintRule(int position, const std::string& name, const std::string& key,
                  const std::string& rule) {
        std::vector<Calyx::VideoRuleCondition> conditions = Calyx::SplitVideoProfileRule(rule);
        if (conditions.empty()) {
            add(true, position, name, key,
                "video profile rule names no known condition, so it never matches");
            return;
        }
        for (const std::string& piece : Calyx::VideoRuleIgnoredPieces(rule))
            add(false, position, name, key,
                "rule piece " + Quoted(piece) + " names no known condition and is ignored");
        for (const Calyx::VideoRuleCondition& c : conditions) {
            const std::string where = c.key + c.value;
            if (c.isList) {
                std::vector<std::string> alternatives = Calyx::StringExplode(c.value, "&");
                if (alternatives.empty())
                    add(true, position, name, key,
                        Quoted(where) + " has no alternative, so it never matches");
                const std::vector<std::string>* vocabulary = VocabularyOf(c.key);
                for (const std::string& a : alternatives) {
                    if (HasUpper(a))
                        add(true, position, name, key,
                            "alternative " + Quoted(a) + " of " + Quoted(where) +
                                " holds upper-case letters and can never match (item values are "
                                "lowered)");
                    else if (vocabulary != nullptr &&
                             !std::binary_search(vocabulary->begin(), vocabulary->end(), a))
                        add(false, position, name, key,
                            "alternative " + Quoted(a) + " of " + Quoted(where) +
                                " is not a name the media index uses (see docs/profiles.md), so "
                                "it probably never matches");
                }
                continue;
            }
            // The pieces as written, and the numbers the matcher reads from them.
            std::vector<std::string> bounds = Calyx::StringExplode(c.value, "~");
            const std::vector<int32_t> read = Calyx::VideoRuleRangeBounds(c.value);
            if (bounds.empty()) {
                add(true, position, name, key,
                    "range " + Quoted(where) + " has no bound, so it never matches");
                continue;
            }
            if (bounds.size() >= 3) {
                add(true, position, name, key,
                    "range " + Quoted(where) +
                        " has three or more \"~\" pieces, so it never matches");
                continue;
            }
            bool numeric = true;
            for (size_t i = 0; i < bounds.size(); ++i)
                if (!IsPlainNumber(bounds[i])) {
                    numeric = false;
                    add(true, position, name, key,
                        "bound " + Quoted(bounds[i]) + " of " + Quoted(where) +
                            " is not a number (read as " + std::to_string(read[i]) + ")");
                }
            if (bounds.size() == 1 && c.value.find('~') != std::string::npos)
                add(false, position, name, key,
                    "range " + Quoted(where) + " has one bound only and means exactly " +
                        bounds[0]);
            if (numeric && bounds.size() == 2 && read[0] > read[1])
                add(true, position, name, key,
                    "range " + Quoted(where) +
                        " has its low bound above its high bound, so it never matches");
        }
    }

    void lintEntry(int position, const Json::Value& entry,
                   const Calyx::ProfileEntryReading& reading) {
        using Use = Calyx::ProfileMemberUse;
        if (!reading.isObject) {
            add(true, position, "", "", "entry is not an object and is skipped");
            return;
        }
        if (!reading.loaded) {
            add(true, position, "", "profileName",
                "entry has no \"profileName\" and is skipped whole");
            return;
        }
        const std::string& name = reading.profileName;
        ++report_.profiles;
        if (name == Calyx::kDefaultProfileName)
            add(true, position, name, "profileName",
                "a profile named \"Default Profile\" is never matched by name");
        auto seen = names_.find(name);
        if (seen != names_.end())
            add(true, position, name, "profileName",
                "duplicate of profile #" + std::to_string(seen->second) +
                    ": this entry can never be matched by name");
        else
            names_[name] = position;

        for (const Calyx::ProfileMemberReading& m : reading.members) {
            const std::string& key = m.key;
            const bool isString = entry[key].isString();
            switch (m.use) {
                case Use::Name:
                case Use::Identification:
                    break;
                case Use::OffendChars:
                    if (!m.hasText)
                        add(true, position, name, key, "\"offendchars\" must be a string");
                    break;
                case Use::SettingWithoutAt:
                    add(false, position, name, key,
                        "unknown key " + Quoted(key) +
                            " (a video profile key needs \"@\"); ignored");
                    break;
                case Use::Setting:
                    if (!isString)
                        add(true, position, name, key, "video profile rule must be a string");
                    else if (m.settingFrom != key)
                        add(false, position, name, key,
                            "video profile " + Quoted(m.setting) + " is already set by " +
                                Quoted(m.settingFrom) + "; this rule is ignored");
                    else
                        lintRule(position, name, key, m.text);
                    break;
                case Use::AgentType:
                    if (!isString || (m.text != "yes" && m.text != "no"))
                        add(true, position, name, key,
                            "agent type value " +
                                (isString ? Quoted(m.text) : std::string("of the wrong type")) +
                                " is neither \"yes\" nor \"no\" (only \"yes\" switches the type "
                                "on)");
                    break;
                case Use::AgentOptions:
                    if (!isString) {
                        add(true, position, name, key,
                            "\"agentopt\" must be a string of option names");
                        break;
                    }
                    for (const std::string& word : m.unknownOptions)
                        add(true, position, name, key,
                            "unknown option " + Quoted(word) + " (ignored)");
                    break;
                case Use::Unknown:
                    add(false, position, name, key, "unknown key " + Quoted(key) + " (ignored)");
                    break;
            }
        }
        lintProfileID(position, name, entry["profileID"]);
    }

    void lintProfileID(int position, const std::string& name, const Json::Value& id) {
        if (id.isNull())
            return;  // a profile chosen only by the user
        if ((id.isArray() || id.isObject()) && id.empty()) {
            add(false, position, name, "profileID",
                "empty \"profileID\": the profile is never matched automatically");
            return;
        }
        IdentificationRule record{position, name, {}, !id.isObject()};
        if (record.matchesAll) {
            add(true, position, name, "profileID",
                "\"profileID\" is not an object, so it matches every client");
        } else {
            for (const std::string& key : id.getMemberNames()) {
                const Json::Value& required = id[key];
                if (required.isArray() || required.isObject()) {
                    add(true, position, name, "profileID",
                        "member " + Quoted(key) + " of \"profileID\" must be a string");
                    continue;
                }
                record.members[key] = required.asString();
            }
        }
        if (const IdentificationRule* earlier = rules_.FirstCovering(record))
            add(true, position, name, "profileID",
                "never reached: every client it matches is matched first by profile #" +
                    std::to_string(earlier->position) + " " + Quoted(earlier->name));
        rules_.Add(std::move(record));
    }

private:
    LintReport& report_;
    std::map<std::string, int> names_;
    RuleCoverage rules_;
};

}  // namespace

LintReport LintProfileList(const Json::Value& document) {
    LintReport report;
    Linter linter(report);
    // What the library's loader makes of the document; the checks judge its decisions.
    const Calyx::ProfileListReading reading = Calyx::ReadProfileListDocument(document);
    switch (reading.shape) {
        case Calyx::ProfileListShape::NotAnObject:
            linter.add(true, 0, "", "", "the top level is not an object; nothing is loaded");
            return report;
        case Calyx::ProfileListShape::NoList:
            linter.add(true, 0, "", "ProfileList", "no \"ProfileList\" array; nothing is loaded");
            return report;
        case Calyx::ProfileListShape::NotAnArray:
            linter.add(true, 0, "", "ProfileList",
                       "\"ProfileList\" is not an array; nothing is loaded");
            return report;
        case Calyx::ProfileListShape::List:
            break;
    }
    const Json::Value& list = document["ProfileList"];
    for (Json::ArrayIndex i = 0; i < list.size() && i < reading.entries.size(); ++i)
        linter.lintEntry(static_cast<int>(i) + 1, list[i], reading.entries[i]);
    for (const std::string& key : document.getMemberNames())
        if (key != "ProfileList")
            linter.add(false, 0, "", key, "unknown top-level key " + Quoted(key) + " (ignored)");
    return report;
}

std::string FindDuplicateKey(const std::string& text) {
    Calyx::Error where;
    if (!Calyx::FindDuplicateJsonKey(text, &where))
        return "";
    std::string at;
    if (where.line > 0)
        at = "line " + std::to_string(where.line) + ", column " + std::to_string(where.column) +
             ": ";
    return at + where.message + " (the library keeps the later value and ignores the earlier)";
}

void AddFileError(LintReport& report, const std::string& message) {
    LintFinding finding;
    finding.error = true;
    finding.message = message;
    ++report.errors;
    report.findings.insert(report.findings.begin(), finding);
}

std::string FormatLintReport(const std::string& file, const LintReport& report) {
    std::string out;
    for (const LintFinding& f : report.findings) {
        out += file + ": ";
        if (f.position > 0) {
            out += "profile #" + std::to_string(f.position);
            if (!f.profileName.empty())
                out += " " + Quoted(f.profileName);
            out += ": ";
        }
        out += f.error ? "error: " : "warning: ";
        if (!f.key.empty() && f.message.find(Quoted(f.key)) == std::string::npos)
            out += f.key + ": ";
        out += f.message + "\n";
    }
    out += file + ": " + std::to_string(report.profiles) + " profiles, " +
           std::to_string(report.errors) + (report.errors == 1 ? " error, " : " errors, ") +
           std::to_string(report.warnings) + (report.warnings == 1 ? " warning\n" : " warnings\n");
    return out;
}

Json::Value LintReportToJson(const std::string& file, const LintReport& report) {
    Json::Value out(Json::objectValue);
    out["file"] = file;
    out["profiles"] = report.profiles;
    out["errors"] = report.errors;
    out["warnings"] = report.warnings;
    out["findings"] = Json::Value(Json::arrayValue);
    for (const LintFinding& f : report.findings) {
        Json::Value item(Json::objectValue);
        item["severity"] = f.error ? "error" : "warning";
        item["position"] = f.position;
        item["profileName"] = f.profileName;
        item["key"] = f.key;
        item["message"] = f.message;
        out["findings"].append(item);
    }
    return out;
}

}  // namespace calyx_tool
