// A client list document for the settings page tests: two clients with a MAC address
// (one with markup in its name) and an entry without one.
#ifndef CALYX_TESTS_SERVER_DMS_ADMIN_SAMPLE_CLIENTS_H
#define CALYX_TESTS_SERVER_DMS_ADMIN_SAMPLE_CLIENTS_H

#include <json/value.h>

namespace calyx_dms {

inline Json::Value Document() {
    Json::Value document(Json::objectValue);
    Json::Value& list = document["ClientList"];
    Json::Value a(Json::objectValue);
    a["macAddr"] = "aa:00:00:00:00:01";
    a["ipAddr"] = "10.0.0.9";
    a["displayName"] = "Living Room";
    a["profileName_Orig"] = "Sony Bravia 4K";
    a["isAccess"] = true;
    list.append(a);
    Json::Value b(Json::objectValue);
    b["macAddr"] = "aa:00:00:00:00:02";
    b["ipAddr"] = "10.0.0.10";
    b["displayName"] = "<img src=x onerror=alert(1)>";
    b["profileName_Orig"] = "Default Profile";
    b["profileName_UserSelected"] = "Kodi";
    list.append(b);
    Json::Value noMac(Json::objectValue);
    noMac["displayName"] = "no address";
    list.append(noMac);
    return document;
}

}  // namespace calyx_dms

#endif  // CALYX_TESTS_SERVER_DMS_ADMIN_SAMPLE_CLIENTS_H
