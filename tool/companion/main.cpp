#include "tool/companion/CommandLine.h"
#include "tool/companion/Commands.h"
#include "tool/companion/Files.h"
#include "tool/companion/Result.h"
#include "tool/companion/Terminal.h"

#include "sdk/IRLogger.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstring>
#include <exception>
#include <optional>
#include <string>

#include <fcntl.h>
#include <unistd.h>

namespace {

using namespace companion;

struct Command {
    char const* name;
    Result (*run)(Options const&, Terminal const&);
};

constexpr std::array<Command, 7> commands{{{"find", find},
                                           {"check", check},
                                           {"verify", verify},
                                           {"optics", optics},
                                           {"config", config},
                                           {"download", download},
                                           {"online", online}}};

/// A stream that the caller closed must not become the number of a file that is opened later. What
/// takes its place refuses to be used as the stream.
void occupyStandardStreams() {
    for (int const stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(stream, F_GETFD) == -1)
            open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
}

std::string directoryOf(std::string const& file) {
    auto const slash = file.rfind('/');
    return slash == std::string::npos ? "." : file.substr(0, slash + 1);
}

/// The logger keeps it to itself when it cannot open its file.
void configureLog(Options const& options) {
    constexpr std::array<zel::IRLoggerVerbosityLevel, 4> levels{zel::IRLOG_OFF, zel::IRLOG_WARNING,
                                                                zel::IRLOG_INFO, zel::IRLOG_DEBUG};
    if (!options.logFile.empty())
        requireDirectory(directoryOf(options.logFile), W_OK | X_OK, "directory of the log file");
    auto const verbosity = static_cast<std::size_t>(std::clamp(options.verbosity, 0, 3));
    zel::IRLogger::setVerbosity(levels.at(verbosity),
                                options.logFile.empty() ? zel::IRLOG_OFF : zel::IRLOG_DEBUG,
                                options.logFile.c_str());
}

std::string jsonText(Json const& object) {
    return object.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

Json orNull(std::string const& text) {
    return text.empty() ? Json(nullptr) : Json(text);
}

Json failureObject(Options const& options, Failure const& failure) {
    Json object;
    object["command"] = orNull(options.command);
    object["status"] = static_cast<int>(failure.status);
    Json& error = object["error"];
    error["message"] = failure.message;
    error["path"] = orNull(failure.path);
    error["reason"] = orNull(failure.reason);
    error["hint"] = orNull(failure.hint);
    return object;
}

Json resultObject(Options const& options, Result const& result) {
    Json object;
    object["command"] = options.command;
    object["status"] = static_cast<int>(result.status);
    object.update(result.members);
    return object;
}

void printError(std::string const& text) {
    Terminal const terminal = Terminal::of(STDERR_FILENO);
    std::string const prefix = "zentho-cali: ";
    writeAll(STDERR_FILENO, terminal.bold(prefix) + terminal.sanitized(text) + "\n");
}

/// @return The status, unless the text cannot be written.
Status print(std::string const& text, Status status) {
    if (writeAll(STDOUT_FILENO, text))
        return status;
    printError("Cannot write the standard output: " + std::string(std::strerror(errno)));
    return Status::notRun;
}

Status fail(Options const& options, Failure const& failure) {
    printError(sentence(failure));
    if (!failure.hint.empty())
        printError("hint: " + failure.hint);
    if (!options.json)
        return failure.status;
    return print(jsonText(failureObject(options, failure)), failure.status);
}

Result runCommand(Options const& options) {
    configureLog(options);
    auto const* const command =
        std::find_if(commands.begin(), commands.end(),
                     [&](Command const& known) { return options.command == known.name; });
    return command->run(options, Terminal::of(STDOUT_FILENO));
}

Status run(int argc, char const* const* argv, Options& options) {
    if (auto const text = readCommandLine(argc, argv, options))
        return print(*text, Status::yes);
    Result const result = runCommand(options);
    for (std::string const& note : result.notes)
        printError(note);
    return print(options.json ? jsonText(resultObject(options, result)) : result.text,
                 result.status);
}

/// Nothing leaves this, whatever went wrong.
Status runGuarded(int argc, char const* const* argv) {
    Options options;
    try {
        return run(argc, argv, options);
    } catch (Failure const& failure) {
        return fail(options, failure);
        // GCOVR_EXCL_START: no test lets the memory of this program run out
    } catch (std::exception const& exception) {
        return fail(options, {"Something went wrong", "", exception.what(), ""});
    } // GCOVR_EXCL_STOP
}

} // namespace

int main(int argc, char* argv[]) try {
    occupyStandardStreams();
    std::setlocale(LC_CTYPE, "");
    std::signal(SIGPIPE, SIG_IGN); // a reader that has gone is an error of writing like any other
    std::signal(SIGCHLD, SIG_DFL); // whose being ignored the process may have inherited
    return static_cast<int>(runGuarded(argc, argv));
    // GCOVR_EXCL_START: only when there is no memory to report a lack of memory
} catch (...) {
    return static_cast<int>(Status::notRun);
} // GCOVR_EXCL_STOP
