// The texts are the documentation's: docs/server.md prints the same rows (a test compares).
#include "dms_effects.h"

namespace calyx_tool {

namespace {

constexpr char kOptionsTest[] = "dms_client_options";
constexpr char kTranscodeTest[] = "dms_transcode";
constexpr char kFamiliesTest[] = "dms_device_families";

}  // namespace

const std::vector<DmsEffect>& DmsEffects() {
    static const std::vector<DmsEffect> effects = {
        {"dlna", true,
         "no change: answers carry the DLNA.ORG_* fields for every client, and clients that do "
         "not read them ignore them",
         "the same answers", kOptionsTest},
        {"xbox", true,
         "no change: the media receiver registrar, the well-known container ids and the other "
         "model name are given to every client (see Agent types)",
         "the same answers", kFamiliesTest},
        {"msclient", true, "no change: as `xbox`", "the same answers", kFamiliesTest},
        {"wmp", true, "no change: as `xbox`", "the same answers", kFamiliesTest},
        {"roku", true,
         "no change: these players read the standard ContentDirectory answers every client gets",
         "the same answers", kOptionsTest},
        {"musiconly", true,
         "no Video, Photo or Photos by Date container, no videos and photos anywhere, in "
         "playlists neither (701; a Search in them 710; their URLs 404)",
         "every container", kFamiliesTest},
        {"wdtvlive", true, "no change: as `roku`", "the same answers", kOptionsTest},
        {"samsungtv", true,
         "with `videosrt`, a video's subtitles also as `sec:CaptionInfoEx` elements "
         "(`sec:type` the format)",
         "no `sec:CaptionInfoEx`", kOptionsTest},
        {"xmres", false,
         "the extra `res` after the original: the JPEG_TN thumbnail of videos and photos, the "
         "cover of songs",
         "the original `res` only (the thumbnail and the cover stay `upnp:albumArtURI`)",
         kOptionsTest},
        {"transwav", false,
         "music other than MP3 and LPCM/WAV gets a WAV `res` (`audio/wav`) transcoded while it "
         "streams: after the original with `xmres`, in its place without (see Transcoding)",
         "no WAV form", kTranscodeTest},
        {"transpcm", false,
         "music other than MP3 and LPCM/WAV gets an LPCM `res` (`audio/L16`, DLNA.ORG_PN LPCM) "
         "transcoded while it streams: after the original with `xmres`, in its place without "
         "(see Transcoding)",
         "no LPCM form", kTranscodeTest},
        {"xalbart", false, "songs list their cover as a JPEG_TN `res`, with or without `xmres`",
         "the cover as `upnp:albumArtURI` only (and as `res` with `xmres`)", kOptionsTest},
        {"revimgres", false, "a photo's `res` in reverse order: its smallest form first",
         "the original first", kOptionsTest},
        {"xvcover", false,
         "a folder without a cover file shows its first video's thumbnail as "
         "`upnp:albumArtURI`",
         "such a folder has no album art", kOptionsTest},
        {"transmkv", false,
         "an MKV that needs a transcode and whose codecs fit one of the client's MPEG-TS rules "
         "is remuxed into MPEG-TS (streams copied) instead",
         "such an MKV is transcoded", kTranscodeTest},
        {"videoalbart", false,
         "a video with a cover (its own attached picture, else its folder's cover file) shows "
         "it as `upnp:albumArtURI` (and as `res` with `xmres` or `xalbart`)",
         "the video's frame thumbnail as `upnp:albumArtURI`", kOptionsTest},
        {"videosrt", false,
         "each subtitle file beside the video as a `res` (`text/srt`, ...) whatever `xmres` "
         "says; a media request with `getCaptionInfo.sec: 1` gets `CaptionInfo.sec`",
         "no subtitle `res` and no `CaptionInfo.sec`", kOptionsTest},
        {"photowithxlthumb", false,
         "photos larger than 1920 pixels or not JPEG also list a JPEG_LRG `res` of at most 1920 "
         "pixels",
         "no such `res`", kOptionsTest},
        {"videosubtitleitem", false,
         "each subtitle file is also an item (`object.item.textItem`) beside its video",
         "subtitle files are no items", kOptionsTest},
        {"photoforcejpegpn", false,
         "a photo whose file has no JPEG profile (PNG, GIF, ...) is offered as its JPEG_LRG form "
         "instead, so every photo `res` has a JPEG DLNA.ORG_PN",
         "each photo in its own type", kOptionsTest},
        {"xlibdlnamodule", false,
         "no change: calyx-dms names DLNA profiles from the profile's video rules and the index, "
         "never with a separate profile-detection module that could be turned off",
         "the same answers", kOptionsTest},
        {"photoforcebgthumb", false,
         "a photo or video whose thumbnail the index lacks (filled without thumbnails, "
         "or a picture that could not be decoded then) is listed without it, and once "
         "the answer has gone a background worker makes the thumbnail and records it "
         "in the index, so later answers to every client list it",
         "such a photo or video is listed without a thumbnail and none is made for it "
         "(the indexer makes thumbnails when it indexes a new or changed file)",
         kOptionsTest},
        {"customizesymbol", false,
         "no change: the profile's `offendchars` already name the characters a client cannot "
         "show, and calyx-dms removes them for every profile",
         "the same answers", kOptionsTest},
        {"origcover", false,
         "album art (and the cover `res`) is the original picture with its DLNA profile",
         "the 160-pixel JPEG_TN form", kOptionsTest},
        {"sendvsmetadata", false,
         "no change: calyx-dms holds no metadata beyond the media index (no separate video "
         "library of posters and summaries), so there is nothing more to send",
         "the same answers", kOptionsTest},
        {"videowithext", false, "video titles end with the file's extension (`clip.mp4`)",
         "titles without it (`clip`)", kOptionsTest},
    };
    return effects;
}

}  // namespace calyx_tool
