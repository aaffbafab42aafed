/// @file
/// What the person asked for.
#pragma once

#include "util/DefaultDirectories.h"

#include <string>

namespace companion {

/// The arguments of a sub-command; what it does not take stays as it is here.
struct Options {
    unsigned long serial = 0;                           ///< 0: none was given
    std::string directory = zel::defaultCalibrationDir; ///< calibration directory
    std::string source;                                 ///< the stick
    std::string output;                                 ///< file to write to; empty: none
    bool force = false;                                 ///< that file may be replaced
    bool json = false;                                  ///< answer as a JSON object
    int verbosity = 0;                                  ///< how often -v was given
    std::string logFile;                                ///< base name of a log file; empty: none
};

} // namespace companion
