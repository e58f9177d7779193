// Portable QLIBCStrTokIndex: a re-entrant cursor tokenizer that skips empty tokens.
#include <cstring>

#include "calyx/platform.h"

extern "C" char* QLIBCStrTokIndex(char** cursor, const char* seps) {
    if (cursor == nullptr || *cursor == nullptr) {
        return nullptr;
    }
    const char* separators = seps != nullptr ? seps : "";
    char* start = *cursor + strspn(*cursor, separators);
    if (*start == '\0') {
        *cursor = start;
        return nullptr;
    }
    char* end = start + strcspn(start, separators);
    if (*end != '\0') {
        *end = '\0';
        ++end;
    }
    *cursor = end;
    return start;
}
