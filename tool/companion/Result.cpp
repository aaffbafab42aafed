#include "tool/companion/Result.h"

#include <algorithm>
#include <cstring>

namespace companion {

namespace {

Json orNull(std::string const& text) {
    return text.empty() ? Json(nullptr) : Json(text);
}

/// The commands stand on lines of their own here, too.
std::string wholeText(Hint const& hint) {
    std::string text = hint.text;
    for (std::string const& command : hint.commands)
        text += "\n" + command;
    return text;
}

} // namespace

Result answerAbout(unsigned long serial, std::string const& directory) {
    Result result;
    result.members["serial"] = serial;
    result.members["directory"] = directory;
    return result;
}

void answerNo(Result& result) {
    result.status = std::max(result.status, Status::no);
}

void addHint(Result& result, Hint hint) {
    bool const known =
        std::any_of(result.hints.begin(), result.hints.end(), [&](Hint const& given) {
            return given.text == hint.text && given.commands == hint.commands;
        });
    if (!known && !hint.empty())
        result.hints.push_back(std::move(hint));
}

Failure systemFailure(std::string const& message, std::string const& path, int error,
                      Hint const& hint) {
    return {message, path, std::strerror(error), hint, Status::notRun};
}

std::string sentence(Failure const& failure) {
    std::string text = failure.message;
    if (!failure.path.empty())
        text += " " + failure.path;
    if (!failure.reason.empty())
        text += ": " + failure.reason;
    return text;
}

Json failureMembers(Failure const& failure) {
    Json members;
    members["message"] = failure.message;
    members["path"] = orNull(failure.path);
    members["reason"] = orNull(failure.reason);
    members["hint"] = orNull(wholeText(failure.hint));
    return members;
}

} // namespace companion
