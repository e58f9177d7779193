// The TimeSeekRange.dlna.org header: "npt=START-[END]" in a request, and the answer
// "npt=START-END/DURATION".
#ifndef CALYX_DMS_TRANSCODE_TIME_SEEK_H
#define CALYX_DMS_TRANSCODE_TIME_SEEK_H

#include <string>

namespace calyx_dms {

struct TimeSeek {
    double start = 0;  // seconds
    double end = -1;   // seconds; negative: to the end
};

// Reads a request header value. Times are seconds ("12", "12.5") or "h:mm:ss[.fff]";
// false for anything else, or an end that does not lie after the start.
bool ParseTimeSeek(const std::string& header, TimeSeek& out);

// The response header value: where the stream really starts, where it ends (`end`
// negative: at `duration`) and the duration ("*" when `duration` is 0, unknown).
std::string FormatTimeSeek(double start, double end, double duration);

}  // namespace calyx_dms

#endif  // CALYX_DMS_TRANSCODE_TIME_SEEK_H
