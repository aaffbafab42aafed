#pragma once

#include <functional>
#include <string>
#include <vector>

namespace support {

/// What this process, and the commands that it starts, write to the standard error stream while the
/// body runs.
std::string standardErrorOf(std::function<void()> const& body);

/// The log lines among other text, each as withoutLineAndTime() makes it:
/// "ERROR [sdk/SimpleXML:LINE] @ TIMEs :message".
std::vector<std::string> logLinesIn(std::string const& text);

/// The log lines that the body writes when errors, warnings and information are shown.
std::vector<std::string> logOf(std::function<void()> const& body);

/// The same with debug lines.
std::vector<std::string> debugLogOf(std::function<void()> const& body);

} // namespace support
