// The Search criteria parser: whatever a client sends, it answers within its bounds, and
// what it accepts becomes SQL in which every quoted literal is closed and every
// parenthesis balanced, so nothing the client wrote reaches PostgreSQL unescaped.
#include <cstdint>
#include <string>

#include "content/search_criteria.h"
#include "fuzz_support.h"

namespace {

// Walks the SQL as PostgreSQL would read its E'...' literals; true when every literal
// ends and the parentheses outside them balance.
bool LiteralsClosedAndBalanced(const std::string& sql) {
    int depth = 0;
    bool inLiteral = false;
    for (size_t i = 0; i < sql.size(); ++i) {
        char c = sql[i];
        if (inLiteral) {
            if (c == '\\') {
                ++i;  // E'' strings: a backslash escapes the next character
            } else if (c == '\'') {
                if (i + 1 < sql.size() && sql[i + 1] == '\'')
                    ++i;
                else
                    inLiteral = false;
            }
        } else if (c == '\'') {
            inLiteral = true;
        } else if (c == '(') {
            ++depth;
        } else if (c == ')') {
            if (--depth < 0)
                return false;
        } else if (c == ';') {
            return false;
        }
    }
    return !inLiteral && depth == 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string criteria(reinterpret_cast<const char*>(data), size);
    for (Calyx::MEDIA_TABLE_TYPE table :
         {Calyx::MEDIA_TABLE_MUSIC, Calyx::MEDIA_TABLE_VIDEO, Calyx::MEDIA_TABLE_PHOTO}) {
        std::string sql;
        if (!calyx_dms::CriteriaToSql(criteria, table, sql))
            continue;
        FUZZ_CHECK(criteria.size() <= calyx_dms::kMaxCriteriaBytes, criteria);
        FUZZ_CHECK(LiteralsClosedAndBalanced(sql), sql);
    }
    return 0;
}
