// Which transcoded forms a client gets for an item, from its profile:
// - video: a client whose profile has video-profile rules, none of which the item
//   satisfies, gets one MPEG-TS form: with `transmkv` and an MKV whose codecs fit one of
//   its MPEG-TS rules, the streams copied; otherwise the first rule (in the profiles' name
//   order) that a transcode can satisfy, or H.264/AAC 1920x1080 when none can. Profiles
//   without rules (and the Default Profile) get none: nothing says what they play.
// - music: a client with `transpcm` gets LPCM, with `transwav` WAV, for every item that
//   is not MP3 or LPCM/WAV already.
#ifndef CALYX_DMS_TRANSCODE_TRANSCODE_CHOICE_H
#define CALYX_DMS_TRANSCODE_TRANSCODE_CHOICE_H

#include <string>
#include <vector>

#include "calyx/client.h"
#include "content/catalog.h"
#include "transcode/transcode_target.h"

namespace calyx_dms {

// One transcoded form as a client sees it.
struct TranscodeOffer {
    TranscodeTarget target;
    std::string path;      // "/transcode/v/12/ts-h264-aac-1920x1080-2.ts"
    std::string mime;      // third field of protocolInfo
    std::string features;  // fourth field: "DLNA.ORG_PN=...;DLNA.ORG_OP=10;DLNA.ORG_CI=1;..."
    long long size = 0;    // res@size: PredictTransFileSize of the encoder arguments (0: none)
    long long bytesPerSecond = 0;  // res@bitrate: GetTransBitRate / 8 (0: none)
    std::string resolution;        // res@resolution ("" for audio)
    int channels = 0;              // res@nrAudioChannels
    int sampleRate = 0;            // res@sampleFrequency (PCM forms)
};

// The transcoded forms of `entry` for the client of `checker`, in the order they are
// listed (empty: the original only).
std::vector<TranscodeOffer> TranscodesFor(const Entry& entry, Calyx::DMSClientChecker& checker);

// The fourth protocolInfo field of `target` made from `entry`, for the client of
// `checker` (its own profile name when one of its rules fits the result).
std::string TranscodeFeatures(const TranscodeTarget& target, const Entry& entry,
                              Calyx::DMSClientChecker& checker);

}  // namespace calyx_dms

#endif  // CALYX_DMS_TRANSCODE_TRANSCODE_CHOICE_H
