// Video profile selection (the straightforward reference against the library), loading a
// large profile list, and building checkers.
#include <benchmark/benchmark.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <random>
#include <string>
#include <vector>

#include "calyx/client.h"
#include "counting_allocator.h"
#include "video_profile_generator.h"
#include "video_profile_reference.h"

namespace {

using Calyx::Agent;
using Calyx::DMSClientChecker;

const int kItemCount = 10000;

const std::vector<ZEVO_MEDIA_INFO>& Items() {
    static const std::vector<ZEVO_MEDIA_INFO> items = [] {
        std::mt19937 rng(42);
        std::vector<ZEVO_MEDIA_INFO> generated;
        generated.reserve(kItemCount);
        for (int i = 0; i < kItemCount; ++i) {
            generated.push_back(calyx_gen::RealisticItem(rng));
        }
        return generated;
    }();
    return items;
}

Agent& RealisticAgent() {
    static Agent* agent = [] {
        auto* made = new Agent("Living Room TV");
        for (const auto& profile : calyx_gen::RealisticProfiles()) {
            made->setPair("profile@" + profile.first, profile.second);
        }
        return made;
    }();
    return *agent;
}

// The first `count` generated items. With 10,000 items (about 90 MB of records) every item
// comes from main memory; with 64 they stay in cache, as a freshly read browse page does.
std::vector<ZEVO_MEDIA_INFO> ItemsFor(const benchmark::State& state) {
    return std::vector<ZEVO_MEDIA_INFO>(Items().begin(), Items().begin() + state.range(0));
}

void BM_VideoProfile_Literal(benchmark::State& state) {
    const std::vector<ZEVO_MEDIA_INFO> items = ItemsFor(state);
    Agent& agent = RealisticAgent();
    size_t named = 0;
    for (auto _ : state) {
        for (const ZEVO_MEDIA_INFO& item : items) {
            std::string name = calyx_reference::VideoProfileName(agent.m_profileSettings, &item);
            named += name.empty() ? 0 : 1;
            benchmark::DoNotOptimize(name);
        }
    }
    state.SetItemsProcessed(state.iterations() * items.size());
    state.counters["named"] = static_cast<double>(named) / (state.iterations() * items.size());
}
BENCHMARK(BM_VideoProfile_Literal)->Arg(kItemCount)->Arg(64)->Unit(benchmark::kMicrosecond);

void BM_VideoProfile_Library(benchmark::State& state) {
    const std::vector<ZEVO_MEDIA_INFO> items = ItemsFor(state);
    DMSClientChecker checker("", "Default Profile", false);
    checker.m_agent = &RealisticAgent();
    checker.getVideoProfileName(&items[0]);  // the first call compiles the rules
    size_t named = 0;
    uint64_t longNames = 0;  // names beyond the short-string buffer need one allocation
    uint64_t before = calyx_bench::AllocationCount();
    for (auto _ : state) {
        for (const ZEVO_MEDIA_INFO& item : items) {
            std::string name = checker.getVideoProfileName(&item);
            named += name.empty() ? 0 : 1;
            longNames += name.size() > std::string().capacity() ? 1 : 0;
            benchmark::DoNotOptimize(name);
        }
    }
    uint64_t allocations = calyx_bench::AllocationCount() - before;
    double calls = static_cast<double>(state.iterations() * items.size());
    state.SetItemsProcessed(state.iterations() * items.size());
    state.counters["named"] = named / calls;
    state.counters["allocs_per_item"] = allocations / calls;
    state.counters["allocs_beyond_name"] = (allocations - longNames) / calls;
}
BENCHMARK(BM_VideoProfile_Library)->Arg(kItemCount)->Arg(64)->Unit(benchmark::kMicrosecond);

// A profile list of 500 entries like a shipped one: identification rules, types, options,
// offend chars and 4 to 16 video profiles each.
std::string GeneratedProfileList(int count) {
    std::mt19937 rng(5);
    std::vector<std::pair<std::string, std::string>> rules;
    for (const auto& rule : calyx_gen::RealisticProfiles()) {
        rules.push_back(rule);
    }
    static const char* const types[] = {"dlna", "xbox",      "msclient", "wmp",
                                        "roku", "musiconly", "wdtvlive", "samsungtv"};
    std::string json = "{\n  // generated\n  \"ProfileList\": [\n";
    for (int i = 0; i < count; ++i) {
        json += i == 0 ? "" : ",\n";
        json += "    {\"profileName\": \"Profile " + std::to_string(i) + "\",";
        json += " \"profileID\": {\"manufacturer\": \"Maker " + std::to_string(i % 37) +
                "\", \"modelName\": \"Model " + std::to_string(i) + "\"},";
        for (const char* type : types) {
            json += std::string(" \"") + type + "\": \"" +
                    (calyx_gen::Between(rng, 0, 2) ? "no" : "yes") + "\",";
        }
        json += " \"agentopt\": \"xmres transwav videosrt origcover\", \"offendchars\": \"<>:?\"";
        int videoProfiles = calyx_gen::Between(rng, 4, 16);
        for (int v = 0; v < videoProfiles; ++v) {
            const auto& rule = rules[(i + v) % rules.size()];
            json += ",\n      \"profile@" + rule.first + "\": \"" + rule.second + "\"";
        }
        json += "}";
    }
    json += "\n  ]\n}\n";
    return json;
}

std::string WriteTempFile(const std::string& content) {
    char path[] = "/tmp/calyx-bench-profiles-XXXXXX";
    int fd = mkstemp(path);
    if (fd < 0) {
        return std::string();
    }
    FILE* file = fdopen(fd, "w");
    fwrite(content.data(), 1, content.size(), file);
    fclose(file);
    return path;
}

void BM_InitProfileList_500(benchmark::State& state) {
    std::string content = GeneratedProfileList(500);
    std::string path = WriteTempFile(content);
    DMSClientChecker::ReleaseClientList();
    for (auto _ : state) {
        bool loaded = DMSClientChecker::InitProfileList(path);
        benchmark::DoNotOptimize(loaded);
        state.PauseTiming();
        DMSClientChecker::ReleaseClientList();
        state.ResumeTiming();
    }
    state.counters["file_bytes"] = static_cast<double>(content.size());
    unlink(path.c_str());
}
BENCHMARK(BM_InitProfileList_500)->Unit(benchmark::kMillisecond);

void BM_CheckerConstruction(benchmark::State& state) {
    std::string path = WriteTempFile(GeneratedProfileList(500));
    DMSClientChecker::ReleaseClientList();
    DMSClientChecker::InitProfileList(path);
    unlink(path.c_str());
    // Names spread over the list, the default profile and unknown names.
    std::vector<std::string> names;
    for (int i = 0; i < 500; i += 25) {
        names.push_back("Profile " + std::to_string(i));
    }
    names.push_back("Default Profile");
    names.push_back("Unknown Renderer");
    size_t next = 0;
    for (auto _ : state) {
        DMSClientChecker checker("Foo/1.0 UPnP/1.0 DLNADOC/1.50", names[next], false);
        benchmark::DoNotOptimize(checker.m_agent);
        next = next + 1 == names.size() ? 0 : next + 1;
    }
    state.SetItemsProcessed(state.iterations());
    DMSClientChecker::ReleaseClientList();
}
BENCHMARK(BM_CheckerConstruction);

}  // namespace
