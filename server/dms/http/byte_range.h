// The Range header of a media request (one range of bytes).
#ifndef CALYX_DMS_BYTE_RANGE_H
#define CALYX_DMS_BYTE_RANGE_H

#include <string>

namespace calyx_dms {

struct ByteRange {
    enum Result { kWhole, kPart, kUnsatisfiable } result = kWhole;
    long long first = 0;
    long long length = 0;  // bytes to send
};

// Reads `header` ("" when absent) against a file of `size` bytes: "bytes=a-b", "bytes=a-"
// or "bytes=-n"; of several ranges the first counts. A header that is not a byte range
// is ignored (the whole file); a range that starts at or beyond the end cannot be
// satisfied.
ByteRange ParseByteRange(const std::string& header, long long size);

}  // namespace calyx_dms

#endif  // CALYX_DMS_BYTE_RANGE_H
