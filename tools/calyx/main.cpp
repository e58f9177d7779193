// calyx: the command-line companion of libcalyx. It shows how the library identifies a
// client, which video profile an item gets, checks profile lists, edits client lists and
// prints the device facts, translated texts and media index contents.
#include <CLI/CLI.hpp>

#include <exception>
#include <iostream>

#include "calyx/version.h"
#include "tool.h"

namespace {

const char kExitStatusFooter[] =
    "Exit status: 0 success, 1 a failed check or unusable file, 2 bad usage.";

// Every help text ends with the same exit status line, after the command's own notes.
void AddFooters(CLI::App& app) {
    for (CLI::App* sub : app.get_subcommands({})) {
        const std::string own = sub->get_footer();
        sub->footer(own.empty() ? kExitStatusFooter : own + "\n" + kExitStatusFooter);
        AddFooters(*sub);
    }
}

// The innermost chosen command that has commands of its own but got none, or null.
const CLI::App* CommandMissingItsCommand(const CLI::App& app) {
    const std::vector<const CLI::App*> all = app.get_subcommands({});
    if (all.empty())
        return nullptr;
    for (const CLI::App* sub : all)
        if (sub->parsed())
            return CommandMissingItsCommand(*sub);
    return &app;
}

std::string CommandNames(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::App* sub : app.get_subcommands({}))
        names.push_back(sub->get_name());
    return calyx_tool::Join(names, ", ");
}

}  // namespace

// Only setting up the commands can throw outside the try below, and only for a mistake in
// their definitions, which should stop the tool at once.
// NOLINTNEXTLINE(bugprone-exception-escape)
int main(int argc, char** argv) {
    CLI::App app{
        "calyx: identify media clients, check profile lists and inspect what libcalyx sees",
        "calyx"};
    app.set_version_flag("--version", std::string("calyx ") + CALYX_VERSION_STRING);
    app.footer(std::string(kExitStatusFooter) +
               "\nRun 'calyx COMMAND --help' for the options of a command.");

    calyx_tool::AddIdentifyCommand(app);
    calyx_tool::AddVideoProfileCommand(app);
    calyx_tool::AddLintCommand(app);
    calyx_tool::AddClientsCommand(app);
    calyx_tool::AddDeviceCommand(app);
    calyx_tool::AddMediaCommand(app);
    calyx_tool::AddTranslateCommand(app);
#ifdef CALYX_TOOL_WITH_INDEX
    calyx_tool::AddIndexCommand(app);
    calyx_tool::AddDbCommand(app);
#endif
    AddFooters(app);

    if (argc <= 1) {
        std::cout << app.help();
        std::cerr << "calyx: give a command: " << CommandNames(app) << "\n";
        return calyx_tool::kExitUsage;
    }
    try {
        app.parse(argc, argv);
        if (const CLI::App* missing = CommandMissingItsCommand(app)) {
            std::string path = missing->get_name();
            for (const CLI::App* up = missing->get_parent(); up && up->get_parent();
                 up = up->get_parent())
                path = up->get_name() + " " + path;
            calyx_tool::UsageFail(path + ": give a command: " + CommandNames(*missing));
        }
    } catch (const CLI::CallForHelp& e) {
        return app.exit(e);
    } catch (const CLI::CallForAllHelp& e) {
        return app.exit(e);
    } catch (const CLI::CallForVersion& e) {
        return app.exit(e);
    } catch (const CLI::ExtrasError& e) {
        // An unknown word where a command was expected is named as such.
        std::string words = e.what();
        const std::string prefix = ": ";
        if (words.find(prefix) != std::string::npos)
            words = words.substr(words.find(prefix) + prefix.size());
        std::cerr << "calyx: unknown command or argument: " << words << " (see --help)\n";
        return calyx_tool::kExitUsage;
    } catch (const CLI::ParseError& e) {
        std::cerr << "calyx: " << e.what() << " (see --help)\n";
        return calyx_tool::kExitUsage;
    } catch (const calyx_tool::ToolError& e) {
        std::cerr << "calyx: " << e.what() << "\n";
        return e.code();
    } catch (const std::exception& e) {
        std::cerr << "calyx: unexpected error: " << e.what() << "\n";
        return calyx_tool::kExitFailed;
    }
    return calyx_tool::ExitStatus();
}
