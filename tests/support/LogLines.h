#pragma once

#include <string>
#include <vector>

namespace support {

/// The lines of a text, without their newlines.
std::vector<std::string> lines(std::string const& text);

/// The log with the two varying parts of each line, source line and seconds, replaced by words:
/// `DEBUG [sdk/SimpleXML:LINE] @ TIMEs :message`. Anything that is no log line stays as it is.
std::string withoutLineAndTime(std::string const& log);

/// The source line that a log line names. Throws when it is no log line.
std::size_t sourceLine(std::string const& logLine);

} // namespace support
