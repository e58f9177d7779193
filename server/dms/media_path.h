// Paths as the indexer stores them: percent-encoded, so any byte of a file name survives
// the text column. Decoded here to open the file.
#ifndef CALYX_DMS_MEDIA_PATH_H
#define CALYX_DMS_MEDIA_PATH_H

#include <string>

namespace calyx_dms {

// "%XX" (two hexadecimal digits) becomes that byte; everything else stays as it is.
std::string DecodeStoredPath(const std::string& stored);

}  // namespace calyx_dms

#endif  // CALYX_DMS_MEDIA_PATH_H
