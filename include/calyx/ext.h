// Extensions of libcalyx that go beyond its specified interface.
//
// These are documented, stable helpers for hosts, tools and tests. They are implemented
// by the same code that the specified functions use.
#ifndef CALYX_EXT_H
#define CALYX_EXT_H

#include <string>

#include "calyx/export.h"

namespace Calyx {

/// Resolves one of the library's fixed absolute paths (package, platform and kernel
/// files such as "/proc/net/arp") under the root prefix: when the environment variable
/// CALYX_ROOT is set and not empty, the result is its value followed by `fixedPath`;
/// otherwise `fixedPath` as it stands. The variable is read on every call.
CALYX_EXPORT std::string ResolveFixedPath(const std::string& fixedPath);

}  // namespace Calyx

#endif  // CALYX_EXT_H
