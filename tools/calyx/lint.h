// Checks of a profile list: what the library would silently ignore, never match or read
// differently from what its author meant.
#ifndef CALYX_TOOL_LINT_H
#define CALYX_TOOL_LINT_H

#include <json/value.h>

#include <string>
#include <vector>

namespace calyx_tool {

struct LintFinding {
    bool error = false;       // false: a warning
    int position = 0;         // 1-based entry of "ProfileList"; 0 for the whole file
    std::string profileName;  // "" when the entry has none
    std::string key;          // the member concerned, if any
    std::string message;
};

struct LintReport {
    int profiles = 0;
    int errors = 0;
    int warnings = 0;
    std::vector<LintFinding> findings;  // in entry order
};

LintReport LintProfileList(const Json::Value& document);

// The first key that occurs twice in one object of the JSON text `text` (comments
// allowed), as "line L, column C: duplicate key ..."; "" when there is none. The
// library's reader keeps the later value without a word.
std::string FindDuplicateKey(const std::string& text);

// Adds a whole-file error finding to `report`.
void AddFileError(LintReport& report, const std::string& message);

// "file: profile #3 \"Name\" key: error: message" lines, then a summary line.
std::string FormatLintReport(const std::string& file, const LintReport& report);
Json::Value LintReportToJson(const std::string& file, const LintReport& report);

}  // namespace calyx_tool

#endif  // CALYX_TOOL_LINT_H
