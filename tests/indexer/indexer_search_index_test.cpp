// The index's trigram index of titles: made with the schema, and usable by the
// "contains" test of titles as searches write it (COALESCE(title, '') ILIKE '%...%'); and
// the indexes of the shown rows, which let a deep page count past the rows before it in
// the index alone.
#include <gtest/gtest.h>

#include <string>

#include "indexer_test_support.h"

namespace calyx_test {
namespace {

class SearchIndex : public IndexerTest {
protected:
    // The plan PostgreSQL chooses for `sql`, one text.
    std::string Plan(const std::string& sql) {
        PGresult* result = PQexec(pg(), ("EXPLAIN " + sql).c_str());
        EXPECT_EQ(PQresultStatus(result), PGRES_TUPLES_OK) << PQresultErrorMessage(result);
        std::string plan;
        for (int row = 0; row < PQntuples(result); ++row)
            plan += std::string(PQgetvalue(result, row, 0)) + "\n";
        PQclear(result);
        return plan;
    }
};

TEST_F(SearchIndex, TheSchemaMakesOneForEachMediaTable) {
    for (const char* table : {"music", "video", "photo"})
        EXPECT_EQ(ExecParams("SELECT count(*) FROM pg_indexes WHERE schemaname = $1 AND "
                             "tablename = $2 AND indexname = $3 AND indexdef LIKE '%gin_trgm_ops%'",
                             {schema(), table, std::string(table) + "_title_trigram_idx"}),
                  "1")
            << table;
}

TEST_F(SearchIndex, AContainsTestOfTitlesUsesIt) {
    Exec(
        "INSERT INTO music (path, title) SELECT '/m/' || n || '.mp3', 'Song ' || n "
        "FROM generate_series(1, 20000) AS n");
    Exec("ANALYZE music");
    // As PostgreSQL plans it by itself for a library of 20,000 songs.
    const std::string plan = Plan(
        "SELECT id FROM music WHERE hidden = false AND COALESCE(title, '') ILIKE "
        "E'%ng 4242%'");
    EXPECT_NE(plan.find("music_title_trigram_idx"), std::string::npos) << plan;
    EXPECT_EQ(ExecParams("SELECT count(*) FROM music WHERE COALESCE(title, '') ILIKE "
                         "E'%ng 4242%'",
                         {}),
              "1");
}

TEST_F(SearchIndex, ADeepPageOfShownRowsIsCountedInTheIndexAlone) {
    Exec(
        "INSERT INTO music (parent_id, path, title) SELECT 7, '/m/' || n || '.mp3', "
        "'Song ' || n FROM generate_series(1, 5000) AS n");
    Exec("VACUUM (ANALYZE) music");
    // The statements a page of a folder and of the Music view pick their ids with.
    for (const std::string& where :
         {std::string("NOT hidden AND (parent_id = 7)"), std::string("NOT hidden")}) {
        const std::string plan = Plan("SELECT id FROM music WHERE " + where +
                                      " ORDER BY title COLLATE calyx_title ASC, id ASC "
                                      "LIMIT 100 OFFSET 4000");
        EXPECT_NE(plan.find("Index Only Scan using music_shown_"), std::string::npos) << plan;
    }
}

TEST_F(SearchIndex, LoadingTheSchemaAgainChangesNothing) {
    const std::string before = ExecParams(
        "SELECT string_agg(indexname, ',' ORDER BY indexname) FROM pg_indexes WHERE "
        "schemaname = $1",
        {schema()});
    Exec(ReadFile(SourcePath("sql/media_index.sql")));
    EXPECT_EQ(ExecParams("SELECT string_agg(indexname, ',' ORDER BY indexname) FROM pg_indexes "
                         "WHERE schemaname = $1",
                         {schema()}),
              before);
    EXPECT_EQ(ExecParams("SELECT version FROM media_index_version", {}), "7");
}

}  // namespace
}  // namespace calyx_test
