// The folders and files under the folders to index.
#ifndef CALYX_INDEXER_TREE_WALK_H
#define CALYX_INDEXER_TREE_WALK_H

#include <stdint.h>

#include <string>
#include <vector>

namespace calyx_indexer {

constexpr size_t kNoFolder = static_cast<size_t>(-1);

struct WalkedFolder {
    std::string path;           // file system path, absolute, without a final "/"
    std::string indexed;        // EncodeIndexedPath(path)
    size_t parent = kNoFolder;  // index in WalkResult::folders
    int64_t mtime = 0;
    bool complete = true;  // false: it could not be read whole, so nothing under it is gone
};

struct WalkedFile {
    std::string path;
    std::string indexed;
    size_t folder = 0;  // index in WalkResult::folders
    int64_t size = 0;
    int64_t mtime = 0;
};

struct WalkProblem {
    std::string indexed;
    std::string reason;
};

struct WalkResult {
    std::vector<WalkedFolder> folders;  // parents before their children
    std::vector<WalkedFile> files;
    std::vector<WalkProblem> problems;  // folders and files that could not be read
    std::vector<std::string> roots;     // indexed paths of the folders walked
};

// How symbolic links under the media folders are treated: a link whose target lies
// outside every folder of `roots` is left out unless `followLinks` (links inside them are
// followed, each folder once).
struct LinkPolicy {
    std::vector<std::string> roots;  // the media folders (made absolute, links resolved)
    bool followLinks = false;
};

// Walks each folder of `roots` (made absolute; each folder once; links as `followLinks`
// says, see LinkPolicy). Names starting with "." and the folder `skip` (the thumbnail
// cache) are left out. A root that is not a readable folder is a problem, not a walked
// root.
WalkResult WalkFolders(const std::vector<std::string>& roots, const std::string& skip,
                       bool followLinks = false);

// Adds what is at `path` (absolute, links resolved) now to `result`: a folder is walked
// whole as a child of result.folders[parent] (kNoFolder: as a root of its own), a regular
// file becomes a file of result.folders[parent]. A path that is gone, or is neither,
// adds nothing. `skip` as for WalkFolders; links under it as `links` says (its default,
// no roots and following links, leaves nothing out).
void WalkPath(WalkResult& result, const std::string& path, size_t parent, const std::string& skip,
              const LinkPolicy& links = LinkPolicy{{}, true});

}  // namespace calyx_indexer

#endif  // CALYX_INDEXER_TREE_WALK_H
