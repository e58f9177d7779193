#include "tool.h"

#include <json/writer.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <algorithm>
#include <iostream>
#include <sstream>

#include "calyx/client.h"
#include "calyx/ext.h"

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

Json::Value LoadJsonOrFail(const std::string& path) {
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
    std::string trimmed = root;
    while (trimmed.size() > 1 && trimmed.back() == '/')
        trimmed.pop_back();
    if (trimmed == "/")
        trimmed.clear();  // the real root: no prefix at all
    setenv("CALYX_ROOT", trimmed.c_str(), 1);
}

void PrintJson(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "  ";
    builder["emitUTF8"] = true;
    std::cout << Json::writeString(builder, value) << "\n";
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
