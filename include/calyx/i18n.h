// Localization: the string bundle of translated user-interface texts.
#ifndef CALYX_I18N_H
#define CALYX_I18N_H

#include <map>
#include <string>
#include <vector>

#include "calyx/export.h"
#include "calyx/types.h"

namespace Calyx {

/// The translated texts of one language, flattened into one table keyed by text key.
///
/// The texts are read from the language directory
/// "/var/packages/Calyx/target/app/texts/<language>" (under the root prefix, see
/// ResolveFixedPath) by the platform's localized-text parser; docs/texts.md describes the
/// file. Section names are dropped: a key defined in several sections keeps the text of
/// the section whose name sorts last (byte-wise).
///
/// Thread safety: no lock. Call ImportStrings before other threads use the bundle;
/// afterwards any number of threads may call Translate at once.
class CALYX_EXPORT DMSStringBundle {
public:
    /// Keeps `language` (the name of the language directory, used as a path component
    /// as it stands). The table starts empty; no file is read.
    explicit DMSStringBundle(const std::string& language);

    /// Loads the texts of the language into the table: new keys are added, known keys
    /// get the new text, keys the directory lacks stay as they were. A missing or
    /// unreadable directory changes nothing. Sections that are not objects, and texts
    /// that are arrays or objects, are skipped; numbers and booleans are stored as their
    /// text. Always returns 1.
    int ImportStrings();

    /// The text for `key`, or `key` itself when there is none. A key written between
    /// braces ("{title}") is looked up without them; "{}" is returned unchanged without a
    /// lookup; a key with a brace at one end only is looked up as it stands (brace
    /// included). Exact, case-sensitive.
    std::string Translate(const std::string& key) const;

private:
    std::map<std::string, std::string> m_strings;  ///< text key -> text
    std::string m_language;                        ///< language directory name
};

}  // namespace Calyx

#endif  // CALYX_I18N_H
