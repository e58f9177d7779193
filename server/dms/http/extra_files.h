// GET and HEAD of the files the index records beside media: covers
// (/cover/<m|v|d>/<id>/<tn.jpg|sm.jpg|orig.<ext>>), the large forms of photos
// (/large/p/<id>.jpg) and subtitles (/subtitle/<id>.<format>). All by row id: only files
// that a row of the index names are ever opened.
#ifndef CALYX_DMS_HTTP_EXTRA_FILES_H
#define CALYX_DMS_HTTP_EXTRA_FILES_H

#include <libgupnp/gupnp.h>

#include "content/catalog.h"

namespace calyx_dms {

// Adds the three handlers to `context`; `catalog` must outlive it.
void ServeExtraFiles(GUPnPContext* context, Catalog& catalog);

}  // namespace calyx_dms

#endif  // CALYX_DMS_HTTP_EXTRA_FILES_H
