// Portable localized-text parser: the file "strings" of a language directory, in the
// sectioned key=value format that docs/texts.md describes.

#include <cstring>
#include <exception>
#include <string>
#include <utility>

#include <json/value.h>

#include "calyx/platform.h"
#include "platform/file_kind.h"

namespace {

const char kTextsFileName[] = "strings";
const char kBlanks[] = " \t\r\f\v";

// [begin, end) of `text` without leading and trailing white space (CR included, so
// Windows line ends need no special case).
void TrimRange(const std::string& text, size_t& begin, size_t& end) {
    while (begin < end &&
           std::char_traits<char>::find(kBlanks, sizeof kBlanks - 1, text[begin]) != nullptr) {
        ++begin;
    }
    while (end > begin &&
           std::char_traits<char>::find(kBlanks, sizeof kBlanks - 1, text[end - 1]) != nullptr) {
        --end;
    }
}

// Position of `c` in [begin, end) of `text`, or `end`. Bounded, so that a line without
// the character does not make the search run on through the rest of the file.
size_t FindInRange(const std::string& text, size_t begin, size_t end, char c) {
    const void* hit = std::memchr(text.data() + begin, c, end - begin);
    return hit != nullptr ? static_cast<size_t>(static_cast<const char*>(hit) - text.data()) : end;
}

// The text of a quoted value whose opening quote stands at `begin`: escapes decoded, up
// to the closing quote (what follows it is ignored) or, without one, to `end`.
std::string DecodeQuoted(const std::string& line, size_t begin, size_t end) {
    std::string text;
    text.reserve(end - begin);
    for (size_t i = begin + 1; i < end; ++i) {
        char c = line[i];
        if (c == '"') {
            break;
        }
        if (c != '\\' || i + 1 == end) {
            text.push_back(c);
            continue;
        }
        char next = line[++i];
        switch (next) {
            case '"':
                text.push_back('"');
                break;
            case '\\':
                text.push_back('\\');
                break;
            case 'n':
                text.push_back('\n');
                break;
            case 't':
                text.push_back('\t');
                break;
            default:  // any other pair is kept as it stands
                text.push_back('\\');
                text.push_back(next);
                break;
        }
    }
    return text;
}

class TextsParser {
public:
    // Parses the whole file content. Lines end at "\n"; a leading UTF-8 byte-order mark
    // is skipped.
    Json::Value Parse(const std::string& content) {
        size_t pos = content.compare(0, 3, "\xEF\xBB\xBF") == 0 ? 3 : 0;
        while (pos < content.size()) {
            size_t newline = content.find('\n', pos);
            size_t lineEnd = newline == std::string::npos ? content.size() : newline;
            ParseLine(content, pos, lineEnd);
            pos = lineEnd + 1;
        }
        return std::move(result_);
    }

private:
    void ParseLine(const std::string& text, size_t begin, size_t end) {
        TrimRange(text, begin, end);
        if (begin == end || text[begin] == '#' || text[begin] == ';') {
            return;
        }
        if (text[begin] == '[') {
            StartSection(text, begin, end);
            return;
        }
        if (!inSection_) {
            return;  // lines before the first section belong to none
        }
        size_t equals = FindInRange(text, begin, end, '=');
        if (equals == end) {
            return;
        }
        size_t keyBegin = begin;
        size_t keyEnd = equals;
        TrimRange(text, keyBegin, keyEnd);
        if (keyBegin == keyEnd) {
            return;
        }
        size_t valueBegin = equals + 1;
        size_t valueEnd = end;
        TrimRange(text, valueBegin, valueEnd);
        std::string value = valueBegin < valueEnd && text[valueBegin] == '"'
                                ? DecodeQuoted(text, valueBegin, valueEnd)
                                : text.substr(valueBegin, valueEnd - valueBegin);
        // The section's object is made on its first key, so a section without keys does
        // not appear. std::map keeps the reference valid while other sections are added.
        if (section_ == nullptr) {
            section_ = &result_[sectionName_];
        }
        (*section_)[text.substr(keyBegin, keyEnd - keyBegin)] = Json::Value(value);
    }

    // "[name]": what follows the closing bracket is ignored. A header without a closing
    // bracket or with an empty name starts no section: its lines are ignored.
    void StartSection(const std::string& text, size_t begin, size_t end) {
        section_ = nullptr;
        inSection_ = false;
        size_t close = FindInRange(text, begin, end, ']');
        if (close == end) {
            return;
        }
        size_t nameBegin = begin + 1;
        size_t nameEnd = close;
        TrimRange(text, nameBegin, nameEnd);
        if (nameBegin == nameEnd) {
            return;
        }
        sectionName_.assign(text, nameBegin, nameEnd - nameBegin);
        inSection_ = true;
        // A section named again later continues the same object.
        const Json::Value& existing = result_;
        if (existing.isObject() && existing.isMember(sectionName_)) {
            section_ = &result_[sectionName_];
        }
    }

    Json::Value result_;  // null until the first key is stored
    std::string sectionName_;
    Json::Value* section_ = nullptr;
    bool inSection_ = false;
};

}  // namespace

namespace ZEVO {
namespace Tarn {

Json::Value LocalizedStringParser::ParseTexts(std::string dir) {
    if (dir.empty()) {
        return Json::Value();
    }
    try {
        std::string path = dir;
        if (path.back() != '/') {
            path += '/';
        }
        path += kTextsFileName;
        std::string content;
        if (!Calyx::detail::ReadWholeFile(path, content)) {
            return Json::Value();
        }
        return TextsParser().Parse(content);
    } catch (const std::exception&) {
        return Json::Value();  // out of memory: nothing usable
    }
}

}  // namespace Tarn
}  // namespace ZEVO
