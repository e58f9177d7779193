// Writing a whole file: through a temporary file renamed over the old one where that
// keeps everything the file was, in place where a rename cannot. Every step goes through
// the file operations of platform/file_ops.h, so tests can make any of them fail.
#ifndef CALYX_PLATFORM_FILE_REPLACE_H
#define CALYX_PLATFORM_FILE_REPLACE_H

#include <string>

namespace Calyx {
namespace detail {

// The file that writing to `path` reaches: symbolic links in the last component are
// followed (also a dangling one, whose target is then created). 0 or an errno (ELOOP
// after 40 links).
int ResolveFinalTarget(const std::string& path, std::string& target);

std::string DirectoryOf(const std::string& path);
std::string BaseNameOf(const std::string& path);

// The name of the temporary file a save of `target` creates: "." + base name + "." and
// six more characters, in the same directory.
std::string TemporaryPattern(const std::string& target);
// Whether `name` (a directory entry) has the form of TemporaryPattern(target)'s names.
bool IsTemporaryNameOf(const std::string& name, const std::string& targetBaseName);

// Writes `bytes` as the whole content of the file `target` (already resolved).
//  - The ordinary case, a regular file with one link that we may write, in a directory
//    we may write, owned by us or given back to its owner (or no file yet): a temporary
//    file beside it is written, synced and renamed over it, so a crash leaves the old or
//    the new content; its permission bits and owner are kept.
//  - Otherwise (a device, a FIFO, a file with several links, one we may not write, one
//    in a directory we may not write, a name too long for the temporary name, a file
//    whose owner we cannot give it back to) the file is truncated and rewritten in place:
//    its inode, links and owner stay, and a failed write may leave it incomplete. A FIFO
//    is opened without waiting: without a reader the save fails.
// 0 on success, otherwise the errno of the failed step (the temporary file is removed).
int WriteResolvedFile(const std::string& target, const std::string& bytes);

// ResolveFinalTarget, then WriteResolvedFile.
int WriteFileContents(const std::string& path, const std::string& bytes);

}  // namespace detail
}  // namespace Calyx

#endif  // CALYX_PLATFORM_FILE_REPLACE_H
