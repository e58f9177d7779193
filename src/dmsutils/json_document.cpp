#include "dmsutils/json_document.h"

#include <json/reader.h>

#include <stdio.h>

#include <memory>
#include <vector>

#include "calyx/core.h"
#include "platform/file_kind.h"

namespace Calyx {
namespace detail {

namespace {

// 1-based line and column (in bytes) of `offset` within `text`.
void LocateOffset(const std::string& text, size_t offset, int& line, int& column) {
    line = 1;
    column = 1;
    if (offset > text.size())
        offset = text.size();
    for (size_t i = 0; i < offset; ++i) {
        if (text[i] == '\n') {
            ++line;
            column = 1;
        } else {
            ++column;
        }
    }
}

// The first error `reader` met in `text`, with its position.
void DescribeSyntaxError(const Json::Reader& reader, const std::string& text, Error& error) {
    std::vector<Json::Reader::StructuredError> errors = reader.getStructuredErrors();
    if (errors.empty()) {
        error.message = "not valid JSON";
        LocateOffset(text, text.size(), error.line, error.column);
        return;
    }
    std::string message = errors.front().message;
    while (!message.empty() && (message.back() == '\n' || message.back() == ' '))
        message.pop_back();
    error.message = "JSON syntax error: " + message;
    LocateOffset(text, static_cast<size_t>(errors.front().offset_start), error.line, error.column);
}

}  // namespace

bool ParseJsonDocument(const std::string& text, Json::Value& root, Error* error) {
    Json::Reader reader;
    try {
        if (reader.parse(text, root, true))
            return true;
    } catch (const std::bad_alloc&) {
        throw;  // out of memory is the caller's failure, not a syntax error
    } catch (const std::exception& e) {
        // The reader gives up on pathological nesting by throwing.
        root = Json::Value();
        if (error != nullptr) {
            *error = Error();
            error->message = e.what();
        }
        return false;
    }
    if (error != nullptr) {
        *error = Error();
        DescribeSyntaxError(reader, text, *error);
    }
    return false;
}

bool FindDuplicateKey(const std::string& text, Error& where) {
    Json::CharReaderBuilder builder;
    builder["allowComments"] = true;
    builder["rejectDupKeys"] = true;
    builder["stackLimit"] = 1000;  // the nesting Json::Reader allows
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value ignored;
    std::string errors;
    try {
        if (reader->parse(text.data(), text.data() + text.size(), &ignored, &errors))
            return false;
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception&) {  // nesting too deep: not a duplicate
        return false;
    }
    const size_t duplicate = errors.find("Duplicate key");
    if (duplicate == std::string::npos)
        return false;  // a syntax error, which ParseJsonDocument reports
    // "* Line 3, Column 5\n  Duplicate key: 'dlna'\n"
    where = Error();
    const size_t line = errors.find("Line ");
    // The reader's own message: its line and column numbers never overflow an int.
    if (line != std::string::npos && line < duplicate &&
        // NOLINTNEXTLINE(cert-err34-c)
        sscanf(errors.c_str() + line, "Line %d, Column %d", &where.line, &where.column) != 2) {
        where.line = 0;
        where.column = 0;
    }
    std::string what = errors.substr(duplicate);
    while (!what.empty() && (what.back() == '\n' || what.back() == ' '))
        what.pop_back();
    what[0] = 'd';
    where.message = what;
    return true;
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
        Error error;
        bool parsed = ParseJsonDocument(text, root, read != nullptr ? &error : nullptr);
        if (read != nullptr) {
            read->text.swap(text);
            read->regularFile = kind == SourceKind::kRegular;
            read->readerGaveUp = !parsed && error.line == 0;  // only a syntax error has a line
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
