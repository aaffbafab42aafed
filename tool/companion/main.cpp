#include "tool/companion/CommandLine.h"
#include "tool/companion/Files.h"
#include "tool/companion/Messages.h"
#include "tool/companion/Result.h"
#include "tool/companion/Signals.h"
#include "tool/companion/Terminal.h"

#include "sdk/IRLogger.h"
#include "store/Files.h"

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
    if (slash == std::string::npos)
        return ".";
    return file.substr(0, slash + 1);
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

/// @return The object that programs get.
/// @param failure What went wrong; null when nothing did.
Json answerObject(Request const& request, Status status, Json const& members,
                  Failure const* failure) {
    Json object;
    object["command"] = request.command != nullptr ? Json(request.command->name) : Json(nullptr);
    object["status"] = static_cast<int>(status);
    object.update(members);
    if (failure != nullptr)
        object["error"] = failureMembers(*failure);
    return object;
}

/// @return The status, unless the text cannot be written.
Status print(std::string const& text, Status status) {
    if (zel::store::writeAll(STDOUT_FILENO, text))
        return status;
    say("Cannot write the standard output: " + std::string(std::strerror(errno)));
    return Status::notRun;
}

void sayFailure(Failure const& failure) {
    say(sentence(failure));
    if (!failure.hint.empty())
        sayHint(failure.hint);
}

Status fail(Request const& request, Failure const& failure) {
    sayFailure(failure);
    if (!request.options.json)
        return failure.status;
    return print(jsonText(answerObject(request, failure.status, Json::object(), &failure)),
                 failure.status);
}

/// Remarks come first, so that what counts most stands last.
Status answer(Request const& request, Result const& result) {
    Failure const* const failure = result.failure ? &*result.failure : nullptr;
    Status const status = failure != nullptr ? failure->status : result.status;
    for (std::string const& note : result.notes)
        say(note);
    Status const printed = print(
        request.options.json ? jsonText(answerObject(request, status, result.members, failure))
                             : result.text,
        status);
    for (std::string const& sentence : result.closing)
        say(sentence);
    if (failure != nullptr)
        sayFailure(*failure);
    for (Hint const& hint : result.hints)
        sayHint(hint);
    return printed;
}

Status run(int argc, char const* const* argv, Request& request) {
    if (auto const text = readCommandLine(argc, argv, request))
        return print(*text, Status::yes);
    configureLog(request.options);
    return answer(request, request.command->run(request.options, Terminal::of(STDOUT_FILENO)));
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
        return fail(request, {"Something went wrong", "", exception.what(), {}, Status::notRun});
    } // GCOVR_EXCL_STOP
}

} // namespace

int main(int argc, char* argv[]) try {
    occupyStandardStreams();
    std::setlocale(LC_CTYPE, "");
    std::signal(SIGPIPE, SIG_IGN); // a reader that closed the pipe is then a failed write
    std::signal(SIGCHLD, SIG_DFL); // the process may have inherited that it is ignored
    auto const status = runGuarded(argc, argv);
    endByCaughtSignal();
    return static_cast<int>(status);
    // GCOVR_EXCL_START: only without the memory to report a lack of memory
} catch (...) {
    return static_cast<int>(Status::notRun);
} // GCOVR_EXCL_STOP
