// Portable literal escaping for the media index database.
#include <cstdlib>
#include <cstring>

#include "calyx/platform.h"

// Doubles every single quote: the escaping of a '...' literal on a server with
// standard_conforming_strings on (the default), where backslashes are plain bytes.
extern "C" char* ZEVODBEscapeStrAlloc(const char* text) {
    if (text == nullptr) {
        return nullptr;
    }
    size_t quotes = 0;
    size_t length = 0;
    for (const char* p = text; *p != '\0'; ++p, ++length) {
        quotes += (*p == '\'');
    }
    char* out = static_cast<char*>(malloc(length + quotes + 1));
    if (out == nullptr) {
        return nullptr;
    }
    char* w = out;
    for (const char* p = text; *p != '\0'; ++p) {
        *w++ = *p;
        if (*p == '\'') {
            *w++ = '\'';
        }
    }
    *w = '\0';
    return out;
}

// Doubles every backslash; stops before a byte (or a doubled pair) that would not fit.
extern "C" int ZEVODBEscapeBackslash(char* out, int size, const char* text) {
    if (out == nullptr || size <= 0) {
        return -1;
    }
    size_t room = static_cast<size_t>(size) - 1;  // keep one byte for the terminator
    size_t w = 0;
    if (text != nullptr) {
        for (const char* p = text; *p != '\0'; ++p) {
            size_t need = (*p == '\\') ? 2 : 1;
            if (w + need > room) {
                break;
            }
            out[w++] = *p;
            if (*p == '\\') {
                out[w++] = '\\';
            }
        }
    }
    out[w] = '\0';
    return 0;
}
