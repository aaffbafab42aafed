#include "sdk/IRLogger.h"

#include "util/Logger.h"

namespace zel {

namespace {

constexpr char const* defaultBaseName = "vessimo.log";

int threshold(IRLoggerVerbosityLevel level) noexcept {
    switch (level) {
    case IRLOG_WARNING:
        return 1;
    case IRLOG_INFO:
        return 2;
    case IRLOG_DEBUG:
        return 3;
    default:
        return 0;
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
                      outputs(console != IRLOG_OFF, file != IRLOG_OFF), threshold(file),
                      threshold(console));
} catch (...) {
    // No memory for the name: logging stays as it was.
}

} // namespace zel
