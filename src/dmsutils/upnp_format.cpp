// UPnP forms of a duration, a date and a thumbnail size.
#include <cstdio>
#include <string>

#include "calyx/host.h"
#include "dmsutils/int_arith.h"
#include "dmsutils/syslog_report.h"

namespace Calyx {

namespace {

// Raises an odd side to the next even number (wrapping at INT_MAX like the device).
int Even(int side) {
    return side % 2 != 0 ? detail::WrappingAdd32(side, 1) : side;
}

// maxSide x (numerator / denominator) in single precision, truncated.
int ScaledSide(int maxSide, int numerator, int denominator) {
    float ratio = static_cast<float>(numerator) / static_cast<float>(denominator);
    return detail::SaturatingTruncate<int32_t>(static_cast<float>(maxSide) * ratio);
}

}  // namespace

std::string DMSFormatUPNPDuration(int seconds) {
    // Hours wrap at 60 too; kept on purpose.
    int hours = (seconds / 3600) % 60;
    int minutes = (seconds / 60) % 60;
    char text[64];
    snprintf(text, sizeof text, "%d:%02d:%02d.000", hours, minutes, seconds % 60);
    return text;
}

std::string DMSFormatUPNPDate(const char* date) {
    if (date == nullptr) {
        CALYX_REPORT_BAD_PARAMETER();
        return std::string();
    }
    std::string result;
    for (const char* p = date; *p != '\0'; ++p) {
        result.push_back(*p == ' ' ? 'T' : *p);
    }
    return result;
}

void DMSGetThumbnailRes(int width, int height, int* outWidth, int* outHeight, int maxSide) {
    if (outWidth == nullptr || outHeight == nullptr) {
        CALYX_REPORT_BAD_PARAMETER();
        return;
    }
    if (width <= maxSide && height <= maxSide) {
        *outWidth = width;
        *outHeight = height;
    } else if (width > height) {
        *outWidth = maxSide;
        *outHeight = Even(ScaledSide(maxSide, height, width));
    } else {
        // The fixed side stays maxSide even when odd, so a square gets width = height + 1.
        *outHeight = maxSide;
        *outWidth = Even(ScaledSide(maxSide, width, height));
    }
}

}  // namespace Calyx
