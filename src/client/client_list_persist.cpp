#include "client/client_list_persist.h"

#include <limits.h>
#include <stdlib.h>

#include <cerrno>

#include "calyx/core.h"
#include "client/client_list_access.h"
#include "client/client_list_headers.h"
#include "client/client_list_save.h"
#include "dmsutils/json_values.h"
#include "platform/dir_lock.h"
#include "platform/file_kind.h"
#include "platform/file_replace.h"

namespace Calyx {
namespace detail {

namespace {

const char kCorruptSuffix[] = ".corrupt";

// The name of the file `target` (already resolved) with its directory made absolute and
// free of links, so that two spellings of one file compare equal.
std::string CanonicalName(const std::string& target) {
    char dir[PATH_MAX];
    if (realpath(DirectoryOf(target).c_str(), dir) == nullptr) {
        return target;
    }
    return std::string(dir) + "/" + BaseNameOf(target);
}

std::string CanonicalFileOf(const std::string& path) {
    std::string target;
    return ResolveFinalTarget(path, target) == 0 ? CanonicalName(target) : std::string();
}

void ReportCouldNotOpen(const std::string& path) {
    if (DMSLOGGetLevel() >= 0) {
        DMSPrintf(DMSLOG_ERR, "Error - %s could not open\n", path.c_str());
    }
}

// Copies the bytes of a corrupt file to `target` + ".corrupt" (replacing an older copy)
// before the save overwrites it. 0 or the errno of the failed copy.
int KeepCorruptCopy(const std::string& target, const std::string& bytes) {
    const std::string copy = target + kCorruptSuffix;
    int error = WriteFileContents(copy, bytes);
    if (error == 0 && DMSLOGGetLevel() >= 0) {
        DMSPrintf(DMSLOG_ERR,
                  "Error: DMSClientList::WriteToFile - %s did not parse; its content is kept "
                  "in %s\n",
                  target.c_str(), copy.c_str());
    }
    return error;
}

}  // namespace

FileSnapshot FileSnapshot::Of(const std::string& file, const std::string& bytes) {
    FileSnapshot snapshot;
    snapshot.file = file;
    snapshot.size = bytes.size();
    snapshot.hash = std::hash<std::string>()(bytes);
    return snapshot;
}

bool FileSnapshot::Holds(const std::string& otherFile, const std::string& bytes) const {
    return !file.empty() && file == otherFile && size == bytes.size() &&
           hash == std::hash<std::string>()(bytes);
}

void RememberLoadedFile(DMSClientList& list, const std::string& path, const JsonFileRead& read,
                        bool parsed) {
    ClientListState& state = ClientListAccess::State(list);
    const std::string file = read.regularFile ? CanonicalFileOf(path) : std::string();
    if (parsed) {
        state.seen = file.empty() ? FileSnapshot() : FileSnapshot::Of(file, read.text);
        state.baseline = BaselineOf(ClientListAccess::Root(list));
        state.corrupt.Forget();
    } else {
        state.seen.Forget();
        state.baseline.clear();
        state.corrupt = file.empty() ? FileSnapshot() : FileSnapshot::Of(file, read.text);
    }
}

int SaveClientListLocked(DMSClientList& list, const std::string& path,
                         const std::function<bool(Json::Value&)>* edit, int* failure) {
    ClientListState& state = ClientListAccess::State(list);
    Json::Value& root = ClientListAccess::Root(list);
    int error = 0;
    auto fail = [&](int why) {
        if (failure != nullptr) {
            *failure = why;
        }
        ReportCouldNotOpen(path);
        return 0;
    };
    std::string target;
    if ((error = ResolveFinalTarget(path, target)) != 0) {
        return fail(error);
    }
    DirectoryLock lock;
    if ((error = lock.Acquire(DirectoryOf(target))) != 0) {
        return fail(error);
    }
    RemoveStaleTemporaries(DirectoryOf(target), BaseNameOf(target));
    RemoveStaleTemporaries(DirectoryOf(target), BaseNameOf(target) + kCorruptSuffix);

    // The file as it is now, when it is a regular file.
    const std::string file = CanonicalName(target);
    std::string onDisk;
    SourceKind kind = SourceKind::kMissing;
    bool regular = ReadJsonSource(target, onDisk, &kind) && kind == SourceKind::kRegular;

    Json::Value changed;
    Json::Value* document = &root;
    if (regular && !state.seen.file.empty() && state.seen.file == file &&
        !state.seen.Holds(file, onDisk)) {
        Json::Value disk;
        if (ParseJsonDocument(onDisk, disk)) {
            changed = root;
            document = &changed;
            MergeEditsFromDisk(changed, disk, state.baseline,
                               [&list](const Json::Value& entry, std::string& out) {
                                   list.DetermineProfileName(entry, out);
                               });
        }
    }
    if (edit != nullptr) {
        if (document == &root) {
            changed = root;
            document = &changed;
        }
        if (!(*edit)(changed)) {
            if (failure != nullptr) {
                *failure = 0;
            }
            return 0;
        }
    }
    if (regular && state.corrupt.Holds(file, onDisk) &&
        (error = KeepCorruptCopy(target, onDisk)) != 0) {
        return fail(error);
    }
    // Credentials recorded by older versions are not written again (nor kept).
    DropRecordedCredentials(*document);
    const std::string bytes = SerializeClientDocument(*document);
    if ((error = WriteResolvedFile(target, bytes)) != 0) {
        return fail(error);
    }
    if (document != &root) {
        root.swap(changed);
        state.index.Rebuild(FindMember(root, "ClientList"));
    }
    state.seen = FileSnapshot::Of(file, bytes);
    state.baseline = BaselineOf(root);
    state.corrupt.Forget();
    if (failure != nullptr) {
        *failure = 0;
    }
    return 1;
}

}  // namespace detail
}  // namespace Calyx
