// Device identity: serial number, model name and UDN.
#include <syslog.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "calyx/core.h"
#include "calyx/host.h"
#include "calyx/platform.h"
#include "dmsutils/syslog_report.h"

namespace Calyx {

namespace {

constexpr int kSerialSize = 256;
constexpr int kModelSize = 64;
constexpr const char* kSerialPlaceholder = "1234567890";
constexpr const char* kDefaultModel = "Quillbox";
constexpr const char* kFallbackUDN = "uuid:4b1e7d30-2ac9-11b2-9f06-c37a51e8d2b4";

using SerialReader = int (*)(char*, int);

}  // namespace

std::string DMSGetProductSerial() {
    char serial[kSerialSize];
    memset(serial, 0, sizeof serial);
    // The custom serial wins; the factory one is read into the same buffer only when the
    // custom one is empty. A failed read is reported and gives "", never the placeholder.
    for (SerialReader read : {QLIBGetCustomSerialNumber, QLIBGetSerialNumber}) {
        if (read(serial, kSerialSize) < 0) {
            syslog(LOG_ERR, "%s:%s(%d): failed to get serial number from flash.",
                   CALYX_DMSUTILS_FILE, "DMSGetProductSerial", __LINE__);
            return std::string();
        }
        serial[kSerialSize - 1] = '\0';
        if (serial[0] != '\0') {
            return serial;
        }
    }
    return kSerialPlaceholder;
}

std::string DMSGetProductModel() {
    std::string model = kDefaultModel;
    char value[kModelSize];
    memset(value, 0, sizeof value);
    std::string settings = ResolveFixedPath("/etc.defaults/zevoinfo.conf");
    if (QLIBCFileGetKeyValue(settings.c_str(), "upnpmodelname", value, kModelSize, 0) > 0) {
        value[kModelSize - 1] = '\0';
        model = value;  // even an empty value replaces the default
    }
    return model;
}

std::string DMSGetProductUDN() {
    ZEVO_NET_CARD card;
    memset(&card, 0, sizeof card);
    // Card 0 is taken as it comes, usable or not.
    if (ZEVONetGetCard1(0, 0, &card) <= 0) {
        syslog(LOG_ERR, "%s:%s(%d): get network error.", CALYX_DMSUTILS_FILE, "DMSGetProductUDN",
               __LINE__);
        return kFallbackUDN;
    }
    const uint8_t* m = card.mac;
    char udn[64];
    // Clients remember a server by its UDN: this scrambled byte order must never change.
    snprintf(udn, sizeof udn,
             "uuid:%02x%02x%02x%02x-%02x%02x-%02x%02x-%02x%02x-%02x%02x%02x%02x%02x%02x", m[0],
             m[1], m[2], m[3], m[4], m[5], m[0], m[1], m[5], m[4], m[5], m[4], m[3], m[2], m[1],
             m[0]);
    return udn;
}

}  // namespace Calyx
