// Where each media share lives, and which file names count as album art.
#include <unistd.h>

#include <cstring>
#include <string>
#include <vector>

#include "calyx/core.h"
#include "calyx/host.h"
#include "calyx/platform.h"
#include "host/media_type_word.h"

namespace Calyx {

namespace {

constexpr size_t kLinkBufferSize = 4097;
constexpr int kCoverValueSize = 256;

}  // namespace

std::string DMSGetMediaFolderPath(MEDIA_TABLE_TYPE type) {
    const char* word = detail::MediaTypeWord(type);
    if (word == nullptr) {
        return std::string();
    }
    std::string link = ResolveFixedPath(std::string("/var/services/") + word);
    char target[kLinkBufferSize];
    memset(target, 0, sizeof target);
    // One byte short of the buffer, so the text always ends in a zero.
    if (readlink(link.c_str(), target, kLinkBufferSize - 1) < 0) {
        return std::string();
    }
    return target;
}

bool GetCoverList(std::vector<std::string>& names) {
    char value[kCoverValueSize];
    memset(value, 0, sizeof value);
    std::string settings = ResolveFixedPath("/var/packages/Calyx/etc/dmsinfo.conf");
    if (QLIBCFileGetKeyValue(settings.c_str(), "albumart_mediaservice", value, kCoverValueSize,
                             0) <= 0) {
        return true;
    }
    value[kCoverValueSize - 1] = '\0';
    char* cursor = value;
    while (char* name = QLIBCStrTokIndex(&cursor, ";")) {
        names.emplace_back(name);
    }
    return true;
}

}  // namespace Calyx
