#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>

#include "calyx/platform.h"
#include "support/test_support.h"

using calyx_test::TempDir;
using calyx_test::WriteFile;

namespace {

struct Lookup {
    int result;
    std::string value;
};

Lookup Get(const std::string& path, const char* key, int size = 256) {
    std::string buf(static_cast<size_t>(size > 0 ? size : 1), '\x7f');
    int result = QLIBCFileGetKeyValue(path.c_str(), key, &buf[0], size, 0);
    return {result, result > 0 ? std::string(buf.c_str()) : std::string()};
}

class KeyValueTest : public testing::Test {
protected:
    void SetUp() override {
        path_ = dir_.file("settings.conf");
        WriteFile(path_,
                  "# comment = not a pair\n"
                  "; another = comment\n"
                  "\n"
                  "[general]\n"
                  "plain=value one\n"
                  "  spaced   =   padded value  \n"
                  "quoted=\"in quotes\"\n"
                  "half=\"only opening\n"
                  "empty=\n"
                  "emptyquoted=\"\"\n"
                  "dup=first\n"
                  "[other]\n"
                  "dup=second\n"
                  "crlf=windows\r\n"
                  "inner=a=b\n"
                  "noequals\n");
    }
    TempDir dir_;
    std::string path_;
};

}  // namespace

TEST_F(KeyValueTest, PlainAndBlanksAroundEquals) {
    EXPECT_EQ(Get(path_, "plain").value, "value one");
    EXPECT_EQ(Get(path_, "spaced").value, "padded value");
    EXPECT_GT(Get(path_, "plain").result, 0);
}

TEST_F(KeyValueTest, OnePairOfQuotesRemoved) {
    EXPECT_EQ(Get(path_, "quoted").value, "in quotes");
    EXPECT_EQ(Get(path_, "half").value, "\"only opening");
}

TEST_F(KeyValueTest, EmptyValueIsFound) {
    Lookup empty = Get(path_, "empty");
    EXPECT_GT(empty.result, 0);
    EXPECT_EQ(empty.value, "");
    EXPECT_GT(Get(path_, "emptyquoted").result, 0);
    EXPECT_EQ(Get(path_, "emptyquoted").value, "");
}

TEST_F(KeyValueTest, FirstLineWithKeyWinsAcrossSections) {
    EXPECT_EQ(Get(path_, "dup").value, "first");
}

TEST_F(KeyValueTest, CommentsSectionsAndOddLinesAreNotPairs) {
    EXPECT_EQ(Get(path_, "# comment").result, 0);
    EXPECT_EQ(Get(path_, "comment").result, 0);
    EXPECT_EQ(Get(path_, "another").result, 0);
    EXPECT_EQ(Get(path_, "[general]").result, 0);
    EXPECT_EQ(Get(path_, "noequals").result, 0);
    EXPECT_EQ(Get(path_, "missing").result, 0);
}

TEST_F(KeyValueTest, LineEndsAndEqualsInValue) {
    EXPECT_EQ(Get(path_, "crlf").value, "windows");
    EXPECT_EQ(Get(path_, "inner").value, "a=b");
}

TEST_F(KeyValueTest, ValueIsCutToBuffer) {
    Lookup cut = Get(path_, "plain", 4);
    EXPECT_GT(cut.result, 0);
    EXPECT_EQ(cut.value, "val");
}

TEST_F(KeyValueTest, MissingFileOrDirectoryIsAnError) {
    EXPECT_LT(Get(dir_.file("nope.conf"), "plain").result, 0);
    EXPECT_LT(Get(dir_.path(), "plain").result, 0);
}

TEST_F(KeyValueTest, UnreadableFileIsAnError) {
    if (calyx_test::RunningAsRoot()) {
        GTEST_SKIP() << "root reads any file";
    }
    chmod(path_.c_str(), 0);
    EXPECT_LT(Get(path_, "plain").result, 0);
}

TEST_F(KeyValueTest, BadArgumentsAreErrors) {
    char buf[8];
    EXPECT_LT(QLIBCFileGetKeyValue(nullptr, "k", buf, 8, 0), 0);
    EXPECT_LT(QLIBCFileGetKeyValue(path_.c_str(), nullptr, buf, 8, 0), 0);
    EXPECT_LT(QLIBCFileGetKeyValue(path_.c_str(), "plain", nullptr, 8, 0), 0);
    EXPECT_LT(QLIBCFileGetKeyValue(path_.c_str(), "plain", buf, 0, 0), 0);
}
