// Service descriptions (SCPD) of ContentDirectory:1 and ConnectionManager:1.
#ifndef CALYX_DMS_SCPD_H
#define CALYX_DMS_SCPD_H

#include <string>

namespace calyx_dms {

std::string ContentDirectoryScpd();
std::string ConnectionManagerScpd();

}  // namespace calyx_dms

#endif  // CALYX_DMS_SCPD_H
