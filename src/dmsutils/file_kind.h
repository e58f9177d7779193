// Whether opening a path for reading could wait: a FIFO without a writer blocks open()
// until one comes, and devices and sockets are not configuration files either.
#ifndef CALYX_DMSUTILS_FILE_KIND_H
#define CALYX_DMSUTILS_FILE_KIND_H

#include <string>

namespace Calyx {
namespace detail {

/// True when `path` names (after symbolic links) a FIFO, socket or device. Readers treat
/// such a file as one that cannot be opened, so that a stray FIFO never hangs a request.
bool WouldBlockOnOpen(const std::string& path);

}  // namespace detail
}  // namespace Calyx

#endif  // CALYX_DMSUTILS_FILE_KIND_H
