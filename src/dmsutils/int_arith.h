// Arithmetic as the 32-bit appliance performs it, without undefined behaviour here.
#ifndef CALYX_DMSUTILS_INT_ARITH_H
#define CALYX_DMSUTILS_INT_ARITH_H

#include <cmath>
#include <cstdint>
#include <limits>

namespace Calyx {
namespace detail {

// The two's-complement int32 whose bits are `bits`.
inline int32_t FromBits32(uint32_t bits) {
    if (bits <= static_cast<uint32_t>(std::numeric_limits<int32_t>::max())) {
        return static_cast<int32_t>(bits);
    }
    return -static_cast<int32_t>(UINT32_MAX - bits) - 1;
}

// a + b with 32-bit wrap-around.
inline int32_t WrappingAdd32(int32_t a, int32_t b) {
    return FromBits32(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}

// a * b with 32-bit wrap-around.
inline int32_t WrappingMul32(int32_t a, int32_t b) {
    return FromBits32(static_cast<uint32_t>(a) * static_cast<uint32_t>(b));
}

// Float to integer truncated toward zero, saturating at the type's range, NaN giving 0:
// what the appliance's conversion instructions do, where C++ leaves it undefined.
template <typename Int>
Int SaturatingTruncate(float value) {
    if (std::isnan(value)) {
        return 0;
    }
    // Both limits of a two's-complement type are exact powers of two in float.
    const float upper = -static_cast<float>(std::numeric_limits<Int>::min());
    if (value >= upper) {
        return std::numeric_limits<Int>::max();
    }
    if (value <= static_cast<float>(std::numeric_limits<Int>::min())) {
        return std::numeric_limits<Int>::min();
    }
    return static_cast<Int>(value);
}

}  // namespace detail
}  // namespace Calyx

#endif  // CALYX_DMSUTILS_INT_ARITH_H
