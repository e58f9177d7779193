// Media database: the query builder over the media index.
#ifndef CALYX_MEDIA_DB_H
#define CALYX_MEDIA_DB_H

#include <map>
#include <string>
#include <vector>

#include "calyx/export.h"
#include "calyx/types.h"

namespace Calyx {}  // namespace Calyx

#endif  // CALYX_MEDIA_DB_H
