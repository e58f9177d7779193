#include "dmsutils/json_document.h"

#include <fstream>
#include <iterator>

#include "calyx/core.h"
#include "dmsutils/file_kind.h"

namespace Calyx {
namespace detail {

bool ParseJsonDocument(const std::string& text, Json::Value& root, Json::Reader* reader,
                       std::string* thrown) {
    Json::Reader local;
    Json::Reader& used = reader != nullptr ? *reader : local;
    try {
        return used.parse(text, root, true);
    } catch (const std::exception& e) {
        // The reader gives up on pathological nesting by throwing.
        root = Json::Value();
        if (thrown != nullptr) {
            *thrown = e.what();
        }
        return false;
    }
}

JsonFileOutcome LoadJsonFile(const std::string& path, const char* method, Json::Value& root) {
    try {
        std::ifstream in;
        if (!WouldBlockOnOpen(path)) {
            in.open(path.c_str());
        }
        if (!in) {
            if (DMSLOGGetLevel() >= 0) {
                DMSPrintf(DMSLOG_ERR, "Error: %s - %s could not open\n", method, path.c_str());
            }
            return JsonFileOutcome::kCannotOpen;
        }
        std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        if (!ParseJsonDocument(text, root)) {
            if (DMSLOGGetLevel() >= 0) {
                DMSPrintf(DMSLOG_ERR, "Error: %s - Json::Reader::parse failed\n", method);
            }
            return JsonFileOutcome::kParseFailed;
        }
        return JsonFileOutcome::kParsed;
    } catch (const std::exception&) {  // out of memory while reading the file
        return JsonFileOutcome::kCannotOpen;
    }
}

}  // namespace detail
}  // namespace Calyx
