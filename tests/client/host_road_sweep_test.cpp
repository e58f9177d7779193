// The host's start-up and request helpers with hostile arguments and client lists of
// every wrong JSON type: nothing may be thrown across the boundary, and the answers stay
// consistent with the lookups.
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "calyx/client_list.h"
#include "calyx/ext.h"
#include "support/no_throw.h"
#include "support/test_support.h"

using calyx_sweep::HostileStrings;

namespace {

std::vector<std::string> WrongTypedClientLists() {
    std::vector<std::string> lists = {"", "not json", "[", "{\"ClientList\": 0}", "{}"};
    for (const char* v : {"null", "true", "1", "\"text\"", "[]", "{}", "[1, \"m\", null]"}) {
        lists.push_back(v);
        lists.push_back(std::string("{\"ClientList\": ") + v + "}");
        lists.push_back(std::string("{\"ClientList\": [{\"macAddr\": ") + v +
                        "}, {\"macAddr\": \"m\"}]}");
    }
    return lists;
}

TEST(HostRoadSweep, StartUpAndRemoveOnEveryWrongTypedClientList) {
    calyx_sweep::InstallTerminateReport();
    calyx_test::TempDir dir;
    calyx_test::WriteFile(dir.file("p.json"),
                          "{\"ProfileList\": [{\"profileName\": \"P\", "
                          "\"profileID\": {\"open_user-agent\": \"P/\"}}]}");
    for (const std::string& text : WrongTypedClientLists()) {
        SCOPED_TRACE(text);
        calyx_test::WriteFile(dir.file("c.json"), text);
        Calyx::DMSClientList list;
        EXPECT_NO_ESCAPE(Calyx::ClientListStartUp(list, dir.file("c.json"), dir.file("p.json")));
        unsigned int index = 0;
        const bool existed = list.VerifyMacIsExist("m", index);
        int removed = -1;
        EXPECT_NO_ESCAPE(removed = Calyx::ClientListRemove(list, "m"));
        EXPECT_EQ(removed, existed ? 1 : 0);
        if (removed == 1)
            EXPECT_FALSE(list.VerifyMacIsExist("m", index)) << "removed entries are gone";
    }
}

TEST(HostRoadSweep, HostileHeadersMacsAndPaths) {
    calyx_sweep::InstallTerminateReport();
    Calyx::DMSClientList list;
    calyx_test::TempDir dir;
    ASSERT_TRUE(Calyx::ClientListStartUp(list, dir.file("absent.json"), dir.file("absent-p")) ==
                false);
    for (const std::string& s : HostileStrings()) {
        std::map<std::string, std::string> keys;
        EXPECT_NO_ESCAPE(keys = Calyx::ClientHeaderKeys({{s, s}, {s, "second"}}));
        EXPECT_LE(keys.size(), 1u);
        EXPECT_NO_ESCAPE(list.UpdateKeys("WebSerOpen", s, s, keys));
        EXPECT_NO_ESCAPE(Calyx::ClientListRemove(list, s));
        EXPECT_NO_ESCAPE(Calyx::UnreadableFileReason(s));
        EXPECT_NO_ESCAPE(Calyx::ClientListStartUp(list, s, s));
    }
    EXPECT_EQ(Calyx::DBConnectLastError(nullptr), "");
}

}  // namespace
