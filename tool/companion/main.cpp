#include "tool/companion/CommandLine.h"
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

/// Opens the standard streams that the caller closed, so that no file that is opened later gets
/// their numbers. Reading or writing them still fails.
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

/// The logger does not report that it cannot open its file, so the directory is checked here.
void configureLog(Options const& options) {
    constexpr std::array<zel::IRLoggerVerbosityLevel, 4> levels{zel::IRLOG_OFF, zel::IRLOG_WARNING,
                                                                zel::IRLOG_INFO, zel::IRLOG_DEBUG};
    if (!options.logFile.empty())
        requireDirectory(directoryOf(options.logFile), W_OK | X_OK, "directory of the log file");
    auto const asked = static_cast<std::size_t>(std::max(options.verbosity, 0));
    zel::IRLogger::setVerbosity(levels.at(std::min(asked, levels.size() - 1)),
                                options.logFile.empty() ? zel::IRLOG_OFF : zel::IRLOG_DEBUG,
                                options.logFile.c_str());
}

std::string jsonText(Json const& object) {
    return object.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

Json orNull(std::string const& text) {
    return text.empty() ? Json(nullptr) : Json(text);
}

Json failureObject(Request const& request, Failure const& failure) {
    Json object;
    object["command"] = orNull(request.command != nullptr ? request.command->name : "");
    object["status"] = static_cast<int>(failure.status);
    Json& error = object["error"];
    error["message"] = failure.message;
    error["path"] = orNull(failure.path);
    error["reason"] = orNull(failure.reason);
    error["hint"] = orNull(failure.hint);
    return object;
}

Json resultObject(Request const& request, Result const& result) {
    Json object;
    object["command"] = request.command->name;
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

Status fail(Request const& request, Failure const& failure) {
    printError(sentence(failure));
    if (!failure.hint.empty())
        printError("hint: " + failure.hint);
    if (!request.options.json)
        return failure.status;
    return print(jsonText(failureObject(request, failure)), failure.status);
}

Status run(int argc, char const* const* argv, Request& request) {
    if (auto const text = readCommandLine(argc, argv, request))
        return print(*text, Status::yes);
    configureLog(request.options);
    Result const result = request.command->run(request.options, Terminal::of(STDOUT_FILENO));
    for (std::string const& note : result.notes)
        printError(note);
    return print(request.options.json ? jsonText(resultObject(request, result)) : result.text,
                 result.status);
}

/// Turns every failure into a message and an exit status.
Status runGuarded(int argc, char const* const* argv) {
    Request request;
    try {
        return run(argc, argv, request);
    } catch (Failure const& failure) {
        return fail(request, failure);
        // GCOVR_EXCL_START: no test lets the memory of this program run out
    } catch (std::exception const& exception) {
        return fail(request, {"Something went wrong", "", exception.what(), ""});
    } // GCOVR_EXCL_STOP
}

} // namespace

int main(int argc, char* argv[]) try {
    occupyStandardStreams();
    std::setlocale(LC_CTYPE, "");
    std::signal(SIGPIPE, SIG_IGN); // a reader that closed the pipe is then a failed write
    std::signal(SIGCHLD, SIG_DFL); // the process may have inherited that it is ignored
    return static_cast<int>(runGuarded(argc, argv));
    // GCOVR_EXCL_START: only without the memory to report a lack of memory
} catch (...) {
    return static_cast<int>(Status::notRun);
} // GCOVR_EXCL_STOP
