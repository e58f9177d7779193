// Host and device information: device identity, network cards, UPnP formatting, transcoding
// estimates and media folders.
#ifndef CALYX_HOST_H
#define CALYX_HOST_H

#include <map>
#include <string>
#include <vector>

#include "calyx/export.h"
#include "calyx/types.h"

namespace Calyx {}  // namespace Calyx

#endif  // CALYX_HOST_H
