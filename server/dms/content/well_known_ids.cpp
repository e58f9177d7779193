#include "content/well_known_ids.h"

namespace calyx_dms {

namespace {

struct WellKnown {
    const char* id;
    const char* own;
};

const WellKnown kWellKnown[] = {
    {"1", "music"},  {"4", "music"},     {"5", "genres"}, {"6", "artists"},
    {"7", "albums"}, {"F", "playlists"}, {"2", "video"},  {"8", "video"},
    {"15", "video"}, {"3", "photo"},     {"B", "photo"},  {"16", "photo"},
};

}  // namespace

std::string OwnContainerId(const std::string& id) {
    for (const WellKnown& known : kWellKnown)
        if (id == known.id)
            return known.own;
    return id;
}

}  // namespace calyx_dms
