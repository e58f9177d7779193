// Portable QLIBCFileGetKeyValue: one key of a key=value file.
//
// Format: one "key=value" or key="value" pair per line, blanks around "=" allowed;
// blank lines, lines starting with "#" or ";" and "[section]" lines are ignored; the
// first line that holds the key wins.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "calyx/platform.h"
#include "platform/file_kind.h"

namespace {

bool IsBlank(char c) {
    return c == ' ' || c == '\t';
}

std::string Trim(const char* begin, const char* end) {
    while (begin < end && IsBlank(*begin)) {
        ++begin;
    }
    while (end > begin && (IsBlank(end[-1]) || end[-1] == '\r' || end[-1] == '\n')) {
        --end;
    }
    return std::string(begin, end);
}

// Parses one line; true (with the value) when it is a pair for `key`.
bool MatchLine(const char* line, size_t length, const char* key, std::string& value) {
    std::string text = Trim(line, line + length);
    if (text.empty() || text[0] == '#' || text[0] == ';' || text[0] == '[') {
        return false;
    }
    size_t equals = text.find('=');
    if (equals == std::string::npos) {
        return false;
    }
    if (Trim(text.data(), text.data() + equals) != key) {
        return false;
    }
    value = Trim(text.data() + equals + 1, text.data() + text.size());
    if (value.size() >= 2 && value.front() == '"' && value.back() == '"') {
        value = value.substr(1, value.size() - 2);
    }
    return true;
}

}  // namespace

extern "C" int QLIBCFileGetKeyValue(const char* path, const char* key, char* buf, int size,
                                    int flags) {
    if (path == nullptr || key == nullptr || buf == nullptr || size <= 0) {
        return -1;
    }
    // A FIFO or device put in place of the file is refused rather than waited on; a
    // directory opens but fails at the first read, as any unreadable file does.
    FILE* file = Calyx::detail::OpenForReading(path);
    if (file == nullptr) {
        return -1;
    }
    char* line = nullptr;
    size_t capacity = 0;
    ssize_t length;
    int found = 0;
    std::string value;
    while ((length = getline(&line, &capacity, file)) >= 0) {
        if (MatchLine(line, static_cast<size_t>(length), key, value)) {
            found = 1;
            break;
        }
    }
    bool readError = ferror(file) != 0;
    free(line);
    fclose(file);
    if (!found) {
        return readError ? -1 : 0;
    }
    snprintf(buf, static_cast<size_t>(size), "%s", value.c_str());
    return found;
}
