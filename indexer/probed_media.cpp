// A probe result travels from worker to indexer as length-prefixed fields in a fixed order.
#include "indexer/probed_media.h"

#include <string.h>

#include <vector>

namespace calyx_indexer {

namespace {

// Visits every field in the one order both sides use.
template <typename Visitor, typename Media>
void VisitFields(Media& m, Visitor&& visit) {
    visit(m.failure), visit(m.container), visit(m.videoCodec), visit(m.audioCodec);
    visit(m.mimeType), visit(m.title), visit(m.artist), visit(m.album), visit(m.genre);
    visit(m.date), visit(m.thumbnail);
    visit(m.width), visit(m.height), visit(m.frameRateNum), visit(m.frameRateDen);
    visit(m.videoBitrate), visit(m.audioBitrate), visit(m.frameBitrate);
    visit(m.channels), visit(m.sampleRate), visit(m.duration), visit(m.rotation);
    visit(m.track), visit(m.year), visit(m.bitsPerSample);
    visit(m.coverOriginal), visit(m.coverMime), visit(m.coverWidth), visit(m.coverHeight);
    visit(m.coverThumbnail), visit(m.coverSmall), visit(m.large);
}

struct Writer {
    std::string& out;
    void operator()(const std::string& text) {
        const uint32_t size = static_cast<uint32_t>(text.size());
        out.append(reinterpret_cast<const char*>(&size), sizeof size);
        out += text;
    }
    template <typename Number>
    void operator()(const Number& value) {
        const int64_t wide = value;
        out.append(reinterpret_cast<const char*>(&wide), sizeof wide);
    }
};

struct Reader {
    const std::string& in;
    size_t pos = 0;
    bool ok = true;
    bool Take(void* into, size_t size) {
        if (!ok || in.size() - pos < size)
            return ok = false;
        memcpy(into, in.data() + pos, size);
        pos += size;
        return true;
    }
    void operator()(std::string& text) {
        uint32_t size = 0;
        if (!Take(&size, sizeof size) || in.size() - pos < size) {
            ok = false;
            return;
        }
        text.assign(in, pos, size);
        pos += size;
    }
    template <typename Number>
    void operator()(Number& value) {
        int64_t wide = 0;
        if (Take(&wide, sizeof wide))
            value = static_cast<Number>(wide);
    }
};

}  // namespace

const char* MediaTableName(MediaKind kind) {
    switch (kind) {
        case MediaKind::kVideo:
            return "video";
        case MediaKind::kMusic:
            return "music";
        case MediaKind::kPhoto:
            return "photo";
        case MediaKind::kPlaylist:
            return "playlist";
        case MediaKind::kNone:
            break;
    }
    return "";
}

std::string SerializeProbedMedia(const ProbedMedia& media) {
    std::string out;
    int kind = static_cast<int>(media.kind);
    Writer writer{out};
    writer(kind);
    VisitFields(media, writer);
    return out;
}

bool DeserializeProbedMedia(const std::string& bytes, ProbedMedia& media) {
    Reader reader{bytes};
    int kind = 0;
    reader(kind);
    VisitFields(media, reader);
    if (!reader.ok || reader.pos != bytes.size() || kind < 0 ||
        kind > static_cast<int>(MediaKind::kPlaylist))
        return false;
    media.kind = static_cast<MediaKind>(kind);
    return true;
}

}  // namespace calyx_indexer
