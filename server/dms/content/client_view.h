// What a client is shown at all: agent types that hide whole kinds of media.
#ifndef CALYX_DMS_CONTENT_CLIENT_VIEW_H
#define CALYX_DMS_CONTENT_CLIENT_VIEW_H

#include "calyx/types.h"
#include "clients/client_road.h"

namespace calyx_dms {

// True when `table`'s items (and its container) are kept from the visit's client: a
// music-only client sees neither videos nor photos.
inline bool HiddenFrom(const ClientVisit& visit, Calyx::MEDIA_TABLE_TYPE table) {
    return visit.checker->m_isMusicOnly &&
           (table == Calyx::MEDIA_TABLE_VIDEO || table == Calyx::MEDIA_TABLE_PHOTO);
}

}  // namespace calyx_dms

#endif  // CALYX_DMS_CONTENT_CLIENT_VIEW_H
