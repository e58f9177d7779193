// Shared helpers of the client list tests.
#ifndef CALYX_TESTS_CLIENT_CLIENT_LIST_TEST_UTIL_H
#define CALYX_TESTS_CLIENT_CLIENT_LIST_TEST_UTIL_H

#include <json/reader.h>
#include <json/value.h>
#include <json/writer.h>

#include <gtest/gtest.h>

#include <string>

#include "calyx/client_list.h"
#include "calyx/core.h"
#include "support/test_support.h"

namespace calyx_test {

// The library log of the test process, opened once in a private directory; a watch
// returns what was logged since it was made.
class LogWatch {
public:
    LogWatch() : start_(ReadFile(LogPath()).size()) {}
    std::string Text() const { return ReadFile(LogPath()).substr(start_); }
    bool Contains(const std::string& text) const { return Text().find(text) != std::string::npos; }

    static const std::string& LogPath() {
        static TempDir dir;
        static const std::string path = [] {
            std::string p = dir.file("calyx.log");
            Calyx::DMSLOGInit(p.c_str());
            return p;
        }();
        return path;
    }

private:
    size_t start_;
};

// Sets the log threshold for the scope.
class ScopedLogLevel {
public:
    explicit ScopedLogLevel(Calyx::DMSLOG_LEVEL level) : old_(Calyx::DMSLOGGetLevel()) {
        LogWatch::LogPath();
        Calyx::DMSLOGSetLevel(level);
    }
    ~ScopedLogLevel() { Calyx::DMSLOGSetLevel(old_); }

private:
    Calyx::DMSLOG_LEVEL old_;
};

// A root prefix with the client list's directory, and a list holding client "aa:00"
// (friendly name "F"), not yet saved.
class OneClientList : public ::testing::Test {
protected:
    void SetUp() override {
        MakeDirs(Dir());
        ASSERT_EQ(list_.UpdateKeys("HandleDiscovery", "aa:00", "1", {{"friendlyName", "F"}}), 1);
    }
    std::string Dir() const { return root_.resolve("/var/packages/Calyx/etc"); }
    std::string Path() const { return root_.resolve(kClientListFixedPath); }

    ScopedRoot root_;
    Calyx::DMSClientList list_;
};

// `value` as styled JSON text.
inline std::string SerializeStyled(const Json::Value& value) {
    return Json::StyledWriter().write(value);
}

}  // namespace calyx_test

#endif  // CALYX_TESTS_CLIENT_CLIENT_LIST_TEST_UTIL_H
