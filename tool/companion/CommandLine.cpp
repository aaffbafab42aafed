#include "tool/companion/CommandLine.h"

#include "tool/companion/Result.h"

#include <CLI/CLI.hpp>

#include <charconv>
#include <string_view>

namespace companion {

namespace {

constexpr unsigned long largestSerial = 2147483647;

/// A serial number is decimal; 0 stands for none.
bool readSerial(std::string const& text, unsigned long& serial) {
    char const* const end = text.data() + text.size();
    auto const [rest, error] = std::from_chars(text.data(), end, serial);
    return error == std::errc() && rest == end && serial >= 1 && serial <= largestSerial;
}

void setSerial(Options& options, std::string const& text) {
    if (readSerial(text, options.serial))
        return;
    std::string const range = "1 to " + std::to_string(largestSerial);
    std::string const mistake = "'" + text + "' is no serial number: decimal digits, " + range;
    throw CLI::ValidationError("SERIAL", mistake);
}

CLI::Option* addSerial(CLI::App& command, Options& options) {
    auto const set = [&options](std::string const& text) {
        setSerial(options, text);
    };
    return command
        .add_option_function<std::string>("SERIAL", set, "Serial number of the camera, in decimal")
        ->type_name("");
}

void addText(CLI::App& command, char const* name, char const* type, std::string& target,
             char const* help) {
    command.add_option(name, target, help)
        ->type_name(type)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast)
        ->check([](std::string const& text) {
            return text.empty() ? std::string("must not be empty") : std::string();
        });
}

void addDirectory(CLI::App& command, Options& options) {
    addText(
        command, "-t,--target", "DIR", options.directory,
        (std::string("Calibration directory, instead of ") + zel::defaultCalibrationDir).c_str());
}

/// What every sub-command takes, behind its own options.
void addCommon(CLI::App& command, Options& options) {
    command.add_flag("--json", options.json, "Answer with one JSON object, also on failure");
    command.add_flag("-v,--verbose", options.verbosity,
                     "Show the library's log: errors and warnings; -vv information, -vvv debug");
    addText(command, "--log", "FILE", options.logFile,
            "Write the library's whole log to FILE_<date>_<time>.log");
}

CLI::App& addCommand(CLI::App& app, Options& options, char const* name, char const* purpose,
                     std::string const& answers, std::string const& example) {
    CLI::App* const command = app.add_subcommand(name, purpose);
    command->callback([&options, name] { options.command = name; });
    command->footer("Exit status: " + answers +
                    ", 2 wrong usage, 3 could not run.\nExample: " + example);
    return *command;
}

void addFind(CLI::App& app, Options& options) {
    CLI::App& command =
        addCommand(app, options, "find",
                   "Find the first attached camera, or tell whether a certain one is attached",
                   "0 found, 1 not", "zentho-cali find");
    addSerial(command, options);
    addCommon(command, options);
}

void addCheck(CLI::App& app, Options& options) {
    CLI::App& command =
        addCommand(app, options, "check", "List the files that are missing of an installed set",
                   "0 complete, 1 files are missing", "zentho-cali check 14080045");
    addSerial(command, options)->required();
    addDirectory(command, options);
    addCommon(command, options);
}

void addVerify(CLI::App& app, Options& options) {
    CLI::App& command =
        addCommand(app, options, "verify", "Compare the installed files with a stick, byte by byte",
                   "0 all the same and complete, 1 otherwise",
                   "zentho-cali verify 14080045 -s /media/usbstick");
    addSerial(command, options)->required();
    addText(command, "-s,--source", "DIR", options.source,
            "The stick: searched with all directories below");
    command.get_option("--source")->required();
    addDirectory(command, options);
    addCommon(command, options);
}

void addOptics(CLI::App& app, Options& options) {
    CLI::App& command = addCommand(app, options, "optics",
                                   "Show a camera's optics, temperature ranges and frame rates",
                                   "0 shown, 1 no description", "zentho-cali optics 14080045");
    addSerial(command, options)->required();
    addDirectory(command, options);
    addCommon(command, options);
}

void addConfig(CLI::App& app, Options& options) {
    CLI::App& command =
        addCommand(app, options, "config", "Write a camera's configuration",
                   "0 written, 1 no description", "zentho-cali config 14080045 -o 14080045.xml");
    addSerial(command, options)->required();
    addText(command, "-o,--output", "FILE", options.output,
            "Write to FILE, all at once, instead of the standard output");
    command.add_flag("--force", options.force, "Replace FILE if it exists")
        ->needs(command.get_option("--output"));
    addDirectory(command, options);
    addCommon(command, options);
}

void addDownload(CLI::App& app, Options& options) {
    CLI::App& command =
        addCommand(app, options, "download", "Download the files that are missing of a set",
                   "0 complete afterwards, 1 not", "zentho-cali download 14080045");
    addSerial(command, options)->required();
    addDirectory(command, options);
    addCommon(command, options);
}

void addOnline(CLI::App& app, Options& options) {
    CLI::App& command =
        addCommand(app, options, "online", "Tell whether exactly one default route is configured",
                   "0 yes, 1 no", "zentho-cali online");
    addCommon(command, options);
}

void addCommands(CLI::App& app, Options& options) {
    app.name("zentho-cali");
    app.set_help_flag("-h,--help", "Print this help and exit");
    app.set_version_flag("--version", "zentho-cali " ZENTHO_VERSION, "Print the version and exit");
    app.footer("Exit status: 0 yes, 1 no, 2 wrong usage, 3 could not run.\n"
               "'zentho-cali COMMAND --help' tells more of a command.");
    app.get_formatter()->column_width(24);
    app.require_subcommand(1);
    addFind(app, options);
    addCheck(app, options);
    addVerify(app, options);
    addOptics(app, options);
    addConfig(app, options);
    addDownload(app, options);
    addOnline(app, options);
}

/// The name of the command that was being read, also when reading ended with a mistake.
std::string commandBeingRead(CLI::App const& app) {
    auto const commands = app.get_subcommands();
    return commands.empty() ? "" : commands.front()->get_name();
}

std::string joined(std::vector<std::string> const& words) {
    std::string text;
    for (std::string const& word : words)
        text += (text.empty() ? "" : " ") + word;
    return text;
}

/// What nobody asked for is the mistake, also where something else is then missing.
std::string whatIsWrong(CLI::App const& app, CLI::ParseError const& mistake) {
    auto const beforeCommand = app.remaining();
    if (!beforeCommand.empty() && beforeCommand.front().rfind('-', 0) != 0)
        return "'" + beforeCommand.front() + "' is no command";
    if (!beforeCommand.empty())
        return "Not expected before a command: " + joined(beforeCommand);
    auto const behindCommand = app.remaining(true);
    return behindCommand.empty() ? mistake.what() : "Not expected: " + joined(behindCommand);
}

/// A mistake ends the reading, perhaps before the option was reached.
bool asksForJson(int argc, char const* const* argv) {
    return argc > 1 && std::any_of(argv + 1, argv + argc,
                                   [](std::string_view argument) { return argument == "--json"; });
}

} // namespace

std::optional<std::string> readCommandLine(int argc, char const* const* argv, Options& options) {
    CLI::App app("Asks about the calibration files of an infrared camera and fetches them.");
    addCommands(app, options);
    try {
        app.parse(argc, argv);
    } catch (CLI::CallForHelp const&) {
        return app.help();
    } catch (CLI::CallForVersion const& version) {
        return std::string(version.what()) + "\n";
    } catch (CLI::ParseError const& mistake) {
        options.command = commandBeingRead(app);
        options.json = asksForJson(argc, argv);
        std::string const asked = options.command.empty() ? "" : " " + options.command;
        std::string const hint = "'zentho-cali" + asked + " --help' tells what fits.";
        throw Failure{whatIsWrong(app, mistake), "", "", hint, Status::wrongUsage};
    }
    return std::nullopt;
}

} // namespace companion
