/// @file
/// What the person asked for.
#pragma once

#include "util/DefaultDirectories.h"

#include <string>
#include <vector>

namespace companion {

/// The arguments of a sub-command; what it does not take stays as it is here.
struct Options {
    std::vector<std::string> words;                     ///< all of them, as they were given
    unsigned long serial = 0;                           ///< 0: none was given
    std::vector<unsigned long> serials;                 ///< of a command that takes several
    bool all = false;                                   ///< every camera
    std::string directory = zel::defaultCalibrationDir; ///< calibration directory
    std::string source;                                 ///< the stick; empty: none was given
    bool partial = false;                               ///< missing files are forgiven
    bool prune = false;                                 ///< files that nobody names are removed
    bool dryRun = false;                                ///< only say what would be done
    bool noWait = false;                                ///< do not wait for another process
    bool requireSandbox = false;                        ///< archives only where it is confined
    std::string optic;                                  ///< optic to configure; empty: the first
    std::string range;                                  ///< its range; empty: its first
    std::string framerate;                              ///< its frame rate; empty: the usual one
    std::string output;                                 ///< file to write to; empty: none
    bool force = false;                                 ///< that file may be replaced
    std::string url;                                    ///< where a mirror is served; may be empty
    std::string signKey;                                ///< the key that signs it; empty: none
    bool json = false;                                  ///< answer as a JSON object
    int verbosity = 0;                                  ///< how often -v was given
    std::string logFile;                                ///< base name of a log file; empty: none
};

} // namespace companion
