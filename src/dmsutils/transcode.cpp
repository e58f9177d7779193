// Bit-rate and size estimates of a transcoded stream from the encoder's arguments.
#include <syslog.h>

#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "calyx/core.h"
#include "calyx/host.h"
#include "dmsutils/int_arith.h"
#include "dmsutils/syslog_report.h"
#include "platform/int_parse.h"

namespace Calyx {

int GetTransBitRate(const std::string& encoderArgs) {
    if (encoderArgs.empty()) {
        CALYX_REPORT_BAD_PARAMETER();
        return -1;
    }
    std::vector<std::string> pieces = StringExplode(encoderArgs, " \n");
    int32_t video = -1;
    int32_t audio = -1;
    int32_t channels = -1;
    // The last piece cannot be an option with a value. Values are leading decimal
    // integers ("2000k" is 2000).
    for (size_t i = 0; i + 1 < pieces.size(); ++i) {
        const std::string& option = pieces[i];
        if (option == "-maxrate" || option == "-b") {
            video = detail::ParseSaturatingInt32(pieces[i + 1].c_str());
        } else if (option == "-ab") {
            audio = detail::ParseSaturatingInt32(pieces[i + 1].c_str());
        } else if (option == "-ac") {
            channels = detail::ParseSaturatingInt32(pieces[i + 1].c_str());
        }
    }
    if (video == -1 || audio == -1 || channels == -1) {
        return -1;
    }
    // Kilobits (of 1024 bits) to bits, in 32-bit arithmetic that wraps as on the device.
    int32_t kilobits = detail::WrappingAdd32(detail::WrappingMul32(channels, audio), video);
    return detail::WrappingMul32(kilobits, 1024);
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the published signature takes a copy.
int64_t PredictTransFileSize(std::string encoderArgs, float seconds) {
    if (encoderArgs.empty() || seconds < 0) {  // NaN is not below 0: it gives 0 below
        CALYX_REPORT_BAD_PARAMETER();
        return 0;
    }
    int rate = GetTransBitRate(encoderArgs);
    if (rate == -1) {
        syslog(LOG_ERR, "%s:%d Failed to estimate transcoding bit rate", CALYX_DMSUTILS_FILE,
               __LINE__);
        return 0;
    }
    // Single precision, in this order: bits, then bytes.
    float bits = static_cast<float>(rate) * seconds;
    float bytes = bits * 0.125f;
    return detail::SaturatingTruncate<int64_t>(bytes);
}

}  // namespace Calyx
