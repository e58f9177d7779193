// Reading rows of the media index for the tool.
#ifndef CALYX_TOOL_MEDIA_SOURCE_H
#define CALYX_TOOL_MEDIA_SOURCE_H

#include <string>
#include <vector>

#include "calyx/types.h"

namespace calyx_tool {

struct MediaQuery {
    std::string type = "video";  // music, video, photo, playlist, directory
    std::vector<std::string> excludeCodecs;
    std::vector<std::string> excludeExts;
    int limit = 0;  // 0: no limit
    int offset = 0;
    std::string order;
};

// The table type for a type word; throws a usage error for an unknown word.
Calyx::MEDIA_TABLE_TYPE MediaTypeFromWord(const std::string& word);

// Connects to the media index (throws ToolError when it cannot), applies the query's
// filters and returns the item count.
int CountMediaItems(const MediaQuery& query);

// Connects, applies the filters and returns the selected rows as records.
std::vector<ZEVO_MEDIA_INFO> ListMediaItems(const MediaQuery& query);

}  // namespace calyx_tool

#endif  // CALYX_TOOL_MEDIA_SOURCE_H
