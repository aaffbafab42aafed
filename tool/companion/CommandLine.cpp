#include "tool/companion/CommandLine.h"

#include "tool/companion/CommandOptions.h"
#include "tool/companion/Commands.h"
#include "tool/companion/Result.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <string_view>
#include <vector>

namespace companion {

namespace {

void addCommand(CLI::App& app, Command const& command, Request& request) {
    CLI::App& parser = *app.add_subcommand(command.name, command.purpose);
    // Called as soon as the command is met, so also when a mistake follows.
    parser.preparse_callback([&](std::size_t) { request.command = &command; });
    parser.footer(std::string("Exit status: ") + command.answers +
                  ", 2 wrong usage, 3 could not run.\nExample: " + command.example);
    command.addOptions(parser, request.options);
    addCommonOptions(parser, request.options);
}

void addCommands(CLI::App& app, Request& request) {
    app.name("zentho-cali");
    app.set_help_flag("-h,--help", "Print this help and exit");
    app.set_version_flag("--version", "zentho-cali " ZENTHO_VERSION, "Print the version and exit");
    app.footer("Exit status: 0 yes, 1 no, 2 wrong usage, 3 could not run.\n"
               "'zentho-cali COMMAND --help' tells more of a command.");
    app.get_formatter()->column_width(24);
    app.require_subcommand(1);
    for (Command const* const command : allCommands)
        addCommand(app, *command, request);
}

std::string joined(std::vector<std::string> const& words) {
    std::string text;
    for (std::string const& word : words)
        text += (text.empty() ? "" : " ") + word;
    return text;
}

/// An unexpected argument is reported rather than a missing one, which it may have displaced.
std::string whatIsWrong(CLI::App const& app, CLI::ParseError const& mistake) {
    auto const beforeCommand = app.remaining();
    if (!beforeCommand.empty() && beforeCommand.front().rfind('-', 0) != 0)
        return "'" + beforeCommand.front() + "' is no command";
    if (!beforeCommand.empty())
        return "Not expected before a command: " + joined(beforeCommand);
    auto const afterCommand = app.remaining(true);
    if (afterCommand.empty())
        return mistake.what();
    return "Not expected: " + joined(afterCommand);
}

/// Looks for the option itself: a mistake can end the parsing before it gets there.
bool asksForJson(int argc, char const* const* argv) {
    return argc > 1 && std::any_of(argv + 1, argv + argc,
                                   [](std::string_view argument) { return argument == "--json"; });
}

} // namespace

std::optional<std::string> readCommandLine(int argc, char const* const* argv, Request& request) {
    CLI::App app("Installs and checks the calibration files of an infrared camera.");
    addCommands(app, request);
    request.options.words.assign(argv + std::min(argc, 1), argv + argc);
    try {
        app.parse(argc, argv);
    } catch (CLI::CallForHelp const&) {
        return app.help();
    } catch (CLI::CallForVersion const& version) {
        return std::string(version.what()) + "\n";
    } catch (CLI::ParseError const& mistake) {
        request.options.json = asksForJson(argc, argv);
        std::string help = "zentho-cali";
        if (request.command != nullptr)
            help.append(" ").append(request.command->name);
        help += " --help";
        throw Failure{whatIsWrong(app, mistake),
                      "",
                      "",
                      {"This tells what fits:", {help}},
                      Status::wrongUsage};
    }
    return std::nullopt;
}

} // namespace companion
