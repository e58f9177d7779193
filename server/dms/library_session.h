// The library's state for the whole run of the server, set up in the order the library
// expects: log, profile list, client list, texts.
#ifndef CALYX_DMS_LIBRARY_SESSION_H
#define CALYX_DMS_LIBRARY_SESSION_H

#include <string>

#include "calyx/client_list.h"
#include "calyx/i18n.h"
#include "options.h"

namespace calyx_dms {

class LibrarySession {
public:
    explicit LibrarySession(const Options& options);
    ~LibrarySession();
    LibrarySession(const LibrarySession&) = delete;
    LibrarySession& operator=(const LibrarySession&) = delete;

    // False (with `error` set) when start-up failed; the server must not run then.
    bool Start(std::string& error);

    Calyx::DMSClientList& clients() { return clients_; }
    const Calyx::DMSStringBundle& texts() const { return texts_; }
    const Options& options() const { return options_; }

private:
    // The texts of the language from the library's texts folder; from a build tree
    // without installed texts, from the source tree's data/texts.
    void ImportTexts();

    const Options& options_;
    Calyx::DMSClientList clients_;
    Calyx::DMSStringBundle texts_;
    bool logOpen_ = false;
    bool profilesLoaded_ = false;
};

}  // namespace calyx_dms

#endif  // CALYX_DMS_LIBRARY_SESSION_H
