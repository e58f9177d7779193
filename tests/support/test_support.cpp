#include "support/test_support.h"

#include <dirent.h>
#include <ftw.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include <gtest/gtest.h>
#include <json/reader.h>

namespace calyx_test {

namespace {

int RemoveEntry(const char* path, const struct stat*, int, struct FTW*) {
    // Make directories writable again in case a test took the permission away.
    chmod(path, 0700);
    return remove(path);
}

void RemoveTree(const std::string& path) {
    // First pass restores permissions so the second can remove everything.
    nftw(
        path.c_str(),
        [](const char* p, const struct stat* st, int type, struct FTW*) {
            if (type == FTW_D || type == FTW_DNR) {
                chmod(p, 0700);
            }
            return 0;
        },
        32, FTW_PHYS);
    nftw(path.c_str(), RemoveEntry, 32, FTW_DEPTH | FTW_PHYS);
}

// A positive whole number from the environment, 1 when unset or not positive.
int Multiplier(const char* variable) {
    const char* value = getenv(variable);
    int scale = value != nullptr ? atoi(value) : 1;
    return scale > 0 ? scale : 1;
}

}  // namespace

TempDir::TempDir() {
    const char* base = getenv("TMPDIR");
    std::string pattern =
        std::string(base != nullptr && base[0] != '\0' ? base : "/tmp") + "/calyx-test-XXXXXX";
    std::vector<char> buffer(pattern.begin(), pattern.end());
    buffer.push_back('\0');
    if (mkdtemp(buffer.data()) == nullptr) {
        throw std::runtime_error("mkdtemp failed for " + pattern);
    }
    path_ = buffer.data();
}

TempDir::~TempDir() {
    RemoveTree(path_);
}

std::string TempDir::file(const std::string& relative) const {
    return path_ + "/" + relative;
}

ScopedEnv::ScopedEnv(const char* name, const char* value) : name_(name) {
    const char* old = getenv(name);
    hadOld_ = old != nullptr;
    if (hadOld_) {
        old_ = old;
    }
    if (value != nullptr) {
        setenv(name, value, 1);
    } else {
        unsetenv(name);
    }
}

ScopedEnv::~ScopedEnv() {
    if (hadOld_) {
        setenv(name_.c_str(), old_.c_str(), 1);
    } else {
        unsetenv(name_.c_str());
    }
}

ScopedRoot::ScopedRoot() : dir_(), env_("CALYX_ROOT", dir_.path().c_str()) {}

std::string ScopedRoot::write(const std::string& absolute, const std::string& content) const {
    std::string path = resolve(absolute);
    WriteFile(path, content);
    return path;
}

int TestScale() {
    return Multiplier("CALYX_TEST_SCALE");
}

int TimeScale() {
    return Multiplier("CALYX_TEST_TIME_SCALE");
}

void MakeDirs(const std::string& path) {
    for (size_t pos = 1; pos <= path.size(); ++pos) {
        if (pos == path.size() || path[pos] == '/') {
            std::string part = path.substr(0, pos);
            if (mkdir(part.c_str(), 0755) != 0 && errno != EEXIST) {
                throw std::runtime_error("mkdir failed for " + part);
            }
        }
    }
}

void WriteFile(const std::string& path, const std::string& content) {
    size_t slash = path.rfind('/');
    if (slash != std::string::npos && slash > 0) {
        MakeDirs(path.substr(0, slash));
    }
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(content.data(), static_cast<std::streamsize>(content.size()));
    if (!out) {
        throw std::runtime_error("cannot write " + path);
    }
}

std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream buffer;
    buffer << in.rdbuf();
    return buffer.str();
}

bool FileExists(const std::string& path) {
    struct stat st;
    return lstat(path.c_str(), &st) == 0;
}

std::vector<std::string> ListDirectory(const std::string& dir) {
    std::vector<std::string> names;
    if (DIR* d = opendir(dir.c_str())) {
        while (dirent* e = readdir(d)) {
            std::string name = e->d_name;
            if (name != "." && name != "..") {
                names.push_back(name);
            }
        }
        closedir(d);
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<std::string> SplitLines(const std::string& text) {
    std::vector<std::string> lines;
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos) {
            lines.push_back(text.substr(start));
            break;
        }
        lines.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return lines;
}

std::string SourcePath(const std::string& relative) {
    const char* source = getenv("CALYX_SOURCE_DIR");
    if (source == nullptr) {
        ADD_FAILURE() << "CALYX_SOURCE_DIR is not set (run the test through CTest)";
        source = ".";
    }
    return std::string(source) + "/" + relative;
}

Json::Value ParseJson(const std::string& text, bool* ok) {
    Json::Value value;
    Json::Reader reader;
    const bool parsed = reader.parse(text, value, false);
    if (ok != nullptr) {
        *ok = parsed;
    }
    return value;
}

std::string Gunzip(const std::string& path) {
    FILE* pipe = popen(("gzip -dc '" + path + "'").c_str(), "r");
    std::string out;
    if (pipe == nullptr) {
        ADD_FAILURE() << "cannot start gzip -dc " << path;
        return out;
    }
    char buf[65536];
    size_t n;
    while ((n = fread(buf, 1, sizeof buf, pipe)) > 0) {
        out.append(buf, n);
    }
    EXPECT_EQ(pclose(pipe), 0) << "gzip -dc " << path;
    return out;
}

bool RunningAsRoot() {
    return geteuid() == 0;
}

SyslogCapture::SyslogCapture() : active_(true) {
    openlog("calyx-test", LOG_PERROR, LOG_USER);
    testing::internal::CaptureStderr();
}

SyslogCapture::~SyslogCapture() {
    if (active_) {
        Stop();
    }
}

std::vector<std::string> SyslogCapture::Stop() {
    active_ = false;
    std::string text = testing::internal::GetCapturedStderr();
    closelog();
    return SplitLines(text);
}

}  // namespace calyx_test
