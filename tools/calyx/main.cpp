// calyx: the command-line companion of libcalyx. It shows how the library identifies a
// client, which video profile an item gets, checks profile lists, edits client lists and
// prints the device facts, translated texts and media index contents.
#include <CLI/CLI.hpp>

#include <exception>
#include <iostream>

#include "calyx/version.h"
#include "tool.h"

int main(int argc, char** argv) {
    CLI::App app{
        "calyx: identify media clients, check profile lists and inspect what libcalyx sees"};
    app.set_version_flag("--version", std::string("calyx ") + CALYX_VERSION_STRING);
    app.require_subcommand(1);
    app.footer(
        "Exit status: 0 success, 1 a failed check or unusable file, 2 bad usage.\n"
        "Run 'calyx COMMAND --help' for the options of a command.");

    calyx_tool::AddIdentifyCommand(app);
    calyx_tool::AddVideoProfileCommand(app);
    calyx_tool::AddLintCommand(app);
    calyx_tool::AddClientsCommand(app);
    calyx_tool::AddDeviceCommand(app);
    calyx_tool::AddMediaCommand(app);
    calyx_tool::AddTranslateCommand(app);
#ifdef CALYX_TOOL_WITH_INDEX
    calyx_tool::AddIndexCommand(app);
#endif

    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp& e) {
        return app.exit(e);
    } catch (const CLI::CallForAllHelp& e) {
        return app.exit(e);
    } catch (const CLI::CallForVersion& e) {
        return app.exit(e);
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
