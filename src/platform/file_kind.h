// Opening the files the library reads by itself, so that none of them can make a
// request wait: a FIFO without a writer blocks open() until one comes, and devices and
// sockets are not configuration files either.
#ifndef CALYX_PLATFORM_FILE_KIND_H
#define CALYX_PLATFORM_FILE_KIND_H

#include <cstdio>
#include <string>

namespace Calyx {
namespace detail {

/// fopen(path, "re") for a file that can be read without waiting: null when `path` (after
/// symbolic links) is missing, unreadable, or names a FIFO, socket or device, which
/// readers treat as a file that cannot be opened. A directory opens (reading it fails).
/// The check and the open are one step, so the file cannot change kind in between.
FILE* OpenForReading(const std::string& path);

/// The library's whole-file reader. Replaces `text` with the file at `path` (its first
/// `limit` bytes at most), opened as OpenForReading opens it. False when it cannot be
/// opened (`text` untouched) or read (a directory opens but cannot be read).
bool ReadWholeFile(const std::string& path, std::string& text,
                   size_t limit = static_cast<size_t>(-1));

/// What a JSON loader found at a path.
enum class SourceKind { kMissing, kRegular, kDirectory, kDevice, kFifo, kSocket, kOther };

/// A device is read up to this many bytes ("/dev/zero" never ends).
constexpr size_t kDeviceReadLimit = 16u << 20;

/// The same guarded open and read as ReadWholeFile, as the JSON loaders want them: a
/// regular file whole; a directory opens and reads as nothing; a character or block device is
/// opened non-blocking and read until end of file, EAGAIN or kDeviceReadLimit bytes.
/// False (with `text` empty) when `path` cannot be opened (missing, unreadable) or names a
/// FIFO or socket (refused: opening a FIFO can wait forever).
/// `kind` (when given) receives what was found. Throws std::bad_alloc only when the
/// file does not fit in memory.
bool ReadJsonSource(const std::string& path, std::string& text, SourceKind* kind = nullptr);

}  // namespace detail
}  // namespace Calyx

#endif  // CALYX_PLATFORM_FILE_KIND_H
