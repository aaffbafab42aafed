/// @file
/// The one call that sets up logging.
#pragma once

#include "util/Export.h"

namespace zel {

/// How much an output shows; each level adds to the one before.
enum IRLoggerVerbosityLevel : int {
    IRLOG_OFF = 1,     ///< nothing
    IRLOG_ERROR = 2,   ///< errors; also what any number outside this list means
    IRLOG_WARNING = 3, ///< and warnings
    IRLOG_INFO = 4,    ///< and information
    IRLOG_DEBUG = 5,   ///< and debug lines
};

/// Sets up thalvo::Logger from verbosity levels.
class ZENTHO_API IRLogger {
public:
    /// Configures the process-wide logger; may be called again at any time.
    /// @param console Level of the standard error stream.
    /// @param file    Level of the log file, which is opened unless this is #IRLOG_OFF.
    /// @param logfile Base name of the log file, with or without a directory; null and empty mean
    ///                "vessimo.log". Local date, time and ".log" are appended to it.
    ///
    /// Never fails: a log file that cannot be opened is not reported.
    static void setVerbosity(IRLoggerVerbosityLevel console, IRLoggerVerbosityLevel file,
                             char const* logfile) noexcept;
};

} // namespace zel
