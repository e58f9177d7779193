// calyx lint PROFILE_LIST
#include <CLI/CLI.hpp>

#include <iostream>

#include "calyx/core.h"
#include "lint.h"
#include "schema_check.h"
#include "tool.h"

namespace calyx_tool {

namespace {

struct LintOptions {
    std::string file;
    std::string schema;
    bool json = false;
    bool printJson = false;
    bool schemaOnly = false;
};

void RunLint(const LintOptions& options) {
    RequireReadableFile(options.file);
    Json::Value document;
    Calyx::JsonFileError error;
    if (!Calyx::ReadJsonFile(options.file, document, &error)) {
        if (error.line == 0)
            Fail(options.file + ": " + error.message);
        // A syntax error is a finding of its own: the library would load nothing.
        if (options.json) {
            Json::Value out(Json::objectValue);
            out["file"] = options.file;
            out["profiles"] = 0;
            out["errors"] = 1;
            out["warnings"] = 0;
            Json::Value finding(Json::objectValue);
            finding["severity"] = "error";
            finding["position"] = 0;
            finding["line"] = error.line;
            finding["column"] = error.column;
            finding["message"] = error.message;
            out["findings"].append(finding);
            PrintJson(out);
        } else {
            std::cout << options.file << ":" << error.line << ":" << error.column
                      << ": error: " << error.message << "\n";
        }
        ExitStatus() = kExitFailed;
        return;
    }
    if (options.printJson) {
        // The document as the library's reader understood it, as plain JSON.
        PrintJson(document);
        return;
    }
    LintReport report = options.schemaOnly ? LintReport() : LintProfileList(document);
    if (!options.schema.empty())
        for (const std::string& violation : SchemaViolations(document, options.schema))
            AddFileError(report, "schema " + options.schema + ": " + violation);
    std::string text;
    if (!ReadTextFile(options.file, text))
        Fail(options.file + ": cannot read the file");
    const std::string duplicate = FindDuplicateKey(text);
    if (!duplicate.empty())
        AddFileError(report, duplicate);
    if (options.json)
        PrintJson(LintReportToJson(options.file, report));
    else
        std::cout << FormatLintReport(options.file, report);
    ExitStatus() = report.errors > 0 ? kExitFailed : kExitOk;
}

}  // namespace

void AddLintCommand(CLI::App& app) {
    auto options = std::make_shared<LintOptions>();
    CLI::App* cmd = app.add_subcommand(
        "lint", "Check a profile list for entries the library would ignore or never match");
    cmd->add_option("PROFILE_LIST", options->file, "Profile list file (JSON)")->required();
    CLI::Option* json = cmd->add_flag("--json", options->json, "Machine-readable output");
    cmd->add_flag("--print-json", options->printJson,
                  "Print the file as the library reads it (plain JSON, no comments) instead of "
                  "checking it")
        ->excludes(json);
    CLI::Option* schema =
        cmd->add_option("--schema", options->schema,
                        "Also validate the file against this JSON Schema (draft 7), e.g. "
                        "schema/profile-list.schema.json");
    cmd->add_flag("--schema-only", options->schemaOnly,
                  "Only the --schema validation and duplicate keys, without the profile list "
                  "checks (for client lists)")
        ->needs(schema);
    cmd->footer("Exit status 1 when any finding is an error; warnings alone give 0.");
    cmd->callback([options] { RunLint(*options); });
}

}  // namespace calyx_tool
