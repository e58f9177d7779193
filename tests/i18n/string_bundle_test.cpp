// The string bundle over language directories in a temporary root.
#include <gtest/gtest.h>

#include <string>

#include "calyx/i18n.h"
#include "support/test_support.h"

using calyx_test::ScopedRoot;

namespace {

const std::string kTexts = "/var/packages/Calyx/target/app/texts/";

void WriteTexts(const ScopedRoot& root, const std::string& language, const std::string& content) {
    root.write(kTexts + language + "/strings", content);
}

}  // namespace

TEST(DMSStringBundle, ConstructionReadsNothing) {
    ScopedRoot root;
    WriteTexts(root, "enu", "[common]\ntitle = \"Title\"\n");
    Calyx::DMSStringBundle bundle("enu");
    EXPECT_EQ(bundle.Translate("title"), "title");
    EXPECT_EQ(bundle.Translate("{title}"), "{title}");
}

TEST(DMSStringBundle, ImportsTheLanguageDirectory) {
    ScopedRoot root;
    WriteTexts(root, "enu", "[common]\nok = \"OK\"\n");
    WriteTexts(root, "fre", "[common]\nok = \"D'accord\"\n");
    Calyx::DMSStringBundle english("enu");
    Calyx::DMSStringBundle french("fre");
    EXPECT_EQ(english.ImportStrings(), 1);
    EXPECT_EQ(french.ImportStrings(), 1);
    EXPECT_EQ(english.Translate("ok"), "OK");
    EXPECT_EQ(french.Translate("ok"), "D'accord");
}

TEST(DMSStringBundle, LaterSectionWinsForAKeyInSeveralSections) {
    ScopedRoot root;
    // The file order is the reverse of the name order: the name order decides.
    WriteTexts(root, "enu",
               "[video]\ntitle = \"B\"\n[common]\ntitle = \"A\"\nonlyCommon = \"C\"\n");
    Calyx::DMSStringBundle bundle("enu");
    bundle.ImportStrings();
    EXPECT_EQ(bundle.Translate("title"), "B");
    EXPECT_EQ(bundle.Translate("{title}"), "B");
    EXPECT_EQ(bundle.Translate("onlyCommon"), "C");
}

TEST(DMSStringBundle, KeyIsFoundBetweenBracesAndBare) {
    ScopedRoot root;
    WriteTexts(root, "enu", "[s]\nmusic = \"Music\"\n");
    Calyx::DMSStringBundle bundle("enu");
    bundle.ImportStrings();
    EXPECT_EQ(bundle.Translate("{music}"), "Music");
    EXPECT_EQ(bundle.Translate("music"), "Music");
}

TEST(DMSStringBundle, EmptyBracesAreNeverLookedUp) {
    ScopedRoot root;
    // Even a table holding "{}" itself does not translate it: the lookup key is empty.
    WriteTexts(root, "enu", "[s]\n{} = \"braces\"\n");
    Calyx::DMSStringBundle bundle("enu");
    bundle.ImportStrings();
    EXPECT_EQ(bundle.Translate("{}"), "{}");
    EXPECT_EQ(bundle.Translate(""), "");
}

TEST(DMSStringBundle, LoneOpeningBrace) {
    ScopedRoot root;
    WriteTexts(root, "enu", "[s]\nx = \"y\"\n");
    WriteTexts(root, "brace", "[s]\n{ = \"brace\"\n");
    Calyx::DMSStringBundle without("enu");
    without.ImportStrings();
    EXPECT_EQ(without.Translate("{"), "{");
    Calyx::DMSStringBundle with("brace");
    with.ImportStrings();
    EXPECT_EQ(with.Translate("{"), "brace");
}

