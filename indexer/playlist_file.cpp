// m3u/m3u8: one entry per line that is neither blank nor a comment, "#EXTINF:<seconds>,<title>"
// naming the next entry's title. pls: "FileN=" and "TitleN=" keys, in the order of N.
#include "indexer/playlist_file.h"

#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <map>
#include <memory>

#include "indexer/indexed_path.h"

namespace calyx_indexer {

namespace {

std::string Lower(std::string text) {
    for (char& c : text)
        c = static_cast<char>(tolower(static_cast<unsigned char>(c)));
    return text;
}

bool IsUtf8(const std::string& text) {
    for (size_t i = 0; i < text.size();) {
        const size_t n = Calyx::Utf8SequenceLength(text, i);
        if (n == 0)
            return false;
        i += n;
    }
    return true;
}

std::string Latin1ToUtf8(const std::string& text) {
    std::string out;
    for (unsigned char c : text) {
        if (c < 0x80) {
            out += static_cast<char>(c);
        } else {
            out += static_cast<char>(0xc0 | (c >> 6));
            out += static_cast<char>(0x80 | (c & 0x3f));
        }
    }
    return out;
}

// "scheme://": a URL rather than a path.
bool IsUrl(const std::string& text) {
    const size_t colon = text.find("://");
    if (colon == std::string::npos || colon == 0 || !isalpha(static_cast<unsigned char>(text[0])))
        return false;
    return std::all_of(text.begin(), text.begin() + static_cast<long>(colon), [](char c) {
        return isalnum(static_cast<unsigned char>(c)) || c == '+' || c == '-' || c == '.';
    });
}

int HexValue(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    c = static_cast<char>(tolower(static_cast<unsigned char>(c)));
    return c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
}

// The path of a "file://" URL, its %XX escapes decoded.
std::string FileUrlPath(const std::string& url) {
    std::string rest = url.substr(strlen("file://"));
    if (!rest.empty() && rest[0] != '/') {  // file://host/path: the host is dropped
        const size_t slash = rest.find('/');
        rest = slash == std::string::npos ? "/" : rest.substr(slash);
    }
    std::string out;
    for (size_t i = 0; i < rest.size(); ++i) {
        if (rest[i] == '%' && i + 2 < rest.size() && HexValue(rest[i + 1]) >= 0 &&
            HexValue(rest[i + 2]) >= 0) {
            out += static_cast<char>(HexValue(rest[i + 1]) * 16 + HexValue(rest[i + 2]));
            i += 2;
        } else {
            out += rest[i];
        }
    }
    return out;
}

// `path` with "//", "/./" and "/x/../" taken out, as the walk names files.
std::string Normalized(const std::string& path) {
    std::vector<std::string> parts;
    size_t start = 1;
    while (start <= path.size()) {
        size_t slash = path.find('/', start);
        if (slash == std::string::npos)
            slash = path.size();
        const std::string part = path.substr(start, slash - start);
        if (part == "..") {
            if (!parts.empty())
                parts.pop_back();
        } else if (!part.empty() && part != ".") {
            parts.push_back(part);
        }
        start = slash + 1;
    }
    std::string out;
    for (const std::string& part : parts)
        out += "/" + part;
    return out.empty() ? "/" : out;
}

bool IsRegularFile(const std::string& path) {
    struct stat info {};
    return stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

// The file path an entry names, absolute; "" when the entry names none.
std::string Absolute(const std::string& entry, const std::string& folder) {
    if (entry.empty())
        return "";
    return Normalized(entry[0] == '/' ? entry : folder + "/" + entry);
}

// The first of the entry's readings that names an existing file, else the first reading.
std::string FindFile(const std::vector<std::string>& readings, const std::string& folder,
                     bool& found) {
    found = false;
    std::string first;
    for (const std::string& reading : readings) {
        const std::string path = Absolute(reading, folder);
        if (path.empty())
            continue;
        if (first.empty())
            first = path;
        if (IsRegularFile(path)) {
            found = true;
            return path;
        }
    }
    return first;
}

PlaylistEntry Resolve(const std::string& text, const std::string& title, const std::string& folder,
                      bool latin1Possible) {
    PlaylistEntry entry;
    entry.notUtf8 = !IsUtf8(text);
    entry.title = IsUtf8(title) ? title : latin1Possible ? Latin1ToUtf8(title) : ValidUtf8(title);
    std::string name = text;
    if (IsUrl(text)) {
        if (Lower(text.substr(0, 7)) != "file://") {
            entry.kind = PlaylistEntry::Kind::kUrl;
            entry.target = entry.notUtf8 ? EncodeIndexedPath(text) : text;
            return entry;
        }
        name = FileUrlPath(text);
    }
    std::vector<std::string> readings = {name};
    if (!IsUtf8(name) && latin1Possible)
        readings.push_back(Latin1ToUtf8(name));
    if (name.find('\\') != std::string::npos) {
        for (size_t i = 0, n = readings.size(); i < n; ++i) {
            std::string slashed = readings[i];
            std::replace(slashed.begin(), slashed.end(), '\\', '/');
            if (slashed.size() > 2 && isalpha(static_cast<unsigned char>(slashed[0])) &&
                slashed[1] == ':')
                slashed = slashed.substr(2);  // a drive letter names no folder here
            readings.push_back(slashed);
        }
    }
    bool found = false;
    const std::string path = FindFile(readings, folder, found);
    entry.kind = found ? PlaylistEntry::Kind::kFile : PlaylistEntry::Kind::kMissing;
    entry.target = EncodeIndexedPath(path);
    return entry;
}

std::string Trimmed(const std::string& line) {
    size_t begin = 0, end = line.size();
    while (begin < end && isspace(static_cast<unsigned char>(line[begin])))
        ++begin;
    while (end > begin && isspace(static_cast<unsigned char>(line[end - 1])))
        --end;
    return line.substr(begin, end - begin);
}

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    size_t start = text.compare(0, 3, "\xef\xbb\xbf") == 0 ? 3 : 0;  // a byte order mark
    while (start < text.size()) {
        size_t end = text.find_first_of("\r\n", start);
        if (end == std::string::npos)
            end = text.size();
        lines.push_back(Trimmed(text.substr(start, end - start)));
        start = end + 1;
    }
    return lines;
}

void ParseM3u(const std::string& text, const std::string& folder, bool latin1Possible,
              std::vector<PlaylistEntry>& entries) {
    std::string title;
    for (const std::string& line : Lines(text)) {
        if (line.empty())
            continue;
        if (line[0] == '#') {
            if (Lower(line.substr(0, 8)) == "#extinf:") {
                const size_t comma = line.find(',');
                title = comma == std::string::npos ? "" : Trimmed(line.substr(comma + 1));
            }
            continue;
        }
        entries.push_back(Resolve(line, title, folder, latin1Possible));
        title.clear();
    }
}

void ParsePls(const std::string& text, const std::string& folder,
              std::vector<PlaylistEntry>& entries) {
    std::map<long, std::pair<std::string, std::string>> byNumber;  // N -> (file, title)
    for (const std::string& line : Lines(text)) {
        const size_t equals = line.find('=');
        if (equals == std::string::npos)
            continue;
        const std::string key = Lower(Trimmed(line.substr(0, equals)));
        const std::string value = Trimmed(line.substr(equals + 1));
        for (const char* prefix : {"file", "title"}) {
            const size_t length = strlen(prefix);
            if (key.compare(0, length, prefix) != 0 || key.size() == length ||
                key.find_first_not_of("0123456789", length) != std::string::npos ||
                key.size() - length > 9)
                continue;
            auto& slot = byNumber[strtol(key.c_str() + length, nullptr, 10)];
            (length == 4 ? slot.first : slot.second) = value;
        }
    }
    for (const auto& [number, fields] : byNumber)
        if (!fields.first.empty())
            entries.push_back(Resolve(fields.first, fields.second, folder, true));
}

}  // namespace

bool ReadPlaylist(const std::string& path, std::vector<PlaylistEntry>& entries,
                  std::string& error) {
    std::unique_ptr<FILE, int (*)(FILE*)> file(fopen(path.c_str(), "rb"), fclose);
    if (!file) {
        error = std::string("cannot read the playlist: ") + strerror(errno);
        return false;
    }
    std::string text;
    char buffer[65536];
    size_t got = 0;
    while ((got = fread(buffer, 1, sizeof buffer, file.get())) > 0) {
        text.append(buffer, got);
        if (static_cast<long>(text.size()) > kMaxPlaylistBytes) {
            error = "the playlist is longer than " + std::to_string(kMaxPlaylistBytes) + " bytes";
            return false;
        }
    }
    if (ferror(file.get())) {
        error = std::string("cannot read the playlist: ") + strerror(errno);
        return false;
    }
    const size_t slash = path.rfind('/');
    // Relative entries are relative to the playlist's folder ("" for "/").
    const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash);
    const size_t dot = path.rfind('.');
    const std::string ext = dot == std::string::npos ? "" : Lower(path.substr(dot + 1));
    entries.clear();
    if (ext == "pls")
        ParsePls(text, folder, entries);
    else
        ParseM3u(text, folder, ext != "m3u8", entries);
    return true;
}

void CountEntries(const std::vector<PlaylistEntry>& entries, PlaylistCounts& counts) {
    for (const PlaylistEntry& entry : entries) {
        ++counts.entries;
        counts.missing += entry.kind == PlaylistEntry::Kind::kMissing;
        counts.urls += entry.kind == PlaylistEntry::Kind::kUrl;
        counts.notUtf8 += entry.notUtf8;
    }
}

}  // namespace calyx_indexer
