/// @file
/// How a sub-command answers.
#pragma once

#include <nlohmann/json.hpp>

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

/// The answer to a question that could be asked.
struct Result {
    Status status;                  ///< #Status::yes or #Status::no
    std::string text;               ///< for people, on the standard output
    Json members;                   ///< the same for programs, without command and status
    std::vector<std::string> notes; ///< remarks and hints, on the standard error stream
};

/// @return The start of every answer about a set: a yes, with the camera's serial number and the
///         calibration directory.
Result answerAbout(unsigned long serial, std::string const& directory);

/// Thrown when a question cannot be answered.
struct Failure {
    std::string message;            ///< what could not be done
    std::string path;               ///< the file or directory concerned; may be empty
    std::string reason;             ///< why, in the system's words; may be empty
    std::string hint;               ///< what to do next; may be empty
    Status status = Status::notRun; ///< #Status::wrongUsage or #Status::notRun
};

/// @return A failure whose reason is that of a value of `errno`.
Failure systemFailure(std::string const& message, std::string const& path, int error,
                      std::string const& hint = "");

/// @return A failure in one sentence, without its hint.
std::string sentence(Failure const& failure);

} // namespace companion
