#include "upnp/device_icons.h"

#include <fstream>

namespace calyx_dms {

std::string IconListElement() {
    size_t count = 0;
    const DeviceIcon* icons = DeviceIcons(count);
    std::string out = "<iconList>";
    for (size_t i = 0; i < count; ++i) {
        const std::string side = std::to_string(icons[i].side);
        out += std::string("<icon><mimetype>") + icons[i].mimeType + "</mimetype><width>" + side +
               "</width><height>" + side + "</height><depth>24</depth><url>/" + icons[i].file +
               "</url></icon>";
    }
    return out + "</iconList>";
}

bool WriteDeviceIcons(const std::string& directory, std::string& error) {
    size_t count = 0;
    const DeviceIcon* icons = DeviceIcons(count);
    for (size_t i = 0; i < count; ++i) {
        const std::string path = directory + "/" + icons[i].file;
        std::ofstream out(path, std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(icons[i].data),
                  static_cast<std::streamsize>(icons[i].size));
        out.close();
        if (!out) {
            error = "cannot write " + path;
            return false;
        }
    }
    return true;
}

}  // namespace calyx_dms
