// The device description with its icons and the two service descriptions, written into a
// private directory that the UPnP stack serves.
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

// Writes "description.xml", "ContentDirectory.xml", "ConnectionManager.xml" and the
// device icons into `directory`. False with `error` set when a file cannot be written.
bool WriteDescriptions(const std::string& directory, const DeviceIdentity& identity,
                       std::string& error);

}  // namespace calyx_dms

#endif  // CALYX_DMS_DESCRIPTION_H
