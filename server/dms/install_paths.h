// Where the server finds the files it ships with: installed, or in the source tree when it
// runs from its build tree.
#ifndef CALYX_DMS_INSTALL_PATHS_H
#define CALYX_DMS_INSTALL_PATHS_H

#include <string>

namespace calyx_dms {

// True when the running program lies in the build tree it was built in.
bool RunsFromBuildTree();

// A file of the sample data (e.g. "profiles.json"): the source tree's data/ folder when
// the program runs from its build tree, else the installed one (/usr/share/calyx/data).
std::string DataFile(const std::string& name);

// A root prefix (for CALYX_ROOT) under which the library's texts folder is the source
// tree's data/texts, when the program runs from its build tree; "" otherwise.
std::string BuildTreeTextsRoot();

}  // namespace calyx_dms

#endif  // CALYX_DMS_INSTALL_PATHS_H
