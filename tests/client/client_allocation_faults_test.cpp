// Running out of memory in the profile list, Agent::setPair and the checker: each call is
// repeated with the Nth allocation failing, for every N until the call gets through, and
// must then leave everything as the documented state says, without a log line.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <optional>

#include "calyx/client.h"
#include "calyx/core.h"
#include "support/test_support.h"

namespace {

// -1: allocations succeed; N >= 0: the allocation after N more fails.
std::atomic<long> gFailAfter{-1};

void* Allocate(size_t size) {
    if (gFailAfter.load() >= 0 && gFailAfter.fetch_sub(1) == 0) {
        throw std::bad_alloc();
    }
    void* block = std::malloc(size != 0 ? size : 1);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}

}  // namespace

// Test-only replacement of the global allocation functions of this test program.
void* operator new(size_t size) {
    return Allocate(size);
}
void* operator new[](size_t size) {
    return Allocate(size);
}
void operator delete(void* block) noexcept {
    std::free(block);
}
void operator delete[](void* block) noexcept {
    std::free(block);
}
void operator delete(void* block, size_t) noexcept {
    std::free(block);
}
void operator delete[](void* block, size_t) noexcept {
    std::free(block);
}

namespace {

using Calyx::Agent;
using Calyx::DMSClientChecker;

// Runs `call` with the Nth allocation failing, for N = 0, 1, ... until an allocation is
// left over; `check(failed)` judges each run. Returns the number of failing runs.
template <typename Call, typename Check>
int ForEveryFailingAllocation(Call call, Check check) {
    for (int n = 0;; ++n) {
        gFailAfter = n;
        call();
        bool failed = gFailAfter.load() < 0;
        gFailAfter = -1;
        check(failed);
        if (::testing::Test::HasFatalFailure() || !failed) {
            return n;
        }
    }
}

const char kProfiles[] = R"({"ProfileList": [
  {"profileName": "TV", "dlna": "yes", "agentopt": "xmres transwav", "offendchars": ":*?",
   "profile@hd": "container_type@mpegts#resolutionx@1~1920", "profile@sd": "ext@avi"},
  {"profileName": "Radio", "musiconly": "yes", "profile@x": "channel@2"}]})";

class AllocationFailure : public ::testing::Test {
protected:
    void SetUp() override {
        log_ = dir_.file("calyx.log");
        ASSERT_EQ(Calyx::DMSLOGInit(log_.c_str()), 1);
        calyx_test::WriteFile(dir_.file("profiles.json"), kProfiles);
    }
    void TearDown() override {
        DMSClientChecker::ReleaseClientList();
        Calyx::DMSLogClose();
    }
    std::string LogText() const { return calyx_test::ReadFile(log_); }

    calyx_test::TempDir dir_;
    std::string log_;
};

TEST_F(AllocationFailure, ProfileListLoadFailsAndLeavesTheListAsItWas) {
    const std::string path = dir_.file("profiles.json");
    bool loaded = false;
    int failures =
        ForEveryFailingAllocation([&] { loaded = DMSClientChecker::InitProfileList(path); },
                                  [&](bool failed) {
                                      if (failed) {
                                          // Nothing of a failed load stays in the (empty) list.
                                          EXPECT_FALSE(loaded);
                                          EXPECT_EQ(DMSClientChecker::GetAgent("TV"), nullptr);
                                          EXPECT_EQ(DMSClientChecker::GetAgent("Radio"), nullptr);
                                      } else {
                                          EXPECT_TRUE(loaded);
                                          EXPECT_NE(DMSClientChecker::GetAgent("Radio"), nullptr);
                                      }
                                      DMSClientChecker::ReleaseClientList();
                                  });
    EXPECT_GT(failures, 10);
    EXPECT_EQ(LogText(), "");
}

TEST_F(AllocationFailure, SetPairLeavesTheAgentAsItWas) {
    const std::pair<std::string, std::string> pairs[] = {
        {"profile@hd", "container_type@mpegts"},
        {"agentopt", "xmres transwav transpcm videosrt"},
        {"dlna", "yes"},
        {"unknown", "value"}};
    for (const auto& pair : pairs) {
        SCOPED_TRACE(pair.first);
        Agent agent("TV");
        agent.setPair("profile@sd", "ext@avi");
        ForEveryFailingAllocation([&] { agent.setPair(pair.first, pair.second); },
                                  [&](bool failed) {
                                      if (!failed) {
                                          return;
                                      }
                                      EXPECT_EQ(agent.m_agentType, 0u);
                                      EXPECT_EQ(agent.m_capability, 0u);
                                      EXPECT_EQ(agent.m_profileSettings.size(), 1u);
                                  });
    }
}

TEST_F(AllocationFailure, CheckerStaysAsAfterItsFirstStep) {
    ASSERT_TRUE(DMSClientChecker::InitProfileList(dir_.file("profiles.json")));
    const std::string name(40, 'T');  // beyond the short-string buffer: its copy allocates
    Agent* agent = DMSClientChecker::GetAgent("TV");
    agent->m_offendChars = std::string(40, '*');
    for (const std::string& profile : {std::string("TV"), name}) {
        std::optional<DMSClientChecker> checker;
        int failures =
            ForEveryFailingAllocation([&] { checker.emplace("DLNADOC/1.50", profile, true); },
                                      [&](bool failed) {
                                          if (!failed) {
                                              EXPECT_TRUE(checker->m_isDLNA);
                                              return;
                                          }
                                          EXPECT_EQ(checker->m_agent, nullptr);
                                          EXPECT_FALSE(checker->m_isDLNA);
                                          EXPECT_FALSE(checker->m_isMusicOnly);
                                          EXPECT_TRUE(checker->m_offendChars.empty());
                                          EXPECT_EQ(checker->m_capability, 0u);
                                          EXPECT_TRUE(checker->m_defaultDLNA);
                                      });
        EXPECT_GE(failures, 1);
    }
}

TEST_F(AllocationFailure, VideoProfileReportIsWholeOrEmpty) {
    Agent agent("TV");
    agent.setPair("profile@hd", "container_type@mpegts#resolutionx@1~1920");
    agent.setPair("profile@sd", "ext@avi");
    ZEVO_MEDIA_INFO item{};
    std::snprintf(item.path, sizeof(item.path), "/media/film.avi");
    std::snprintf(item.container_type, sizeof(item.container_type), "avi");
    item.resolutionx = 1280;
    const size_t whole = Calyx::ExplainVideoProfiles(&agent, &item).size();
    ASSERT_EQ(whole, 2u);
    std::vector<Calyx::VideoProfileVerdict> verdicts;
    int failures = ForEveryFailingAllocation(
        [&] { verdicts = Calyx::ExplainVideoProfiles(&agent, &item); },
        [&](bool failed) { EXPECT_EQ(verdicts.size(), failed ? 0u : whole); });
    EXPECT_GE(failures, 1);
}

}  // namespace
