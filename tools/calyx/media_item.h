// Media items for the tool: building ZEVO_MEDIA_INFO records from options and JSON, and
// showing them.
#ifndef CALYX_TOOL_MEDIA_ITEM_H
#define CALYX_TOOL_MEDIA_ITEM_H

#include <json/value.h>

#include <string>

#include "calyx/types.h"

namespace calyx_tool {

// Copies `text` into a fixed array, cut to fit and always NUL-terminated.
template <size_t N>
void CopyField(char (&field)[N], const std::string& text) {
    size_t n = text.size() < N - 1 ? text.size() : N - 1;
    text.copy(field, n);
    field[n] = '\0';
}

// Fills `item` from a JSON object whose members are named like the record's fields
// ("path", "container_type", "video_codec", "resolutionx", ...). Throws ToolError
// (naming `where`) for a member of the wrong type.
void MediaItemFromJson(const Json::Value& object, const std::string& where, ZEVO_MEDIA_INFO& item);

// The fields video profile selection reads, as JSON.
Json::Value MediaItemToJson(const ZEVO_MEDIA_INFO& item);

// A one-line summary: "beach.mkv  matroska h264/aac 1920x1080 2ch".
std::string MediaItemSummary(const ZEVO_MEDIA_INFO& item);

}  // namespace calyx_tool

#endif  // CALYX_TOOL_MEDIA_ITEM_H
