/// @file
/// What is said about a file of a set.
#pragma once

#include "tool/companion/Terminal.h"

#include <string>

namespace companion {

/// What was found out about a file of a set. "Here" is the calibration directory, "there" the
/// stick.
enum class FileState {
    same,                ///< the same bytes here and there
    differs,             ///< other bytes here than there
    missingHere,         ///< only there
    missingThere,        ///< only here
    missingHereAndThere, ///< neither, though the description asks for it
    installed,           ///< came with this download
    stillMissing,        ///< cannot be used after this download either
};

/// @return The state's name in JSON.
char const* jsonName(FileState state);

/// @return A line that tells a person the state of a file.
std::string stateLine(std::string const& fileName, FileState state, Terminal const& terminal);

} // namespace companion
