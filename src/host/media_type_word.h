// The type words of the media types that have a share of their own.
#ifndef CALYX_HOST_MEDIA_TYPE_WORD_H
#define CALYX_HOST_MEDIA_TYPE_WORD_H

#include "calyx/types.h"

namespace Calyx {
namespace detail {

// "music", "video" or "photo"; null for every other type.
inline const char* MediaTypeWord(MEDIA_TABLE_TYPE type) {
    switch (type) {
        case MEDIA_TABLE_MUSIC:
            return "music";
        case MEDIA_TABLE_VIDEO:
            return "video";
        case MEDIA_TABLE_PHOTO:
            return "photo";
        default:
            return nullptr;
    }
}

}  // namespace detail
}  // namespace Calyx

#endif  // CALYX_HOST_MEDIA_TYPE_WORD_H
