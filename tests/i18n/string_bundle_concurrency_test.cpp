// After ImportStrings, many threads translate from the same bundle at once.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "calyx/i18n.h"
#include "support/test_support.h"

TEST(DMSStringBundleConcurrency, TranslateFromManyThreads) {
    calyx_test::ScopedRoot root;
    std::string content = "[s]\n";
    for (int i = 0; i < 200; ++i) {
        content += "k" + std::to_string(i) + " = \"t" + std::to_string(i) + "\"\n";
    }
    root.write("/var/packages/Calyx/target/app/texts/enu/strings", content);
    Calyx::DMSStringBundle bundle("enu");
    bundle.ImportStrings();

    const int kRounds = 50 * calyx_test::TestScale();
    std::atomic<int> mismatches{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&bundle, &mismatches, kRounds] {
            for (int round = 0; round < kRounds; ++round) {
                for (int i = 0; i < 200; ++i) {
                    std::string key = "k" + std::to_string(i);
                    std::string text = "t" + std::to_string(i);
                    if (bundle.Translate(key) != text ||
                        bundle.Translate("{" + key + "}") != text ||
                        bundle.Translate("{missing}") != "{missing}") {
                        ++mismatches;
                    }
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(mismatches.load(), 0);
}
