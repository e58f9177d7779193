// Renumbering the $n placeholders of an SQL text, so that conditions written each with
// its own $1, $2, ... can stand in one statement.
#include <stddef.h>

#include <exception>
#include <string>
#include <vector>

#include "calyx/media_db.h"

namespace Calyx {

namespace {

bool Digit(char c) {
    return c >= '0' && c <= '9';
}

// A byte that may continue an identifier (or a keyword): then a "$" after it is part of
// the name, and an E before a quote is not the E'...' prefix.
bool IdentifierByte(char c) {
    const unsigned char u = static_cast<unsigned char>(c);
    return Digit(c) || (u >= 'a' && u <= 'z') || (u >= 'A' && u <= 'Z') || c == '_' || c == '$' ||
           u >= 0x80;
}

// The end (one past the closing quote, or the text's end) of the quoted text opening at
// `at`: '...' or "..." with a doubled quote standing for itself, and with `escapes` a
// backslash taking the next byte as it is (E'...').
size_t QuotedEnd(const std::string& sql, size_t at, bool escapes) {
    const char quote = sql[at];
    size_t i = at + 1;
    while (i < sql.size()) {
        if (escapes && sql[i] == '\\') {
            i += 2;
        } else if (sql[i] == quote) {
            if (i + 1 < sql.size() && sql[i + 1] == quote) {
                i += 2;
            } else {
                return i + 1;
            }
        } else {
            ++i;
        }
    }
    return sql.size();
}

// The end of the comment opening at `at` ("--" to the line's end, "/*" to its matching
// "*/": such comments nest).
size_t CommentEnd(const std::string& sql, size_t at) {
    if (sql[at] == '-') {
        size_t line = sql.find('\n', at);
        return line == std::string::npos ? sql.size() : line + 1;
    }
    int depth = 0;
    size_t i = at;
    while (i + 1 < sql.size()) {
        if (sql[i] == '/' && sql[i + 1] == '*') {
            ++depth;
            i += 2;
        } else if (sql[i] == '*' && sql[i + 1] == '/') {
            i += 2;
            if (--depth == 0)
                return i;
        } else {
            ++i;
        }
    }
    return sql.size();
}

// The end of a dollar-quoted text opening at `at` ("$tag$ ... $tag$", the tag possibly
// empty), or `at` when no such opening stands there.
size_t DollarQuoteEnd(const std::string& sql, size_t at) {
    size_t i = at + 1;
    if (i < sql.size() && Digit(sql[i]))
        return at;
    while (i < sql.size() && sql[i] != '$' && IdentifierByte(sql[i]))
        ++i;
    if (i >= sql.size() || sql[i] != '$')
        return at;
    const std::string tag = sql.substr(at, i - at + 1);
    const size_t close = sql.find(tag, i + 1);
    return close == std::string::npos ? sql.size() : close + tag.size();
}

}  // namespace

bool ShiftPlaceholders(const std::string& sql, size_t shift, size_t count, std::string& out) {
    try {
        std::string text;
        text.reserve(sql.size() + 8);
        std::vector<bool> seen(count, false);
        size_t i = 0;
        while (i < sql.size()) {
            const char c = sql[i];
            const char next = i + 1 < sql.size() ? sql[i + 1] : '\0';
            const bool afterName = i > 0 && IdentifierByte(sql[i - 1]);
            size_t end = i;
            if (c == '\'') {
                const bool prefixE = afterName && (sql[i - 1] == 'E' || sql[i - 1] == 'e') &&
                                     (i < 2 || !IdentifierByte(sql[i - 2]));
                end = QuotedEnd(sql, i, prefixE);
            } else if (c == '"') {
                end = QuotedEnd(sql, i, false);
            } else if ((c == '-' && next == '-') || (c == '/' && next == '*')) {
                end = CommentEnd(sql, i);
            } else if (c == '$' && !afterName && Digit(next)) {
                size_t digits = i + 1;
                while (digits < sql.size() && Digit(sql[digits]))
                    ++digits;
                if (digits - i - 1 > 9)
                    return false;
                const size_t k = std::stoul(sql.substr(i + 1, digits - i - 1));
                if (k < 1 || k > count)
                    return false;
                seen[k - 1] = true;
                text += '$' + std::to_string(k + shift);
                i = digits;
                continue;
            } else if (c == '$' && !afterName) {
                end = DollarQuoteEnd(sql, i);
            }
            if (end > i) {
                text.append(sql, i, end - i);
                i = end;
            } else {
                text += c;
                ++i;
            }
        }
        for (bool used : seen)
            if (!used)
                return false;
        out.swap(text);
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

}  // namespace Calyx
