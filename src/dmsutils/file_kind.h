// Opening the files the library reads by itself, so that none of them can make a
// request wait: a FIFO without a writer blocks open() until one comes, and devices and
// sockets are not configuration files either.
#ifndef CALYX_DMSUTILS_FILE_KIND_H
#define CALYX_DMSUTILS_FILE_KIND_H

#include <cstdio>
#include <string>

namespace Calyx {
namespace detail {

/// fopen(path, "re") for a file that can be read without waiting: null when `path` (after
/// symbolic links) is missing, unreadable, or names a FIFO, socket or device, which
/// readers treat as a file that cannot be opened. A directory opens (reading it fails).
/// The check and the open are one step, so the file cannot change kind in between.
FILE* OpenForReading(const std::string& path);

/// Appends everything left to read in `file` to `text`; false when reading failed (for
/// example on a directory), with what was read before the failure appended.
bool AppendFileContents(FILE* file, std::string& text);

/// Replaces `text` with the whole file at `path`, opened with OpenForReading; false when
/// it cannot be opened or read (a directory opens but cannot be read).
bool ReadWholeFile(const std::string& path, std::string& text);

}  // namespace detail
}  // namespace Calyx

#endif  // CALYX_DMSUTILS_FILE_KIND_H
