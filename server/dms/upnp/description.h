// The device description (in two forms, for clients that need another model name) with
// its icons and the service descriptions, written into a private directory that the UPnP
// stack serves.
#ifndef CALYX_DMS_DESCRIPTION_H
#define CALYX_DMS_DESCRIPTION_H

#include <string>

namespace calyx_dms {

// The device's identity as the library gives it.
struct DeviceIdentity {
    std::string friendlyName;
    std::string modelName;
    std::string serialNumber;
    std::string udn;
};

// The model name Windows Media Player and the Xbox look for in a server's description.
inline constexpr char kMsModelName[] = "Windows Media Player Sharing";
// The user agents that are served the description with that model name (a GLib regex).
inline constexpr char kMsAgentPattern[] = "Windows-Media-Player|Xbox|WMFSDK|NSPlayer";

// Writes into `directory`: the device description, the same with kMsModelName, the
// three service descriptions and the device icons. False with `error` set when a file
// cannot be written.
bool WriteDescriptions(const std::string& directory, const DeviceIdentity& identity,
                       std::string& error);

}  // namespace calyx_dms

#endif  // CALYX_DMS_DESCRIPTION_H
