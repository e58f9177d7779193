// The names that video-profile rules compare: one vocabulary for containers and codecs.
//
// A profile list's "container_type@", "video_codec@" and "audio_codec@" conditions are
// compared with whatever text the media index holds, so the program that fills the index
// and the people who write profiles must agree on one name per format. These functions
// define it, from the names libavformat and libavcodec report (the library itself does
// not link them). Every function may be called from any thread and none throws.
#ifndef CALYX_MEDIA_NAMES_H
#define CALYX_MEDIA_NAMES_H

#include <string>
#include <vector>

#include "calyx/export.h"

namespace Calyx {

/// The container name for a libavformat demuxer name (AVInputFormat::name): a fixed table
/// maps the demuxers that carry several names ("mov,mp4,m4a,3gp,3g2,mj2" → "mp4",
/// "matroska,webm" → "matroska"); any other demuxer gives its own name, and a name list
/// that is not in the table gives its first name. The result is lower case; an empty
/// argument gives "".
CALYX_EXPORT std::string MediaContainerName(const std::string& demuxerName);

/// The codec name for a libavcodec codec name (avcodec_get_name): the name itself, lower
/// case, except that every PCM variant ("pcm_s16le", "pcm_bluray", ...) is "lpcm".
CALYX_EXPORT std::string MediaCodecName(const std::string& codecName);

/// The container names MediaContainerName gives for the demuxers a media server meets,
/// in alphabetical order (a profile list that names any other container is probably wrong).
CALYX_EXPORT const std::vector<std::string>& KnownMediaContainerNames();

/// The video and audio codec names MediaCodecName gives for the codecs a media server
/// meets, in alphabetical order.
CALYX_EXPORT const std::vector<std::string>& KnownMediaCodecNames();

}  // namespace Calyx

#endif  // CALYX_MEDIA_NAMES_H
