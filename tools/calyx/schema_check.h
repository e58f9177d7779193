// Validating a document against a JSON Schema (draft 7) file.
#ifndef CALYX_TOOL_SCHEMA_CHECK_H
#define CALYX_TOOL_SCHEMA_CHECK_H

#include <json/value.h>

#include <string>
#include <vector>

namespace calyx_tool {

// The schema violations of `document`, one line each ("/ProfileList/0/dlna: ..."); empty
// when it is valid. Throws ToolError when the schema file cannot be read or used.
std::vector<std::string> SchemaViolations(const Json::Value& document,
                                          const std::string& schemaPath);

}  // namespace calyx_tool

#endif  // CALYX_TOOL_SCHEMA_CHECK_H
