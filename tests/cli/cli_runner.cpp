#include "cli_runner.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <json/reader.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <sstream>

#include "support/test_support.h"

extern char** environ;

namespace calyx_test {

ToolRun RunTool(const std::vector<std::string>& args, const std::vector<std::string>& env) {
    TempDir dir;
    const std::string outPath = dir.file("out"), errPath = dir.file("err");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0600);
    posix_spawn_file_actions_addopen(&actions, 2, errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0600);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);

    std::vector<std::string> argStore{CALYX_TOOL_PATH};
    argStore.insert(argStore.end(), args.begin(), args.end());
    std::vector<char*> argv;
    for (std::string& a : argStore)
        argv.push_back(a.data());
    argv.push_back(nullptr);

    // The given variables replace the test's own of the same name.
    std::vector<std::string> envStore(env.begin(), env.end());
    for (char** e = environ; *e != nullptr; ++e) {
        const std::string entry(*e);
        const std::string name = entry.substr(0, entry.find('=') + 1);
        bool replaced = false;
        for (const std::string& given : env)
            replaced = replaced || given.compare(0, name.size(), name) == 0;
        if (!replaced)
            envStore.push_back(entry);
    }
    std::vector<char*> envp;
    for (std::string& e : envStore)
        envp.push_back(e.data());
    envp.push_back(nullptr);

    ToolRun run;
    pid_t pid = -1;
    int rc = posix_spawn(&pid, CALYX_TOOL_PATH, &actions, nullptr, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    if (rc != 0) {
        ADD_FAILURE() << "cannot start " << CALYX_TOOL_PATH;
        return run;
    }
    int wstatus = 0;
    while (waitpid(pid, &wstatus, 0) < 0) {
    }
    run.status = WIFEXITED(wstatus) ? WEXITSTATUS(wstatus) : -1;
    run.out = ReadFile(outPath);
    run.err = ReadFile(errPath);
    return run;
}

Json::Value ExpectJson(const std::string& text) {
    bool ok = false;
    Json::Value value = ParseJson(text, &ok);
    if (!ok)
        ADD_FAILURE() << "output is not JSON:\n" << text;
    return value;
}

std::string DataPath(const std::string& relative) {
    return std::string(CALYX_DATA_DIR) + "/" + relative;
}

size_t LineCount(const std::string& text) {
    size_t n = 0;
    for (const std::string& line : SplitLines(text))
        if (!line.empty())
            ++n;
    return n;
}

std::vector<SampleClient> SampleClients() {
    std::vector<SampleClient> clients;
    for (const std::string& line : SplitLines(ReadFile(DataPath("clients/clients.tsv")))) {
        if (line.empty() || line[0] == '#')
            continue;
        std::istringstream in(line);
        SampleClient c;
        std::getline(in, c.name, '\t');
        std::getline(in, c.mac, '\t');
        std::getline(in, c.ip, '\t');
        std::getline(in, c.profile, '\t');
        clients.push_back(c);
    }
    return clients;
}

}  // namespace calyx_test
