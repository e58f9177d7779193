// Agent records: the two name tables, setPair and the bit operations.
#include <gtest/gtest.h>

#include <string.h>

#include <string>
#include <utility>
#include <vector>

#include "calyx/client.h"
#include "client/agent_tables.h"

namespace {

using Calyx::Agent;

TEST(AgentTest, StartsEmptyWithItsName) {
    Agent agent("TV");
    EXPECT_EQ("TV", agent.m_profileName);
    EXPECT_EQ("", agent.m_offendChars);
    EXPECT_EQ(0u, agent.m_agentType);
    EXPECT_EQ(0u, agent.m_capability);
    EXPECT_TRUE(agent.m_profileSettings.empty());
}

TEST(AgentTest, DeletesThroughItsVirtualDestructor) {
    static_assert(std::has_virtual_destructor<Agent>::value, "owners delete through Agent*");
    Agent* agent = new Agent("x");
    agent->setPair("profile@a", "ext@mkv");
    delete agent;  // LeakSanitizer checks that nothing stays behind
}

const std::vector<std::pair<std::string, uint32_t>> kTypes = {
    {"dlna", 1},  {"xbox", 2},       {"msclient", 4},  {"wmp", 8},
    {"roku", 16}, {"musiconly", 32}, {"wdtvlive", 64}, {"samsungtv", 128}};

const std::vector<std::pair<std::string, uint32_t>> kOptions = {{"xmres", 1},
                                                                {"transwav", 2},
                                                                {"transpcm", 4},
                                                                {"xalbart", 8},
                                                                {"revimgres", 16},
                                                                {"xvcover", 32},
                                                                {"transmkv", 64},
                                                                {"videoalbart", 128},
                                                                {"videosrt", 256},
                                                                {"photowithxlthumb", 512},
                                                                {"videosubtitleitem", 1024},
                                                                {"photoforcejpegpn", 2048},
                                                                {"xlibdlnamodule", 4096},
                                                                {"photoforcebgthumb", 8192},
                                                                {"customizesymbol", 16384},
                                                                {"origcover", 32768},
                                                                {"sendvsmetadata", 65536},
                                                                {"videowithext", 131072}};

TEST(AgentTest, EachAgentTypeByNameSetsAndClearsItsBit) {
    for (const auto& type : kTypes) {
        Agent agent("a");
        agent.setPair(type.first, "yes");
        EXPECT_EQ(type.second, agent.m_agentType) << type.first;
        agent.setPair(type.first, "no");
        EXPECT_EQ(0u, agent.m_agentType) << type.first;
    }
}

TEST(AgentTest, EachCapabilityOptionByNameSetsItsBit) {
    for (const auto& option : kOptions) {
        Agent agent("a");
        agent.setPair("agentopt", option.first);
        EXPECT_EQ(option.second, agent.m_capability) << option.first;
    }
    Agent all("all");
    std::string every;
    for (const auto& option : kOptions) {
        every += option.first + " ";
    }
    all.setPair("agentopt", every);
    EXPECT_EQ((1u << 18) - 1, all.m_capability);
}

TEST(AgentTest, NameTablesHoldTheNamesInBitOrderClosedByAnEmptyRow) {
    size_t i = 0;
    for (; Calyx::gAgentTypeTable[i].name[0] != '\0'; ++i) {
        ASSERT_LT(i, kTypes.size());
        EXPECT_EQ(kTypes[i].first, Calyx::gAgentTypeTable[i].name);
        EXPECT_EQ(kTypes[i].second, Calyx::gAgentTypeTable[i].value);
    }
    EXPECT_EQ(kTypes.size(), i);
    EXPECT_EQ(0u, Calyx::gAgentTypeTable[i].value);
    for (i = 0; Calyx::gAgentCapOptTable[i].name[0] != '\0'; ++i) {
        ASSERT_LT(i, kOptions.size());
        EXPECT_EQ(kOptions[i].first, Calyx::gAgentCapOptTable[i].name);
        EXPECT_EQ(kOptions[i].second, Calyx::gAgentCapOptTable[i].value);
    }
    EXPECT_EQ(kOptions.size(), i);
    EXPECT_EQ(0u, Calyx::gAgentCapOptTable[i].value);
}

TEST(AgentTest, EnumeratorsHaveTheirBitValues) {
    EXPECT_EQ(1u, Agent::AGENT_TYPE_DLNA);
    EXPECT_EQ(128u, Agent::AGENT_TYPE_SAMSUNGTV);
    EXPECT_EQ(1u, Agent::AGENT_CAPOPT_XMRES);
    EXPECT_EQ(131072u, Agent::AGENT_CAPOPT_VIDEOWITHEXT);
}

TEST(AgentTest, OnlyLowerCaseYesSwitchesATypeOn) {
    for (const char* value : {"Yes", "YES", "true", "1", "", "yes ", " yes"}) {
        Agent agent("a");
        agent.setPair("xbox", value);
        EXPECT_EQ(0u, agent.m_agentType) << value;
    }
    Agent agent("a");
    agent.setPair("xbox", "yes");
    agent.setPair("dlna", "yes");
    agent.setPair("xbox", "Yes");  // any other value switches the type off again
    EXPECT_EQ(1u, agent.m_agentType);
}

TEST(AgentTest, XboxYesSetsTwoAndNoClearsIt) {
    Agent agent("a");
    agent.setPair("xbox", "yes");
    EXPECT_EQ(2u, agent.m_agentType);
    agent.setPair("xbox", "no");
    EXPECT_EQ(0u, agent.m_agentType);
}

TEST(AgentTest, TypeNamesCompareExactly) {
    Agent agent("a");
    agent.setPair("XBOX", "yes");
    agent.setPair("dlna ", "yes");
    agent.setPair("dln", "yes");
    agent.setPair(std::string("dlna\0x", 6), "yes");
    EXPECT_EQ(0u, agent.m_agentType);
    EXPECT_EQ(0u, agent.m_capability);
    EXPECT_TRUE(agent.m_profileSettings.empty());
}

TEST(AgentTest, AgentoptSplitsAtBlanksAndTabsAndIgnoresUnknownWords) {
    Agent agent("a");
    agent.setPair("agentopt", "  xmres\ttranswav  bogus ");
    EXPECT_EQ(3u, agent.m_capability);
    agent.setPair("agentopt", "");
    EXPECT_EQ(3u, agent.m_capability);
    agent.setPair("agentopt", "videosrt XMRES");
    EXPECT_EQ(3u | 256u, agent.m_capability);  // adds, never removes; case matters
    agent.setPair("AgentOpt", "origcover");
    EXPECT_EQ(3u | 256u, agent.m_capability);
}

TEST(AgentTest, SetTypeAndCapabilityTakeMasks) {
    Agent agent("a");
    agent.setAgentType(
        static_cast<Agent::AGENT_TYPE>(Agent::AGENT_TYPE_XBOX | Agent::AGENT_TYPE_WMP), true);
    EXPECT_EQ(10u, agent.m_agentType);
    agent.setAgentType(Agent::AGENT_TYPE_XBOX, false);
    EXPECT_EQ(8u, agent.m_agentType);
    agent.setCapability(static_cast<Agent::AGENT_CAPOPT>(5), true);
    EXPECT_EQ(5u, agent.m_capability);
    agent.setCapability(Agent::AGENT_CAPOPT_XMRES, false);
    EXPECT_EQ(4u, agent.m_capability);
}

TEST(AgentTest, ProfileSettingKeyIsEverythingAfterTheFirstAt) {
    Agent agent("a");
    agent.setPair("profile@a@b", "x");
    agent.setPair("profile@", "y");
    ASSERT_EQ(2u, agent.m_profileSettings.size());
    EXPECT_EQ("x", agent.m_profileSettings["a@b"]);
    EXPECT_EQ("y", agent.m_profileSettings[""]);
}

TEST(AgentTest, AnyKeyBeginningWithProfileCounts) {
    Agent agent("a");
    agent.setPair("profileX@res", "1");
    EXPECT_EQ("1", agent.m_profileSettings.at("res"));
}

TEST(AgentTest, ProfileKeysWithoutAtChangeNothing) {
    Agent agent("a");
    agent.setPair("profileName", "Foo");
    agent.setPair("profile", "x");
    agent.setPair("profileID", "y");
    agent.setPair("profiledlna", "yes");
    EXPECT_TRUE(agent.m_profileSettings.empty());
    EXPECT_EQ("a", agent.m_profileName);
    EXPECT_EQ(0u, agent.m_agentType);
}

TEST(AgentTest, KeysShorterThanProfileAreNotSettings) {
    Agent agent("a");
    agent.setPair("prof@x", "1");
    agent.setPair("@x", "1");
    EXPECT_TRUE(agent.m_profileSettings.empty());
}

TEST(AgentTest, FirstValueOfASettingWins) {
    Agent agent("a");
    agent.setPair("profile@res", "1");
    agent.setPair("profile@res", "2");
    agent.setPair("profileOther@res", "3");
    EXPECT_EQ("1", agent.m_profileSettings.at("res"));
}

TEST(AgentTest, CheckProfileNameIsExact) {
    Agent empty("");
    EXPECT_TRUE(empty.checkProfileName(""));
    Agent tv("Living Room TV");
    EXPECT_FALSE(tv.checkProfileName(""));
    EXPECT_TRUE(tv.checkProfileName("Living Room TV"));
    EXPECT_FALSE(tv.checkProfileName("living room tv"));
    EXPECT_FALSE(tv.checkProfileName("Living Room TV "));
    EXPECT_FALSE(tv.checkProfileName("Living Room"));
}

TEST(AgentTest, CopyKeepsTheRecordAndItsRules) {
    Agent agent("a");
    agent.setPair("profile@p", "ext@mkv");
    agent.setPair("dlna", "yes");
    Agent copy(agent);
    EXPECT_EQ(agent.m_profileSettings, copy.m_profileSettings);
    EXPECT_EQ(1u, copy.m_agentType);
    ZEVO_MEDIA_INFO item{};
    strcpy(item.path, "/m.mkv");
    EXPECT_EQ(1u, Calyx::ExplainVideoProfiles(&copy, &item).size());
    EXPECT_TRUE(Calyx::ExplainVideoProfiles(&copy, &item)[0].matched);
}

}  // namespace
