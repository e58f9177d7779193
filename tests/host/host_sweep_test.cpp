// Host information, media folders, the client list and the media index with hostile
// arguments and files of every wrong JSON type: nothing may be thrown across the boundary.
#include <unistd.h>

#include <cmath>
#include <limits>
#include <map>
#include <string>
#include <vector>

#include "calyx/client_list.h"
#include "calyx/host.h"
#include "calyx/media_db.h"
#include "support/no_throw.h"
#include "support/test_support.h"

using calyx_sweep::HostileStrings;

namespace {

const std::vector<std::string> kJsonValues = {"null", "true",     "0",  "-1.5e300",  "\"t\"",
                                              "[]",   "[1,null]", "{}", "{\"a\":[]}"};

TEST(HostSweep, DeviceFormattingAndEstimates) {
    calyx_sweep::InstallTerminateReport();
    calyx_test::ScopedRoot root;
    for (const std::string& s : HostileStrings()) {
        root.write("/proc/net/arp", "IP address HW type Flags HW address Mask Device\n" + s);
        root.write("/proc/cpuinfo", s);
        root.write("/etc.defaults/zevoinfo.conf", "upnpmodelname=" + s);
        EXPECT_NO_ESCAPE(Calyx::GetMACAddressFromARPTable(s));
        EXPECT_NO_ESCAPE(Calyx::GetCPUInfo(s));
        EXPECT_NO_ESCAPE(Calyx::DMSGetProductModel());
        EXPECT_NO_ESCAPE(Calyx::DMSFormatUPNPDate(s.c_str()));
        EXPECT_NO_ESCAPE(Calyx::GetTransBitRate(s));
        EXPECT_NO_ESCAPE(Calyx::PredictTransFileSize(s, 1e30f));
        EXPECT_NO_ESCAPE(Calyx::PredictTransFileSize("-b " + s, std::nanf("")));
    }
    EXPECT_EQ(Calyx::DMSFormatUPNPDate(nullptr), "");
    EXPECT_NO_ESCAPE(Calyx::DMSGetProductSerial());
    EXPECT_NO_ESCAPE(Calyx::DMSGetProductUDN());
    std::map<std::string, std::string> cards;
    EXPECT_NO_ESCAPE(Calyx::DMSGetNetworkInterface(cards));
    for (int v : {0, -1, 1, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
        EXPECT_NO_ESCAPE(Calyx::DMSFormatUPNPDuration(v));
        int w = 0, h = 0;
        EXPECT_NO_ESCAPE(Calyx::DMSGetThumbnailRes(v, ~v, &w, &h, v));
        EXPECT_NO_ESCAPE(Calyx::DMSGetThumbnailRes(v, v, nullptr, nullptr, 160));
    }
    EXPECT_EQ(Calyx::GetTransBitRate(""), -1);
    EXPECT_EQ(Calyx::PredictTransFileSize("", 1.0f), 0);
}

TEST(HostSweep, MediaFoldersWithWrongTypedConfiguration) {
    calyx_sweep::InstallTerminateReport();
    calyx_test::ScopedRoot root;
    std::vector<std::string> documents = {"", "not json", "[", std::string(1 << 20, '[')};
    for (const std::string& v : kJsonValues) {
        documents.push_back(v);
        documents.push_back("[" + v + "]");
        for (const char* member : {"path", "name", "music", "video", "photo", "enabled"}) {
            documents.push_back(std::string("[{\"path\": \"/volume1/m\", \"name\": \"M\", \"") +
                                member + "\": " + v + "}]");
        }
    }
    for (const std::string& doc : documents) {
        root.write("/usr/zevo/etc/index_folder.conf", doc);
        root.write("/var/packages/Calyx/etc/dmsinfo.conf", "albumart_mediaservice=" + doc);
        // Every value the enumeration can hold (0..7), named or not.
        for (int type = 0; type <= 7; ++type) {
            Calyx::MEDIA_TABLE_TYPE t = static_cast<Calyx::MEDIA_TABLE_TYPE>(type);
            EXPECT_NO_ESCAPE(Calyx::GetIndexLoacationPath(t));
            EXPECT_NO_ESCAPE(Calyx::DMSGetMediaFolderPath(t));
        }
        std::vector<std::string> names;
        EXPECT_NO_ESCAPE(Calyx::GetCoverList(names));
    }
}

TEST(HostSweep, ClientListWithWrongTypedFilesAndHostileRequests) {
    calyx_sweep::InstallTerminateReport();
    calyx_test::ScopedRoot root;
    std::string clients = root.write(calyx_test::kClientListFixedPath, "");
    std::string profiles = root.write("/profiles.json", "");
    std::vector<std::string> clientDocs = {"", "{", "{\"ClientList\": 0}"};
    std::vector<std::string> profileDocs = {"", "{"};
    for (const std::string& v : kJsonValues) {
        clientDocs.push_back(v);
        clientDocs.push_back("{\"ClientList\": " + v + "}");
        clientDocs.push_back("{\"ClientList\": [" + v + "]}");
        clientDocs.push_back("{\"ClientList\": [{\"macAddr\": " + v + ", \"ipAddr\": " + v +
                             ", \"profileName_UserSelected\": " + v + "}]}");
        profileDocs.push_back("{\"ProfileList\": [{\"profileName\": " + v +
                              ", \"profileID\": " + v + "}]}");
        profileDocs.push_back(
            "{\"ProfileList\": [{\"profileName\": \"P\", \"profileID\": "
            "{\"modelName\": " +
            v + "}}]}");
    }
    std::vector<std::string> hostile = HostileStrings();
    for (size_t i = 0; i < clientDocs.size(); ++i) {
        calyx_test::WriteFile(clients, clientDocs[i]);
        calyx_test::WriteFile(profiles, profileDocs[i % profileDocs.size()]);
        Calyx::DMSClientList list;
        EXPECT_NO_ESCAPE(list.Load(clients, profiles));
        for (size_t k = 0; k < hostile.size(); k += 3) {
            const std::string& s = hostile[k];
            std::map<std::string, std::string> headers{{"User-Agent", s}, {s, s}};
            for (const char* source :
                 {"HandleDiscovery", "HandleActionRequest", "WebSerOpen", ""}) {
                EXPECT_NO_ESCAPE(list.UpdateKeys(source, "aa:bb", s, headers));
                EXPECT_NO_ESCAPE(list.UpdateKeys(source, s, "10.0.0.1", headers));
            }
            unsigned int index = 0;
            EXPECT_NO_ESCAPE(list.VerifyMacIsExist(s, index));
            EXPECT_NO_ESCAPE(list.FindMacByIP(s));
            EXPECT_NO_ESCAPE(list.FindKey("aa:bb", s));
            EXPECT_NO_ESCAPE(list.EraseObject(s));
        }
        EXPECT_NO_ESCAPE(list.WriteToFile());
        Json::Value entry;
        std::string out;
        EXPECT_NO_ESCAPE(list.DetermineDisplayName(entry, out));
        EXPECT_NO_ESCAPE(list.DetermineProfileName(entry, out));
        EXPECT_NO_ESCAPE(list.DetermineOrigProfileName(entry, out));
    }
}

TEST(HostSweep, MediaIndexWithoutAServer) {
    calyx_sweep::InstallTerminateReport();
    calyx_test::TempDir nowhere;
    calyx_test::ScopedEnv host("PGHOST", nowhere.path().c_str());
    Calyx::MediaDB db(Calyx::MEDIA_TABLE_MUSIC, nullptr);
    for (const std::string& s : HostileStrings()) {
        EXPECT_NO_ESCAPE(db.AddCondition(s));
        EXPECT_NO_ESCAPE(db.AddExcludeVideoCodec(s));
        EXPECT_NO_ESCAPE(db.AddExcludeExt(s.c_str()));
        EXPECT_EQ(db.Select(s, s, -1, -1, s), -1);
        EXPECT_EQ(db.Execute(s), -1);
        EXPECT_EQ(db.FetchField(s.c_str()), "");
        EXPECT_EQ(db.FetchFieldAsInt(s.c_str()), 0);
    }
    EXPECT_NO_ESCAPE(db.AddExcludeExt(nullptr));
    EXPECT_EQ(db.FetchField(nullptr), "");
    EXPECT_EQ(db.SelectTotal(), 0);
    EXPECT_FALSE(db.NextRow());
    ZEVO_MEDIA_INFO item{};
    EXPECT_FALSE(db.FetchMediaItem(item));
    Calyx::MediaDB odd(static_cast<Calyx::MEDIA_TABLE_TYPE>(7), nullptr);
    EXPECT_EQ(odd.Execute("SELECT 1"), -1);
}

}  // namespace
