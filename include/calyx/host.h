// Host and device information: device identity, network cards, UPnP formatting, transcoding
// estimates and media folders.
//
// Every function here keeps its state on the stack, reads the platform's files afresh on
// each call (nothing is cached) and may be called from any thread at once, as far as the
// platform operations allow. No function throws. Fixed paths such as "/proc/net/arp" are
// resolved under the root prefix (ResolveFixedPath in calyx/core.h, CALYX_ROOT).
//
// Argument checks are reported to the system log with priority LOG_ERR as
// "dmsutils:<line> Bad parameter".
#ifndef CALYX_HOST_H
#define CALYX_HOST_H

#include <stdint.h>

#include <map>
#include <string>
#include <vector>

#include "calyx/export.h"
#include "calyx/types.h"

namespace Calyx {

// ---------------------------------------------------------------------------------
// Device identity and network
// ---------------------------------------------------------------------------------

/// The device's serial number: the custom one (QLIBGetCustomSerialNumber) when set,
/// else the factory one (QLIBGetSerialNumber), else "1234567890" when both are empty.
/// A failed read is reported to the system log ("... failed to get serial number from
/// flash.") and yields "" (never the placeholder).
CALYX_EXPORT std::string DMSGetProductSerial();

/// The model name for the UPnP description: the value of "upnpmodelname" in
/// "/etc.defaults/zevoinfo.conf" (at most 63 bytes, even when empty), else "Quillbox".
CALYX_EXPORT std::string DMSGetProductModel();

/// The UDN derived from the hardware address m0..m5 of network card 0:
/// "uuid:m0m1m2m3-m4m5-m0m1-m5m4-m5m4m3m2m1m0" in lower-case hexadecimal (stable for a
/// device, different between devices). When card 0 cannot be read the failure goes to
/// the system log and the fixed "uuid:4b1e7d30-2ac9-11b2-9f06-c37a51e8d2b4" is returned.
CALYX_EXPORT std::string DMSGetProductUDN();

/// Adds one entry per usable network card to `cards`: "aa:bb:cc:dd:ee:ff" (lower case)
/// -> the card's text entry (its interface name). Existing entries are never
/// overwritten, so of two cards with the same address the first keeps its entry.
/// Cards that cannot be read or are not usable are skipped silently.
CALYX_EXPORT void DMSGetNetworkInterface(std::map<std::string, std::string>& cards);

/// The hardware address that the kernel ARP table ("/proc/net/arp") holds for `ip`
/// (exact text match, first matching line; as the kernel prints it, all zeros for an
/// incomplete entry), or "" when there is none. An unreadable table is logged at
/// level 0 ("Error: Server::GetMACAddressFromARPTable - Failed to open <file>").
CALYX_EXPORT std::string GetMACAddressFromARPTable(const std::string& ip);

// ---------------------------------------------------------------------------------
// UPnP formatting and transcoding estimates
// ---------------------------------------------------------------------------------

/// "H:MM:SS.000" with hours = (seconds / 3600) mod 60 (so 61 hours print as
/// "1:00:00.000"), minutes and seconds mod 60, all with truncating division; negative
/// input gives negative fields ("-1:-2:-5.000" for -3725).
CALYX_EXPORT std::string DMSFormatUPNPDuration(int seconds);

/// `date` with every blank replaced by "T" ("2012-05-06 07:08:09" gives
/// "2012-05-06T07:08:09"); nothing else is checked. A null `date` is a bad parameter
/// and gives "".
CALYX_EXPORT std::string DMSFormatUPNPDate(const char* date);

/// The thumbnail size for a picture of width x height whose longer side is limited to
/// `maxSide` (single-precision arithmetic): a picture within the limit keeps its size;
/// otherwise the longer side (the height when both are equal) becomes `maxSide` and the
/// other is scaled, truncated and raised to the next even number when odd. Null outputs
/// are a bad parameter (nothing written). Nonsense input (negative or huge values)
/// gives the result of 32-bit hardware arithmetic, without undefined behaviour: a
/// scaled side beyond the int range saturates (NaN gives 0) before it is evened, and
/// evening INT_MAX wraps to INT_MIN.
CALYX_EXPORT void DMSGetThumbnailRes(int width, int height, int* outWidth, int* outHeight,
                                     int maxSide);

/// The bit rate of a transcoded stream from the encoder's arguments: the last value
/// after "-maxrate" or "-b" (video), "-ab" (audio per channel) and "-ac" (channels),
/// each read as a decimal integer that stops at the first non-digit ("2000k" is 2000)
/// and saturates at the 32-bit range. Returns (channels * audio + video) * 1024 with
/// 32-bit two's-complement wrap-around, or -1 when `encoderArgs` is empty (a bad
/// parameter) or any of the three is missing or -1.
CALYX_EXPORT int GetTransBitRate(const std::string& encoderArgs);

/// Bytes of a transcoded stream of `seconds`: GetTransBitRate(encoderArgs) * seconds /
/// 8 in single precision, truncated toward zero (saturating at the int64 range).
/// Returns 0 when `encoderArgs` is empty or `seconds` is negative or NaN (a bad
/// parameter), or when the bit rate cannot be estimated (reported as "Failed to
/// estimate transcoding bit rate").
CALYX_EXPORT int64_t PredictTransFileSize(std::string encoderArgs, float seconds);

/// The raw value of the last line of "/proc/cpuinfo" whose name part (before the first
/// ":") contains `key`: the text between the first and second ":" exactly as it stands,
/// with its leading blank and, when there is no second ":", its line break
/// (" X\n" for "model name : X"). "" when no line matches, `key` is empty (a bad
/// parameter) or the file cannot be opened (reported to the system log).
CALYX_EXPORT std::string GetCPUInfo(const std::string& key);

// ---------------------------------------------------------------------------------
// Media folders and index locations
// ---------------------------------------------------------------------------------

/// The target, as stored, of the media type's service link ("/var/services/music",
/// "/var/services/video" or "/var/services/photo"; at most 4096 bytes); "" for any other
/// type or when the link is missing or not a link.
CALYX_EXPORT std::string DMSGetMediaFolderPath(MEDIA_TABLE_TYPE type);

/// Appends to `names` the album-art file names of "albumart_mediaservice" in
/// "/var/packages/Calyx/etc/dmsinfo.conf" (";"-separated, empty names dropped, at most
/// 255 bytes of value read). `names` is never cleared. Always returns true.
CALYX_EXPORT bool GetCoverList(std::vector<std::string>& names);

/// Every folder indexed for a music, video or photo `type`: absolute path -> display
/// name, from "/usr/zevo/etc/index_folder.conf" (a JSON array of folder objects,
/// comments allowed) and the type's own share; the first insertion of a path wins.
/// Without the file: the type's share alone under the type word. An unopenable or
/// invalid file is logged and gives an empty map. A top level that is not an array
/// counts as an array without entries; an entry that is not an object, or whose needed
/// members cannot be converted (a "path" that is an array, a flag that is a string, ...)
/// is skipped; a flag that cannot be converted never counts as true. Numbers as flags
/// are true when not zero; scalar "path"/"name" values are taken as their JSON text.
CALYX_EXPORT std::map<std::string, std::string> GetIndexLoacationPath(const MEDIA_TABLE_TYPE& type);

}  // namespace Calyx

#endif  // CALYX_HOST_H
