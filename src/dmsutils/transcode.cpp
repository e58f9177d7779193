// Bit-rate and size estimates of a transcoded stream from the encoder's arguments.
#include <syslog.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string>
#include <vector>

#include "calyx/core.h"
#include "calyx/host.h"
#include "dmsutils/int_arith.h"
#include "dmsutils/syslog_report.h"

namespace Calyx {

namespace {

// A leading decimal integer ("2000k" is 2000), saturated at the 32-bit range as the
// appliance's 32-bit strtol does.
int32_t ReadDecimal(const std::string& text) {
    long long value = strtoll(text.c_str(), nullptr, 10);
    if (value > std::numeric_limits<int32_t>::max()) {
        return std::numeric_limits<int32_t>::max();
    }
    if (value < std::numeric_limits<int32_t>::min()) {
        return std::numeric_limits<int32_t>::min();
    }
    return static_cast<int32_t>(value);
}

}  // namespace

int GetTransBitRate(const std::string& encoderArgs) {
    if (encoderArgs.empty()) {
        CALYX_REPORT_BAD_PARAMETER();
        return -1;
    }
    std::vector<std::string> pieces = StringExplode(encoderArgs, " \n");
    int32_t video = -1;
    int32_t audio = -1;
    int32_t channels = -1;
    // The last piece cannot be an option with a value.
    for (size_t i = 0; i + 1 < pieces.size(); ++i) {
        const std::string& option = pieces[i];
        if (option == "-maxrate" || option == "-b") {
            video = ReadDecimal(pieces[i + 1]);
        } else if (option == "-ab") {
            audio = ReadDecimal(pieces[i + 1]);
        } else if (option == "-ac") {
            channels = ReadDecimal(pieces[i + 1]);
        }
    }
    if (video == -1 || audio == -1 || channels == -1) {
        return -1;
    }
    // Kilobits (of 1024 bits) to bits, in 32-bit arithmetic that wraps as on the device.
    int32_t kilobits = detail::WrappingAdd32(detail::WrappingMul32(channels, audio), video);
    return detail::WrappingMul32(kilobits, 1024);
}

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
