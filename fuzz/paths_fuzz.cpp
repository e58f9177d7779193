// Path helpers against straightforward readings of their rules, and the share lookup
// under a temporary root.
#include <cstdint>
#include <string>

#include "calyx/core.h"
#include "fuzz_support.h"

namespace {

// POSIX basename/dirname, written out.
std::string StripTrailingSlashes(std::string p) {
    while (p.size() > 1 && p.back() == '/') {
        p.pop_back();
    }
    return p;
}

std::string ReferenceBaseName(const std::string& path) {
    if (path.empty()) {
        return ".";
    }
    std::string p = StripTrailingSlashes(path);
    if (p == "/") {
        return "/";
    }
    size_t slash = p.rfind('/');
    return slash == std::string::npos ? p : p.substr(slash + 1);
}

std::string PosixDirName(const std::string& path) {
    if (path.empty()) {
        return ".";
    }
    std::string p = StripTrailingSlashes(path);
    if (p == "/") {
        return "/";
    }
    size_t slash = p.rfind('/');
    if (slash == std::string::npos) {
        return ".";
    }
    p.erase(slash);
    p = StripTrailingSlashes(p);
    while (!p.empty() && p.back() == '/') {
        p.pop_back();
    }
    return p.empty() ? "/" : p;
}

// A root reached through exactly two leading slashes stays "//" (the implementation-
// defined case that the C library keeps).
std::string ReferenceDirName(const std::string& path) {
    std::string dir = PosixDirName(path);
    if (dir == "/" && path.compare(0, 2, "//") == 0 && path.compare(0, 3, "///") != 0) {
        return "//";
    }
    return dir;
}

const char kShareDir[] = "/volume1/Music Library";

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static bool prepared = [] {
        calyx_fuzz::OpenLogUnderRoot();
        calyx_fuzz::WriteUnderRoot(
            "/usr/zevo/etc/shares.conf",
            std::string("# shares\nmusic=") + kShareDir + "\nempty=\nvideo=\"/volume1/video\"\n");
        return true;
    }();
    (void)prepared;

    std::string path(reinterpret_cast<const char*>(data), size);
    std::string visible = path.substr(0, path.find('\0'));

    FUZZ_CHECK(Calyx::FileGetPathBaseName(path) == ReferenceBaseName(visible),
               "basename of " + calyx_fuzz::Show(path));
    FUZZ_CHECK(Calyx::FileGetPathDirName(path) == ReferenceDirName(visible),
               "dirname of " + calyx_fuzz::Show(path));

    std::string noExt = Calyx::FileGetPathBaseNameNoExt(path);
    FUZZ_CHECK(noExt.find('/') == std::string::npos, "slash in " + calyx_fuzz::Show(noExt));
    size_t slash = path.rfind('/');
    if (slash == std::string::npos || slash + 1 == path.size()) {
        FUZZ_CHECK(noExt.empty(), "name without a directory gave " + calyx_fuzz::Show(noExt));
    } else {
        std::string name = path.substr(slash + 1);
        FUZZ_CHECK(name.compare(0, noExt.size(), noExt) == 0, "not a prefix of the name");
        FUZZ_CHECK(noExt.size() == name.size() || name[noExt.size()] == '.', "cut not at a dot");
        FUZZ_CHECK(
            noExt.size() == name.size() || name.find('.', noExt.size() + 1) == std::string::npos,
            "cut not at the last dot");
    }

    std::string ext = Calyx::FileGetFileExt(path);
    size_t dot = path.rfind('.');
    if (dot == std::string::npos) {
        FUZZ_CHECK(ext.empty(), "extension without a dot");
    } else {
        FUZZ_CHECK(ext == path.substr(dot + 1), "extension of " + calyx_fuzz::Show(path));
    }

    std::string absolute = Calyx::GetAbsolutePath(path);
    FUZZ_CHECK(absolute.size() < ZEVO_MAXPATH, "result longer than its buffer");
    std::string trimmed = visible.substr(visible.find_first_not_of('/') == std::string::npos
                                             ? visible.size()
                                             : visible.find_first_not_of('/'));
    bool music = path.size() <= ZEVO_MAXPATH && trimmed.compare(0, 5, "music") == 0 &&
                 (trimmed.size() == 5 || trimmed[5] == '/');
    if (music) {
        FUZZ_CHECK(absolute.compare(0, sizeof kShareDir - 1, kShareDir) == 0,
                   "share not resolved for " + calyx_fuzz::Show(path));
    } else if (path.size() > ZEVO_MAXPATH) {
        FUZZ_CHECK(absolute.empty(), "over-long path resolved");
    }
    return 0;
}
