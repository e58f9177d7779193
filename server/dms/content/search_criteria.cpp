#include "content/search_criteria.h"

#include "content/catalog.h"
#include "content/media_facts.h"

#include <vector>

#include "calyx/core.h"

namespace calyx_dms {

namespace {

struct Column {
    const char* property;
    const char* column;
};

const Column kTextColumns[] = {
    {"dc:title", "title"},   {"dc:creator", "artist"}, {"upnp:artist", "artist"},
    {"upnp:album", "album"}, {"upnp:genre", "genre"},
};

// Titles sort by the index's title collation (case, accents and numbers as people expect).
const Column kSortColumns[] = {{"dc:title", "title COLLATE calyx_title"}, {"dc:date", "date"}};

const char* ColumnOf(const Column* begin, const Column* end, const std::string& property) {
    for (const Column* c = begin; c != end; ++c)
        if (property == c->property)
            return c->column;
    return nullptr;
}

// Tokens: "(", ")", quoted strings (kept with a leading '"'), and words.
bool Tokenize(const std::string& text, std::vector<std::string>& tokens) {
    for (size_t i = 0; i < text.size();) {
        char c = text[i];
        if (c == ' ' || c == '\t' || c == '\n' || c == '\r') {
            ++i;
        } else if (c == '(' || c == ')') {
            tokens.emplace_back(1, c);
            ++i;
        } else if (c == '"') {
            std::string value = "\"";
            for (++i; i < text.size() && text[i] != '"'; ++i) {
                if (text[i] == '\\' && i + 1 < text.size())
                    ++i;
                value += text[i];
            }
            if (i >= text.size())
                return false;  // unterminated string
            ++i;
            tokens.push_back(value);
        } else {
            size_t end = text.find_first_of(" \t\r\n()\"", i);
            end = end == std::string::npos ? text.size() : end;
            tokens.push_back(text.substr(i, end - i));
            i = end;
        }
    }
    return true;
}

// A LIKE pattern's literal text inside E'...'.
std::string LikeLiteral(const std::string& value) {
    std::string escaped;
    for (char c : value) {
        if (c == '\\' || c == '%' || c == '_')
            escaped += '\\';
        escaped += c;
    }
    return Calyx::SQLEscapeCondition(escaped);
}

bool Relation(const std::string& property, const std::string& op, const std::string& token,
              Calyx::MEDIA_TABLE_TYPE table, std::string& sql) {
    if (op == "exists" && property == "@refID") {
        // No object of this server refers to another.
        if (token != "true" && token != "false")
            return false;
        sql += token == "true" ? "FALSE" : "TRUE";
        return true;
    }
    if (op == "exists") {
        const char* column = ColumnOf(std::begin(kTextColumns), std::end(kTextColumns), property);
        if (!column || (token != "true" && token != "false"))
            return false;
        sql += token == "true" ? std::string("COALESCE(") + column + ", '') <> ''"
                               : std::string("COALESCE(") + column + ", '') = ''";
        return true;
    }
    if (token.empty() || token[0] != '"')
        return false;
    const std::string value = token.substr(1);
    if (property == "upnp:class") {
        const std::string cls = UpnpClassOf(table);
        bool holds;
        if (op == "=")
            holds = cls == value;
        else if (op == "derivedfrom")
            holds = cls == value || cls.compare(0, value.size() + 1, value + ".") == 0;
        else
            return false;
        sql += holds ? "TRUE" : "FALSE";
        return true;
    }
    const char* column = ColumnOf(std::begin(kTextColumns), std::end(kTextColumns), property);
    if (!column)
        return false;
    const std::string c = std::string("COALESCE(") + column + ", '')";
    if (op == "=")
        sql += c + " = E'" + Calyx::SQLEscapeCondition(value) + "'";
    else if (op == "!=")
        sql += c + " <> E'" + Calyx::SQLEscapeCondition(value) + "'";
    else if (op == "contains")
        sql += c + " ILIKE E'%" + LikeLiteral(value) + "%'";
    else if (op == "doesNotContain")
        sql += c + " NOT ILIKE E'%" + LikeLiteral(value) + "%'";
    else if (op == "startsWith")
        sql += c + " ILIKE E'" + LikeLiteral(value) + "%'";
    else
        return false;
    return true;
}

}  // namespace

bool AsksForContainerClass(const std::string& criteria, const std::string& upnpClass) {
    std::vector<std::string> tokens;
    if (criteria.size() > kMaxCriteriaBytes || !Tokenize(criteria, tokens))
        return false;
    for (size_t i = 0; i + 2 < tokens.size(); ++i) {
        if (tokens[i] != "upnp:class" || tokens[i + 2].empty() || tokens[i + 2][0] != '"')
            continue;
        const std::string value = tokens[i + 2].substr(1);
        if (value.compare(0, 16, "object.container") != 0)
            continue;
        if (tokens[i + 1] == "=" && value == upnpClass)
            return true;
        if (tokens[i + 1] == "derivedfrom" &&
            (value == upnpClass || upnpClass.compare(0, value.size() + 1, value + ".") == 0))
            return true;
    }
    return false;
}

const char* SearchCapabilities() {
    return "upnp:class,dc:title,dc:creator,upnp:artist,upnp:album,upnp:genre";
}

bool CriteriaToSql(const std::string& criteria, Calyx::MEDIA_TABLE_TYPE table, std::string& sql) {
    // Bounded before any work: a Search of 40,000 relations took seconds of the database.
    if (criteria.size() > kMaxCriteriaBytes)
        return false;
    std::vector<std::string> tokens;
    if (!Tokenize(criteria, tokens) || tokens.empty())
        return false;
    if (tokens.size() == 1 && tokens[0] == "*") {
        sql = "TRUE";
        return true;
    }
    // Expected next: an operand (a relation or "(") or, after one, ")" / "and" / "or".
    sql = "(";
    int depth = 0;
    size_t relations = 0;
    bool wantOperand = true;
    for (size_t i = 0; i < tokens.size();) {
        const std::string& t = tokens[i];
        if (wantOperand) {
            if (t == "(") {
                sql += "(";
                ++depth;
                ++i;
                continue;
            }
            if (i + 2 >= tokens.size() || ++relations > kMaxCriteriaRelations)
                return false;
            if (!Relation(t, tokens[i + 1], tokens[i + 2], table, sql))
                return false;
            i += 3;
            wantOperand = false;
        } else if (t == ")") {
            if (--depth < 0)
                return false;
            sql += ")";
            ++i;
        } else if (t == "and" || t == "or") {
            sql += t == "and" ? " AND " : " OR ";
            wantOperand = true;
            ++i;
        } else {
            return false;
        }
    }
    if (wantOperand || depth != 0)
        return false;
    sql += ")";
    return true;
}

bool SortToSql(const std::string& sortCriteria, std::string& orderBy) {
    orderBy.clear();
    for (const std::string& piece : Calyx::StringExplode(sortCriteria, ", ")) {
        bool descending = piece[0] == '-';
        std::string property = piece[0] == '-' || piece[0] == '+' ? piece.substr(1) : piece;
        // Every listing is of one table, whose rows share one class: nothing to order.
        if (property == "upnp:class")
            continue;
        const char* column = ColumnOf(std::begin(kSortColumns), std::end(kSortColumns), property);
        if (!column)
            return false;
        orderBy += std::string(column) + (descending ? " DESC, " : " ASC, ");
    }
    orderBy += orderBy.empty() ? kTitleOrder : "id ASC";
    return true;
}

}  // namespace calyx_dms
