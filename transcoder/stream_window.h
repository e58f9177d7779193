// The part of the source a transcode sends: from `start` to `end` (microseconds of the
// source's time line), and the conversions of one stream's timestamps to it.
#ifndef CALYX_TRANSCODER_STREAM_WINDOW_H
#define CALYX_TRANSCODER_STREAM_WINDOW_H

#include <stdint.h>

#include "av/handles.h"

namespace calyx_transcoder {

struct StreamWindow {
    int64_t start = 0;  // microseconds
    int64_t end = -1;   // microseconds; -1: to the end of the source

    // `ts` in `timeBase` as microseconds of the source (AV_NOPTS_VALUE stays so).
    static int64_t Micros(int64_t ts, AVRational timeBase) {
        return ts == AV_NOPTS_VALUE ? ts : av_rescale_q(ts, timeBase, AV_TIME_BASE_Q);
    }
    bool PastEnd(int64_t micros) const { return end >= 0 && micros >= end; }
};

}  // namespace calyx_transcoder

#endif  // CALYX_TRANSCODER_STREAM_WINDOW_H
