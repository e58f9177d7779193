// The XML helpers keep no state: threads walking their own trees do not disturb each
// other.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "calyx/core.h"
#include "parsed_document.h"
#include "support/test_support.h"

TEST(XMLHelpersConcurrency, ThreadsWalkTheirOwnTrees) {
    const int kThreads = 4;
    const int kRounds = 200 * calyx_test::TestScale();
    std::atomic<int> mismatches{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t, kRounds, &mismatches] {
            std::string id = std::to_string(t);
            calyx_test::ParsedDocument xml("<r><name>n" + id + "</name><v a=\"" + id +
                                           "\">1</v><v/><v>3</v></r>");
            if (!xml.ok()) {
                ++mismatches;
                return;
            }
            for (int i = 0; i < kRounds; ++i) {
                bool found = false;
                if (Calyx::XMLGetFirstDocumentItem(xml.doc(), "name", &found) != "n" + id ||
                    !found ||
                    Calyx::XMLEnumTagValues(xml.root(), "v") !=
                        std::vector<std::string>{"1", "", "3"} ||
                    Calyx::XMLGetAttributeValue(Calyx::XMLFindChildElement("v", xml.root()), "a") !=
                        id ||
                    Calyx::XMLGetAttributeValue(xml.root(), "a") != "") {
                    ++mismatches;
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(mismatches.load(), 0);
}
