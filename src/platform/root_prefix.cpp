// The root prefix: every fixed path of the library is resolved under $CALYX_ROOT.
#include <cstdlib>
#include <string>

#include "calyx/core.h"

namespace Calyx {

std::string ResolveFixedPath(const std::string& fixedPath) {
    // Read on every call, so a host or a test may point the library at another tree
    // before it starts its threads.
    const char* root = std::getenv("CALYX_ROOT");
    if (root == nullptr || root[0] == '\0') {
        return fixedPath;
    }
    return std::string(root) + fixedPath;
}

}  // namespace Calyx
