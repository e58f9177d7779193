// The connection settings of calyx db init: which role reaches which database, the
// media server's --database value and the pg_hba.conf line of a refused login.
#include "db_setup.h"

#include <gtest/gtest.h>

namespace calyx_tool {
namespace {

TEST(DbSetup, ParsesOnlyWhatTheStringSets) {
    ConnectionParams params;
    std::string error;
    ASSERT_TRUE(ParseConninfo("host=/run/postgresql port=5433 user=postgres", params, error));
    EXPECT_EQ(params, (ConnectionParams{
                          {"user", "postgres"}, {"host", "/run/postgresql"}, {"port", "5433"}}));
    ASSERT_TRUE(ParseConninfo("", params, error));
    EXPECT_TRUE(params.empty());
    EXPECT_FALSE(ParseConninfo("host", params, error));
    EXPECT_NE(error.find("host"), std::string::npos) << error;
}

TEST(DbSetup, TheIndexRoleNeverGetsTheSetupRolesPassword) {
    const ConnectionParams given = {
        {"host", "db.lan"}, {"user", "postgres"}, {"password", "secret"}, {"sslmode", "require"}};
    const ConnectionParams setup = SetupParams(given);
    EXPECT_NE(std::find(setup.begin(), setup.end(),
                        std::make_pair(std::string("dbname"), std::string("postgres"))),
              setup.end());
    const ConnectionParams index = IndexParams(given);
    for (const auto& [key, value] : index)
        EXPECT_NE(key, "password");
    EXPECT_NE(std::find(index.begin(), index.end(),
                        std::make_pair(std::string("user"), std::string("admin"))),
              index.end());
    EXPECT_NE(std::find(index.begin(), index.end(),
                        std::make_pair(std::string("dbname"), std::string("calyx"))),
              index.end());
}

TEST(DbSetup, ServerSettingKeepsTheServerAndDropsTheRole) {
    EXPECT_EQ(ServerSetting("/run/postgresql", "5432",
                            {{"user", "postgres"}, {"password", "x"}, {"sslmode", "require"}}),
              "host=/run/postgresql port=5432 sslmode=require");
    EXPECT_EQ(ServerSetting("/tmp/a dir", "5432", {}), "host='/tmp/a dir' port=5432");
}

TEST(DbSetup, RefusedLoginsAreToldFromUnreachableServers) {
    EXPECT_TRUE(IsRefusedLogin("FATAL:  Peer authentication failed for user \"admin\""));
    EXPECT_TRUE(IsRefusedLogin("FATAL:  no pg_hba.conf entry for host \"10.0.0.2\""));
    EXPECT_TRUE(IsRefusedLogin("fe_sendauth: no password supplied"));
    EXPECT_FALSE(IsRefusedLogin("could not connect to server: Connection refused"));
}

TEST(DbSetup, HbaLineNamesTheWayTheRoleComes) {
    EXPECT_EQ(HbaLine({true, ""}), "local  calyx  admin  trust");
    EXPECT_EQ(HbaLine({false, "192.168.1.20"}), "host   calyx  admin  192.168.1.20/32  trust");
    EXPECT_EQ(HbaLine({false, "fd00::5"}), "host   calyx  admin  fd00::5/128  trust");
}

}  // namespace
}  // namespace calyx_tool
