#include "tests/support/Log.h"

#include "sdk/IRLogger.h"
#include "tests/support/LogLines.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <system_error>

#include <sys/mman.h>
#include <unistd.h>

namespace support {

namespace {

int checked(int result, char const* what) {
    if (result < 0) {
        throw std::system_error(errno, std::generic_category(), what);
    }
    return result;
}

/// Points the standard error stream at a file in memory. A pipe would fill up, and a file in the
/// temporary directory would be hidden by what a test mounts there.
class StandardErrorCapture {
public:
    StandardErrorCapture() {
        std::fflush(stderr);
        checked(dup2(m_file, STDERR_FILENO), "dup2");
    }
    ~StandardErrorCapture() {
        std::fflush(stderr);
        dup2(m_previous, STDERR_FILENO);
        close(m_previous);
        close(m_file);
    }
    StandardErrorCapture(StandardErrorCapture const&) = delete;
    StandardErrorCapture& operator=(StandardErrorCapture const&) = delete;

    std::string text() const {
        std::fflush(stderr);
        checked(static_cast<int>(lseek(m_file, 0, SEEK_SET)), "lseek");
        std::string all;
        std::array<char, 4096> piece{};
        ssize_t count = 0;
        while ((count = read(m_file, piece.data(), piece.size())) > 0) {
            all.append(piece.data(), static_cast<std::size_t>(count));
        }
        checked(static_cast<int>(count), "read");
        return all;
    }

private:
    int m_previous = checked(dup(STDERR_FILENO), "dup");
    int m_file = checked(memfd_create("standard error", MFD_CLOEXEC), "memfd_create");
};

std::vector<std::string> logAt(zel::IRLoggerVerbosityLevel level,
                               std::function<void()> const& body) {
    zel::IRLogger::setVerbosity(level, zel::IRLOG_OFF, nullptr);
    return logLinesIn(standardErrorOf(body));
}

} // namespace

std::string standardErrorOf(std::function<void()> const& body) {
    StandardErrorCapture const capture;
    body();
    return capture.text();
}

std::vector<std::string> logLinesIn(std::string const& text) {
    std::vector<std::string> found;
    for (auto const& line : lines(text)) {
        auto const masked = withoutLineAndTime(line);
        if (masked != line)
            found.push_back(masked);
    }
    return found;
}

std::vector<std::string> logOf(std::function<void()> const& body) {
    return logAt(zel::IRLOG_INFO, body);
}

std::vector<std::string> debugLogOf(std::function<void()> const& body) {
    return logAt(zel::IRLOG_DEBUG, body);
}

} // namespace support
