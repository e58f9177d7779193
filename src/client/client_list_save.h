// Crash-safe saving of a JSON document: the file at the path always holds either its
// complete old content or the complete new one, whatever happens during the save.
#ifndef CALYX_CLIENT_CLIENT_LIST_SAVE_H
#define CALYX_CLIENT_CLIENT_LIST_SAVE_H

#include <json/value.h>

#include <string>

namespace Calyx {
namespace detail {

// The document as the client list file holds it: the styled stream writer with one tab
// per indentation level (comments included).
std::string SerializeClientDocument(const Json::Value& document);

// Replaces the content of the file at `path` with `bytes`: written to a new temporary
// file in the same directory, synced, renamed over the old file, directory synced. A
// symbolic link at `path` is followed (its target is replaced, the link stays); the old
// file's permission bits (and, where allowed, owner) are kept; a new file gets the mode
// that the process's umask gives. Returns 0 on success, otherwise the errno of the
// failed step; the temporary file is then removed and the old file left untouched.
int ReplaceFileAtomically(const std::string& path, const std::string& bytes);

// Serializes and saves `document` to `path`. 1 on success; 0 after logging
// "Error - %s could not open\n" with `path` at level 0, with the errno of the failed
// step in `*failure` when `failure` is given.
int SaveClientDocument(const std::string& path, const Json::Value& document,
                       int* failure = nullptr);

}  // namespace detail
}  // namespace Calyx

#endif  // CALYX_CLIENT_CLIENT_LIST_SAVE_H
