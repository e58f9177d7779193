// The library's one saturating integer parse: what strtoll does in base 10 in the C
// locale, without its cost and without depending on the width of long.
#ifndef CALYX_PLATFORM_INT_PARSE_H
#define CALYX_PLATFORM_INT_PARSE_H

#include <cstdint>

namespace Calyx {
namespace detail {

// Leading white space (blank, \t to \r), one sign, then decimal digits up to the first
// other byte; no digits give 0. Saturates at the int64 range. Inline: record readers
// call it for thousands of fields per page, and up to 18 digits need no overflow check.
inline int64_t ParseSaturatingInt64(const char* text) {
    const char* p = text;
    while (*p == ' ' || (*p >= '\t' && *p <= '\r')) {
        ++p;
    }
    bool negative = false;
    if (*p == '-' || *p == '+') {
        negative = (*p == '-');
        ++p;
    }
    uint64_t value = 0;
    int digits = 0;
    for (; digits < 18 && static_cast<unsigned>(*p - '0') <= 9; ++p, ++digits) {
        value = value * 10 + static_cast<unsigned>(*p - '0');
    }
    if (static_cast<unsigned>(*p - '0') <= 9) {
        const uint64_t limit = negative ? static_cast<uint64_t>(INT64_MAX) + 1 : INT64_MAX;
        for (; static_cast<unsigned>(*p - '0') <= 9; ++p) {
            unsigned digit = static_cast<unsigned>(*p - '0');
            if (value > (limit - digit) / 10) {
                value = limit;
                break;
            }
            value = value * 10 + digit;
        }
    }
    if (negative) {
        // Two's complement negation, well defined for INT64_MIN as well.
        return static_cast<int64_t>(0 - value);
    }
    return static_cast<int64_t>(value);
}

// `value` limited to [low, high].
inline int64_t ClampInt64(int64_t value, int64_t low, int64_t high) {
    return value < low ? low : (value > high ? high : value);
}

// ParseSaturatingInt64 saturated to the int32 range: strtol in base 10 as the 32-bit
// appliance (whose long has 32 bits) computes it.
inline int32_t ParseSaturatingInt32(const char* text) {
    return static_cast<int32_t>(ClampInt64(ParseSaturatingInt64(text), INT32_MIN, INT32_MAX));
}

}  // namespace detail
}  // namespace Calyx

#endif  // CALYX_PLATFORM_INT_PARSE_H
