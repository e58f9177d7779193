// The frame size of transcoded pictures.
#include <gtest/gtest.h>

#include "transcoder/frame_fit.h"

namespace calyx_transcoder {
namespace {

void ExpectFit(int w, int h, int an, int ad, int mw, int mh, int ew, int eh) {
    int ow = 0;
    int oh = 0;
    FitFrame(w, h, an, ad, mw, mh, ow, oh);
    EXPECT_EQ(ow, ew) << w << "x" << h << " into " << mw << "x" << mh;
    EXPECT_EQ(oh, eh) << w << "x" << h << " into " << mw << "x" << mh;
}

TEST(FitFrame, ShrinksKeepingTheShapeNeverEnlarges) {
    ExpectFit(3840, 2160, 0, 0, 1920, 1080, 1920, 1080);
    ExpectFit(1920, 1080, 0, 0, 1280, 720, 1280, 720);
    ExpectFit(320, 240, 0, 0, 1920, 1080, 320, 240);
    ExpectFit(1920, 800, 0, 0, 1280, 720, 1280, 534);
    ExpectFit(1080, 1920, 0, 0, 1920, 1080, 608, 1080);
    ExpectFit(320, 240, 0, 0, 160, 160, 160, 120);
}

TEST(FitFrame, SquarePixelsAndEvenSides) {
    // DVD PAL 16:9: 720x576 with pixels 64:45 wide shows 1024x576.
    ExpectFit(720, 576, 64, 45, 1920, 1080, 1024, 576);
    ExpectFit(321, 241, 0, 0, 0, 0, 322, 242);
    ExpectFit(1, 1, 0, 0, 0, 0, 2, 2);
    ExpectFit(1000, 10, 0, 0, 101, 101, 100, 2);
}

}  // namespace
}  // namespace calyx_transcoder
