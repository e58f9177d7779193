// calyx translate KEY...
#include <CLI/CLI.hpp>

#include <sys/stat.h>

#include <iostream>

#include "calyx/core.h"
#include "calyx/i18n.h"
#include "tool.h"

namespace calyx_tool {

namespace {

struct TranslateOptions {
    std::vector<std::string> keys;
    std::string language = "enu";
    std::string root;
    bool json = false;
};

const char kTextsDir[] = "/var/packages/Calyx/target/app/texts/";

void RunTranslate(const TranslateOptions& options) {
    ApplyRoot(options.root);
    const std::string dir = Calyx::ResolveFixedPath(kTextsDir + options.language);
    struct stat st;
    if (stat((dir + "/strings").c_str(), &st) != 0)
        Fail(dir + "/strings: no texts for language " + Quoted(options.language));

    Calyx::DMSStringBundle bundle(options.language);
    bundle.ImportStrings();
    Json::Value out(Json::objectValue);
    out["language"] = options.language;
    out["directory"] = dir;
    out["texts"] = Json::Value(Json::arrayValue);
    TextTable table({"KEY", "TEXT"});
    int missing = 0;
    for (const std::string& key : options.keys) {
        std::string text = bundle.Translate(key);
        // An untranslated key comes back unchanged.
        bool found = text != key;
        if (!found)
            ++missing;
        Json::Value item(Json::objectValue);
        item["key"] = key;
        item["text"] = text;
        item["found"] = found;
        out["texts"].append(item);
        table.add({key, found ? text : text + "   (no text)"});
    }
    if (options.json)
        PrintJson(out);
    else
        std::cout << table.render();
    if (missing > 0)
        ExitStatus() = kExitFailed;
}

}  // namespace

void AddTranslateCommand(CLI::App& app) {
    auto options = std::make_shared<TranslateOptions>();
    CLI::App* cmd = app.add_subcommand(
        "translate", "Translate text keys (\"title\" or \"{title}\") as the string bundle does");
    cmd->add_option("KEY", options->keys, "Text keys")->required();
    cmd->add_option("--language,-l", options->language, "Language directory name")
        ->capture_default_str();
    cmd->add_option("--root", options->root,
                    "Root prefix for the texts directory " + std::string(kTextsDir) + "LANGUAGE");
    cmd->add_flag("--json", options->json, "Machine-readable output");
    cmd->footer("Exit status 1 when a key has no text (it is shown unchanged).");
    cmd->callback([options] { RunTranslate(*options); });
}

}  // namespace calyx_tool
