#include "requests.h"

#include <errno.h>
#include <string.h>

#include <fstream>

#include "calyx/core.h"
#include "tool.h"

namespace calyx_tool {

namespace {

std::string Trim(const std::string& text) {
    size_t begin = text.find_first_not_of(" \t\r");
    if (begin == std::string::npos)
        return "";
    size_t end = text.find_last_not_of(" \t\r");
    return text.substr(begin, end - begin + 1);
}

bool SplitHeader(const std::string& line, std::string& name, std::string& value) {
    size_t colon = line.find(':');
    if (colon == std::string::npos)
        return false;
    name = Trim(line.substr(0, colon));
    value = Trim(line.substr(colon + 1));
    return !name.empty() && name.find_first_of(" \t") == std::string::npos;
}

bool IsRequestLine(const std::string& line, std::string& method) {
    size_t space = line.find(' ');
    if (space == std::string::npos || line.find(':') < space)
        return false;
    size_t version = line.rfind(" HTTP/");
    if (version == std::string::npos || version < space)
        return false;
    method = line.substr(0, space);
    return true;
}

}  // namespace

void NormaliseHeaderNames(RecordedRequest& request) {
    if (request.handler == "HandleDiscovery")
        return;
    std::map<std::string, std::string> lowered;
    for (const auto& [name, value] : request.headers)
        lowered[Calyx::StringToLower(name)] = value;
    request.headers.swap(lowered);
}

std::string HandlerForMethod(const std::string& method) {
    return method == "POST" ? "HandleActionRequest" : "WebSerOpen";
}

std::pair<std::string, std::string> ParseHeaderOption(const std::string& text) {
    std::string name, value;
    if (!SplitHeader(text, name, value))
        UsageFail("-H " + Quoted(text) + ": expected 'Name: value'");
    return {name, value};
}

std::vector<RecordedRequest> ReadRequestFile(const std::string& path) {
    RequireReadableFile(path);
    std::ifstream in(path);
    if (!in)
        Fail(path + ": cannot open: " + strerror(errno));
    std::vector<RecordedRequest> requests;
    std::string line;
    int number = 0;
    while (std::getline(in, line)) {
        ++number;
        std::string text = Trim(line);
        if (text.empty() || text[0] == '#')
            continue;
        std::string method;
        if (IsRequestLine(text, method)) {
            RecordedRequest request;
            request.handler = HandlerForMethod(method);
            request.requestLine = text;
            requests.push_back(request);
            continue;
        }
        std::string name, value;
        if (!SplitHeader(text, name, value))
            Fail(path + ":" + std::to_string(number) + ": not a header line: " + Quoted(text));
        if (requests.empty())
            requests.emplace_back();
        requests.back().headers[name] = value;
    }
    if (in.bad())
        Fail(path + ": cannot read the file");
    return requests;
}

}  // namespace calyx_tool
