// UTF-8 checks for hosts that pass client-supplied bytes on to places that require
// UTF-8 (JSON output, the media index). Beyond the published interface. The library's
// own string helpers stay byte-oriented. Every function may be called from any thread
// and none throws (except std::bad_alloc from building a result).
#ifndef CALYX_UTF8_H
#define CALYX_UTF8_H

#include <stddef.h>

#include <string>

#include "calyx/export.h"

namespace Calyx {

/// The length (1 to 4) of the valid UTF-8 sequence that starts at `text[pos]`, or 0 when
/// none does there: a stray continuation byte, an overlong form, a surrogate, a code point
/// above U+10FFFF, a sequence cut short, or `pos` at or past the end.
CALYX_EXPORT size_t Utf8SequenceLength(const std::string& text, size_t pos);

/// `text` with every byte that does not belong to a valid UTF-8 sequence replaced by
/// U+FFFD REPLACEMENT CHARACTER; valid text comes back unchanged.
CALYX_EXPORT std::string ValidUtf8(const std::string& text);

}  // namespace Calyx

#endif  // CALYX_UTF8_H
