// The portable localized-text parser: the file "strings" of a directory.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <string>

#include <json/value.h>
#include <json/writer.h>

#include "calyx/platform.h"
#include "support/test_support.h"

using calyx_test::TempDir;
using calyx_test::WriteFile;

namespace {

Json::Value ParseFile(const TempDir& dir, const std::string& content) {
    WriteFile(dir.file("strings"), content);
    return ZEVO::Tarn::LocalizedStringParser::ParseTexts(dir.path());
}

Json::Value Parse(const std::string& content) {
    TempDir dir;
    return ParseFile(dir, content);
}

std::string Compact(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return Json::writeString(builder, value);
}

bool HasNoMembers(const Json::Value& value) {
    return (value.isNull() || value.isObject()) && value.getMemberNames().empty();
}

}  // namespace

TEST(ParseTexts, SectionsHoldTheirKeys) {
    Json::Value texts = Parse(
        "[common]\n"
        "ok = \"OK\"\n"
        "cancel = Cancel\n"
        "\n"
        "[video]\n"
        "title = \"Videos\"\n");
    EXPECT_EQ(Compact(texts),
              R"({"common":{"cancel":"Cancel","ok":"OK"},"video":{"title":"Videos"}})");
}

TEST(ParseTexts, SameKeyInTwoSectionsIsKeptInBoth) {
    Json::Value texts = Parse("[common]\ntitle = \"A\"\n[video]\ntitle = \"B\"\n");
    EXPECT_EQ(texts["common"]["title"].asString(), "A");
    EXPECT_EQ(texts["video"]["title"].asString(), "B");
}

TEST(ParseTexts, RepeatedKeyInASectionTakesTheLastValue) {
    Json::Value texts = Parse("[s]\nk = \"first\"\nother = x\nk = \"second\"\nk = third\n");
    EXPECT_EQ(texts["s"]["k"].asString(), "third");
    EXPECT_EQ(texts["s"].size(), 2u);
}

TEST(ParseTexts, RepeatedSectionContinuesTheSameObject) {
    Json::Value texts = Parse("[a]\nx = 1\n[b]\ny = 2\n[a]\nz = 3\nx = 4\n");
    EXPECT_EQ(Compact(texts), R"({"a":{"x":"4","z":"3"},"b":{"y":"2"}})");
}

TEST(ParseTexts, QuotedEscapes) {
    Json::Value texts = Parse(
        "[s]\n"
        "quote = \"say \\\"hi\\\"\"\n"
        "backslash = \"C:\\\\dir\"\n"
        "newline = \"one\\ntwo\"\n"
        "tab = \"a\\tb\"\n"
        "other = \"50\\% \\u00e9 \\x\"\n");
    EXPECT_EQ(texts["s"]["quote"].asString(), "say \"hi\"");
    EXPECT_EQ(texts["s"]["backslash"].asString(), "C:\\dir");
    EXPECT_EQ(texts["s"]["newline"].asString(), "one\ntwo");
    EXPECT_EQ(texts["s"]["tab"].asString(), "a\tb");
    EXPECT_EQ(texts["s"]["other"].asString(), "50\\% \\u00e9 \\x");
}

TEST(ParseTexts, EscapedBackslashBeforeQuoteEndsTheText) {
    Json::Value texts = Parse("[s]\nk = \"dir\\\\\" rest\n");
    EXPECT_EQ(texts["s"]["k"].asString(), "dir\\");
}

TEST(ParseTexts, TextAfterTheClosingQuoteIsIgnored) {
    Json::Value texts = Parse("[s]\nk = \"kept\" ; a comment\nj = \"a\"\"b\"\n");
    EXPECT_EQ(texts["s"]["k"].asString(), "kept");
    EXPECT_EQ(texts["s"]["j"].asString(), "a");
}

TEST(ParseTexts, QuotesKeepBlanksAndEqualsSigns) {
    Json::Value texts = Parse("[s]\nk = \"  a = b  \"\nempty = \"\"\n");
    EXPECT_EQ(texts["s"]["k"].asString(), "  a = b  ");
    EXPECT_EQ(texts["s"]["empty"].asString(), "");
}

TEST(ParseTexts, UnterminatedQuoteRunsToTheLineEnd) {
    Json::Value texts = Parse("[s]\nk = \"open \\\"text\nnext = 1\n");
    EXPECT_EQ(texts["s"]["k"].asString(), "open \"text");
    EXPECT_EQ(texts["s"]["next"].asString(), "1");
}

