#include "upnp/samsung_actions.h"

#include <stdlib.h>

#include <string>

#include "clients/request_visits.h"
#include "content/bookmarks.h"
#include "content/client_view.h"
#include "upnp/action_arguments.h"

namespace calyx_dms {

namespace {

struct FeatureContainer {
    const char* id;
    const char* type;
    Calyx::MEDIA_TABLE_TYPE table;
};

const FeatureContainer kFeatureContainers[] = {
    {"music", "object.item.audioItem", Calyx::MEDIA_TABLE_MUSIC},
    {"video", "object.item.videoItem", Calyx::MEDIA_TABLE_VIDEO},
    {"photo", "object.item.imageItem", Calyx::MEDIA_TABLE_PHOTO},
};

// The Samsung client asking, or null (the action is then answered with an error).
ClientVisit* SamsungVisit(GUPnPServiceAction* action) {
    ClientVisit* visit = ActionVisit(action);
    if (!visit || !visit->checker->m_isSamsungTV) {
        gupnp_service_action_return_error(action, 401, "Invalid Action");
        return nullptr;
    }
    return visit;
}

void GetFeatureList(GUPnPService*, GUPnPServiceAction* action, gpointer) {
    ClientVisit* visit = SamsungVisit(action);
    if (!visit)
        return;
    std::string list =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>"
        "<Features xmlns=\"urn:schemas-upnp-org:av:avs\" "
        "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
        "xsi:schemaLocation=\"urn:schemas-upnp-org:av:avs "
        "http://www.upnp.org/schemas/av/avs.xsd\">"
        "<Feature name=\"samsung.com_BASICVIEW\" version=\"1\">";
    for (const FeatureContainer& container : kFeatureContainers)
        if (!HiddenFrom(*visit, container.table))
            list += std::string("<container id=\"") + container.id + "\" type=\"" + container.type +
                    "\"/>";
    list += "</Feature></Features>";
    gupnp_service_action_set(action, "FeatureList", G_TYPE_STRING, list.c_str(), nullptr);
    gupnp_service_action_return_success(action);
}

void SetBookmarkAction(GUPnPService*, GUPnPServiceAction* action, gpointer data) {
    ClientVisit* visit = SamsungVisit(action);
    if (!visit)
        return;
    ObjectId object;
    const std::string seconds = TextArgument(action, "PosSecond");
    if (seconds.empty() || seconds.size() > 10 ||
        seconds.find_first_not_of("0123456789") != std::string::npos) {
        gupnp_service_action_return_error(action, 402, "Invalid Args");
        return;
    }
    if (!ParseObjectId(TextArgument(action, "ObjectID"), object) ||
        object.kind != ObjectId::kItem || object.table != Calyx::MEDIA_TABLE_VIDEO ||
        HiddenFrom(*visit, object.table)) {
        gupnp_service_action_return_error(action, 701, "No such object");
        return;
    }
    if (visit->mac.empty()) {
        // Bookmarks are kept per client MAC: without one there is nowhere to keep it.
        gupnp_service_action_return_error(action, 501, "Action Failed");
        return;
    }
    auto* catalog = static_cast<Catalog*>(data);
    int stored = SetBookmark(catalog->Connection(), visit->mac, object.id,
                             strtoll(seconds.c_str(), nullptr, 10));
    if (stored == 0)
        gupnp_service_action_return_error(action, 701, "No such object");
    else if (stored < 0)
        gupnp_service_action_return_error(action, 501, "Action Failed");
    else
        gupnp_service_action_return_success(action);
}

}  // namespace

void ConnectSamsungActions(GUPnPService* service, Catalog& catalog) {
    g_signal_connect(service, "action-invoked::X_GetFeatureList", G_CALLBACK(GetFeatureList),
                     nullptr);
    g_signal_connect(service, "action-invoked::X_SetBookmark", G_CALLBACK(SetBookmarkAction),
                     &catalog);
}

}  // namespace calyx_dms
