#include "dmsutils/json_document.h"

#include "calyx/core.h"
#include "platform/file_kind.h"

namespace Calyx {
namespace detail {

bool ParseJsonDocument(const std::string& text, Json::Value& root, Json::Reader* reader,
                       std::string* thrown) {
    Json::Reader local;
    Json::Reader& used = reader != nullptr ? *reader : local;
    try {
        return used.parse(text, root, true);
    } catch (const std::bad_alloc&) {
        throw;  // out of memory is the caller's failure, not a syntax error
    } catch (const std::exception& e) {
        // The reader gives up on pathological nesting by throwing.
        root = Json::Value();
        if (thrown != nullptr) {
            *thrown = e.what();
        }
        return false;
    }
}

JsonFileOutcome LoadJsonFile(const std::string& path, const char* method, Json::Value& root,
                             JsonFileRead* read) {
    try {
        std::string text;
        SourceKind kind = SourceKind::kMissing;
        if (!ReadJsonSource(path, text, &kind)) {
            if (DMSLOGGetLevel() >= 0) {
                DMSPrintf(DMSLOG_ERR, "Error: %s - %s could not open\n", method, path.c_str());
            }
            return JsonFileOutcome::kCannotOpen;
        }
        std::string thrown;
        bool parsed = ParseJsonDocument(text, root, nullptr, &thrown);
        if (read != nullptr) {
            read->text.swap(text);
            read->regularFile = kind == SourceKind::kRegular;
            read->readerGaveUp = !thrown.empty();
        }
        if (!parsed) {
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
