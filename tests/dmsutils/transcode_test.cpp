// Transcoding bit-rate and file-size estimates.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>

#include "calyx/host.h"
#include "support/host_fixtures.h"

using namespace calyx_test;

namespace {

const std::string kArgs = "-vcodec mpeg2video -b 4000k -ab 128k -ac 2";

// The appliance computes in 32-bit two's complement: the reference wraps explicitly.
int Wrapped32(int64_t value) {
    uint32_t bits = static_cast<uint32_t>(static_cast<uint64_t>(value));
    return bits <= INT32_MAX ? static_cast<int>(bits) : -static_cast<int>(UINT32_MAX - bits) - 1;
}

}  // namespace

TEST(GetTransBitRate, KilobitsOfVideoAndAudioChannels) {
    EXPECT_EQ(Calyx::GetTransBitRate(kArgs), (2 * 128 + 4000) * 1024);
    EXPECT_EQ(Calyx::GetTransBitRate(kArgs), 4358144);
}

TEST(GetTransBitRate, MissingOptionGivesMinusOne) {
    EXPECT_EQ(Calyx::GetTransBitRate("-vcodec mpeg2video -b 4000k -ab 128k"), -1);
    EXPECT_EQ(Calyx::GetTransBitRate("-b"), -1);
    EXPECT_EQ(Calyx::GetTransBitRate("-ab 128 -ac 2"), -1);
    EXPECT_EQ(Calyx::GetTransBitRate("   \n "), -1);
}

TEST(GetTransBitRate, OptionAsLastPieceIsIgnored) {
    EXPECT_EQ(Calyx::GetTransBitRate("-b 1000 -ab 64 -ac"), -1);
    EXPECT_EQ(Calyx::GetTransBitRate("-ac 2 -b 1000 -ab 64 -ac"), (2 * 64 + 1000) * 1024);
}

TEST(GetTransBitRate, LaterOccurrenceWinsAcrossMaxrateAndB) {
    EXPECT_EQ(Calyx::GetTransBitRate("-b 1000 -ab 64 -ac 2 -maxrate 2000"), (128 + 2000) * 1024);
    EXPECT_EQ(Calyx::GetTransBitRate("-maxrate 2000 -b 3000 -ab 64 -ac 1 -ab 32"),
              (32 + 3000) * 1024);
}

TEST(GetTransBitRate, BlanksAndLineBreaksSeparate) {
    EXPECT_EQ(Calyx::GetTransBitRate("-b   1000\n-ab\n64 \n -ac 2\n"), (2 * 64 + 1000) * 1024);
}

TEST(GetTransBitRate, ValuesStopAtFirstNonDigit) {
    EXPECT_EQ(Calyx::GetTransBitRate("-b 2000k -ab 96kbit -ac 2ch"), (2 * 96 + 2000) * 1024);
    // A value without digits reads as 0.
    EXPECT_EQ(Calyx::GetTransBitRate("-b fast -ab 64 -ac 2"), (2 * 64) * 1024);
    // The piece after an option is read even when it is another option.
    EXPECT_EQ(Calyx::GetTransBitRate("-b -ab 64 -ac 2"), (2 * 64) * 1024);
}

TEST(GetTransBitRate, ExplicitMinusOneCountsAsMissing) {
    EXPECT_EQ(Calyx::GetTransBitRate("-b -1 -ab 64 -ac 2"), -1);
    EXPECT_EQ(Calyx::GetTransBitRate("-b -2 -ab 0 -ac 0"), -2 * 1024);
}

TEST(GetTransBitRate, EmptyIsBadParameter) {
    SyslogCapture capture;
    EXPECT_EQ(Calyx::GetTransBitRate(""), -1);
    EXPECT_EQ(CountContaining(capture.Stop(), "Bad parameter"), 1u);
}

TEST(GetTransBitRate, OverflowWrapsLike32BitArithmetic) {
    EXPECT_EQ(Calyx::GetTransBitRate("-b 4000000 -ab 128 -ac 2"),
              Wrapped32((2 * 128 + 4000000LL) * 1024));
    EXPECT_EQ(Calyx::GetTransBitRate("-b 4000000 -ab 128 -ac 2"), -198705152);
    // channels x audio wraps first: (2^31 - 1)^2 = 1 mod 2^32.
    EXPECT_EQ(Calyx::GetTransBitRate("-b 0 -ab 2147483647 -ac 2147483647"), 1024);
    EXPECT_EQ(Calyx::GetTransBitRate("-b -2147483648 -ab 0 -ac 5"), 0);
    EXPECT_EQ(Calyx::GetTransBitRate("-b 2097150 -ab 1 -ac 1"), INT_MAX - 1023);
}

