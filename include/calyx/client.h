// Client identification: agent profiles, the process-wide profile list, client matching and video
// profile selection.
#ifndef CALYX_CLIENT_H
#define CALYX_CLIENT_H

#include <map>
#include <string>
#include <vector>

#include "calyx/export.h"
#include "calyx/types.h"

namespace Calyx {}  // namespace Calyx

#endif  // CALYX_CLIENT_H