TEST(ParseTexts, UnquotedTextIsTakenAsItStands) {
    Json::Value texts = Parse(
        "[s]\n"
        "  spaced   =   some text here   \n"
        "hash = 100 # not a comment\n"
        "inner = say \"hi\" \\n\n"
        "empty =\n"
        "eq = a=b\n");
    EXPECT_EQ(texts["s"]["spaced"].asString(), "some text here");
    EXPECT_EQ(texts["s"]["hash"].asString(), "100 # not a comment");
    EXPECT_EQ(texts["s"]["inner"].asString(), "say \"hi\" \\n");
    EXPECT_EQ(texts["s"]["empty"].asString(), "");
    EXPECT_TRUE(texts["s"].isMember("empty"));
    EXPECT_EQ(texts["s"]["eq"].asString(), "a=b");
}

TEST(ParseTexts, CommentsAndBlankLinesAreIgnored) {
    Json::Value texts = Parse(
        "# leading comment\n"
        "; another\n"
        "[s]\n"
        "# hidden = 1\n"
        "   ; hidden2 = 2\n"
        "\t# hidden3 = 3\n"
        "\n"
        "   \t  \n"
        "k = v\n");
    EXPECT_EQ(Compact(texts), R"({"s":{"k":"v"}})");
}

TEST(ParseTexts, LinesBeforeTheFirstSectionAreIgnored) {
    Json::Value texts = Parse("orphan = \"x\"\nalso = y\n[s]\nk = v\n");
    EXPECT_EQ(Compact(texts), R"({"s":{"k":"v"}})");
}

TEST(ParseTexts, MalformedLinesAreSkipped) {
    Json::Value texts = Parse(
        "[s]\n"
        "no equals sign here\n"
        "= no key\n"
        "  =\n"
        "k = v\n");
    EXPECT_EQ(Compact(texts), R"({"s":{"k":"v"}})");
}

TEST(ParseTexts, SectionHeaders) {
    Json::Value texts = Parse(
        "[ spaced ]\na = 1\n"
        "[tail] trailing text\nb = 2\n"
        "[]\nlost1 = x\n"
        "[unclosed\nlost2 = y\n"
        "[ok]\nc = 3\n");
    EXPECT_EQ(Compact(texts), R"({"ok":{"c":"3"},"spaced":{"a":"1"},"tail":{"b":"2"}})");
}

TEST(ParseTexts, SectionsWithoutKeysDoNotAppear) {
    Json::Value texts = Parse("[empty]\n[s]\nk = v\n[alsoEmpty]\n# nothing\n");
    EXPECT_EQ(Compact(texts), R"({"s":{"k":"v"}})");
}

TEST(ParseTexts, MissingFileGivesNoMembers) {
    TempDir dir;
    EXPECT_TRUE(HasNoMembers(ZEVO::Tarn::LocalizedStringParser::ParseTexts(dir.path())));
    EXPECT_TRUE(
        HasNoMembers(ZEVO::Tarn::LocalizedStringParser::ParseTexts(dir.file("no/such/dir"))));
    EXPECT_TRUE(HasNoMembers(ZEVO::Tarn::LocalizedStringParser::ParseTexts("")));
}

TEST(ParseTexts, FileWithoutUsableLinesGivesNoMembers) {
    EXPECT_TRUE(HasNoMembers(Parse("")));
    EXPECT_TRUE(HasNoMembers(Parse("# only a comment\n\n; and another\n")));
    EXPECT_TRUE(HasNoMembers(Parse("before = section\n[empty]\n")));
    EXPECT_TRUE(HasNoMembers(Parse("\xEF\xBB\xBF")));
}

TEST(ParseTexts, StringsThatIsNotARegularFileGivesNoMembers) {
    TempDir dir;
    calyx_test::MakeDirs(dir.file("strings"));
    EXPECT_TRUE(HasNoMembers(ZEVO::Tarn::LocalizedStringParser::ParseTexts(dir.path())));

    TempDir fifoDir;
    ASSERT_EQ(mkfifo(fifoDir.file("strings").c_str(), 0600), 0);
    // A FIFO without a writer would block a plain open; it is refused instead.
    EXPECT_TRUE(HasNoMembers(ZEVO::Tarn::LocalizedStringParser::ParseTexts(fifoDir.path())));
}

