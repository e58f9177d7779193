// The indexed client list against the straightforward reference: a long random run of
// updates, erases, lookups, saves and reloads must give the same answers and the same
// saved bytes.
#include <gtest/gtest.h>

#include <random>

#include "calyx/client_list.h"
#include "client_list_test_util.h"
#include "reference_client_list.h"

using calyx_test::kClientListFixedPath;
using calyx_test::ReadFile;

namespace {

// Profiles testing discovery fields and recorded headers, with odd member types.
const char* kProfiles = R"({"ProfileList": [
  {"profileName": "TV-A", "profileID": {"modelName": "TV", "manufacturer": "Acme"}},
  {"profileName": "TV", "profileID": {"modelName": "TV"}},
  {"profileName": "Console", "profileID": {"browse_user-agent": "Console/"}},
  {"profileName": "Player", "profileID": {"open_user-agent": "Player"}},
  {"profileName": "NoId"},
  {"profileID": {"modelName": "x"}},
  {"profileName": "Numeric", "profileID": {"modelNumber": 42}},
  {"profileName": "Arr", "profileID": {"friendlyName": ["Room"]}},
  {"profileName": "NullRule", "profileID": {"serial": null}},
  {"profileName": "", "profileID": {"friendlyName": "Empty"}},
  {"profileName": "Long", "profileID": {"open_x-very-long-header-name-that-goes-on-and": ""}},
  {"profileName": "Access", "profileID": {"isAccess": "false"}},
  {"profileName": "Catch", "profileID": {"friendlyName": "Kitchen", "manufacturer": ""}}]})";

// Starting documents: plain, placeholder, and ones whose odd entries stop the scans.
const char* kStartDocuments[] = {
    R"({"ClientList": [{"macAddr": "m1", "ipAddr": "i1", "isAccess": false}]})",
    "// placeholder\n{\"ClientList\": 0}",
    R"({"ClientList": [{"macAddr": "m2", "ipAddr": "i2"}, {"macAddr": 42, "ipAddr": ["x"]},
        {"macAddr": "m3"}, {"macAddr": "m4", "ipAddr": "i4"}], "extra": {"k": 1}})",
    R"({"ClientList": [{"macAddr": "m5", "ipAddr": "i5"}, "junk", {"macAddr": "m6"}]})",
    "{}",
};

const char* kSources[] = {"HandleDiscovery", "HandleActionRequest", "WebSerOpen", "Other"};
const char* kHeaderNames[] = {"user-agent",
                              "User-Agent",
                              "Host",
                              "HOST",
                              "content-type",
                              "SOAPAction",
                              "friendlyName",
                              "manufacturer",
                              "modelName",
                              "modelDescription",
                              "modelNumber",
                              "serial",
                              "profileName_UserSelected",
                              "macAddr",
                              "ipAddr",
                              "isAccess",
                              "x-very-long-header-name-that-goes-on-and-on-and-A",
                              "x-very-long-header-name-that-goes-on-and-on-and-B",
                              "x-av-client-info",
                              ""};
const char* kHeaderValues[] = {"",         "TV", "Smart TV", "Acme",       "Console/3",
                               "Player 2", "42", "142",      "Kitchen",    "Empty Room",
                               "false",    "m7", "i3",       "Living Room"};
const char* kKeys[] = {"ipAddr",       "profileName", "displayName",
                       "friendlyName", "nothing",     "open_user-agent",
                       "macAddr",      "isAccess",    "profileName_Orig"};

class RandomRun {
public:
    explicit RandomRun(unsigned seed) : rng_(seed) {}

    std::string Pick(const char* const* items, size_t count) {
        return items[std::uniform_int_distribution<size_t>(0, count - 1)(rng_)];
    }
    template <size_t N>
    std::string Pick(const char* const (&items)[N]) {
        return Pick(items, N);
    }
    int Number(int below) { return std::uniform_int_distribution<int>(0, below - 1)(rng_); }
    std::string Mac() {
        int n = Number(160);
        if (n < 3) {
            return "";
        }
        if (n < 8) {
            return "m" + std::to_string(n);
        }
        return (n % 7 == 0 ? "AA:" : "aa:") + std::to_string(n % 120);
    }
    std::string Ip() {
        return Number(20) == 0 ? "i" + std::to_string(Number(6)) : std::to_string(Number(40));
    }

private:
    std::mt19937 rng_;
};

TEST(ClientListDifferential, RandomOperationsMatchTheReference) {
    calyx_test::ScopedRoot root;
    root.write("/host/profiles.json", kProfiles);
    const std::string clientPath = root.resolve(kClientListFixedPath);
    const std::string profilePath = root.resolve("/host/profiles.json");
    const int total = 50000 * calyx_test::TestScale();
    const int rounds = 5;
    int saves = 0;
    RandomRun run(20240611);

    for (int round = 0; round < rounds; ++round) {
        root.write(kClientListFixedPath, kStartDocuments[round]);
        Calyx::DMSClientList lib;
        calyx_test::ReferenceClientList ref;
        ASSERT_TRUE(lib.Load(clientPath, profilePath));
        ASSERT_TRUE(ref.Load(clientPath, profilePath));

        for (int step = 0; step < total / rounds; ++step) {
            SCOPED_TRACE("round " + std::to_string(round) + " step " + std::to_string(step));
            int op = run.Number(1000);
            if (op < 550) {
                std::string source = run.Pick(kSources);
                std::string mac = run.Mac();
                std::string ip = run.Ip();
                std::map<std::string, std::string> headers;
                for (int h = run.Number(5); h > 0; --h) {
                    headers[run.Pick(kHeaderNames)] = run.Pick(kHeaderValues);
                }
                ASSERT_EQ(lib.UpdateKeys(source, mac, ip, headers),
                          ref.UpdateKeys(source, mac, ip, headers));
            } else if (op < 630) {
                std::string mac = run.Mac();
                ASSERT_EQ(lib.EraseObject(mac), ref.EraseObject(mac));
            } else if (op < 730) {
                std::string mac = run.Mac();
                unsigned int a = 99999;
                unsigned int b = 99999;
                ASSERT_EQ(lib.VerifyMacIsExist(mac, a), ref.VerifyMacIsExist(mac, b));
                ASSERT_EQ(a, b);
            } else if (op < 830) {
                std::string ip = run.Ip();
                ASSERT_EQ(lib.FindMacByIP(ip), ref.FindMacByIP(ip));
            } else if (op < 980) {
                std::string mac = run.Mac();
                std::string key = run.Pick(kKeys);
                ASSERT_EQ(lib.FindKey(mac, key), ref.FindKey(mac, key));
            } else if (op < 995) {
                bool deny = run.Number(2) == 0;
                lib.m_denyNewClients = deny;
                ref.denyNewClients = deny;
            } else if (op < 998) {
                ASSERT_EQ(lib.WriteToFile(), 1);
                ASSERT_EQ(ReadFile(clientPath), ref.Serialize());
                ++saves;
            } else {
                // Reload from the saved file (profiles are appended a second time).
                ASSERT_EQ(lib.WriteToFile(), 1);
                ASSERT_EQ(ReadFile(clientPath), ref.Serialize());
                ASSERT_EQ(lib.Load(clientPath, profilePath), ref.Load(clientPath, profilePath));
            }
        }
        ASSERT_EQ(lib.WriteToFile(), 1);
        ASSERT_EQ(ReadFile(clientPath), ref.Serialize());
    }
    EXPECT_GT(saves, 0);
}

}  // namespace
