#include "tool.h"

#include <json/writer.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <system_error>

#include "calyx/client.h"
#include "calyx/core.h"
#include "calyx/utf8.h"

namespace calyx_tool {

int& ExitStatus() {
    static int status = kExitOk;
    return status;
}

void Fail(const std::string& message) {
    throw ToolError(kExitFailed, message);
}

void UsageFail(const std::string& message) {
    throw ToolError(kExitUsage, message);
}

void RequireReadableFile(const std::string& path) {
    std::string reason = Calyx::UnreadableFileReason(path);
    if (!reason.empty())
        Fail(path + ": " + reason);
}

bool ReadTextFile(const std::string& path, std::string& text) {
    RequireReadableFile(path);
    std::ifstream in(path, std::ios::in | std::ios::binary);
    if (!in)
        return false;
    std::ostringstream buffer;
    buffer << in.rdbuf();
    text = buffer.str();
    return !in.bad();
}

Json::Value LoadJsonOrFail(const std::string& path) {
    RequireReadableFile(path);
    Json::Value root;
    Calyx::JsonFileError error;
    if (!Calyx::ReadJsonFile(path, root, &error)) {
        if (error.line > 0)
            Fail(path + ":" + std::to_string(error.line) + ":" + std::to_string(error.column) +
                 ": " + error.message);
        Fail(path + ": " + error.message);
    }
    return root;
}

ScopedProfileList::ScopedProfileList(const std::string& path) {
    LoadJsonOrFail(path);  // a precise message for a syntax error
    Calyx::DMSClientChecker::ReleaseClientList();
    if (!Calyx::DMSClientChecker::InitProfileList(path)) {
        Calyx::DMSClientChecker::ReleaseClientList();
        Fail(path + ": cannot load the profile list");
    }
}

ScopedProfileList::~ScopedProfileList() {
    Calyx::DMSClientChecker::ReleaseClientList();
}

void ApplyRoot(const std::string& root) {
    if (root.empty())
        return;
    struct stat st;
    if (stat(root.c_str(), &st) != 0 || !S_ISDIR(st.st_mode))
        Fail(root + ": root directory does not exist");
    // Absolute, so that every fixed path under it is absolute too.
    std::error_code error;
    std::string trimmed = std::filesystem::absolute(root, error).lexically_normal().string();
    if (error)
        Fail(root + ": " + error.message());
    while (trimmed.size() > 1 && trimmed.back() == '/')
        trimmed.pop_back();
    if (trimmed == "/")
        trimmed.clear();  // the real root: no prefix at all
    setenv("CALYX_ROOT", trimmed.c_str(), 1);
}

void CreateParentDirectories(const std::string& file) {
    const std::string dir = std::filesystem::path(file).parent_path().string();
    if (dir.empty())
        return;
    Calyx::Error error;
    if (!Calyx::MakeDirectories(dir, &error))
        Fail(error.message);
}

namespace {

// A copy of `value` whose texts and member names are all valid UTF-8.
Json::Value WithValidUtf8(const Json::Value& value) {
    if (value.isString())
        return Json::Value(Calyx::ValidUtf8(value.asString()));
    if (value.isArray()) {
        Json::Value out(Json::arrayValue);
        for (const Json::Value& item : value)
            out.append(WithValidUtf8(item));
        return out;
    }
    if (value.isObject()) {
        Json::Value out(Json::objectValue);
        for (const std::string& name : value.getMemberNames())
            out[Calyx::ValidUtf8(name)] = WithValidUtf8(value[name]);
        return out;
    }
    return value;
}

}  // namespace

void PrintJson(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "  ";
    builder["emitUTF8"] = true;
    builder["commentStyle"] = "None";  // comments a file carried would not be JSON
    std::cout << Json::writeString(builder, WithValidUtf8(value)) << "\n";
}

std::string Join(const std::vector<std::string>& parts, const std::string& separator) {
    std::string out;
    for (size_t i = 0; i < parts.size(); ++i) {
        if (i)
            out += separator;
        out += parts[i];
    }
    return out;
}

std::string Quoted(const std::string& text) {
    std::string out = "\"";
    for (unsigned char c : text) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += static_cast<char>(c);
        } else if (c < 0x20) {
            char buf[8];
            snprintf(buf, sizeof buf, "\\x%02x", c);
            out += buf;
        } else {
            out += static_cast<char>(c);
        }
    }
    return out + "\"";
}

std::string OrNone(const std::string& text) {
    return text.empty() ? "(none)" : text;
}

TextTable::TextTable(std::vector<std::string> headings) {
    rows_.push_back(std::move(headings));
}

void TextTable::add(std::vector<std::string> row) {
    rows_.push_back(std::move(row));
}

// Display width of UTF-8 text: continuation bytes take no column.
static size_t DisplayWidth(const std::string& text) {
    size_t width = 0;
    for (unsigned char c : text)
        if ((c & 0xC0) != 0x80)
            ++width;
    return width;
}

std::string TextTable::render() const {
    std::vector<size_t> widths;
    for (const auto& row : rows_) {
        if (widths.size() < row.size())
            widths.resize(row.size(), 0);
        for (size_t i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], DisplayWidth(row[i]));
    }
    std::ostringstream out;
    for (const auto& row : rows_) {
        std::string line;
        for (size_t i = 0; i < row.size(); ++i) {
            line += row[i];
            if (i + 1 < row.size())
                line += std::string(widths[i] - DisplayWidth(row[i]) + 2, ' ');
        }
        while (!line.empty() && line.back() == ' ')
            line.pop_back();
        out << line << "\n";
    }
    return out.str();
}

}  // namespace calyx_tool
