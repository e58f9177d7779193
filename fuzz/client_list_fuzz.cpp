// The client list: a fuzzed client list file and profile list are loaded, then a fuzzed
// sequence of UpdateKeys, FindKey, FindMacByIP, EraseObject and WriteToFile runs under
// a temporary root. Every save must give a file that loads again and, once normalised by
// one load and save, saves to the same bytes; nothing may throw.
#include <cstdint>
#include <exception>
#include <map>
#include <string>
#include <vector>

#include <json/reader.h>
#include <json/value.h>

#include "calyx/client_list.h"
#include "fuzz_support.h"

namespace {

const char kClientList[] = "/var/packages/Calyx/etc/client_list.json";
const char* const kSources[] = {"HandleDiscovery", "HandleActionRequest", "WebSerOpen", "Other"};
const char* const kHeaderNames[] = {"User-Agent",       "friendlyName",         "manufacturer",
                                    "modelName",        "modelDescription",     "modelNumber",
                                    "X-AV-Client-Info", "FriendlyName.DLNA.ORG"};

std::string Saved() {
    FILE* f = fopen((calyx_fuzz::Root() + kClientList).c_str(), "re");
    std::string out;
    if (f != nullptr) {
        char buf[65536];
        size_t n;
        while ((n = fread(buf, 1, sizeof buf, f)) > 0) {
            out.append(buf, n);
        }
        fclose(f);
    }
    return out;
}

// Loads the saved file into a new list and saves it again; returns what that wrote.
std::string ReloadAndSave() {
    Calyx::DMSClientList again;
    FUZZ_CHECK(again.LoadClientList(calyx_fuzz::Root() + kClientList) == 1,
               "saved file does not load");
    FUZZ_CHECK(again.WriteToFile() == 1, "saving a loaded file failed");
    return Saved();
}

// A saved file parses and loads again. The first save turns bytes that are not UTF-8
// into U+FFFD (the JSON writer's escaping), so the saved text is a fixed point only from
// the second save on: load and save must then reproduce it exactly.
void CheckSavedFileReloads() {
    Json::Value parsed;
    Json::Reader reader;
    FUZZ_CHECK(reader.parse(Saved(), parsed, true), "saved file does not parse");
    std::string first = ReloadAndSave();
    std::string second = ReloadAndSave();
    size_t at = 0;
    while (at < first.size() && at < second.size() && first[at] == second[at]) {
        ++at;
    }
    size_t from = at > 40 ? at - 40 : 0;
    FUZZ_CHECK(second == first, "saving a loaded file changed it at byte " + std::to_string(at) +
                                    ": " + calyx_fuzz::Show(first.substr(from, 80)) + " became " +
                                    calyx_fuzz::Show(second.substr(from, 80)));
}

void Run(FuzzedDataProvider& input) {
    std::string clientJson = input.ConsumeRandomLengthString(2048);
    std::string profileJson = input.ConsumeRandomLengthString(2048);
    calyx_fuzz::WriteUnderRoot(kClientList, clientJson);
    std::string profilePath = calyx_fuzz::WriteUnderRoot("/profiles.json", profileJson);

    Calyx::DMSClientList list;
    list.Load(calyx_fuzz::Root() + kClientList, profilePath);
    std::vector<std::string> macs = {"aa:bb:cc:dd:ee:ff", "00:11:22:33:44:55", ""};
    for (int step = 0; step < 12 && input.remaining_bytes() > 0; ++step) {
        int op = input.ConsumeIntegralInRange<int>(0, 6);
        if (op == 6) {
            macs.push_back(input.ConsumeRandomLengthString(24));
            continue;
        }
        const std::string& mac = macs[input.ConsumeIntegralInRange<size_t>(0, macs.size() - 1)];
        switch (op) {
            case 0:
            case 1: {
                std::map<std::string, std::string> headers;
                int count = input.ConsumeIntegralInRange<int>(0, 4);
                for (int i = 0; i < count; ++i) {
                    // Member names are written by the JSON writer as C texts (cut at a NUL
                    // byte), so header names and keys here are C texts too.
                    std::string name = input.ConsumeBool()
                                           ? kHeaderNames[input.ConsumeIntegralInRange<int>(0, 7)]
                                           : input.ConsumeRandomLengthString(16).c_str();
                    headers.emplace(name, input.ConsumeRandomLengthString(64));
                }
                std::string ip = input.ConsumeRandomLengthString(16);
                int updated = list.UpdateKeys(kSources[input.ConsumeIntegralInRange<int>(0, 3)],
                                              mac, ip, headers);
                if (mac.empty()) {
                    FUZZ_CHECK(updated == 0, "empty MAC accepted");
                }
                break;
            }
            case 2:
                list.FindKey(mac, input.ConsumeRandomLengthString(24).c_str());
                break;
            case 3:
                list.FindMacByIP(input.ConsumeRandomLengthString(16));
                break;
            case 4:
                list.EraseObject(mac);
                break;
            case 5:
                if (list.WriteToFile() == 1) {
                    CheckSavedFileReloads();
                }
                break;
        }
    }
    if (list.WriteToFile() == 1) {
        CheckSavedFileReloads();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static bool prepared = (calyx_fuzz::OpenLogUnderRoot(), true);
    (void)prepared;
    FuzzedDataProvider input(data, size);
    try {
        Run(input);
    } catch (const std::exception& e) {
        FUZZ_CHECK(false, std::string("exception: ") + e.what());
    }
    return 0;
}