TEST(GetTransBitRate, HugeValuesSaturateWhenRead) {
    // Read as a 32-bit long would be: 99999999999 becomes INT_MAX, -99999999999 INT_MIN.
    EXPECT_EQ(Calyx::GetTransBitRate("-b 99999999999 -ab 0 -ac 0"), Wrapped32(INT_MAX * 1024LL));
    EXPECT_EQ(Calyx::GetTransBitRate("-b -99999999999 -ab 0 -ac 0"), 0);
    EXPECT_EQ(Calyx::GetTransBitRate("-b 99999999999999999999999 -ab 1 -ac 1"),
              Wrapped32((1LL + INT_MAX) * 1024));
}

TEST(PredictTransFileSize, BytesOfTheStream) {
    EXPECT_EQ(Calyx::PredictTransFileSize(kArgs, 10.0f), 5447680);
    EXPECT_EQ(Calyx::PredictTransFileSize(kArgs, 0.0f), 0);
}

TEST(PredictTransFileSize, SinglePrecisionInOrder) {
    for (float seconds : {0.1f, 1.5f, 59.97f, 3600.25f, 123456.7f}) {
        float bytes = static_cast<float>(4358144) * seconds;
        bytes = bytes * 0.125f;
        EXPECT_EQ(Calyx::PredictTransFileSize(kArgs, seconds), static_cast<int64_t>(bytes))
            << seconds;
    }
}

TEST(PredictTransFileSize, NegativeSecondsIsBadParameter) {
    SyslogCapture capture;
    EXPECT_EQ(Calyx::PredictTransFileSize(kArgs, -1.0f), 0);
    EXPECT_EQ(CountContaining(capture.Stop(), "Bad parameter"), 1u);
}

TEST(PredictTransFileSize, EmptyArgumentsAreABadParameter) {
    SyslogCapture capture;
    EXPECT_EQ(Calyx::PredictTransFileSize("", 10.0f), 0);
    std::vector<std::string> lines = capture.Stop();
    EXPECT_EQ(CountContaining(lines, "Bad parameter"), 1u);
    EXPECT_EQ(CountContaining(lines, "Failed to estimate"), 0u);
}

// NaN is not below 0, so it passes the check; rate x NaN is NaN, which converts to 0.
TEST(PredictTransFileSize, NaNSecondsGiveZeroWithoutAReport) {
    SyslogCapture capture;
    EXPECT_EQ(Calyx::PredictTransFileSize(kArgs, std::nanf("")), 0);
    EXPECT_EQ(Calyx::PredictTransFileSize(kArgs, -std::nanf("")), 0);
    EXPECT_TRUE(capture.Stop().empty());
}

TEST(PredictTransFileSize, UnknownRateIsReported) {
    SyslogCapture capture;
    EXPECT_EQ(Calyx::PredictTransFileSize("-b 4000k -ab 128k", 10.0f), 0);
    std::vector<std::string> lines = capture.Stop();
    EXPECT_EQ(CountContaining(lines, "dmsutils:"), 1u);
    EXPECT_EQ(CountContaining(lines, "Failed to estimate transcoding bit rate"), 1u);
}

TEST(PredictTransFileSize, HugeResultsSaturate) {
    const float inf = std::numeric_limits<float>::infinity();
    EXPECT_EQ(Calyx::PredictTransFileSize(kArgs, 1e30f), INT64_MAX);
    EXPECT_EQ(Calyx::PredictTransFileSize(kArgs, inf), INT64_MAX);
    EXPECT_EQ(Calyx::PredictTransFileSize(kArgs, std::numeric_limits<float>::max()), INT64_MAX);
    // A wrapped, negative rate gives a negative size.
    EXPECT_EQ(Calyx::PredictTransFileSize("-b 4000000 -ab 128 -ac 2", 1e30f), INT64_MIN);
    EXPECT_EQ(Calyx::PredictTransFileSize("-b 4000000 -ab 128 -ac 2", 8.0f), -198705152LL);
    // A zero rate times infinity is NaN, which converts to 0.
    EXPECT_EQ(Calyx::PredictTransFileSize("-b 0 -ab 0 -ac 0", inf), 0);
}
