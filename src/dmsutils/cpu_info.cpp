// One property of the processor from "/proc/cpuinfo".
#include <syslog.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "calyx/core.h"
#include "calyx/host.h"
#include "dmsutils/syslog_report.h"
#include "platform/file_kind.h"

namespace Calyx {

std::string GetCPUInfo(const std::string& key) {
    if (key.empty()) {
        CALYX_REPORT_BAD_PARAMETER();
        return std::string();
    }
    std::string path = ResolveFixedPath("/proc/cpuinfo");
    FILE* file = detail::OpenForReading(path);
    if (file == nullptr) {
        syslog(LOG_ERR, "%s:%d Failed to open file [%s]", CALYX_DMSUTILS_FILE, __LINE__,
               path.c_str());
        return std::string();
    }
    std::string value;
    char* line = nullptr;
    size_t capacity = 0;
    // Every line is read: the last match wins (the last processor on a multi-core box).
    while (getline(&line, &capacity, file) >= 0) {
        std::vector<std::string> pieces = StringExplode(line, ":");
        if (pieces.size() >= 2 && pieces[0].find(key) != std::string::npos) {
            value = pieces[1];  // raw: callers trim it
        }
    }
    free(line);
    fclose(file);
    return value;
}

}  // namespace Calyx
