// The frame size of a transcoded picture. Shared by the worker, which scales to it, and
// the media server, which announces it and estimates the bit rate from it.
#ifndef CALYX_TRANSCODER_FRAME_FIT_H
#define CALYX_TRANSCODER_FRAME_FIT_H

namespace calyx_transcoder {

// A picture of `width` x `height` pixels whose pixels have the shape aspectNum/aspectDen
// (0/0 or 0/1: square) fitted into `maxWidth` x `maxHeight` (0: no limit): square pixels,
// the picture's shape kept, never enlarged, both sides even and at least 2.
void FitFrame(int width, int height, int aspectNum, int aspectDen, int maxWidth, int maxHeight,
              int& outWidth, int& outHeight);

}  // namespace calyx_transcoder

#endif  // CALYX_TRANSCODER_FRAME_FIT_H
