// Shared pieces of the calyx command-line tool: exit codes, error reporting, output.
#ifndef CALYX_TOOL_TOOL_H
#define CALYX_TOOL_TOOL_H

#include <json/value.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace calyx_tool {

enum ExitCode : int {
    kExitOk = 0,      // the command did what was asked, every check passed
    kExitFailed = 1,  // a check failed, or a file or service was unusable
    kExitUsage = 2,   // the command line itself was wrong
};

// Thrown by subcommands; main prints "calyx: <message>" on one line and exits with `code`.
class ToolError : public std::runtime_error {
public:
    ToolError(int code, const std::string& message) : std::runtime_error(message), code_(code) {}
    int code() const { return code_; }

private:
    int code_;
};

// The status main returns when the chosen subcommand finishes without an error.
int& ExitStatus();

[[noreturn]] void Fail(const std::string& message);
[[noreturn]] void UsageFail(const std::string& message);

// Throws ToolError unless `path` can be read as a file through the library's guarded
// open; the message names what it is instead (FIFO, directory, device, socket).
void RequireReadableFile(const std::string& path);

// Reads the whole file after RequireReadableFile; false when reading fails.
bool ReadTextFile(const std::string& path, std::string& text);

// Reads a JSON document (comments allowed) after RequireReadableFile. Throws ToolError
// naming the file and, for a syntax error, its line and column.
Json::Value LoadJsonOrFail(const std::string& path);

// Points the library's fixed paths at `root` (CALYX_ROOT, made absolute) when `root` is
// not empty. The directory must exist.
void ApplyRoot(const std::string& root);

// Creates the directory of `file` and its parents when missing; throws ToolError with the
// system's reason when that fails.
void CreateParentDirectories(const std::string& file);

// The process-wide profile list, loaded from `path` for the scope and released at its
// end, also when an error ends the command. Throws ToolError (naming the line and
// column of a syntax error) when the file cannot be loaded.
class ScopedProfileList {
public:
    explicit ScopedProfileList(const std::string& path);
    ~ScopedProfileList();
    ScopedProfileList(const ScopedProfileList&) = delete;
    ScopedProfileList& operator=(const ScopedProfileList&) = delete;
};

// Writes `value` as indented JSON followed by a newline on standard output. The output
// is always valid UTF-8: valid UTF-8 text is written as it is, and every byte that is not
// part of a valid UTF-8 sequence (in values and member names) becomes U+FFFD.
void PrintJson(const Json::Value& value);

// Text helpers for human-readable output.
std::string Join(const std::vector<std::string>& parts, const std::string& separator);
std::string Quoted(const std::string& text);  // "text" with control characters escaped
std::string OrNone(const std::string& text);  // text, or "(none)" when empty

// A plain text table: column widths follow the widest cell.
class TextTable {
public:
    explicit TextTable(std::vector<std::string> headings);
    void add(std::vector<std::string> row);
    std::string render() const;

private:
    std::vector<std::vector<std::string>> rows_;
};

// Subcommand registration; each adds itself to `app` and runs when chosen.
void AddIdentifyCommand(CLI::App& app);
void AddVideoProfileCommand(CLI::App& app);
void AddLintCommand(CLI::App& app);
void AddClientsCommand(CLI::App& app);
void AddDeviceCommand(CLI::App& app);
void AddMediaCommand(CLI::App& app);
void AddTranslateCommand(CLI::App& app);
void AddIndexCommand(CLI::App& app);  // built only with the media indexer
void AddDbCommand(CLI::App& app);     // built only with the media indexer

}  // namespace calyx_tool

#endif  // CALYX_TOOL_TOOL_H
