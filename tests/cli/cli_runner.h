// Running the calyx binary from tests.
#ifndef CALYX_TESTS_CLI_RUNNER_H
#define CALYX_TESTS_CLI_RUNNER_H

#include <json/value.h>

#include <string>
#include <vector>

namespace calyx_test {

struct ToolRun {
    int status = -1;  // exit status; -1 when the process did not exit normally
    std::string out;
    std::string err;
};

// Runs the tool with `args` (no shell) and the test's environment, in which the
// variables of `env` ("NAME=value") replace those of the same name; collects its output.
ToolRun RunTool(const std::vector<std::string>& args, const std::vector<std::string>& env = {});

// Parses JSON output; fails the current test when it does not parse.
Json::Value ExpectJson(const std::string& text);

// The shipped sample data folder.
std::string DataPath(const std::string& relative);

// Number of non-empty lines.
size_t LineCount(const std::string& text);

struct SampleClient {
    std::string name, mac, ip, profile;
};
// The sample clients listed in data/clients/clients.tsv.
std::vector<SampleClient> SampleClients();

}  // namespace calyx_test

#endif  // CALYX_TESTS_CLI_RUNNER_H
