#include "transcoder/frame_fit.h"

#include <math.h>

#include <algorithm>

namespace calyx_transcoder {

namespace {

int Even(double value) {
    return std::max(2, static_cast<int>(lround(value / 2)) * 2);
}

}  // namespace

void FitFrame(int width, int height, int aspectNum, int aspectDen, int maxWidth, int maxHeight,
              int& outWidth, int& outHeight) {
    width = std::max(width, 2);
    height = std::max(height, 2);
    double shownWidth = width;
    if (aspectNum > 0 && aspectDen > 0)
        shownWidth = width * static_cast<double>(aspectNum) / aspectDen;
    double scale = 1.0;
    if (maxWidth > 0)
        scale = std::min(scale, maxWidth / shownWidth);
    if (maxHeight > 0)
        scale = std::min(scale, static_cast<double>(maxHeight) / height);
    outWidth = Even(shownWidth * scale);
    outHeight = Even(height * scale);
    // Rounding to even must not leave the box.
    if (maxWidth > 0 && outWidth > maxWidth)
        outWidth -= 2;
    if (maxHeight > 0 && outHeight > maxHeight)
        outHeight -= 2;
}

}  // namespace calyx_transcoder
