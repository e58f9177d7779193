// Device, network and media folder functions called from several threads at once.
#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "calyx/host.h"
#include "support/host_fixtures.h"

using namespace calyx_test;

namespace {

struct Snapshot {
    std::string udn;
    std::string model;
    std::string serial;
    std::map<std::string, std::string> cards;
    std::string mac;
    std::string cpu;
    std::vector<std::string> covers;
    std::map<std::string, std::string> folders;

    bool operator==(const Snapshot& o) const {
        return udn == o.udn && model == o.model && serial == o.serial && cards == o.cards &&
               mac == o.mac && cpu == o.cpu && covers == o.covers && folders == o.folders;
    }
};

Snapshot Take() {
    Snapshot s;
    s.udn = Calyx::DMSGetProductUDN();
    s.model = Calyx::DMSGetProductModel();
    s.serial = Calyx::DMSGetProductSerial();
    Calyx::DMSGetNetworkInterface(s.cards);
    s.mac = Calyx::GetMACAddressFromARPTable("10.0.0.2");
    s.cpu = Calyx::GetCPUInfo("model name");
    Calyx::GetCoverList(s.covers);
    s.folders = Calyx::GetIndexLoacationPath(Calyx::MEDIA_TABLE_MUSIC);
    return s;
}

}  // namespace

TEST(HostConcurrency, ThreadsSeeTheSameFacts) {
    ScopedRoot root;  // set before any thread starts
    WriteNetCard(root, {"eth0", "00:11:32:aa:bb:cc"});
    WriteNetCard(root, {"eth1", "00:11:32:aa:bb:cd"});
    root.write("/etc.defaults/zevoinfo.conf", "upnpmodelname=X-100\ncustom_serial=C1\n");
    root.write("/proc/net/arp",
               "IP address       HW type     Flags       HW address            Mask     Device\n"
               "10.0.0.2         0x1         0x2         aa:bb:cc:dd:ee:02     *        eth0\n");
    root.write("/proc/cpuinfo", "model name\t: Example\n");
    root.write("/var/packages/Calyx/etc/dmsinfo.conf", "albumart_mediaservice=a.jpg;b.jpg\n");
    root.write("/usr/zevo/etc/shares.conf", "music=/volume1/music\n");
    root.write("/usr/zevo/etc/index_folder.conf",
               R"([{"path": "/music/Live", "name": "Live", "music": true}])");

    const Snapshot expected = Take();
    ASSERT_EQ(expected.udn, "uuid:001132aa-bbcc-0011-ccbb-ccbbaa321100");
    ASSERT_EQ(expected.folders.size(), 2u);

    const int iterations = 20 * TestScale();
    std::atomic<int> mismatches{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < iterations; ++i) {
                if (!(Take() == expected)) {
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
