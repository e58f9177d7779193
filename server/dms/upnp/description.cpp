#include "upnp/description.h"

#include <fstream>

#include "calyx/core.h"
#include "calyx/version.h"
#include "common/server_paths.h"
#include "upnp/device_icons.h"
#include "upnp/scpd.h"

namespace calyx_dms {

namespace {

std::string Element(const char* name, const std::string& text) {
    return std::string("<") + name + ">" + Calyx::XMLEscape(text, nullptr) + "</" + name + ">";
}

std::string Service(const char* type, const char* id, const char* scpd, const char* control,
                    const char* events) {
    return std::string("<service>") + Element("serviceType", type) + Element("serviceId", id) +
           Element("SCPDURL", scpd) + Element("controlURL", control) +
           Element("eventSubURL", events) + "</service>";
}

std::string DeviceDescription(const DeviceIdentity& id, const std::string& friendlyName,
                              const std::string& modelName, const std::string& modelNumber) {
    return std::string(
               "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
               "<root xmlns=\"urn:schemas-upnp-org:device-1-0\" "
               "xmlns:dlna=\"urn:schemas-dlna-org:device-1-0\">"
               "<specVersion><major>1</major><minor>0</minor></specVersion><device>") +
           Element("deviceType", "urn:schemas-upnp-org:device:MediaServer:1") +
           Element("friendlyName", friendlyName) + Element("manufacturer", "Calyx") +
           Element("modelDescription", "calyx-dms reference media server") +
           Element("modelName", modelName) + Element("modelNumber", modelNumber) +
           Element("serialNumber", id.serialNumber) + Element("UDN", id.udn) +
           "<dlna:X_DLNADOC>DMS-1.50</dlna:X_DLNADOC>" + IconListElement() + "<serviceList>" +
           Service("urn:schemas-upnp-org:service:ContentDirectory:1",
                   "urn:upnp-org:serviceId:ContentDirectory", "/ContentDirectory.xml",
                   kContentDirectoryControl, "/ContentDirectory/events") +
           Service("urn:schemas-upnp-org:service:ConnectionManager:1",
                   "urn:upnp-org:serviceId:ConnectionManager", "/ConnectionManager.xml",
                   kConnectionManagerControl, "/ConnectionManager/events") +
           Service("urn:microsoft.com:service:X_MS_MediaReceiverRegistrar:1",
                   "urn:microsoft.com:serviceId:X_MS_MediaReceiverRegistrar",
                   "/X_MS_MediaReceiverRegistrar.xml", kRegistrarControl,
                   "/X_MS_MediaReceiverRegistrar/events") +
           "</serviceList></device></root>\n";
}

bool WriteFile(const std::string& path, const std::string& text, std::string& error) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << text;
    out.close();
    if (!out) {
        error = "cannot write " + path;
        return false;
    }
    return true;
}

}  // namespace

bool WriteDescriptions(const std::string& directory, const DeviceIdentity& identity,
                       std::string& error) {
    // These clients list a server only when its model name is the one their own sharing
    // service announces, and a friendly name with a colon.
    const std::string msName = identity.friendlyName.find(':') == std::string::npos
                                   ? identity.friendlyName + ": " + identity.modelName
                                   : identity.friendlyName;
    return WriteFile(directory + kDescriptionPath,
                     DeviceDescription(identity, identity.friendlyName, identity.modelName,
                                       CALYX_VERSION_STRING),
                     error) &&
           WriteFile(directory + kMsDescriptionFile,
                     DeviceDescription(identity, msName, kMsModelName, "12"), error) &&
           WriteFile(directory + "/ContentDirectory.xml", ContentDirectoryScpd(), error) &&
           WriteFile(directory + "/ConnectionManager.xml", ConnectionManagerScpd(), error) &&
           WriteFile(directory + "/X_MS_MediaReceiverRegistrar.xml", MediaReceiverRegistrarScpd(),
                     error) &&
           WriteDeviceIcons(directory, error);
}

}  // namespace calyx_dms
