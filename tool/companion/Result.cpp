#include "tool/companion/Result.h"

#include <cstring>

namespace companion {

Result answerAbout(unsigned long serial, std::string const& directory) {
    Result result{Status::yes, "", {}, {}};
    result.members["serial"] = serial;
    result.members["directory"] = directory;
    return result;
}

Failure systemFailure(std::string const& message, std::string const& path, int error,
                      std::string const& hint) {
    return {message, path, std::strerror(error), hint};
}

std::string sentence(Failure const& failure) {
    std::string text = failure.message;
    if (!failure.path.empty())
        text += " " + failure.path;
    if (!failure.reason.empty())
        text += ": " + failure.reason;
    return text;
}

} // namespace companion
