// The device description fields that identify a discovered client.
#include "calyx/client_list.h"

namespace Calyx {

const std::vector<std::string>& DeviceDescriptionFields() {
    static const std::vector<std::string> fields = {
        "deviceType",       "friendlyName", "manufacturer",   "manufacturerURL",
        "modelDescription", "modelName",    "modelNumber",    "modelURL",
        "serialNumber",     "UDN",          "presentationURL"};
    return fields;
}

}  // namespace Calyx
