// The JSON readers of hosts and tools: untrusted text, duplicate keys, and the error type.
#include <gtest/gtest.h>
#include <json/value.h>

#include <string>

#include "calyx/core.h"
#include "support/test_support.h"

namespace {

TEST(ParseJsonText, ParsesWithCommentsAndReportsNoError) {
    Json::Value root;
    Calyx::Error error;
    error.message = "stale";
    error.line = 9;
    ASSERT_TRUE(Calyx::ParseJsonText("// a comment\n{\"a\": [1, 2]}", root, &error));
    EXPECT_EQ(root["a"][1].asInt(), 2);
    EXPECT_EQ(error.message, "");
    EXPECT_EQ(error.line, 0);
    EXPECT_EQ(error.column, 0);
    EXPECT_EQ(error.errorNumber, 0);
}

TEST(ParseJsonText, LocatesASyntaxError) {
    Json::Value root;
    Calyx::Error error;
    ASSERT_FALSE(Calyx::ParseJsonText("{\n  \"a\": 1,\n  \"b\" 2\n}", root, &error));
    EXPECT_EQ(error.message.rfind("JSON syntax error: ", 0), 0u) << error.message;
    EXPECT_EQ(error.line, 3);
    EXPECT_EQ(error.column, 7);
    EXPECT_FALSE(Calyx::ParseJsonText("{", root, nullptr));  // no error wanted: no crash
}

TEST(ParseJsonText, AgreesWithReadJsonFile) {
    const std::string text = "{\"x\": [1,\n 2,, 3]}";
    calyx_test::TempDir dir;
    const std::string path = dir.file("bad.json");
    calyx_test::WriteFile(path, text);
    Json::Value fromText;
    Json::Value fromFile;
    Calyx::Error error;
    Calyx::JsonFileError fileError;
    EXPECT_FALSE(Calyx::ParseJsonText(text, fromText, &error));
    EXPECT_FALSE(Calyx::ReadJsonFile(path, fromFile, &fileError));
    EXPECT_EQ(fileError.message, error.message);
    EXPECT_EQ(fileError.line, error.line);
    EXPECT_EQ(fileError.column, error.column);
    EXPECT_EQ(error.line, 2);
}

TEST(FindDuplicateJsonKey, NamesTheKeyAndWhereItRepeats) {
    Calyx::Error where;
    ASSERT_TRUE(Calyx::FindDuplicateJsonKey("{\"a\": {\n  \"dlna\": 1,\n  \"dlna\": 2}}", &where));
    EXPECT_EQ(where.message, "duplicate key: 'dlna'");
    EXPECT_EQ(where.line, 3);
    EXPECT_EQ(where.column, 3);
    EXPECT_TRUE(Calyx::FindDuplicateJsonKey("{\"k\":1,\"k\":1}", nullptr));
}

TEST(FindDuplicateJsonKey, NoneInValidOrInvalidText) {
    Calyx::Error where;
    EXPECT_FALSE(Calyx::FindDuplicateJsonKey("/* c */ {\"a\": 1, \"b\": {\"a\": 2}}", &where));
    // The reading stops at the first error: a syntax error before the repeat hides it.
    EXPECT_FALSE(Calyx::FindDuplicateJsonKey("{\"a\": 1,, \"a\": 2}", &where));
    EXPECT_EQ(where.message, "");
    EXPECT_TRUE(Calyx::FindDuplicateJsonKey("{\"a\": 1, \"a\": 2,, }", &where));
}

}  // namespace
