// "mkdir -p" for the library's programs: the server's log and client list folders, the
// indexer's thumbnail folder, the tool's output files.
#include <errno.h>
#include <string.h>
#include <sys/stat.h>

#include <new>
#include <string>

#include "calyx/core.h"

namespace Calyx {

namespace {

bool Failed(const std::string& part, int errorNumber, Error* error) {
    if (error != nullptr) {
        error->message = part + ": cannot create the folder: " + strerror(errorNumber);
        error->errorNumber = errorNumber;
    }
    return false;
}

}  // namespace

bool MakeDirectories(const std::string& path, Error* error) {
    try {
        // Each prefix that ends before a "/" (and the whole path), shortest first.
        for (size_t end = path.find('/', 1);; end = path.find('/', end + 1)) {
            const std::string part = path.substr(0, end);
            if (!part.empty() && part.back() != '/' && mkdir(part.c_str(), 0755) != 0) {
                const int saved = errno;
                struct stat st;
                if (saved != EEXIST || stat(part.c_str(), &st) != 0 || !S_ISDIR(st.st_mode))
                    return Failed(part, saved == EEXIST ? ENOTDIR : saved, error);
            }
            if (end == std::string::npos)
                return true;
        }
    } catch (const std::bad_alloc&) {
        return Failed(path, ENOMEM, error);
    }
}

}  // namespace Calyx
