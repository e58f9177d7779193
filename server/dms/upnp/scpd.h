// Service descriptions (SCPD) of ContentDirectory:1, ConnectionManager:1 and
// X_MS_MediaReceiverRegistrar:1.
#ifndef CALYX_DMS_SCPD_H
#define CALYX_DMS_SCPD_H

#include <string>

namespace calyx_dms {

std::string ContentDirectoryScpd();
std::string ConnectionManagerScpd();
std::string MediaReceiverRegistrarScpd();

}  // namespace calyx_dms

#endif  // CALYX_DMS_SCPD_H
