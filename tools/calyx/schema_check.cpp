#include "schema_check.h"

#include <valijson/adapters/jsoncpp_adapter.hpp>
#include <valijson/schema.hpp>
#include <valijson/schema_parser.hpp>
#include <valijson/validation_results.hpp>
#include <valijson/validator.hpp>

#include "tool.h"

namespace calyx_tool {

std::vector<std::string> SchemaViolations(const Json::Value& document,
                                          const std::string& schemaPath) {
    const Json::Value schemaDocument = LoadJsonOrFail(schemaPath);
    valijson::Schema schema;
    try {
        valijson::SchemaParser parser(valijson::SchemaParser::kDraft7);
        valijson::adapters::JsonCppAdapter schemaAdapter(schemaDocument);
        parser.populateSchema(schemaAdapter, schema);
    } catch (const std::exception& e) {
        Fail(schemaPath + ": not a usable JSON Schema: " + e.what());
    }
    valijson::Validator validator;
    valijson::ValidationResults results;
    valijson::adapters::JsonCppAdapter adapter(document);
    std::vector<std::string> violations;
    if (validator.validate(schema, adapter, &results))
        return violations;
    valijson::ValidationResults::Error error;
    while (results.popError(error)) {
        std::string where;
        for (const std::string& piece : error.context)
            if (piece != "<root>")
                where += piece;
        violations.push_back((where.empty() ? "(top level)" : where) + ": " + error.description);
    }
    return violations;
}

}  // namespace calyx_tool
