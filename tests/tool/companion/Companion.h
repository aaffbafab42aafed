/// @file
/// Runs the companion from outside, as a shell would.
#pragma once

#include "tests/support/Command.h"
#include "tests/support/Seen.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace companiontest {

extern std::string const program;

/// The sample stick, which holds all files of camera 14080045, but not all of camera 15110023.
extern std::string const stick;

/// The files of camera 7 in the small set.
inline std::string const description = "Cali-7.xml";
inline std::string const data = "Cali-7-23-M20-100.dat";
inline std::string const curve = "Kennlinie-7-23-M20-100.prn";

/// A line of the companion on the standard error stream.
std::string said(std::string const& text);

/// A hint of the companion on the standard error stream, with commands on lines of their own.
std::string hinted(std::string const& text, std::vector<std::string> const& commands = {});

/// The hint for a person whose calibration directory does not exist.
std::string makeHint(std::string const& directory);

/// The hint for a person who lacks this camera's files in the directory "cali".
std::string fetchHint(std::string const& serial);

/// Whether a JSON answer fits the committed schema; for EXPECT_TRUE.
testing::AssertionResult fitsTheSchema(std::string const& answer);

/// A working directory with an empty calibration directory "cali".
class Companion : public testing::Test {
protected:
    Companion();

    /// Runs the companion in the working directory, in an environment without terminal settings.
    support::Outcome ask(std::vector<std::string> arguments) const;
    /// Does the same; gives exit status and streams as one text.
    std::string seenOf(std::vector<std::string> const& arguments) const;
    /// Does the same for JSON, which must fit the schema.
    std::string jsonOf(std::vector<std::string> arguments) const;
    /// Runs a shell command, in which "$0" is the program; gives exit status and streams.
    std::string seenOfShell(std::string const& command) const;
    /// Runs the companion with these arguments as an ordinary user, to whom nothing belongs; gives
    /// exit status and streams.
    std::string seenOfOrdinaryUser(std::string const& arguments) const;
    /// What a shell command, in which $program is the program, prints on a terminal of 60 columns.
    std::string onTerminal(std::vector<std::string> environment, std::string const& command) const;

    /// Has the companion install a camera's set from the sample stick.
    void installSafely(std::string const& serial) const;
    /// Copies a camera's files from the sample stick into the calibration directory.
    void install(std::string const& serial) const;
    std::string installed(std::string const& name) const { return cali + "/" + name; }

    support::TemporaryDirectory const root;
    std::string const cali = root.path() + "/cali";
};

} // namespace companiontest
