// Paths and files: taking paths apart, copying a file, resolving share paths.
#include <libgen.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "calyx/core.h"
#include "calyx/platform.h"
#include "dmsutils/syslog_report.h"
#include "platform/file_ops.h"

namespace Calyx {

namespace {

// Applies a POSIX path function to a private copy, as the C functions may modify it.
template <typename PathFunction>
std::string OnPrivateCopy(const std::string& path, PathFunction function) {
    char* copy = strdup(path.c_str());
    if (copy == nullptr) {
        return std::string();
    }
    std::string result(function(copy));
    free(copy);
    return result;
}

}  // namespace

std::string FileGetPathBaseName(const std::string& path) {
    // <libgen.h> maps basename to the POSIX variant.
    return OnPrivateCopy(path, [](char* p) { return basename(p); });
}

std::string FileGetPathDirName(const std::string& path) {
    return OnPrivateCopy(path, [](char* p) { return dirname(p); });
}

std::string FileGetPathBaseNameNoExt(const std::string& path) {
    size_t slash = path.rfind('/');
    // A bare file name yields nothing on purpose: callers always pass full paths.
    if (slash == std::string::npos || slash + 1 == path.size()) {
        return std::string();
    }
    std::string name = path.substr(slash + 1);
    size_t dot = name.rfind('.');
    if (dot != std::string::npos) {
        name.erase(dot);
    }
    return name;
}

std::string FileGetFileExt(const std::string& path) {
    // Slashes are not considered: "/a.b/c" gives "b/c".
    size_t dot = path.rfind('.');
    if (dot == std::string::npos || dot + 1 == path.size()) {
        return std::string();
    }
    return path.substr(dot + 1);
}

int FileCopy(const std::string& from, const std::string& to) {
    if (from.empty() || to.empty()) {
        CALYX_REPORT_BAD_PARAMETER();
        return -1;
    }
    // Run cp directly rather than through a shell, so quotes, "$" and back quotes in
    // the paths are plain bytes.
    const char* argv[] = {"/bin/cp", "-f", from.c_str(), to.c_str(), nullptr};
    return detail::CurrentFileOps().run(argv);
}

std::string GetAbsolutePath(const std::string& sharePath) {
    if (sharePath.size() > ZEVO_MAXPATH) {
        if (DMSLOGGetLevel() >= 0) {
            DMSPrintf(DMSLOG_ERR, "Error: GetAbsolutePath - exceed ZEVO_MAXPATH(%d)\n",
                      ZEVO_MAXPATH);
        }
        return std::string();
    }
    std::vector<std::string> pieces = StringExplode(sharePath, "/");
    if (pieces.empty()) {
        return std::string();
    }
    char shareDir[ZEVO_MAXPATH];
    memset(shareDir, 0, sizeof shareDir);
    if (ZEVOSharePathGet(pieces[0].c_str(), shareDir, ZEVO_MAXPATH) != 0) {
        return std::string();
    }
    if (pieces.size() == 1) {
        return std::string(shareDir);
    }
    // The rest starts at the slash that ends the share name.
    size_t slash = sharePath.find('/', 1);
    std::string rest = slash == std::string::npos ? std::string() : sharePath.substr(slash);
    char result[ZEVO_MAXPATH];
    snprintf(result, sizeof result, "%s%s", shareDir, rest.c_str());
    return std::string(result);
}

}  // namespace Calyx
