// Internals of the library log, visible to the tests.
#ifndef CALYX_DMSUTILS_LOG_INTERNAL_H
#define CALYX_DMSUTILS_LOG_INTERNAL_H

#include <cstddef>
#include <ctime>

namespace Calyx {
namespace detail {

// Size past which the log rotates (a file of exactly this size stays).
constexpr long kLogRotateSize = 5242880;

// Formats `t` in local time as "%b%e %T" into `buf`; returns the length, or 0 (and an
// empty text) when the local time cannot be computed.
size_t FormatLogTimestamp(time_t t, char* buf, size_t size);

// Replaces the clock of the log (null restores time()). For tests.
using LogClock = time_t (*)();
void SetLogClockForTesting(LogClock clock);

}  // namespace detail
}  // namespace Calyx

#endif  // CALYX_DMSUTILS_LOG_INTERNAL_H
