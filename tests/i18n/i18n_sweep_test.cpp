// The string bundle and the texts parser with hostile languages, directories and files.
#include <string>

#include <json/value.h>

#include "calyx/i18n.h"
#include "calyx/platform.h"
#include "support/no_throw.h"
#include "support/test_support.h"

using calyx_sweep::HostileStrings;

namespace {

const char kTexts[] = "/var/packages/Calyx/target/app/texts/";

TEST(I18nSweep, HostileLanguagesAndKeys) {
    calyx_sweep::InstallTerminateReport();
    calyx_test::ScopedRoot root;
    root.write(std::string(kTexts) + "enu/strings", "[a]\nk=v\n");
    for (const std::string& language : HostileStrings()) {
        Calyx::DMSStringBundle bundle(language);
        EXPECT_EQ(bundle.ImportStrings(), 1);
        for (const std::string& key : HostileStrings()) {
            EXPECT_NO_ESCAPE(bundle.Translate(key));
        }
        EXPECT_NO_ESCAPE(ZEVO::Tarn::LocalizedStringParser::ParseTexts(language));
    }
}

TEST(I18nSweep, HostileTextsFiles) {
    calyx_sweep::InstallTerminateReport();
    calyx_test::ScopedRoot root;
    std::string file = std::string(kTexts) + "enu/strings";
    std::vector<std::string> contents = HostileStrings();
    contents.push_back(std::string(100000, '['));
    contents.push_back("[s]\n" + std::string(100000, '=') + "\n");
    contents.push_back("[s]\nk=\"" + std::string(100000, '\\') + "\n");
    contents.push_back("k=v\n[]\n=\n[s\nk\n\"=\"\n");
    for (const std::string& content : contents) {
        root.write(file, content);
        Calyx::DMSStringBundle bundle("enu");
        EXPECT_EQ(bundle.ImportStrings(), 1);
        EXPECT_NO_ESCAPE(bundle.Translate("k"));
        Json::Value texts;
        EXPECT_NO_ESCAPE(texts = ZEVO::Tarn::LocalizedStringParser::ParseTexts(
                             root.resolve(std::string(kTexts) + "enu")));
        EXPECT_TRUE(texts.isNull() || texts.isObject());
    }
}

}  // namespace
