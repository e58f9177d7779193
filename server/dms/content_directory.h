// ContentDirectory:1 actions: Browse, Search and the capability and update-id queries.
#ifndef CALYX_DMS_CONTENT_DIRECTORY_H
#define CALYX_DMS_CONTENT_DIRECTORY_H

#include <libgupnp/gupnp.h>

#include <string>

#include "calyx/i18n.h"
#include "catalog.h"

namespace calyx_dms {

class ContentDirectory {
public:
    // Connects the action handlers of `service`; `baseUrl` ("http://ip:port") prefixes
    // media URLs; `rootTitle` names the root container.
    ContentDirectory(GUPnPService* service, Catalog& catalog, const Calyx::DMSStringBundle& texts,
                     std::string baseUrl, std::string rootTitle);
    ContentDirectory(const ContentDirectory&) = delete;
    ContentDirectory& operator=(const ContentDirectory&) = delete;

    void Browse(GUPnPServiceAction* action);
    void Search(GUPnPServiceAction* action);
    void GetSystemUpdateID(GUPnPServiceAction* action);

private:
    Catalog& catalog_;
    const Calyx::DMSStringBundle& texts_;
    std::string baseUrl_;
    std::string rootTitle_;
};

}  // namespace calyx_dms

#endif  // CALYX_DMS_CONTENT_DIRECTORY_H
