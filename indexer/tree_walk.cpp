// Depth-first walk with stat() of every entry; the index compares sizes and times later.
#include "indexer/tree_walk.h"

#include <dirent.h>
#include <errno.h>
#include <limits.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include <algorithm>
#include <set>
#include <utility>

#include "indexer/indexer.h"

namespace calyx_indexer {

namespace {

class Walker {
public:
    Walker(WalkResult& result, std::string skip, LinkPolicy links)
        : result_(result), skip_(std::move(skip)), links_(std::move(links)) {
        for (std::string& root : links_.roots) {
            char resolved[PATH_MAX];
            if (realpath(root.c_str(), resolved) != nullptr)
                root = resolved;
        }
    }

    void WalkRoot(const std::string& root) {
        char resolved[PATH_MAX];
        struct stat info {};
        if (realpath(root.c_str(), resolved) == nullptr || stat(resolved, &info) != 0) {
            Problem(root, std::string("cannot read folder: ") + strerror(errno));
            return;
        }
        if (!S_ISDIR(info.st_mode)) {
            Problem(root, "not a folder");
            return;
        }
        std::string path = resolved;
        if (path.size() > 1 && path.back() == '/')
            path.pop_back();
        result_.roots.push_back(EncodeIndexedPath(path));
        Walk(path, info, kNoFolder);
    }

    void WalkUnder(const std::string& path, size_t parent) {
        if (!LinkAllowed(path))
            return;
        struct stat info {};
        if (stat(path.c_str(), &info) != 0) {
            if (errno != ENOENT && errno != ENOTDIR)
                Problem(path, std::string("cannot read it: ") + strerror(errno));
            return;
        }
        if (S_ISDIR(info.st_mode))
            Walk(path, info, parent);
        else if (S_ISREG(info.st_mode) && parent != kNoFolder)
            result_.files.push_back({path, EncodeIndexedPath(path), parent,
                                     static_cast<int64_t>(info.st_size),
                                     static_cast<int64_t>(info.st_mtime)});
    }

private:
    // False for a symbolic link whose target lies outside every media folder, unless
    // links may lead out of them.
    bool LinkAllowed(const std::string& path) const {
        struct stat info {};
        if (links_.followLinks || lstat(path.c_str(), &info) != 0 || !S_ISLNK(info.st_mode))
            return true;
        char resolved[PATH_MAX];
        if (realpath(path.c_str(), resolved) == nullptr)
            return true;  // a dangling link: stat says it is gone
        const std::string target = resolved;
        for (const std::string& root : links_.roots)
            if (root == "/" || target == root ||
                (target.size() > root.size() && target.compare(0, root.size(), root) == 0 &&
                 target[root.size()] == '/'))
                return true;
        return false;
    }

    void Problem(const std::string& path, const std::string& reason) {
        result_.problems.push_back({EncodeIndexedPath(path), reason});
    }

    void Walk(const std::string& path, const struct stat& info, size_t parent) {
        if (!visited_.insert({info.st_dev, info.st_ino}).second || path == skip_)
            return;
        const size_t self = result_.folders.size();
        result_.folders.push_back(
            {path, EncodeIndexedPath(path), parent, static_cast<int64_t>(info.st_mtime), true});

        DIR* dir = opendir(path.c_str());
        if (dir == nullptr) {
            result_.folders[self].complete = false;
            Problem(path, std::string("cannot read folder: ") + strerror(errno));
            return;
        }
        std::vector<std::string> names;
        while (const dirent* entry = readdir(dir)) {
            if (entry->d_name[0] != '.')
                names.emplace_back(entry->d_name);
        }
        closedir(dir);
        std::sort(names.begin(), names.end());

        const std::string prefix = path == "/" ? path : path + "/";
        std::vector<std::pair<std::string, struct stat>> subfolders;
        for (const std::string& name : names) {
            const std::string child = prefix + name;
            if (!LinkAllowed(child))
                continue;
            struct stat childInfo {};
            if (stat(child.c_str(), &childInfo) != 0) {
                if (errno != ENOENT)  // vanished since the listing: simply gone
                    Problem(child, std::string("cannot read it: ") + strerror(errno));
                result_.folders[self].complete = result_.folders[self].complete && errno == ENOENT;
                continue;
            }
            if (S_ISDIR(childInfo.st_mode)) {
                subfolders.emplace_back(child, childInfo);
            } else if (S_ISREG(childInfo.st_mode)) {
                result_.files.push_back({child, EncodeIndexedPath(child), self,
                                         static_cast<int64_t>(childInfo.st_size),
                                         static_cast<int64_t>(childInfo.st_mtime)});
            }
        }
        for (const auto& [child, childInfo] : subfolders)
            Walk(child, childInfo, self);
    }

    WalkResult& result_;
    std::string skip_;
    std::set<std::pair<dev_t, ino_t>> visited_;
    LinkPolicy links_;
};

// The thumbnail cache, with links resolved; empty when there is none.
std::string ResolvedSkip(const std::string& skip) {
    char resolved[PATH_MAX];
    return !skip.empty() && realpath(skip.c_str(), resolved) != nullptr ? resolved : "";
}

}  // namespace

void WalkPath(WalkResult& result, const std::string& path, size_t parent, const std::string& skip,
              const LinkPolicy& links) {
    Walker walker(result, ResolvedSkip(skip), links);
    walker.WalkUnder(path, parent);
}

WalkResult WalkFolders(const std::vector<std::string>& roots, const std::string& skip,
                       bool followLinks) {
    WalkResult result;
    Walker walker(result, ResolvedSkip(skip), LinkPolicy{roots, followLinks});
    for (const std::string& root : roots)
        walker.WalkRoot(root);
    return result;
}

}  // namespace calyx_indexer
