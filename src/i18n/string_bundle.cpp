// The string bundle: the texts of one language directory in one flat table.
#include <exception>
#include <map>
#include <string>

#include <json/value.h>

#include "calyx/core.h"
#include "calyx/i18n.h"
#include "calyx/platform.h"

namespace Calyx {

namespace {

const char kTextsRoot[] = "/var/packages/Calyx/target/app/texts/";

// Stores every member of one section in the table. The parser is the platform's, so the
// document is checked rather than trusted: a value that cannot be read as a string
// (array, object) is skipped instead of letting the JSON library throw.
void StoreSection(const Json::Value& section, std::map<std::string, std::string>& table) {
    if (!section.isObject()) {
        return;
    }
    for (Json::Value::const_iterator it = section.begin(); it != section.end(); ++it) {
        const Json::Value& text = *it;
        if (text.isArray() || text.isObject()) {
            continue;
        }
        try {
            table[it.name()] = text.asString();
        } catch (const Json::Exception&) {
            // Not convertible to a string: skipped like the arrays and objects above.
        }
    }
}

}  // namespace

DMSStringBundle::DMSStringBundle(const std::string& language) : m_language(language) {}

int DMSStringBundle::ImportStrings() {
    try {
        // The directory path is the root followed directly by the language, with no
        // separator or trailing slash added.
        Json::Value texts = ZEVO::Tarn::LocalizedStringParser::ParseTexts(
            ResolveFixedPath(kTextsRoot + m_language));
        if (!texts.isObject()) {
            return 1;
        }
        // Sections in ascending name order, members likewise: when a key occurs in
        // several sections, the section that sorts last wins.
        const Json::Value& document = texts;
        for (const std::string& sectionName : document.getMemberNames()) {
            StoreSection(document[sectionName], m_strings);
        }
    } catch (const std::exception&) {
        // Out of memory while loading: the table keeps what was stored so far.
    }
    return 1;
}

std::string DMSStringBundle::Translate(const std::string& key) const {
    std::string lookup = key;
    if (!key.empty() && key.front() == '{' && key.back() == '}') {
        // Both tests hold only for two bytes or more; "{}" gives an empty lookup key,
        // which is never looked up.
        lookup = key.substr(1, key.size() - 2);
    }
    if (!lookup.empty()) {
        auto found = m_strings.find(lookup);
        if (found != m_strings.end()) {
            return found->second;
        }
    }
    return key;
}

}  // namespace Calyx
