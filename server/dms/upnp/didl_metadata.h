// What an item's DIDL-Lite says about it beyond its title and class: the descriptive
// elements of a song, a video or a photo and the attributes of its own res element, as far
// as the index holds them, in the forms UPnP-AV defines (dates and durations through the
// library's formatting).
#ifndef CALYX_DMS_UPNP_DIDL_METADATA_H
#define CALYX_DMS_UPNP_DIDL_METADATA_H

#include <string>

#include "content/catalog.h"

namespace calyx_dms {

// The item's date in the index's form "YYYY-MM-DD hh:mm:ss" or "YYYY-MM-DD": the date
// recorded or taken, else January 1 of its year; a video or photo without either takes
// its file's modification time (local time). "" when nothing is known.
std::string ItemDateOf(const Entry& entry);

// The escaped elements after dc:title and upnp:class: dc:date, and for music upnp:artist,
// dc:creator, upnp:album, upnp:genre and upnp:originalTrackNumber. Time spent in the
// library is added to `libraryNanos`.
std::string ItemElements(const Entry& entry, long long& libraryNanos);

// The attributes of the item's own res element, each with a leading blank: duration,
// size, bitrate (bytes per second), sampleFrequency, nrAudioChannels and bitsPerSample
// for sound, resolution for pictures and video. Unknown values are left out.
std::string ResAttributes(const Entry& entry, long long& libraryNanos);

}  // namespace calyx_dms

#endif  // CALYX_DMS_UPNP_DIDL_METADATA_H
