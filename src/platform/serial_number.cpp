// Portable serial numbers: the custom one from the platform settings file, the factory
// one from the device tree or the firmware's DMI table.
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "calyx/core.h"
#include "calyx/platform.h"
#include "platform/file_kind.h"

namespace {

constexpr const char* kSettingsFile = "/etc.defaults/zevoinfo.conf";
constexpr const char* kCustomSerialKey = "custom_serial";
// Device tree first (ARM boards), then the DMI table (PCs and servers).
constexpr const char* kFactorySerialFiles[] = {"/proc/device-tree/serial-number",
                                               "/sys/class/dmi/id/product_serial"};

bool Missing(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) != 0 && (errno == ENOENT || errno == ENOTDIR);
}

// Bounded: a serial number is short, and sysfs files are at most a page.
constexpr size_t kSerialReadLimit = 65536;

void TrimTrailing(std::string& text) {
    while (!text.empty()) {
        char c = text.back();
        if (c != '\0' && c != ' ' && c != '\t' && c != '\n' && c != '\r') {
            break;
        }
        text.pop_back();
    }
}

void CopyOut(const std::string& text, char* buf, int size) {
    snprintf(buf, static_cast<size_t>(size), "%s", text.c_str());
}

}  // namespace

extern "C" int QLIBGetCustomSerialNumber(char* buf, int size) {
    if (buf == nullptr || size <= 0) {
        return -1;
    }
    buf[0] = '\0';
    std::string settings = Calyx::ResolveFixedPath(kSettingsFile);
    // No settings file: no custom serial, which is normal on an ordinary machine.
    if (Missing(settings)) {
        return 0;
    }
    int found = QLIBCFileGetKeyValue(settings.c_str(), kCustomSerialKey, buf, size, 0);
    if (found < 0) {
        buf[0] = '\0';
        return -1;
    }
    if (found == 0) {
        buf[0] = '\0';
    }
    return 0;
}

extern "C" int QLIBGetSerialNumber(char* buf, int size) {
    if (buf == nullptr || size <= 0) {
        return -1;
    }
    buf[0] = '\0';
    for (const char* fixed : kFactorySerialFiles) {
        std::string path = Calyx::ResolveFixedPath(fixed);
        if (Missing(path)) {
            continue;
        }
        std::string serial;
        if (!Calyx::detail::ReadWholeFile(path, serial, kSerialReadLimit)) {
            return -1;
        }
        // A device-tree string carries its NUL; text in the middle would end at it too.
        serial.resize(strnlen(serial.c_str(), serial.size()));
        TrimTrailing(serial);
        CopyOut(serial, buf, size);
        return 0;
    }
    return -1;
}
