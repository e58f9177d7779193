// The tree of test media made by make_media.sh (a CTest fixture), and file helpers.
#ifndef CALYX_TESTS_INDEXER_MEDIA_TREE_H
#define CALYX_TESTS_INDEXER_MEDIA_TREE_H

#include <string>
#include <vector>

#include "support/test_support.h"

namespace calyx_test {

// The tree of test media (read only: tests that change files copy them first).
std::string MediaDir();
// The path with symbolic links resolved, as the indexer records folders.
std::string RealPath(const std::string& path);
// MediaDir() + "/" + relative
std::string MediaFile(const std::string& relative);

// Copies files or folders (cp -a) into `to`; fails the test when it cannot.
void CopyInto(const std::vector<std::string>& from, const std::string& to);

// Size of a file in bytes, -1 when missing.
long long FileSize(const std::string& path);

}  // namespace calyx_test

#endif  // CALYX_TESTS_INDEXER_MEDIA_TREE_H
