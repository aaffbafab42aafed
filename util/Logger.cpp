#include "util/Logger.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <ctime>
#include <limits>

namespace thalvo {

namespace {

bool notConfiguredWarningGiven = false;

constexpr std::size_t usualLineLength = 240; // longer lines reallocate

char const* levelTag(unsigned int level) noexcept {
    static constexpr std::array<char const*, 4> tags{"ERROR ", "WARNING ", "INFO ", "DEBUG "};
    static_assert(tags.size() == static_cast<std::size_t>(LogLevel::debug) + 1);
    return level < tags.size() ? tags[level] : tags[0];
}

/// Room for one formatted number.
using Digits = std::array<char, 64>;

template <class Number>
std::string_view sixDigits(Digits& digits, Number seconds) noexcept {
    auto const end = std::to_chars(digits.data(), digits.data() + digits.size(), seconds,
                                   std::chars_format::general, 6);
    return {digits.data(), static_cast<std::size_t>(end.ptr - digits.data())};
}

// Six significant digits, as many decimals as that takes, whatever the numeric locale. Formatting
// two doubles costs half as much as formatting one long double, so a double on either side of
// the value is formatted first: when their texts agree, so does that of the value between them.
void appendSeconds(std::string& text, long double seconds) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    double const nearest = static_cast<double>(seconds);
    Digits above;
    Digits below;
    auto const upper = sixDigits(above, std::nextafter(nearest, infinity));
    auto const lower = sixDigits(below, std::nextafter(nearest, -infinity));
    text.append(upper == lower ? upper : sixDigits(above, seconds));
}

void appendOrigin(std::string& text, std::string_view file, int line, long double milliseconds) {
    text.append("[").append(file).append(":").append(std::to_string(line)).append("] @ ");
    appendSeconds(text, milliseconds / 1000.0L);
    text.append("s :");
}

void writeToConsole(std::string const& text) noexcept {
    std::fwrite(text.data(), 1, text.size(), stderr);
}

// A ".log" in the base name stays, and a second one follows: log collectors look for that name.
std::string decorated(std::string const& filename) {
    std::time_t const moment = std::time(nullptr);
    std::tm const* const local = std::localtime(&moment);
    std::tm const date = local != nullptr ? *local : std::tm{};
    return filename + "_" + std::to_string(date.tm_mday) + "_" + std::to_string(date.tm_mon + 1) +
           "_" + std::to_string(date.tm_year + 1900) + "_" + std::to_string(date.tm_hour) + "-" +
           std::to_string(date.tm_min) + "-" + std::to_string(date.tm_sec) + ".log";
}

} // namespace

Logger* Logger::m_ = nullptr;

Logger* Logger::getInstance() noexcept {
    if (m_ != nullptr)
        return m_;
    try {
        m_ = new Logger;
    } catch (...) {
        return nullptr;
    }
    return m_;
}

void Logger::releaseInstance() noexcept {
    delete m_;
    m_ = nullptr;
}

Logger::~Logger() {
    closeFile();
}

void Logger::closeFile() {
    if ((m_conf & LOGFILE_ON) != 0 && m_file)
        m_file->close();
}

void Logger::configure(std::string const& filename, loggerConf_ conf, int fileLevel,
                       int consoleLevel) noexcept try {
    m_fileLevel = fileLevel;
    m_consoleLevel = consoleLevel;
    closeFile();
    if (filename != m_filename)
        m_filename = decorated(filename);
    if ((conf & LOGFILE_ON) != 0) {
        if (!m_file)
            m_file.emplace();
        m_file->open(m_filename, std::ios::out | std::ios::app);
        if (m_file->is_open())
            m_file->clear();
    }
    m_configured = true;
    m_conf = conf;
} catch (...) {
    // No memory for the file: as with one that cannot be opened, the console still gets its lines.
    m_configured = true;
    m_conf = conf;
}

bool Logger::fileTakes(unsigned int level) const noexcept {
    // Unsigned on purpose: a negative threshold lets every level through.
    return (m_conf & LOGFILE_ON) != 0 && level <= static_cast<unsigned int>(m_fileLevel);
}

bool Logger::consoleTakes(unsigned int level) const noexcept {
    return (m_conf & CONSOLE_ON) != 0 && level <= static_cast<unsigned int>(m_consoleLevel);
}

bool Logger::wouldPrint(unsigned int level) const noexcept {
    if (!m_configured)
        return !notConfiguredWarningGiven;
    return fileTakes(level) || consoleTakes(level);
}

void Logger::warnNotConfigured(std::string_view file, int line) {
    std::string text;
    appendOrigin(text, file, line, m_clock.getTime());
    text.append(" Logger not configured!\n");
    writeToConsole(text);
    notConfiguredWarningGiven = true;
}

std::string Logger::beginLine(unsigned int level, std::string_view file, int line) const {
    std::string text;
    text.reserve(usualLineLength);
    text.append(levelTag(level));
    appendOrigin(text, file, line, m_clock.getTime());
    return text;
}

void Logger::finishLine(unsigned int level, std::string& text) {
    text.append("\n");
    if (fileTakes(level) && m_file)
        m_file->write(text.data(), static_cast<std::streamsize>(text.size())).flush();
    if (consoleTakes(level))
        writeToConsole(text);
}

void Logger::print(unsigned int level, std::string const& file, int line,
                   std::string const& msg) noexcept {
    printParts(level, file, line, msg);
}

} // namespace thalvo
