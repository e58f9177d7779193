#include "media_tree.h"

#include <gtest/gtest.h>
#include <limits.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace calyx_test {

std::string MediaDir() {
    return RealPath(CALYX_INDEXER_MEDIA);
}

std::string RealPath(const std::string& path) {
    char resolved[PATH_MAX];
    return realpath(path.c_str(), resolved) != nullptr ? resolved : path;
}

std::string MediaFile(const std::string& relative) {
    return MediaDir() + "/" + relative;
}

void CopyInto(const std::vector<std::string>& from, const std::string& to) {
    std::vector<std::string> args = {"cp", "-a"};
    args.insert(args.end(), from.begin(), from.end());
    args.push_back(to);
    const pid_t pid = fork();
    if (pid == 0) {
        std::vector<char*> argv;
        for (std::string& arg : args)
            argv.push_back(arg.data());
        argv.push_back(nullptr);
        execvp("cp", argv.data());
        _exit(127);
    }
    int status = -1;
    waitpid(pid, &status, 0);
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "cp into " << to;
}

long long FileSize(const std::string& path) {
    struct stat info {};
    return stat(path.c_str(), &info) == 0 ? static_cast<long long>(info.st_size) : -1;
}

}  // namespace calyx_test
