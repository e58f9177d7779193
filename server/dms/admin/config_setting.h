// Changes one "name = value" line of calyx-dms's configuration file, keeping every other
// line (comments included) as it is.
#ifndef CALYX_DMS_CONFIG_SETTING_H
#define CALYX_DMS_CONFIG_SETTING_H

#include <string>

namespace calyx_dms {

// Replaces the first line that sets `name` with "name = value", or appends one. The file
// is replaced through a temporary file, so a crash leaves the old or the new one. False
// with `error` set when it cannot be read or written.
bool SaveConfigSetting(const std::string& path, const std::string& name, const std::string& value,
                       std::string& error);

}  // namespace calyx_dms

#endif  // CALYX_DMS_CONFIG_SETTING_H
