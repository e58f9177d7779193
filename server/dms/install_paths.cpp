#include "install_paths.h"

#include <limits.h>
#include <unistd.h>

namespace calyx_dms {

namespace {

// The running program's path, or "" when the kernel does not say.
std::string RunningProgram() {
    char self[PATH_MAX];
    const ssize_t n = readlink("/proc/self/exe", self, sizeof self - 1);
    return n > 0 ? std::string(self, static_cast<size_t>(n)) : "";
}

}  // namespace

bool RunsFromBuildTree() {
    const std::string program = RunningProgram();
    const std::string build = std::string(CALYX_DMS_BUILD_DIR) + "/";
    return !program.empty() && program.compare(0, build.size(), build) == 0;
}

std::string DataFile(const std::string& name) {
    return (RunsFromBuildTree() ? std::string(CALYX_DMS_SOURCE_DIR) + "/data/"
                                : std::string(CALYX_DMS_DATA_DIR) + "/data/") +
           name;
}

namespace {

std::string CompanionProgram(const char* name, const char* installed) {
    const std::string program = RunningProgram();
    if (!program.empty()) {
        std::string beside = program.substr(0, program.rfind('/') + 1) + name;
        if (access(beside.c_str(), X_OK) == 0)
            return beside;
    }
    return installed;
}

}  // namespace

std::string WorkerProgram() {
    return CompanionProgram("calyx-dms-worker", CALYX_DMS_WORKER_INSTALLED);
}

std::string TranscoderProgram() {
    return CompanionProgram("calyx-transcode", CALYX_TRANSCODE_INSTALLED);
}

std::string BuildTreeTextsRoot() {
    return RunsFromBuildTree() ? CALYX_DMS_TEXTS_ROOT : "";
}

}  // namespace calyx_dms
