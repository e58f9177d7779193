// Client list costs: the per-request update at 10 and 10,000 clients (indexed and the
// literal scanning algorithm), saving and loading 10,000 clients.
#include <benchmark/benchmark.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include "calyx/client_list.h"
#include "reference_client_list.h"

namespace {

constexpr int kProfileRecords = 200;

// A private root prefix for the whole run.
class BenchRoot {
public:
    BenchRoot() {
        char pattern[] = "/tmp/calyx_client_list_bench.XXXXXX";
        root_ = mkdtemp(pattern);
        setenv("CALYX_ROOT", root_.c_str(), 1);
        for (const char* dir :
             {"/var", "/var/packages", "/var/packages/Calyx", "/var/packages/Calyx/etc"}) {
            mkdir((root_ + dir).c_str(), 0755);
        }
        // 199 records that the client fails on their last rule, then the one it matches.
        std::string profiles = "{\"ProfileList\": [\n";
        for (int r = 0; r < kProfileRecords; ++r) {
            std::string model = r + 1 < kProfileRecords ? "Model-" + std::to_string(r) : "Target";
            profiles += "{\"profileName\": \"P" + std::to_string(r) +
                        "\", \"dlna\": \"yes\", \"profileID\": {\"manufacturer\": \"Vendor\", "
                        "\"modelName\": \"" +
                        model + "\"}}";
            profiles += r + 1 < kProfileRecords ? ",\n" : "\n";
        }
        profiles += "]}\n";
        std::ofstream(ProfilePath()) << profiles;
    }
    ~BenchRoot() {
        unlink(ClientPath().c_str());
        unlink(ProfilePath().c_str());
        for (const char* dir :
             {"/var/packages/Calyx/etc", "/var/packages/Calyx", "/var/packages", "/var", ""}) {
            rmdir((root_ + dir).c_str());
        }
    }
    std::string ClientPath() const { return root_ + "/var/packages/Calyx/etc/client_list.json"; }
    std::string ProfilePath() const { return root_ + "/profiles.json"; }

private:
    std::string root_;
};

BenchRoot& Root() {
    static BenchRoot root;
    return root;
}

std::string MacOf(int i) {
    char mac[32];
    snprintf(mac, sizeof mac, "00:11:22:%02x:%02x:%02x", (i >> 16) & 255, (i >> 8) & 255, i & 255);
    return mac;
}

std::map<std::string, std::string> DescriptionOf(int i) {
    return {{"friendlyName", "Living Room " + std::to_string(i)},
            {"manufacturer", "Vendor Inc."},
            {"modelName", "Target " + std::to_string(i % 7)},
            {"modelDescription", "Media renderer"}};
}

const std::map<std::string, std::string>& RequestHeaders() {
    static const std::map<std::string, std::string> headers = {
        {"user-agent", "Renderer/1.0 UPnP/1.0 DLNADOC/1.50"},
        {"Host", "192.168.1.2:50001"},
        {"content-type", "text/xml; charset=\"utf-8\""},
        {"soapaction", "\"urn:schemas-upnp-org:service:ContentDirectory:1#Browse\""},
        {"x-av-client-info", "av=5.0; cn=\"Vendor\"; mn=\"Target\""}};
    return headers;
}

// Fills a list with `clients` entries; the request then comes from the last one, the
// worst case for a scan.
template <typename List>
void Fill(List& list, int clients) {
    for (int i = 0; i < clients; ++i) {
        list.UpdateKeys("HandleDiscovery", MacOf(i), "192.168.1." + std::to_string(i % 250),
                        DescriptionOf(i));
    }
}

void BM_UpdateKeys(benchmark::State& state) {
    BenchRoot& root = Root();
    int clients = static_cast<int>(state.range(0));
    Calyx::DMSClientList list;
    list.LoadProfileIDList(root.ProfilePath());
    Fill(list, clients);
    std::string mac = MacOf(clients - 1);
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            list.UpdateKeys("HandleActionRequest", mac, "192.168.1.77", RequestHeaders()));
    }
    if (list.FindKey(mac, "profileName") != "P199") {
        state.SkipWithError("the client did not match the last record");
    }
}
BENCHMARK(BM_UpdateKeys)->Arg(10)->Arg(10000)->Unit(benchmark::kMicrosecond);

void BM_UpdateKeys_Literal(benchmark::State& state) {
    BenchRoot& root = Root();
    int clients = static_cast<int>(state.range(0));
    {
        // Filling through the literal algorithm would take minutes at 10,000 clients:
        // load the same document instead.
        Calyx::DMSClientList filled;
        filled.LoadProfileIDList(root.ProfilePath());
        Fill(filled, clients);
        filled.WriteToFile();
    }
    calyx_test::ReferenceClientList list;
    list.Load(root.ClientPath(), root.ProfilePath());
    std::string mac = MacOf(clients - 1);
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            list.UpdateKeys("HandleActionRequest", mac, "192.168.1.77", RequestHeaders()));
    }
    if (list.FindKey(mac, "profileName") != "P199") {
        state.SkipWithError("the client did not match the last record");
    }
}
BENCHMARK(BM_UpdateKeys_Literal)->Arg(10)->Arg(10000)->Unit(benchmark::kMicrosecond);

void BM_WriteToFile(benchmark::State& state) {
    BenchRoot& root = Root();
    Calyx::DMSClientList list;
    list.LoadProfileIDList(root.ProfilePath());
    Fill(list, static_cast<int>(state.range(0)));
    for (auto _ : state) {
        if (list.WriteToFile() != 1) {
            state.SkipWithError("save failed");
        }
    }
    struct stat st;
    if (stat(root.ClientPath().c_str(), &st) == 0) {
        state.counters["file_MB"] = static_cast<double>(st.st_size) / 1e6;
    }
}
BENCHMARK(BM_WriteToFile)->Arg(10000)->Unit(benchmark::kMillisecond);

void BM_Load(benchmark::State& state) {
    BenchRoot& root = Root();
    {
        Calyx::DMSClientList list;
        list.LoadProfileIDList(root.ProfilePath());
        Fill(list, static_cast<int>(state.range(0)));
        list.WriteToFile();
    }
    for (auto _ : state) {
        Calyx::DMSClientList list;
        if (!list.Load(root.ClientPath(), root.ProfilePath())) {
            state.SkipWithError("load failed");
        }
    }
}
BENCHMARK(BM_Load)->Arg(10000)->Unit(benchmark::kMillisecond);

}  // namespace
