#include "indexer_test_support.h"

#include <stdlib.h>

namespace calyx_test {

void ExpectColumns(const Row& row, const Row& expected) {
    for (const auto& [column, value] : expected) {
        const auto found = row.find(column);
        EXPECT_TRUE(found != row.end() && found->second == value)
            << column << ": expected \"" << value << "\", found \""
            << (found == row.end() ? "(no such column)" : found->second) << "\"";
    }
}

calyx_indexer::IndexSummary IndexerTest::Index(const std::vector<std::string>& folders) {
    options_.folders = folders;
    options_.thumbnailDir = thumbs_.path();
    calyx_indexer::IndexSummary summary = calyx_indexer::RunIndex(options_);
    EXPECT_EQ(summary.error, "");
    return summary;
}

Row IndexerTest::RowOf(const std::string& table, const std::string& path) {
    Row row;
    PGresult* result =
        PQexecParams(pg(), ("SELECT * FROM " + table + " WHERE path = $1").c_str(), 1, nullptr,
                     std::vector<const char*>{path.c_str()}.data(), nullptr, nullptr, 0);
    EXPECT_EQ(PQresultStatus(result), PGRES_TUPLES_OK) << PQresultErrorMessage(result);
    if (PQntuples(result) == 1) {
        for (int column = 0; column < PQnfields(result); ++column)
            row[PQfname(result, column)] = PQgetvalue(result, 0, column);
    }
    PQclear(result);
    return row;
}

int IndexerTest::Count(const std::string& table) {
    return atoi(ExecParams("SELECT count(*) FROM " + table, {}).c_str());
}

std::vector<std::string> IndexerTest::Paths(const std::string& table) {
    std::vector<std::string> paths;
    PGresult* result = PQexec(pg(), ("SELECT path FROM " + table + " ORDER BY path").c_str());
    for (int i = 0; i < PQntuples(result); ++i)
        paths.push_back(PQgetvalue(result, i, 0));
    PQclear(result);
    return paths;
}

}  // namespace calyx_test
