// The server's limits that need no network: request heads, collapsed log lines, the
// headers an entry records, the client cap, event subscriptions and login guesses.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "admin/form_fields.h"
#include "admin/login_throttle.h"
#include "clients/client_cap.h"
#include "clients/gena_limits.h"
#include "clients/identification_headers.h"
#include "clients/log_limiter.h"
#include "clients/request_head.h"

namespace calyx_dms {
namespace {

OwnHosts Hosts() {
    OwnHosts own;
    own.addresses = {"10.77.0.1", "fe80::1"};
    own.names = {"nas.local"};
    return own;
}

TEST(RequestHead, HostMustNameTheMachine) {
    const OwnHosts own = Hosts();
    for (const char* host : {"10.77.0.1", "10.77.0.1:8200", "[fe80::1]:8200", "[fe80::1]",
                             "NAS.local", "nas.local:80", "[FE80:0::1]"})
        EXPECT_TRUE(IsOwnHost(host, own)) << host;
    for (const char* host :
         {"evil.example", "10.77.0.1.evil", "10.77.0.2", "fe80::1", "10.77.0.1:", "10.77.0.1:80x",
          "[10.77.0.1]", "[fe80::1", "", "nas.local:123456", "nas.local:8200:1", "010.77.0.1"})
        EXPECT_FALSE(IsOwnHost(host, own)) << host;
}

TEST(RequestHead, VerdictsInOrder) {
    const OwnHosts own = Hosts();
    HeadLimits limits;
    RequestHead head;
    EXPECT_EQ(JudgeRequestHead(head, own, limits), HeadVerdict::kServe);  // HTTP/1.0, no Host
    head.headers = {{"Host", "10.77.0.1:8200"}, {"Content-Length", "65536"}};
    EXPECT_EQ(JudgeRequestHead(head, own, limits), HeadVerdict::kServe);
    head.headers[1].second = "65537";
    EXPECT_EQ(JudgeRequestHead(head, own, limits), HeadVerdict::kBodyTooLarge);
    head.headers[1].second = "12a";
    EXPECT_EQ(JudgeRequestHead(head, own, limits), HeadVerdict::kBadLength);
    head.headers = {{"Host", "10.77.0.1"}, {"Host", "evil"}};
    EXPECT_EQ(JudgeRequestHead(head, own, limits), HeadVerdict::kForeignHost);
    head.headers.assign(101, {"X-A", "b"});
    EXPECT_EQ(JudgeRequestHead(head, own, limits), HeadVerdict::kHeadTooLarge);
    head.headers = {{"Host", "evil"}, {"X-Big", std::string(17000, 'x')}};
    EXPECT_EQ(JudgeRequestHead(head, own, limits), HeadVerdict::kHeadTooLarge);
    EXPECT_EQ(StatusOf(HeadVerdict::kHeadTooLarge), 431u);
    EXPECT_EQ(StatusOf(HeadVerdict::kForeignHost), 403u);
    EXPECT_EQ(StatusOf(HeadVerdict::kBodyTooLarge), 413u);
}

std::vector<std::string> written;
void Collect(const std::string& line) {
    written.push_back(line);
}

TEST(LogLimiter, OneLineAndACountPerInterval) {
    written.clear();
    LogLimiter log(60);
    log.SetSinkForTest(Collect);
    for (int i = 0; i < 8691; ++i)
        log.Info("403", "10.0.0.9", "calyx-dms: 403 for 10.0.0.9\n");
    log.Info("403", "10.0.0.8", "calyx-dms: 403 for 10.0.0.8\n");
    ASSERT_EQ(written.size(), 2u);
    log.Flush(true);
    ASSERT_EQ(written.size(), 3u);
    EXPECT_EQ(written[2], "calyx-dms: 403 for 10.0.0.9: 8,690 more in the last minute\n");
}

TEST(LogLimiter, ManyClientsShareOneCount) {
    written.clear();
    LogLimiter log(60, 2);
    log.SetSinkForTest(Collect);
    for (int i = 0; i < 10; ++i)
        log.Info("403", "10.0.0." + std::to_string(i), "line\n");
    EXPECT_EQ(written.size(), 3u);  // two clients and the shared key
    log.Flush(true);
    EXPECT_NE(written.back().find("other clients: 7 more"), std::string::npos) << written.back();
    EXPECT_EQ(GroupThousands(1234567), "1,234,567");
    EXPECT_EQ(GroupThousands(999), "999");
}

TEST(IdentificationHeaders, OnlyWhatIdentificationReads) {
    const IdentificationHeaders filter({"browse_x-special", "modelName", "open_x-media-only"});
    const std::map<std::string, std::string> sent = {{"user-agent", std::string(1000, 'u')},
                                                     {"x-special", "s"},
                                                     {"x-media-only", "m"},
                                                     {"x-junk", "j"},
                                                     {"x-av-client-info", "av"}};
    const auto browse = filter.Select(sent, "browse_");
    EXPECT_EQ(browse.size(), 3u);
    EXPECT_EQ(browse.at("user-agent").size(), kMaxRecordedValue);
    EXPECT_EQ(browse.count("x-special"), 1u);
    EXPECT_EQ(browse.count("x-media-only"), 0u);
    EXPECT_EQ(filter.Select(sent, "open_").count("x-media-only"), 1u);
}

TEST(IdentificationHeaders, CutNeverSplitsACharacter) {
    std::string text(255, 'a');
    text += "\xc3\xa9\xc3\xa9";  // é starting at byte 255
    EXPECT_EQ(CutValue(text), std::string(255, 'a'));
    EXPECT_EQ(CutValue("short"), "short");
}

TEST(IdentificationHeaders, TrimsStoredEntries) {
    const IdentificationHeaders filter({"open_user-agent"});
    Json::Value entry;
    entry["macAddr"] = "aa";
    entry["isAccess"] = true;
    entry["open_user-agent"] = std::string(5000, 'u');
    entry["browse_x-junk"] = "j";
    entry["friendlyName"] = "TV";
    entry["whatever"] = "w";
    EXPECT_TRUE(filter.TrimEntry(entry, true));
    EXPECT_EQ(entry["open_user-agent"].asString().size(), kMaxRecordedValue);
    EXPECT_FALSE(entry.isMember("browse_x-junk"));
    EXPECT_TRUE(entry.isMember("whatever"));  // another program's member
    EXPECT_TRUE(entry.isMember("friendlyName"));
    EXPECT_FALSE(filter.TrimEntry(entry, true));
    EXPECT_TRUE(filter.TrimEntry(entry, false));  // denied: no headers at all
    EXPECT_FALSE(entry.isMember("open_user-agent"));
    EXPECT_TRUE(entry.isMember("macAddr"));
}

TEST(ClientCap, DropsTheOldestUndecidedOnly) {
    Json::Value document;
    Json::Value& list = document["ClientList"];
    for (int i = 0; i < 6; ++i) {
        Json::Value entry;
        entry["macAddr"] = "m" + std::to_string(i);
        entry["isAccess"] = true;
        list.append(entry);
    }
    list[0]["profileName_UserSelected"] = "TV";  // decided
    list[1]["isAccess"] = false;                 // decided while new clients are admitted
    EXPECT_EQ(EntriesBeyondCap(document, 3, false), (std::vector<std::string>{"m2", "m3", "m4"}));
    EXPECT_EQ(EntriesBeyondCap(document, 6, false).size(), 0u);
    // While new clients are denied, a denied entry is what a newcomer gets: undecided.
    EXPECT_EQ(EntriesBeyondCap(document, 5, true), (std::vector<std::string>{"m1"}));
    EXPECT_EQ(EntriesBeyondCap(document, 0, false).size(), 4u);  // never the decided ones
}

TEST(GenaLimits, CallbackOnTheSubscriberOnly) {
    EXPECT_TRUE(CallbackPointsAt("<http://10.0.0.5:4000/cb>", "10.0.0.5"));
    EXPECT_TRUE(CallbackPointsAt("<http://10.0.0.5/a> <http://10.0.0.5:1/b>", "10.0.0.5"));
    EXPECT_TRUE(CallbackPointsAt("<http://[fe80::5]:4000/>", "fe80::5"));
    for (const char* bad : {"", "http://10.0.0.5/", "<http://10.0.0.6/>", "<https://10.0.0.5/>",
                            "<http://10.0.0.5/><http://10.0.0.6/>", "<http://x@10.0.0.6/>",
                            "<http://10.0.0.5", "<http://evil.example/>"})
        EXPECT_FALSE(CallbackPointsAt(bad, "10.0.0.5")) << bad;
    EXPECT_EQ(SubscriptionSeconds("Second-300"), 300);
    EXPECT_EQ(SubscriptionSeconds("infinite"), 24 * 3600);
}

TEST(GenaLimits, AtMostFiftyLiveSubscriptions) {
    GenaLimits limits;
    const std::string callback = "<http://10.0.0.5:4000/>";
    for (size_t i = 0; i < kMaxSubscriptionsPerClient; ++i) {
        ASSERT_EQ(limits.Judge("SUBSCRIBE", "10.0.0.5", "", callback), 0u);
        limits.Answered("10.0.0.5", 200, "uuid:" + std::to_string(i), 300);
    }
    EXPECT_EQ(limits.Judge("SUBSCRIBE", "10.0.0.5", "", callback), 503u);
    EXPECT_EQ(limits.Judge("SUBSCRIBE", "10.0.0.5", "uuid:3", ""), 0u);  // a renewal
    EXPECT_EQ(limits.Judge("UNSUBSCRIBE", "10.0.0.5", "uuid:3", ""), 0u);
    EXPECT_EQ(limits.Judge("SUBSCRIBE", "10.0.0.5", "", callback), 0u);
    EXPECT_EQ(limits.Judge("SUBSCRIBE", "10.0.0.6", "", "<http://10.0.0.6/>"), 0u);
    limits.Answered("10.0.0.7", 200, "uuid:x", 0);  // expires at once
    EXPECT_EQ(limits.Count("10.0.0.7"), 0u);
}

TEST(LoginThrottle, WaitsGrowPerAddressAndTheCapHoldsForAll) {
    using std::chrono::milliseconds;
    LoginThrottle throttle(std::chrono::seconds(60), 10);
    auto now = LoginThrottle::Clock::now();
    long long retry = 0;
    ASSERT_TRUE(throttle.Allow("a", now, retry));
    throttle.Failed("a", now);
    EXPECT_FALSE(throttle.Allow("a", now + milliseconds(500), retry));
    EXPECT_EQ(retry, 1);
    ASSERT_TRUE(throttle.Allow("a", now + milliseconds(1000), retry));
    throttle.Failed("a", now + milliseconds(1000));
    EXPECT_FALSE(throttle.Allow("a", now + milliseconds(2500), retry));  // 2 s now
    EXPECT_TRUE(throttle.Allow("b", now + milliseconds(2500), retry));   // another address
    throttle.Succeeded("a");
    EXPECT_TRUE(throttle.Allow("a", now + milliseconds(2600), retry));
    // Four guesses so far; six more addresses fill the minute's ten.
    for (int i = 0; i < 6; ++i)
        EXPECT_TRUE(throttle.Allow("c" + std::to_string(i), now + milliseconds(3000), retry));
    EXPECT_FALSE(throttle.Allow("d", now + milliseconds(3000), retry));
    EXPECT_GE(retry, 57);
    EXPECT_TRUE(throttle.Allow("d", now + std::chrono::seconds(61), retry));
}

TEST(FormFields, EveryValueOfARepeatedField) {
    EXPECT_EQ(FormValues("csrf=ab&mac=02%3A77&mac=x+y&macs=z&mac=%00&mac", "mac"),
              (std::vector<std::string>{"02:77", "x y"}));
    EXPECT_TRUE(FormValues("", "mac").empty());
}

}  // namespace
}  // namespace calyx_dms
