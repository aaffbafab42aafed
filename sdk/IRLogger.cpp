#include "sdk/IRLogger.h"

#include "util/Logger.h"

namespace zel {

namespace {

constexpr char const* defaultBaseName = "vessimo.log";

thalvo::LogLevel threshold(IRLoggerVerbosityLevel level) noexcept {
    switch (level) {
    case IRLOG_WARNING:
        return thalvo::LogLevel::warning;
    case IRLOG_INFO:
        return thalvo::LogLevel::information;
    case IRLOG_DEBUG:
        return thalvo::LogLevel::debug;
    default:
        return thalvo::LogLevel::error;
    }
}

thalvo::Logger::loggerConf_ outputs(bool console, bool file) noexcept {
    using thalvo::Logger;
    return static_cast<Logger::loggerConf_>((file ? Logger::LOGFILE_ON : Logger::LOGFILE_OFF) |
                                            (console ? Logger::CONSOLE_ON : Logger::CONSOLE_OFF));
}

} // namespace

void IRLogger::setVerbosity(IRLoggerVerbosityLevel console, IRLoggerVerbosityLevel file,
                            char const* logfile) noexcept try {
    thalvo::Logger* const logger = thalvo::Logger::getInstance();
    if (logger == nullptr)
        return;
    bool const named = logfile != nullptr && logfile[0] != '\0';
    logger->configure(named ? logfile : defaultBaseName,
                      outputs(console != IRLOG_OFF, file != IRLOG_OFF),
                      static_cast<int>(threshold(file)), static_cast<int>(threshold(console)));
} catch (...) {
    // No memory for the name: logging stays as it was.
}

} // namespace zel
