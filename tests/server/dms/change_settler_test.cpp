// The settler on a clock of the test's own: what is ready when.
#include <gtest/gtest.h>

#include "watch/change_settler.h"

namespace calyx_dms {
namespace {

using std::chrono::milliseconds;
using Event = ChangeSettler::Event;

class Settler : public ::testing::Test {
protected:
    ChangeSettler settler_{milliseconds(1000), milliseconds(30000)};
    ChangeSettler::Clock::time_point t0_ = ChangeSettler::Clock::now();
    ChangeSettler::Clock::time_point At(int ms) { return t0_ + milliseconds(ms); }
};

TEST_F(Settler, AFileWrittenForAWhileIsReadyOnceAfterItsCloseAndAQuietSecond) {
    // Written every 100 ms for 5 s, as a slow copy does: never ready meanwhile.
    for (int ms = 0; ms <= 5000; ms += 100) {
        settler_.Record("/m/big.mkv", Event::kWritten, At(ms));
        EXPECT_TRUE(settler_.TakeReady(At(ms + 50)).empty()) << ms;
    }
    settler_.Record("/m/big.mkv", Event::kClosed, At(5050));
    EXPECT_TRUE(settler_.TakeReady(At(5900)).empty());
    EXPECT_EQ(settler_.TakeReady(At(6050)), std::vector<std::string>{"/m/big.mkv"});
    EXPECT_TRUE(settler_.TakeReady(At(9000)).empty());  // once
    EXPECT_TRUE(settler_.empty());
}

TEST_F(Settler, ACopysModeAndTimesAfterItsCloseDoNotReopenIt) {
    settler_.Record("/m/a.mp3", Event::kWritten, At(0));
    settler_.Record("/m/a.mp3", Event::kClosed, At(10));
    settler_.Record("/m/a.mp3", Event::kTouched, At(20));
    EXPECT_EQ(settler_.TakeReady(At(1020)).size(), 1u);
    settler_.Record("/m/b.mp3", Event::kWritten, At(0));
    settler_.Record("/m/b.mp3", Event::kTouched, At(10));  // still open for writing
    EXPECT_TRUE(settler_.TakeReady(At(5000)).empty());
    settler_.Record("/m/c.mp3", Event::kTouched, At(0));  // a chmod or touch alone
    EXPECT_EQ(settler_.TakeReady(At(1000)), std::vector<std::string>{"/m/c.mp3"});
}

TEST_F(Settler, AFileLeftOpenWithoutWritesIsReadyAfterTheLongWait) {
    settler_.Record("/m/rec.ts", Event::kWritten, At(0));
    EXPECT_TRUE(settler_.TakeReady(At(29000)).empty());
    EXPECT_EQ(settler_.TakeReady(At(30000)).size(), 1u);
}

TEST_F(Settler, AWriteAfterTheCloseWaitsForTheNextClose) {
    settler_.Record("/m/a.mp3", Event::kClosed, At(0));
    settler_.Record("/m/a.mp3", Event::kWritten, At(500));
    EXPECT_TRUE(settler_.TakeReady(At(2000)).empty());
    settler_.Record("/m/a.mp3", Event::kClosed, At(2100));
    EXPECT_EQ(settler_.TakeReady(At(3100)).size(), 1u);
}

TEST_F(Settler, GonePathsAreReadyAtOnceAndArrivalsAfterTheQuietSecond) {
    settler_.Record("/m/old", Event::kGone, At(0));
    settler_.Record("/m/new", Event::kArrived, At(0));
    EXPECT_EQ(settler_.TakeReady(At(1)), std::vector<std::string>{"/m/old"});
    EXPECT_EQ(settler_.TakeReady(At(1000)), std::vector<std::string>{"/m/new"});
}

TEST_F(Settler, AFileGoneAndBackIsIndexedAsItIsThen) {
    settler_.Record("/m/a.mp3", Event::kGone, At(0));
    settler_.Record("/m/a.mp3", Event::kArrived, At(10));
    EXPECT_TRUE(settler_.TakeReady(At(20)).empty());
    EXPECT_EQ(settler_.TakeReady(At(1010)).size(), 1u);
}

}  // namespace
}  // namespace calyx_dms
