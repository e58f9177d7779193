// The texts parser and the string bundle on a fuzzed "strings" file.
#include <cstdint>
#include <exception>
#include <string>

#include <json/value.h>

#include "calyx/i18n.h"
#include "calyx/platform.h"
#include "fuzz_support.h"

namespace {

const char kLanguageDir[] = "/var/packages/Calyx/target/app/texts/enu";

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string content(reinterpret_cast<const char*>(data), size);
    calyx_fuzz::WriteUnderRoot(std::string(kLanguageDir) + "/strings", content);
    std::string dir = calyx_fuzz::Root() + kLanguageDir;

    Json::Value texts;
    try {
        texts = ZEVO::Tarn::LocalizedStringParser::ParseTexts(dir);
    } catch (const std::exception& e) {
        FUZZ_CHECK(false, std::string("ParseTexts threw ") + e.what());
    }
    FUZZ_CHECK(texts.isNull() || texts.isObject(), "not an object");

    Calyx::DMSStringBundle bundle("enu");
    FUZZ_CHECK(bundle.ImportStrings() == 1, "ImportStrings result");
    for (const std::string& section : texts.getMemberNames()) {
        const Json::Value& entries = texts[section];
        FUZZ_CHECK(entries.isObject(), "section " + calyx_fuzz::Show(section) + " not an object");
        for (const std::string& key : entries.getMemberNames()) {
            FUZZ_CHECK(entries[key].isString(), "text is not a string");
            std::string translated = bundle.Translate(key);
            // The last section (by name) that holds the key gives the text.
            std::string expected;
            for (const std::string& other : texts.getMemberNames()) {
                if (texts[other].isMember(key)) {
                    expected = texts[other][key].asString();
                }
            }
            // A braced key ("{x}", also "{}") is looked up without its braces.
            bool braced = key.size() >= 2 && key.front() == '{' && key.back() == '}';
            if (!braced) {
                FUZZ_CHECK(translated == expected, "Translate " + calyx_fuzz::Show(key));
            }
            bundle.Translate("{" + key + "}");
        }
    }
    bundle.Translate(content.substr(0, 64));
    return 0;
}
