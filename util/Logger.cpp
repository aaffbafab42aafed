#include "util/Logger.h"

#include <array>
#include <charconv>
#include <cstddef>
#include <cstdio>
#include <ctime>

namespace thalvo {

namespace {

bool notConfiguredWarningGiven = false;

constexpr std::size_t roomBesideTexts = 64; // of a line: level, source line, seconds and signs

char const* levelTag(unsigned int level) noexcept {
    static constexpr std::array<char const*, 4> tags{"ERROR ", "WARNING ", "INFO ", "DEBUG "};
    return level < tags.size() ? tags[level] : tags[0];
}

// Six significant digits and no fixed number of decimals, whatever the numeric locale.
void appendSeconds(std::string& text, long double milliseconds) {
    std::array<char, 64> digits;
    auto const end = std::to_chars(digits.data(), digits.data() + digits.size(),
                                   milliseconds / 1000.0L, std::chars_format::general, 6);
    text.append(digits.data(), end.ptr);
}

void appendOrigin(std::string& text, std::string const& file, int line, long double milliseconds) {
    text.append("[").append(file).append(":").append(std::to_string(line)).append("] @ ");
    appendSeconds(text, milliseconds);
    text.append("s :");
}

void writeToConsole(std::string const& text) noexcept {
    std::fwrite(text.data(), 1, text.size(), stderr);
}

// The ".log" of the base name stays and a second one follows: log collectors look for that name.
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
    // No memory for the file: as for one that cannot be opened, console lines go on.
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

void Logger::warnNotConfigured(std::string const& file, int line) {
    std::string text;
    appendOrigin(text, file, line, m_clock.getTime());
    text.append(" Logger not configured!\n");
    writeToConsole(text);
    notConfiguredWarningGiven = true;
}

void Logger::print(unsigned int level, std::string const& file, int line,
                   std::string const& msg) noexcept try {
    if (!wouldPrint(level))
        return;
    if (!m_configured)
        return warnNotConfigured(file, line);

    std::string text;
    text.reserve(roomBesideTexts + file.size() + msg.size());
    text.append(levelTag(level));
    appendOrigin(text, file, line, m_clock.getTime());
    text.append(msg).append("\n");
    if (fileTakes(level) && m_file)
        *m_file << text << std::flush;
    if (consoleTakes(level))
        writeToConsole(text);
} catch (...) {
    // No memory for the line: it is lost.
}

} // namespace thalvo
