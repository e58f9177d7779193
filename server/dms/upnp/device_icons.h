// The device icons of calyx-dms: PNG and JPEG, 48 and 120 pixels square (DLNA's small and
// large icon sizes), drawn for the project (data/icons/) and built into the program.
#ifndef CALYX_DMS_UPNP_DEVICE_ICONS_H
#define CALYX_DMS_UPNP_DEVICE_ICONS_H

#include <stddef.h>

#include <string>

namespace calyx_dms {

struct DeviceIcon {
    const char* file;  // name beside the description, also its URL path without the "/"
    const char* mimeType;
    int side;  // width and height in pixels
    const unsigned char* data;
    size_t size;
};

// The icons, in the order the description lists them; `count` receives their number.
const DeviceIcon* DeviceIcons(size_t& count);

// The description's <iconList> element.
std::string IconListElement();

// Writes every icon into `directory`, beside the description the UPnP stack serves. False
// with `error` set when a file cannot be written.
bool WriteDeviceIcons(const std::string& directory, std::string& error);

}  // namespace calyx_dms

#endif  // CALYX_DMS_UPNP_DEVICE_ICONS_H
