// Built from tables: each action lists its arguments as (name, direction, state variable).
#include "upnp/scpd.h"

#include <vector>

namespace calyx_dms {

namespace {

struct Argument {
    const char* name;
    bool out;
    const char* variable;
};

struct Action {
    const char* name;
    std::vector<Argument> arguments;
};

struct Variable {
    const char* name;
    const char* type;
    bool events;
    std::vector<const char*> allowed;
};

std::string Scpd(const std::vector<Action>& actions, const std::vector<Variable>& variables) {
    std::string x =
        "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
        "<scpd xmlns=\"urn:schemas-upnp-org:service-1-0\">"
        "<specVersion><major>1</major><minor>0</minor></specVersion><actionList>";
    for (const Action& a : actions) {
        x += std::string("<action><name>") + a.name + "</name><argumentList>";
        for (const Argument& g : a.arguments)
            x += std::string("<argument><name>") + g.name + "</name><direction>" +
                 (g.out ? "out" : "in") + "</direction><relatedStateVariable>" + g.variable +
                 "</relatedStateVariable></argument>";
        x += "</argumentList></action>";
    }
    x += "</actionList><serviceStateTable>";
    for (const Variable& v : variables) {
        x += std::string("<stateVariable sendEvents=\"") + (v.events ? "yes" : "no") + "\"><name>" +
             v.name + "</name><dataType>" + v.type + "</dataType>";
        if (!v.allowed.empty()) {
            x += "<allowedValueList>";
            for (const char* value : v.allowed)
                x += std::string("<allowedValue>") + value + "</allowedValue>";
            x += "</allowedValueList>";
        }
        x += "</stateVariable>";
    }
    return x + "</serviceStateTable></scpd>\n";
}

}  // namespace

std::string ContentDirectoryScpd() {
    return Scpd(
        {
            {"GetSearchCapabilities", {{"SearchCaps", true, "SearchCapabilities"}}},
            {"GetSortCapabilities", {{"SortCaps", true, "SortCapabilities"}}},
            {"GetSystemUpdateID", {{"Id", true, "SystemUpdateID"}}},
            {"Browse",
             {{"ObjectID", false, "A_ARG_TYPE_ObjectID"},
              {"BrowseFlag", false, "A_ARG_TYPE_BrowseFlag"},
              {"Filter", false, "A_ARG_TYPE_Filter"},
              {"StartingIndex", false, "A_ARG_TYPE_Index"},
              {"RequestedCount", false, "A_ARG_TYPE_Count"},
              {"SortCriteria", false, "A_ARG_TYPE_SortCriteria"},
              {"Result", true, "A_ARG_TYPE_Result"},
              {"NumberReturned", true, "A_ARG_TYPE_Count"},
              {"TotalMatches", true, "A_ARG_TYPE_Count"},
              {"UpdateID", true, "A_ARG_TYPE_UpdateID"}}},
            {"Search",
             {{"ContainerID", false, "A_ARG_TYPE_ObjectID"},
              {"SearchCriteria", false, "A_ARG_TYPE_SearchCriteria"},
              {"Filter", false, "A_ARG_TYPE_Filter"},
              {"StartingIndex", false, "A_ARG_TYPE_Index"},
              {"RequestedCount", false, "A_ARG_TYPE_Count"},
              {"SortCriteria", false, "A_ARG_TYPE_SortCriteria"},
              {"Result", true, "A_ARG_TYPE_Result"},
              {"NumberReturned", true, "A_ARG_TYPE_Count"},
              {"TotalMatches", true, "A_ARG_TYPE_Count"},
              {"UpdateID", true, "A_ARG_TYPE_UpdateID"}}},
            {"X_GetFeatureList", {{"FeatureList", true, "A_ARG_TYPE_Featurelist"}}},
            {"X_SetBookmark",
             {{"CategoryType", false, "A_ARG_TYPE_CategoryType"},
              {"RID", false, "A_ARG_TYPE_RID"},
              {"ObjectID", false, "A_ARG_TYPE_ObjectID"},
              {"PosSecond", false, "A_ARG_TYPE_PosSec"}}},
        },
        {
            {"A_ARG_TYPE_Featurelist", "string", false, {}},
            {"A_ARG_TYPE_CategoryType", "ui4", false, {}},
            {"A_ARG_TYPE_RID", "ui4", false, {}},
            {"A_ARG_TYPE_PosSec", "ui4", false, {}},
            {"SearchCapabilities", "string", false, {}},
            {"SortCapabilities", "string", false, {}},
            {"SystemUpdateID", "ui4", true, {}},
            {"ContainerUpdateIDs", "string", true, {}},
            {"A_ARG_TYPE_ObjectID", "string", false, {}},
            {"A_ARG_TYPE_Result", "string", false, {}},
            {"A_ARG_TYPE_SearchCriteria", "string", false, {}},
            {"A_ARG_TYPE_BrowseFlag", "string", false, {"BrowseMetadata", "BrowseDirectChildren"}},
            {"A_ARG_TYPE_Filter", "string", false, {}},
            {"A_ARG_TYPE_SortCriteria", "string", false, {}},
            {"A_ARG_TYPE_Index", "ui4", false, {}},
            {"A_ARG_TYPE_Count", "ui4", false, {}},
            {"A_ARG_TYPE_UpdateID", "ui4", false, {}},
        });
}

std::string ConnectionManagerScpd() {
    return Scpd(
        {
            {"GetProtocolInfo",
             {{"Source", true, "SourceProtocolInfo"}, {"Sink", true, "SinkProtocolInfo"}}},
            {"GetCurrentConnectionIDs", {{"ConnectionIDs", true, "CurrentConnectionIDs"}}},
            {"GetCurrentConnectionInfo",
             {{"ConnectionID", false, "A_ARG_TYPE_ConnectionID"},
              {"RcsID", true, "A_ARG_TYPE_RcsID"},
              {"AVTransportID", true, "A_ARG_TYPE_AVTransportID"},
              {"ProtocolInfo", true, "A_ARG_TYPE_ProtocolInfo"},
              {"PeerConnectionManager", true, "A_ARG_TYPE_ConnectionManager"},
              {"PeerConnectionID", true, "A_ARG_TYPE_ConnectionID"},
              {"Direction", true, "A_ARG_TYPE_Direction"},
              {"Status", true, "A_ARG_TYPE_ConnectionStatus"}}},
        },
        {
            {"SourceProtocolInfo", "string", true, {}},
            {"SinkProtocolInfo", "string", true, {}},
            {"CurrentConnectionIDs", "string", true, {}},
            {"A_ARG_TYPE_ConnectionStatus",
             "string",
             false,
             {"OK", "ContentFormatMismatch", "InsufficientBandwidth", "UnreliableChannel",
              "Unknown"}},
            {"A_ARG_TYPE_ConnectionManager", "string", false, {}},
            {"A_ARG_TYPE_Direction", "string", false, {"Input", "Output"}},
            {"A_ARG_TYPE_ProtocolInfo", "string", false, {}},
            {"A_ARG_TYPE_ConnectionID", "i4", false, {}},
            {"A_ARG_TYPE_AVTransportID", "i4", false, {}},
            {"A_ARG_TYPE_RcsID", "i4", false, {}},
        });
}

std::string MediaReceiverRegistrarScpd() {
    return Scpd(
        {
            {"IsAuthorized",
             {{"DeviceID", false, "A_ARG_TYPE_DeviceID"}, {"Result", true, "A_ARG_TYPE_Result"}}},
            {"RegisterDevice",
             {{"RegistrationReqMsg", false, "A_ARG_TYPE_RegistrationReqMsg"},
              {"RegistrationRespMsg", true, "A_ARG_TYPE_RegistrationRespMsg"}}},
            {"IsValidated",
             {{"DeviceID", false, "A_ARG_TYPE_DeviceID"}, {"Result", true, "A_ARG_TYPE_Result"}}},
        },
        {
            {"A_ARG_TYPE_DeviceID", "string", false, {}},
            {"A_ARG_TYPE_Result", "int", false, {}},
            {"A_ARG_TYPE_RegistrationReqMsg", "bin.base64", false, {}},
            {"A_ARG_TYPE_RegistrationRespMsg", "bin.base64", false, {}},
            {"AuthorizationGrantedUpdateID", "ui4", true, {}},
            {"AuthorizationDeniedUpdateID", "ui4", true, {}},
            {"ValidationSucceededUpdateID", "ui4", true, {}},
            {"ValidationRevokedUpdateID", "ui4", true, {}},
        });
}

}  // namespace calyx_dms
