#include "tests/support/LogLines.h"

#include <stdexcept>
#include <string_view>

namespace support {

namespace {

constexpr std::string_view digits = "0123456789";

/// Where the varying parts of a log line stand.
struct LogLine {
    std::size_t line;
    std::size_t lineEnd;
    std::size_t time;
    std::size_t timeEnd;
};

bool startsWith(std::string_view text, std::string_view start) {
    return text.substr(0, start.size()) == start;
}

bool parse(std::string_view text, LogLine& parts) {
    auto const bracket = text.find('[');
    auto const colon = text.find(':', bracket);
    if (bracket == std::string_view::npos || colon == std::string_view::npos) {
        return false;
    }
    parts.line = colon + 1;
    parts.lineEnd = text.find_first_not_of(digits, parts.line);
    if (parts.lineEnd == std::string_view::npos || parts.lineEnd == parts.line ||
        !startsWith(text.substr(parts.lineEnd), "] @ ")) {
        return false;
    }
    parts.time = parts.lineEnd + std::string_view("] @ ").size();
    parts.timeEnd = text.find_first_not_of("0123456789.e+-", parts.time);
    return parts.timeEnd != std::string_view::npos && parts.timeEnd != parts.time &&
           startsWith(text.substr(parts.timeEnd), "s :");
}

} // namespace

std::vector<std::string> lines(std::string const& text) {
    std::vector<std::string> result;
    for (std::size_t start = 0; start < text.size();) {
        auto const end = text.find('\n', start);
        result.push_back(text.substr(start, end - start));
        start = end == std::string::npos ? text.size() : end + 1;
    }
    return result;
}

std::string withoutLineAndTime(std::string const& log) {
    std::string result;
    for (auto const& line : lines(log)) {
        LogLine parts{};
        if (parse(line, parts)) {
            result += line.substr(0, parts.line) + "LINE" +
                      line.substr(parts.lineEnd, parts.time - parts.lineEnd) + "TIME" +
                      line.substr(parts.timeEnd) + "\n";
        } else {
            result += line + "\n";
        }
    }
    if (!log.empty() && log.back() != '\n') {
        result.pop_back();
    }
    return result;
}

std::size_t sourceLine(std::string const& logLine) {
    LogLine parts{};
    if (!parse(logLine, parts)) {
        throw std::invalid_argument("no log line: " + logLine);
    }
    return std::stoul(logLine.substr(parts.line, parts.lineEnd - parts.line));
}

} // namespace support
