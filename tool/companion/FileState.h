/// @file
/// The states of a file of a set.
#pragma once

#include "tool/companion/Terminal.h"

#include <string>

namespace companion {

/// State of a file of a set. "Here" is the calibration directory, "there" the stick.
enum class FileState {
    same,                ///< the same bytes here and there
    differs,             ///< other bytes here than there
    missingHere,         ///< only there
    missingThere,        ///< only here
    missingHereAndThere, ///< in neither place, though the description asks for it
    installed,           ///< came with this download
    stillMissing,        ///< still cannot be used after this download
};

/// @return The state's name in JSON.
char const* jsonName(FileState state);

/// @return A line for people with a file's name and state.
std::string stateLine(std::string const& fileName, FileState state, Terminal const& terminal);

} // namespace companion
