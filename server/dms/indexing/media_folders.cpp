#include "indexing/media_folders.h"

#include <limits.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <map>

#include "calyx/host.h"

namespace calyx_dms {

namespace {

std::string Absolute(const std::string& path) {
    if (!path.empty() && path[0] == '/')
        return path;
    char cwd[PATH_MAX];
    if (getcwd(cwd, sizeof cwd) == nullptr)
        return path;
    return std::string(cwd) + "/" + path;
}

std::string WithoutFinalSlash(std::string path) {
    while (path.size() > 1 && path.back() == '/')
        path.pop_back();
    return path;
}

std::string BaseName(const std::string& path) {
    const size_t slash = path.rfind('/');
    const std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
    return name.empty() ? "/" : name;
}

// The folder with every link resolved, or "" when it is not a folder one can open.
std::string ResolvedFolder(const std::string& path, std::string& reason) {
    struct stat st {};
    if (stat(path.c_str(), &st) != 0) {
        reason = "does not exist";
        return "";
    }
    if (!S_ISDIR(st.st_mode)) {
        reason = "is not a folder";
        return "";
    }
    char* real = realpath(path.c_str(), nullptr);
    std::string resolved = real != nullptr ? real : path;
    free(real);
    return resolved;
}

}  // namespace

std::vector<MediaFolder> CombineMediaFolders(const std::vector<std::string>& given,
                                             std::vector<std::string>& problems) {
    std::vector<MediaFolder> folders;
    std::map<std::string, size_t> byResolved;  // resolved path -> index in folders
    auto add = [&](const std::string& path, const std::string& title, unsigned kinds,
                   const std::string& source) {
        std::string reason;
        const std::string resolved = ResolvedFolder(path, reason);
        if (resolved.empty()) {
            problems.push_back("media folder " + path + " (" + source + ") " + reason);
            return;
        }
        auto found = byResolved.find(resolved);
        if (found != byResolved.end()) {
            folders[found->second].kinds |= kinds;
            return;
        }
        byResolved[resolved] = folders.size();
        folders.push_back({path, title, kinds, source});
    };
    for (const std::string& folder : given) {
        const std::string path = WithoutFinalSlash(Absolute(folder));
        add(path, BaseName(path), kAllKinds, "--media");
    }
    const struct {
        Calyx::MEDIA_TABLE_TYPE type;
        unsigned kinds;
        const char* word;
        const char* source;
    } kLibraryTypes[] = {
        {Calyx::MEDIA_TABLE_MUSIC, kMusicKind, "music", "the library's music folders"},
        {Calyx::MEDIA_TABLE_VIDEO, kVideoKind, "video", "the library's video folders"},
        {Calyx::MEDIA_TABLE_PHOTO, kPhotoKind, "photo", "the library's photo folders"},
    };
    for (const auto& type : kLibraryTypes) {
        for (const auto& [path, title] : Calyx::GetIndexLoacationPath(type.type)) {
            if (!path.empty())
                add(WithoutFinalSlash(path), title, type.kinds, type.source);
        }
        // The type's share link, shown under the type word as the share itself is.
        const std::string share = Calyx::DMSGetMediaFolderPath(type.type);
        if (!share.empty())
            add(WithoutFinalSlash(share), type.word, type.kinds, type.source);
    }
    return folders;
}

std::string DescribeKinds(unsigned kinds) {
    if ((kinds & kAllKinds) == kAllKinds)
        return "every kind";
    std::string words;
    for (const auto& [bit, word] : {std::pair<unsigned, const char*>{kMusicKind, "music"},
                                    {kVideoKind, "video"},
                                    {kPhotoKind, "photo"}})
        if ((kinds & bit) != 0)
            words += (words.empty() ? "" : ", ") + std::string(word);
    return words;
}

}  // namespace calyx_dms
