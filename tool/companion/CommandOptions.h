/// @file
/// Options that several sub-commands have.
#pragma once

#include "tool/companion/Options.h"

#include <string>

namespace CLI {
class App;
class Option;
} // namespace CLI

namespace companion {

/// Adds an option that takes a text which must not be empty. Given several times, the last counts.
/// @param parser Parser of the sub-command.
/// @param name   Its names, as in "-t,--target".
/// @param type   What the help text calls the value.
/// @param value  Receives the text; must outlive the parsing.
/// @param help   What it is for.
/// @return The option, owned by the parser.
CLI::Option& addText(CLI::App& parser, char const* name, char const* type, std::string& value,
                     std::string const& help);

/// Adds the camera's serial number, which may be left out.
/// @return The option, owned by the parser.
CLI::Option& addOptionalSerial(CLI::App& parser, Options& options);

/// Adds the camera's serial number, which must be given.
void addSerial(CLI::App& parser, Options& options);

/// Adds the camera's serial number, and the option that takes every camera instead.
/// @param help What every camera is.
void addSerialOrAll(CLI::App& parser, Options& options, std::string const& help);

/// Adds the stick, which may be left out.
/// @param help What happens without it.
void addSource(CLI::App& parser, Options& options, std::string const& help);

/// Adds the calibration directory.
void addDirectory(CLI::App& parser, Options& options);

/// Adds what keeps a change from being made.
void addDryRun(CLI::App& parser, Options& options);

/// Adds what keeps a change from waiting for another process.
void addNoWait(CLI::App& parser, Options& options);

/// Adds what every sub-command takes: the form of the answer and the library's log.
void addCommonOptions(CLI::App& parser, Options& options);

} // namespace companion