TEST(DMSStringBundle, BraceAtOneEndOnlyLooksUpTheWholeKey) {
    ScopedRoot root;
    WriteTexts(root, "enu", "[s]\ntitle = \"plain\"\n{title = \"open\"\ntitle} = \"close\"\n");
    Calyx::DMSStringBundle bundle("enu");
    bundle.ImportStrings();
    EXPECT_EQ(bundle.Translate("{title"), "open");
    EXPECT_EQ(bundle.Translate("title}"), "close");
    EXPECT_EQ(bundle.Translate("{title}"), "plain");
    // Not in the table: unchanged, braces included.
    EXPECT_EQ(bundle.Translate("{other"), "{other");
    EXPECT_EQ(bundle.Translate("other}"), "other}");
    EXPECT_EQ(bundle.Translate("{other}"), "{other}");
}

TEST(DMSStringBundle, LookupIsExactAndCaseSensitive) {
    ScopedRoot root;
    WriteTexts(root, "enu", "[s]\nTitle = \"T\"\n");
    Calyx::DMSStringBundle bundle("enu");
    bundle.ImportStrings();
    EXPECT_EQ(bundle.Translate("Title"), "T");
    EXPECT_EQ(bundle.Translate("title"), "title");
    EXPECT_EQ(bundle.Translate("Title "), "Title ");
    EXPECT_EQ(bundle.Translate("{ Title }"), "{ Title }");
}

TEST(DMSStringBundle, MissingDirectoryLeavesKeysUntranslated) {
    ScopedRoot root;
    Calyx::DMSStringBundle bundle("xx");
    EXPECT_EQ(bundle.ImportStrings(), 1);
    EXPECT_EQ(bundle.Translate("{title}"), "{title}");
    EXPECT_EQ(bundle.Translate("title"), "title");
}

TEST(DMSStringBundle, ImportAgainKeepsEarlierKeys) {
    ScopedRoot root;
    WriteTexts(root, "enu", "[s]\nkept = \"old\"\nchanged = \"before\"\n");
    Calyx::DMSStringBundle bundle("enu");
    bundle.ImportStrings();
    WriteTexts(root, "enu", "[s]\nchanged = \"after\"\nadded = \"new\"\n");
    EXPECT_EQ(bundle.ImportStrings(), 1);
    EXPECT_EQ(bundle.Translate("kept"), "old");
    EXPECT_EQ(bundle.Translate("changed"), "after");
    EXPECT_EQ(bundle.Translate("added"), "new");
    // A file that now holds nothing changes nothing either.
    calyx_test::WriteFile(root.resolve(kTexts + "enu/strings"), "");
    EXPECT_EQ(bundle.ImportStrings(), 1);
    EXPECT_EQ(bundle.Translate("changed"), "after");
}

TEST(DMSStringBundle, LanguageIsAppendedWithoutASeparator) {
    ScopedRoot root;
    // An empty language names the texts directory itself.
    root.write(kTexts + "strings", "[s]\nk = \"root texts\"\n");
    Calyx::DMSStringBundle bundle("");
    bundle.ImportStrings();
    EXPECT_EQ(bundle.Translate("k"), "root texts");
}

TEST(DMSStringBundle, LanguageIsUsedAsItStands) {
    ScopedRoot root;
    WriteTexts(root, "zh-TW/sub", "[s]\nk = \"nested\"\n");
    Calyx::DMSStringBundle bundle("zh-TW/sub");
    bundle.ImportStrings();
    EXPECT_EQ(bundle.Translate("k"), "nested");
}

TEST(DMSStringBundle, TextsKeepTheirBytes) {
    ScopedRoot root;
    WriteTexts(root, "jpn",
               "[s]\nmusic = \"\xE9\x9F\xB3\xE6\xA5\xBD\"\nlines = \"a\\nb\"\n"
               "\xE9\x8D\xB5 = \"key in UTF-8\"\n");
    Calyx::DMSStringBundle bundle("jpn");
    bundle.ImportStrings();
    EXPECT_EQ(bundle.Translate("{music}"), "\xE9\x9F\xB3\xE6\xA5\xBD");
    EXPECT_EQ(bundle.Translate("lines"), "a\nb");
    EXPECT_EQ(bundle.Translate("{\xE9\x8D\xB5}"), "key in UTF-8");
}
