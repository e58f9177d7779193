// Localization: the string bundle of translated user-interface texts.
#ifndef CALYX_I18N_H
#define CALYX_I18N_H

#include <map>
#include <string>
#include <vector>

#include "calyx/export.h"
#include "calyx/types.h"

namespace Calyx {}  // namespace Calyx

#endif  // CALYX_I18N_H
