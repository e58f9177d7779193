// Helpers shared by the fuzz targets.
#include "fuzz_support.h"

#include <ftw.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "calyx/core.h"

namespace calyx_fuzz {

namespace {

std::string gRoot;

int RemoveEntry(const char* path, const struct stat*, int, struct FTW*) {
    remove(path);
    return 0;
}

void RemoveTree(const std::string& path) {
    nftw(path.c_str(), RemoveEntry, 16, FTW_DEPTH | FTW_PHYS);
}

void RemoveRootAtExit() {
    if (!gRoot.empty()) {
        Calyx::DMSLogClose();
        RemoveTree(gRoot);
    }
}

void MakeParents(const std::string& path) {
    for (size_t slash = path.find('/', 1); slash != std::string::npos;
         slash = path.find('/', slash + 1)) {
        mkdir(path.substr(0, slash).c_str(), 0755);
    }
}

}  // namespace

void PropertyFailed(const char* file, int line, const char* condition, const std::string& detail) {
    fprintf(stderr, "%s:%d: property failed: %s\n  %s\n", file, line, condition, detail.c_str());
    abort();
}

const std::string& Root() {
    if (gRoot.empty()) {
        const char* tmp = getenv("TMPDIR");
        std::string pattern =
            std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") + "/calyx-fuzz-XXXXXX";
        if (mkdtemp(pattern.data()) == nullptr) {
            perror("mkdtemp");
            abort();
        }
        gRoot = pattern;
        setenv("CALYX_ROOT", gRoot.c_str(), 1);
        atexit(RemoveRootAtExit);
    }
    return gRoot;
}

std::string WriteUnderRoot(const std::string& absolute, const std::string& content) {
    std::string path = Root() + absolute;
    MakeParents(path);
    FILE* file = fopen(path.c_str(), "we");
    if (file == nullptr) {
        perror(path.c_str());
        abort();
    }
    fwrite(content.data(), 1, content.size(), file);
    fclose(file);
    return path;
}

void RemoveUnderRoot(const std::string& absolute) {
    RemoveTree(Root() + absolute);
}

void OpenLogUnderRoot() {
    static bool opened = false;
    if (!opened) {
        opened = true;
        std::string path = Root() + "/calyx.log";
        Calyx::DMSLOGInit(path.c_str());
        Calyx::DMSLOGSetLevel(Calyx::DMSLOG_DEBUG);
    }
}

std::string Show(const std::string& bytes) {
    std::string out = "\"";
    for (unsigned char c : bytes) {
        if (c >= 0x20 && c < 0x7f && c != '"' && c != '\\') {
            out += static_cast<char>(c);
        } else {
            char hex[8];
            snprintf(hex, sizeof hex, "\\x%02X", c);
            out += hex;
        }
    }
    return out + "\" (" + std::to_string(bytes.size()) + " bytes)";
}

}  // namespace calyx_fuzz
