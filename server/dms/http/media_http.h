// GET and HEAD of indexed files and of their thumbnails: /media/<m|v|p>/<id>[.ext] and
// /thumb/<v|p>/<id>.jpg. Only files that a row of the index names are ever opened.
#ifndef CALYX_DMS_MEDIA_HTTP_H
#define CALYX_DMS_MEDIA_HTTP_H

#include <libgupnp/gupnp.h>

#include "content/catalog.h"
#include "content/served_file.h"

namespace calyx_dms {

// Adds the two handlers to `context`; `catalog` and `files` must outlive it.
void ServeMedia(GUPnPContext* context, Catalog& catalog, ServedFiles& files);

}  // namespace calyx_dms

#endif  // CALYX_DMS_MEDIA_HTTP_H
