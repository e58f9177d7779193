#include <gtest/gtest.h>

#include "calyx/core.h"

TEST(StringExplode, DropsEmptyPieces) {
    EXPECT_EQ(Calyx::StringExplode(" a  b ", " "), (std::vector<std::string>{"a", "b"}));
}
