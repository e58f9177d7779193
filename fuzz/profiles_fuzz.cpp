// Profile list loading from fuzzed JSON, then checkers for its profiles and video profile
// selection for a fuzzed item, held against the straightforward reference selection.
#include <cstdint>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include <json/reader.h>
#include <json/value.h>

#include "calyx/client.h"
#include "client/video_profile_reference.h"
#include "fuzz_support.h"

namespace {

void CopyText(FuzzedDataProvider& input, char* field, size_t capacity, size_t maxLength) {
    std::string text = input.ConsumeRandomLengthString(maxLength);
    snprintf(field, capacity, "%s", text.c_str());
}

void FillItem(FuzzedDataProvider& input, ZEVO_MEDIA_INFO& item) {
    memset(&item, 0, sizeof item);
    CopyText(input, item.path, sizeof item.path, 48);
    CopyText(input, item.video_codec, sizeof item.video_codec, 12);
    CopyText(input, item.audio_codec, sizeof item.audio_codec, 12);
    CopyText(input, item.container_type, sizeof item.container_type, 12);
    item.resolutionx = input.ConsumeIntegral<int>();
    item.resolutiony = input.ConsumeIntegral<int>();
    item.video_bitrate = input.ConsumeIntegral<uint32_t>();
    item.audio_bitrate = input.ConsumeIntegral<uint32_t>();
    item.frame_bitrate = input.ConsumeIntegral<uint32_t>();
    item.frame_rate_num = input.ConsumeIntegral<int>();
    item.frame_rate_den = input.ConsumeIntegral<int>();
    item.channel = input.ConsumeIntegral<int>();
}

// Profile names that the document names, for building checkers.
std::set<std::string> NamesIn(const std::string& json) {
    std::set<std::string> names;
    Json::Value root;
    Json::Reader reader;
    if (!reader.parse(json, root, true) || !root.isObject()) {
        return names;
    }
    const Json::Value& list = root["ProfileList"];
    if (!list.isArray()) {
        return names;
    }
    for (Json::ArrayIndex i = 0; i < list.size() && names.size() < 16; ++i) {
        if (list[i].isObject() && list[i]["profileName"].isString()) {
            names.insert(list[i]["profileName"].asString());
        }
    }
    return names;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static bool prepared = (calyx_fuzz::OpenLogUnderRoot(), true);
    (void)prepared;
    FuzzedDataProvider input(data, size);
    ZEVO_MEDIA_INFO item;
    FillItem(input, item);
    std::string userAgent = input.ConsumeRandomLengthString(32);
    std::string extraName = input.ConsumeRandomLengthString(16);
    bool defaultDLNA = input.ConsumeBool();
    std::string json = input.ConsumeRemainingBytesAsString();

    std::string path = calyx_fuzz::WriteUnderRoot("/profiles.json", json);
    Calyx::DMSClientChecker::ReleaseClientList();
    bool loaded = Calyx::DMSClientChecker::InitProfileList(path);

    std::set<std::string> names = NamesIn(json);
    if (!loaded) {
        FUZZ_CHECK(names.empty(), "a list that parses was refused");
    }
    names.insert(extraName);
    names.insert("Default Profile");
    for (const std::string& name : names) {
        Calyx::DMSClientChecker checker(userAgent, name, defaultDLNA);
        Calyx::Agent* agent = Calyx::DMSClientChecker::GetAgent(name);
        FUZZ_CHECK(checker.m_agent == (name == "Default Profile" ? nullptr : agent),
                   "checker agent for " + calyx_fuzz::Show(name));
        std::string chosen = checker.getVideoProfileName(&item);
        std::string expected =
            agent != nullptr && name != "Default Profile"
                ? calyx_reference::VideoProfileName(agent->m_profileSettings, &item)
                : std::string();
        FUZZ_CHECK(chosen == expected, "video profile " + calyx_fuzz::Show(chosen) + " expected " +
                                           calyx_fuzz::Show(expected));
        FUZZ_CHECK(checker.getVideoProfileName(nullptr).empty(), "null item");
        if (agent != nullptr) {
            std::string explained;
            for (const Calyx::VideoProfileVerdict& v : Calyx::ExplainVideoProfiles(agent, &item)) {
                if (v.matched) {
                    explained = v.profileName;
                    break;
                }
            }
            FUZZ_CHECK(
                explained == calyx_reference::VideoProfileName(agent->m_profileSettings, &item),
                "ExplainVideoProfiles disagrees");
        }
        checker.GetOffendChar();
    }
    Calyx::DMSClientChecker::ReleaseClientList();
    return 0;
}
