// Client list: the persistent record of clients and the discovery update.
#ifndef CALYX_CLIENT_LIST_H
#define CALYX_CLIENT_LIST_H

#include <map>
#include <string>
#include <vector>

#include "calyx/export.h"
#include "calyx/types.h"

namespace Calyx {}  // namespace Calyx

#endif  // CALYX_CLIENT_LIST_H
