/// @file
/// How a sub-command answers.
#pragma once

#include <nlohmann/json.hpp>

#include <optional>
#include <string>
#include <vector>

namespace companion {

/// Exit statuses. Scripts rely on them, so their meanings never change.
enum class Status : int {
    yes = 0,        ///< found, complete, all the same, done
    no = 1,         ///< the question was answered, with no
    wrongUsage = 2, ///< the command line cannot be followed
    notRun = 3,     ///< the operation could not run, or its answer could not be written
};

/// Members keep their order, so that people find what matters first.
using Json = nlohmann::ordered_json;

/// What to do next.
struct Hint {
    std::string text;                       ///< for people; empty: nothing
    std::vector<std::string> commands = {}; ///< can be pasted into a shell as they are; each stands
                                            ///< on a line of its own, unwrapped

    /// @return Whether there is nothing to do.
    bool empty() const { return text.empty(); }
};

/// Why a question cannot be answered, or something could not be done. Thrown when that is the whole
/// answer.
struct Failure {
    std::string message;            ///< what could not be done
    std::string path;               ///< the file or directory concerned; may be empty
    std::string reason;             ///< why, in the system's words; may be empty
    Hint hint;                      ///< what to do next; may be empty
    Status status = Status::notRun; ///< #Status::wrongUsage or #Status::notRun
};

/// The answer to a question that could be asked.
struct Result {
    Status status = Status::yes;      ///< #Status::yes or #Status::no, unless there is a failure
    std::string text;                 ///< for people, on the standard output
    Json members = Json::object();    ///< the same for programs, without command and status
    std::vector<std::string> notes;   ///< remarks, on the standard error stream, before the text
    std::vector<std::string> closing; ///< closing sentences, there as well, after the text
    std::vector<Hint> hints;          ///< what to do next, after these
    std::optional<Failure> failure;   ///< what went wrong nevertheless; its status counts then
};

/// @return The start of every answer about a set: a yes, with the camera's serial number and the
///         calibration directory.
Result answerAbout(unsigned long serial, std::string const& directory);

/// Makes the answer a no, unless something worse is known.
void answerNo(Result& result);

/// Adds a hint, unless it was given already.
void addHint(Result& result, Hint hint);

/// @return A failure whose reason is that of a value of `errno`.
Failure systemFailure(std::string const& message, std::string const& path, int error,
                      Hint const& hint = {});

/// @return A failure in one sentence, without its hint.
std::string sentence(Failure const& failure);

/// @return A failure as programs get it.
Json failureMembers(Failure const& failure);

} // namespace companion
