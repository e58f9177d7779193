// Index runs in the test's own schema, and rows read back by path.
#ifndef CALYX_TESTS_INDEXER_INDEXER_TEST_SUPPORT_H
#define CALYX_TESTS_INDEXER_INDEXER_TEST_SUPPORT_H

#include <map>
#include <string>
#include <vector>

#include "db/db_test_support.h"
#include "indexer/indexer.h"
#include "media_tree.h"

namespace calyx_test {

using Row = std::map<std::string, std::string>;  // column -> text ("" for NULL)

// Expects every column of `expected` to hold its value in `row`.
void ExpectColumns(const Row& row, const Row& expected);

// A database test that indexes folders into its own schema.
class IndexerTest : public DbTest {
protected:
    // Indexes `folders` with thumbnails in thumbs_; the workers and time limit may be set.
    calyx_indexer::IndexSummary Index(const std::vector<std::string>& folders);
    // The row of `table` with this indexed path; empty when there is none.
    Row RowOf(const std::string& table, const std::string& path);
    // Number of rows of `table`.
    int Count(const std::string& table);
    // Every indexed path of `table`, sorted.
    std::vector<std::string> Paths(const std::string& table);

    TempDir thumbs_;
    calyx_indexer::IndexOptions options_;
};

}  // namespace calyx_test

#endif  // CALYX_TESTS_INDEXER_INDEXER_TEST_SUPPORT_H
