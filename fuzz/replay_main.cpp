// A main for the fuzz targets without libFuzzer: runs every input named on the command
// line (a file, or every file of a directory, in name order) through the target once.
// With it the targets build with any compiler and replay their corpus as ordinary
// tests; a crash or a failed property fails the run as it would fail the fuzzer.
#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) __attribute__((weak));

namespace {

bool IsDirectory(const std::string& path) {
    struct stat st {};
    return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

// The files to replay for one argument: itself, or the regular files in it, sorted.
bool CollectInputs(const std::string& path, std::vector<std::string>& inputs) {
    if (!IsDirectory(path)) {
        inputs.push_back(path);
        return true;
    }
    DIR* dir = opendir(path.c_str());
    if (dir == nullptr) {
        perror(path.c_str());
        return false;
    }
    std::vector<std::string> names;
    while (const dirent* entry = readdir(dir)) {
        const std::string name = entry->d_name;
        if (name != "." && name != ".." && !IsDirectory(path + "/" + name)) {
            names.push_back(path + "/" + name);
        }
    }
    closedir(dir);
    std::sort(names.begin(), names.end());
    inputs.insert(inputs.end(), names.begin(), names.end());
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    if (LLVMFuzzerInitialize != nullptr) {
        LLVMFuzzerInitialize(&argc, &argv);
    }
    std::vector<std::string> inputs;
    for (int i = 1; i < argc; ++i) {
        if (!CollectInputs(argv[i], inputs)) {
            return 1;
        }
    }
    // An empty corpus replays nothing and would pass without testing anything.
    if (inputs.empty()) {
        fprintf(stderr, "usage: %s FILE-OR-DIRECTORY... (no inputs found)\n", argv[0]);
        return 1;
    }
    for (const std::string& path : inputs) {
        std::ifstream in(path, std::ios::binary);
        if (!in) {
            perror(path.c_str());
            return 1;
        }
        const std::string bytes((std::istreambuf_iterator<char>(in)),
                                std::istreambuf_iterator<char>());
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
    }
    printf("replayed %zu inputs\n", inputs.size());
    return 0;
}
