// GET and HEAD of the files the index records beside media: covers
// (/cover/<m|v|d>/<id>/<tn.jpg|sm.jpg|orig.<ext>>), the large forms of photos
// (/large/p/<id>.jpg) and subtitles (/subtitle/<id>.<format>). All by row id: only files
// that a row of the index names are ever opened.
#ifndef CALYX_DMS_HTTP_EXTRA_FILES_H
#define CALYX_DMS_HTTP_EXTRA_FILES_H

#include <libgupnp/gupnp.h>

#include "content/catalog.h"
#include "content/served_file.h"

namespace calyx_dms {

// Adds the three handlers to `context`; `catalog` and `files` must outlive it. Pictures the
// indexer made are opened as thumbnails are, files of the media folders (a cover file, a
// subtitle) as media are.
void ServeExtraFiles(GUPnPContext* context, Catalog& catalog, ServedFiles& files);

}  // namespace calyx_dms

#endif  // CALYX_DMS_HTTP_EXTRA_FILES_H
