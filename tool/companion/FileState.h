/// @file
/// Showing the states of the files of a set.
#pragma once

#include "tool/companion/Terminal.h"

#include "store/Results.h"

#include <string>
#include <vector>

namespace companion {

/// @return Whether a state is one that a person has to do something about.
bool isProblem(zel::store::FileState state);

/// @return A line for people with a file's name and state.
std::string stateLine(std::string const& fileName, zel::store::FileState state,
                      Terminal const& terminal);

/// @return The lines of all files.
std::string stateLines(std::vector<zel::store::File> const& files, Terminal const& terminal);

/// @return How many files are in each state: "3 installed, 8 unchanged"; empty without files.
std::string countsOf(std::vector<zel::store::File> const& files);

} // namespace companion
