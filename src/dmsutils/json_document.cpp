#include "dmsutils/json_document.h"

#include <cstdio>
#include <memory>

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
        std::unique_ptr<FILE, int (*)(FILE*)> file(OpenForReading(path), fclose);
        if (!file) {
            if (DMSLOGGetLevel() >= 0) {
                DMSPrintf(DMSLOG_ERR, "Error: %s - %s could not open\n", method, path.c_str());
            }
            return JsonFileOutcome::kCannotOpen;
        }
        // What could be read is parsed: a directory opens but reads as nothing, which
        // makes a parse failure.
        std::string text;
        AppendFileContents(file.get(), text);
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
