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

// The programs the server starts: each beside the running program when it is there (a
// build tree), else the installed one. The worker for the background work that reads
// media (calyx-dms-worker), and the transcoding worker (calyx-transcode).
std::string WorkerProgram();
std::string TranscoderProgram();

// A root prefix (for CALYX_ROOT) under which the library's texts folder is the source
// tree's data/texts, when the program runs from its build tree; "" otherwise.
std::string BuildTreeTextsRoot();

}  // namespace calyx_dms

#endif  // CALYX_DMS_INSTALL_PATHS_H
