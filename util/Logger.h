/// @file
/// The process-wide logger.
#pragma once

#include "sdk/Timer.h"
#include "util/Export.h"

#include <fstream>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

namespace thalvo {

/// How severe a line is; a smaller number is more severe.
enum class LogLevel : unsigned int {
    error,
    warning,
    information,
    debug,
};

/// Writes lines to a log file and to the standard error stream, each with a threshold of its own.
///
/// A line reads `WARNING [sdk/SimpleXML:120] @ 1.5s :message`: level, origin, seconds since the
/// logger was made. Levels are the numbers of #LogLevel; any other number is written as an error.
/// Until configure() is called, nothing is written but one warning. The logger never reports
/// failures of its own, and no operation throws. Not for use from several threads at once.
class ZENTHO_API Logger {
public:
    /// Where lines go: one bit of each pair, combined.
    enum loggerConf_ : int {
        LOGFILE_ON = 1,  ///< write lines to the log file
        LOGFILE_OFF = 2, ///< file output off
        CONSOLE_ON = 4,  ///< write lines to the standard error stream
        CONSOLE_OFF = 8, ///< console output off
    };

    /// @return The one instance, made on the first call and owned by the class; null when memory
    ///         runs out.
    static Logger* getInstance() noexcept;

    /// Destroys the instance, if there is one, and closes its file.
    static void releaseInstance() noexcept;

    Logger(Logger const&) = delete;
    Logger& operator=(Logger const&) = delete;

    /// Sets outputs and thresholds; closes the log file of an earlier call and opens a new one for
    /// appending, here and nowhere else. When that fails, nothing is reported and lines for the
    /// file are lost.
    /// @param filename     Base name of the log file. The file's name is this, "_", the local date
    ///                     and time and ".log", as in vessimo.log_9_11_2026_3-7-5.log.
    /// @param conf         Combination of #loggerConf_ bits, of which #LOGFILE_ON and #CONSOLE_ON
    ///                     count.
    /// @param fileLevel    Highest level written to the file; a negative one lets all through.
    /// @param consoleLevel Highest level written to the standard error stream, likewise.
    void configure(std::string const& filename, loggerConf_ conf, int fileLevel,
                   int consoleLevel) noexcept;

    /// Writes one line to each output whose threshold lets @p level through.
    /// @param level Level of the line.
    /// @param file  Source file that reports, such as `sdk/SimpleXML`.
    /// @param line  Its line.
    /// @param msg   The message, in any encoding, written as it stands.
    void print(unsigned int level, std::string const& file, int line,
               std::string const& msg) noexcept;

    /// @param level Level of a line.
    /// @return Whether print() with this level would write anything now.
    bool wouldPrint(unsigned int level) const noexcept;

    /// Writes a line as print() does, with its message in pieces.
    /// @param level Level of the line.
    /// @param file  Source file that reports, such as `sdk/SimpleXML`.
    /// @param line  Its line.
    /// @param parts Pieces of the message, in order: texts and numbers.
    template <class... Parts>
    ZENTHO_HIDDEN void printParts(unsigned int level, std::string_view file, int line,
                                  Parts const&... parts) noexcept;

private:
    Logger() = default;
    ~Logger();

    void closeFile();
    bool fileTakes(unsigned int level) const noexcept;
    bool consoleTakes(unsigned int level) const noexcept;
    void warnNotConfigured(std::string_view file, int line);
    std::string beginLine(unsigned int level, std::string_view file, int line) const;
    void finishLine(unsigned int level, std::string& text);

    static Logger* m_;

    bool m_configured = false;
    std::string m_filename;
    loggerConf_ m_conf = LOGFILE_ON;
    std::optional<std::ofstream> m_file; // made when first needed: its locale is costly
    int m_fileLevel = 0;
    int m_consoleLevel = 0;
    zel::Timer m_clock;
};

/// Appends one piece of a message. @throws std::bad_alloc
inline void appendPart(std::string& message, std::string_view part) {
    message.append(part);
}

/// Appends a whole number in decimal. @throws std::bad_alloc
template <class Integer, class = std::enable_if_t<std::is_integral_v<Integer>>>
void appendPart(std::string& message, Integer part) {
    message.append(std::to_string(part));
}

template <class... Parts>
void Logger::printParts(unsigned int level, std::string_view file, int line,
                        Parts const&... parts) noexcept try {
    if (!wouldPrint(level))
        return;
    if (!m_configured)
        return warnNotConfigured(file, line);
    std::string text = beginLine(level, file, line);
    (appendPart(text, parts), ...);
    finishLine(level, text);
} catch (...) {
    // No memory for the line: it is lost, like one for a file that could not be opened.
}

/// Prints the concatenation of @p parts through the one logger. It is composed only if some output
/// shows the level, so a message that is not shown costs next to nothing.
/// @param level How severe it is.
/// @param file  Source file that reports, such as `sdk/SimpleXML`.
/// @param line  Its line.
/// @param parts Pieces of the message, in order: texts and numbers.
template <class... Parts>
void report(LogLevel level, std::string_view file, int line, Parts const&... parts) noexcept {
    Logger* const logger = Logger::getInstance();
    if (logger != nullptr)
        logger->printParts(static_cast<unsigned int>(level), file, line, parts...);
}

} // namespace thalvo