TEST(ParseTexts, DirectoryGivenAsAFileNameIsNotReadAsTheTexts) {
    TempDir dir;
    WriteFile(dir.file("strings"), "[s]\nk = v\n");
    // The path names the file itself, so "<file>/strings" does not exist.
    EXPECT_TRUE(HasNoMembers(ZEVO::Tarn::LocalizedStringParser::ParseTexts(dir.file("strings"))));
}

TEST(ParseTexts, TrailingSlashOnTheDirectoryIsAccepted) {
    TempDir dir;
    WriteFile(dir.file("strings"), "[s]\nk = v\n");
    EXPECT_EQ(Compact(ZEVO::Tarn::LocalizedStringParser::ParseTexts(dir.path() + "/")),
              R"({"s":{"k":"v"}})");
}

TEST(ParseTexts, WindowsLineEndsGiveTheSameTexts) {
    const std::string unix =
        "# comment\n[common]\nok = \"OK\"\ncancel = Cancel\n\n[video]\ntitle = \"Vid\\\"eo\"\n"
        "plain = text with blanks  \n[]\nlost = 1\n";
    std::string windows;
    for (char c : unix) {
        if (c == '\n') {
            windows += "\r\n";
        } else {
            windows += c;
        }
    }
    Json::Value fromUnix = Parse(unix);
    Json::Value fromWindows = Parse(windows);
    EXPECT_EQ(Compact(fromWindows), Compact(fromUnix));
    EXPECT_EQ(fromWindows["common"]["cancel"].asString(), "Cancel");
    EXPECT_EQ(fromWindows["video"]["title"].asString(), "Vid\"eo");
    EXPECT_EQ(fromWindows["video"]["plain"].asString(), "text with blanks");
}

TEST(ParseTexts, LastLineWithoutNewline) {
    EXPECT_EQ(Compact(Parse("[s]\nk = \"v\"")), R"({"s":{"k":"v"}})");
}

TEST(ParseTexts, ByteOrderMarkIsSkipped) {
    EXPECT_EQ(Compact(Parse("\xEF\xBB\xBF[s]\nk = v\n")), R"({"s":{"k":"v"}})");
}

TEST(ParseTexts, Utf8PassesThroughUnchanged) {
    const std::string text =
        "R\xC3\xA9glages \xE2\x80\x94 \xE9\x9F\xB3\xE6\xA5\xBD \xF0\x9F\x8E\xB5";
    Json::Value texts =
        Parse("[\xE2\x99\xAB]\n\xC3\xA9t\xC3\xA9 = \"" + text + "\"\nraw = " + text + "\n");
    EXPECT_EQ(texts["\xE2\x99\xAB"]["\xC3\xA9t\xC3\xA9"].asString(), text);
    EXPECT_EQ(texts["\xE2\x99\xAB"]["raw"].asString(), text);
}

TEST(ParseTexts, FiveMegabyteFile) {
    // 40 sections of short and long texts, over 5 MB in all.
    std::string content;
    content.reserve(5400000);
    const std::string filler(100, 'x');
    int keys = 0;
    for (int s = 0; content.size() < 5 * 1024 * 1024; ++s) {
        content += "[section" + std::to_string(s % 40) + "]\r\n";
        for (int k = 0; k < 500; ++k, ++keys) {
            content += "key" + std::to_string(keys) + " = \"" + filler + "\\t" +
                       std::to_string(keys) + "\"\n";
        }
    }
    const std::string big(1024 * 1024, 'y');
    content += "[big]\nhuge = \"" + big + "\"\n";
    ASSERT_GT(content.size(), 5u * 1024 * 1024);

    Json::Value texts = Parse(content);
    EXPECT_EQ(texts.size(), 41u);
    size_t total = 0;
    for (const std::string& name : texts.getMemberNames()) {
        total += texts[name].size();
    }
    EXPECT_EQ(total, static_cast<size_t>(keys) + 1);
    EXPECT_EQ(texts["section0"]["key0"].asString(), filler + "\t0");
    const std::string last = std::to_string(keys - 1);
    bool foundLast = false;
    for (const std::string& name : texts.getMemberNames()) {
        if (texts[name].isMember("key" + last)) {
            foundLast = texts[name]["key" + last].asString() == filler + "\t" + last;
        }
    }
    EXPECT_TRUE(foundLast);
    EXPECT_EQ(texts["big"]["huge"].asString(), big);
}
