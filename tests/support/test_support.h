// Helpers shared by the test suite: temporary trees, environment, files, syslog capture.
#ifndef CALYX_TESTS_TEST_SUPPORT_H
#define CALYX_TESTS_TEST_SUPPORT_H

#include <json/value.h>

#include <string>
#include <vector>

namespace calyx_test {

// A private directory under $TMPDIR (or /tmp), removed with everything in it at the end.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& path() const { return path_; }
    // path() + "/" + relative
    std::string file(const std::string& relative) const;

private:
    std::string path_;
};

// Sets (or, with a null value, unsets) an environment variable for the scope.
class ScopedEnv {
public:
    ScopedEnv(const char* name, const char* value);
    ~ScopedEnv();
    ScopedEnv(const ScopedEnv&) = delete;
    ScopedEnv& operator=(const ScopedEnv&) = delete;

private:
    std::string name_;
    std::string old_;
    bool hadOld_;
};

// Where the library keeps the client list, under the root prefix.
inline const char* const kClientListFixedPath = "/var/packages/Calyx/etc/client_list.json";

// A temporary tree used as the root prefix (CALYX_ROOT) for the scope.
class ScopedRoot {
public:
    ScopedRoot();
    const std::string& path() const { return dir_.path(); }
    // Writes `content` to the fixed path `absolute` under the root, creating directories.
    std::string write(const std::string& absolute, const std::string& content) const;
    std::string resolve(const std::string& absolute) const { return dir_.path() + absolute; }

private:
    TempDir dir_;
    ScopedEnv env_;
};

// Multiplier for long tests (differential runs, kill loops, big inputs), from the
// environment variable CALYX_TEST_SCALE (default 1).
int TestScale();

// Multiplier for waits that assume native speed, from the environment variable
// CALYX_TEST_TIME_SCALE (default 1); a run under an emulator sets it.
int TimeScale();

// Creates every missing directory of `path`.
void MakeDirs(const std::string& path);
// Creates or replaces the file, creating its directories.
void WriteFile(const std::string& path, const std::string& content);
// The whole file, or "" when it cannot be read.
std::string ReadFile(const std::string& path);
bool FileExists(const std::string& path);
// The names in directory `dir` (hidden ones included, "." and ".." not), sorted.
std::vector<std::string> ListDirectory(const std::string& dir);
// Lines of `text`, each without its "\n"; a trailing "\n" makes no empty last line.
std::vector<std::string> SplitLines(const std::string& text);
// `relative` under the repository root (CALYX_SOURCE_DIR, which CTest sets); outside
// CTest the test fails and the working directory stands in for the root.
std::string SourcePath(const std::string& relative);
// The JSON document in `text` (null when it is not JSON; *ok tells which, if given).
Json::Value ParseJson(const std::string& text, bool* ok = nullptr);
// The decompressed content of the gzip file at `path` (the test fails if gzip does).
std::string Gunzip(const std::string& path);
// Whether the test runs with root privileges (permission-based tests skip then).
bool RunningAsRoot();

// Captures what the library sends to the system log during the scope: openlog with
// LOG_PERROR copies every report to standard error, which is captured.
class SyslogCapture {
public:
    SyslogCapture();
    ~SyslogCapture();
    // Stops capturing and returns the captured lines.
    std::vector<std::string> Stop();

private:
    bool active_;
};

}  // namespace calyx_test

#endif  // CALYX_TESTS_TEST_SUPPORT_H
