// Recorded client requests: the header sets the identify command feeds to the client list.
#ifndef CALYX_TOOL_REQUESTS_H
#define CALYX_TOOL_REQUESTS_H

#include <map>
#include <string>
#include <vector>

namespace calyx_tool {

// One request as the server's handler sees it; for a name given twice the later value
// counts.
struct RecordedRequest {
    std::string handler;  // "HandleActionRequest", "WebSerOpen", ... ("" = not stated)
    std::string requestLine;
    std::map<std::string, std::string> headers;
};

// Parses one "Name: value" header text (from -H). Throws a usage error when it has no
// colon or an empty name.
std::pair<std::string, std::string> ParseHeaderOption(const std::string& text);

// Reads a file of recorded requests: "#" comments, blank lines, a request line
// ("POST /path HTTP/1.1", "GET ...") starting each request and "Name: value" header
// lines. A POST is a control request (HandleActionRequest); any other method opens
// media (WebSerOpen). Headers before the first request line form a request whose handler
// is not stated. Throws ToolError naming the file and line of a malformed line.
std::vector<RecordedRequest> ReadRequestFile(const std::string& path);

// Lower-cases the header names of an HTTP request, as the server's HTTP layer hands
// them over; the fields of a device description (HandleDiscovery) keep their case.
void NormaliseHeaderNames(RecordedRequest& request);

// The handler a request method reaches on the server.
std::string HandlerForMethod(const std::string& method);

}  // namespace calyx_tool

#endif  // CALYX_TOOL_REQUESTS_H
