/// @file
/// Options that several sub-commands have, and how to add others. The parser's own headers take
/// seconds to compile, so only this room and CommandLine include them.
#pragma once

#include "tool/companion/Options.h"

#include <string>

namespace CLI {
class App;
class Option;
} // namespace CLI

namespace companion {

/// @return Why a text does not fit an option that takes any other than an empty one.
std::string whyNotEmpty(std::string const& text);

/// Adds an option that takes a text which must not be empty. Given several times, the last counts.
/// @param parser Parser of the sub-command.
/// @param name   Its names, as in "-t,--target".
/// @param type   What the help text calls the value.
/// @param value  Receives the text; must outlive the parsing.
/// @param help   What it is for.
/// @param whyNot Says why a text does not fit, as in "must be a number"; empty if it does.
/// @return The option, owned by the parser.
CLI::Option& addText(CLI::App& parser, char const* name, char const* type, std::string& value,
                     std::string const& help,
                     std::string (*whyNot)(std::string const& text) = whyNotEmpty);

/// Adds an option without a value.
/// @param value Becomes true if it is given; must outlive the parsing.
/// @return The option, owned by the parser.
CLI::Option& addFlag(CLI::App& parser, char const* name, bool& value, std::string const& help);

/// Makes it a mistake to leave an option out.
void require(CLI::Option& option);

/// Makes an option a mistake without another one.
void needs(CLI::Option& option, CLI::Option& other);

/// Adds the camera's serial number, which may be left out.
void addOptionalSerial(CLI::App& parser, Options& options);

/// Adds the camera's serial number, which must be given.
void addSerial(CLI::App& parser, Options& options);

/// Adds the camera's serial number, and the option that takes every camera instead.
/// @param help What every camera is.
void addSerialOrAll(CLI::App& parser, Options& options, std::string const& help);

/// Adds the serial numbers of cameras, and the option that takes every camera instead.
/// @param help What every camera is.
void addSerialsOrAll(CLI::App& parser, Options& options, std::string const& help);

/// Adds the stick, which may be left out.
/// @param help What happens without it, after the stick is explained.
/// @return The option, owned by the parser.
CLI::Option& addSource(CLI::App& parser, Options& options, std::string const& help);

/// Does the same for a command that takes archives as well, and adds how they are read.
void addSourceOrArchive(CLI::App& parser, Options& options, std::string const& help);

/// Adds the calibration directory.
void addDirectory(CLI::App& parser, Options& options);

/// Adds what keeps a change from being made.
void addDryRun(CLI::App& parser, Options& options);

/// Adds what keeps a change from waiting for another process.
void addNoWait(CLI::App& parser, Options& options);

/// Adds what every sub-command takes: the form of the answer and the library's log.
void addCommonOptions(CLI::App& parser, Options& options);

} // namespace companion
