// Log throughput: DMSPrintf into a real file (every line flushed and size-checked)
// beside the floor for that durability, a plain write + fstat of the same bytes.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "calyx/core.h"

namespace {

std::string TempLogPath() {
    char pattern[] = "/tmp/calyx-log-bench-XXXXXX";
    char* dir = mkdtemp(pattern);
    return std::string(dir != nullptr ? dir : "/tmp") + "/bench.log";
}

void Cleanup(const std::string& path) {
    std::string dir = path.substr(0, path.rfind('/'));
    std::string command = "rm -rf '" + dir + "'";
    if (system(command.c_str()) != 0) {
        perror("cleanup");
    }
}

void BM_DMSPrintf(benchmark::State& state) {
    std::string path = TempLogPath();
    Calyx::DMSLOGInit(path.c_str());
    int i = 0;
    for (auto _ : state) {
        Calyx::DMSPrintf(Calyx::DMSLOG_ERR, "Error: DMSClientList::UpdateKeys - client %d at %s\n",
                         ++i, "192.168.1.23");
    }
    state.SetItemsProcessed(state.iterations());
    Calyx::DMSLogClose();
    Cleanup(path);
}
// 60,000 lines of about 80 bytes stay below the rotation size, so both loops measure the
// per-line cost alone (a rotation runs gzip on 5 MiB, which would dominate).
constexpr int kLinesPerRun = 60000;
BENCHMARK(BM_DMSPrintf)->Iterations(kLinesPerRun)->Repetitions(5);

// The floor: the same bytes (timestamp included, already formatted) written with one
// write() per line and one fstat() per line, rotating at the same size.
void BM_WriteFstatFloor(benchmark::State& state) {
    std::string path = TempLogPath();
    int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
    int i = 0;
    char line[256];
    for (auto _ : state) {
        int n = snprintf(line, sizeof line,
                         "Nov21 12:00:00 Error: DMSClientList::UpdateKeys - client %d at %s\n", ++i,
                         "192.168.1.23");
        if (write(fd, line, static_cast<size_t>(n)) < 0) {
            state.SkipWithError("write failed");
            break;
        }
        struct stat st;
        fstat(fd, &st);
        if (st.st_size > 5242880) {
            ftruncate(fd, 0);
        }
    }
    state.SetItemsProcessed(state.iterations());
    close(fd);
    Cleanup(path);
}
BENCHMARK(BM_WriteFstatFloor)->Iterations(kLinesPerRun)->Repetitions(5);

void BM_DMSPrintfFiltered(benchmark::State& state) {
    for (auto _ : state) {
        Calyx::DMSPrintf(Calyx::DMSLOG_DEBUG, "filtered %d\n", 1);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_DMSPrintfFiltered);

}  // namespace
