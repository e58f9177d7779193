// Playlist files (m3u, m3u8, pls) read into their entries, each resolved to the indexed
// path of the file it names or kept as the URL it is.
#ifndef CALYX_INDEXER_PLAYLIST_FILE_H
#define CALYX_INDEXER_PLAYLIST_FILE_H

#include <string>
#include <vector>

namespace calyx_indexer {

struct PlaylistEntry {
    enum class Kind { kFile, kMissing, kUrl };
    Kind kind = Kind::kMissing;
    // kFile, kMissing: the indexed path (EncodeIndexedPath) of the file named, relative
    // entries resolved against the playlist's folder; kUrl: the URL, made valid UTF-8.
    std::string target;
    std::string title;     // from #EXTINF or TitleN, valid UTF-8; "" when none
    bool notUtf8 = false;  // the entry's bytes were not valid UTF-8
};

// What a playlist's entries came to, for the run's summary.
struct PlaylistCounts {
    size_t entries = 0;
    size_t missing = 0;  // naming no regular file
    size_t urls = 0;
    size_t notUtf8 = 0;
};

// Longest playlist file read; a longer one fails.
inline constexpr long kMaxPlaylistBytes = 8L << 20;

// The entries of the playlist file `path` (a file path, not indexed), in order: the format
// by the extension ("pls", else m3u). An entry whose bytes are not UTF-8 names the file of
// those bytes, or else (m3u and pls only, whose files were often written in Latin-1) the
// file of their Latin-1 reading, whichever exists. Backslashes of playlists written on
// Windows separate folders where the file is found that way. False with `error` set when
// the file cannot be read.
bool ReadPlaylist(const std::string& path, std::vector<PlaylistEntry>& entries, std::string& error);

// Adds the entries' counts to `counts`.
void CountEntries(const std::vector<PlaylistEntry>& entries, PlaylistCounts& counts);

}  // namespace calyx_indexer

#endif  // CALYX_INDEXER_PLAYLIST_FILE_H
