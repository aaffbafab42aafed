/// @file
/// A calibration directory, a stick and what the store says of them.
#pragma once

#include "store/CalibrationStore.h"
#include "store/Sha256.h"

#include "tests/support/Camera.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace storetest {

using zel::store::CalibrationStore;
using zel::store::FailureKind;
using zel::store::InstallOptions;
using zel::store::InstallOutcome;

/// What an installation or a removal says, a line each: "changed", "complete", what failed, the
/// files, remarks with their paths, and the cameras that the source holds.
std::string seen(InstallOutcome const& outcome);
/// What a check says.
std::string seen(zel::store::CheckOutcome const& outcome);
/// What a comparison says.
std::string seen(zel::store::VerifyOutcome const& outcome);

/// The content of all files of a folder and below, by path; links as "-> TARGET", folders as "/".
using Tree = std::map<std::string, std::string>;
Tree treeOf(std::string const& directory);

/// The SHA-256 of a text.
zel::store::Digest sumOfText(std::string_view text);

/// A camera with three files: one optic with one range.
support::Camera camera(int serial);

/// The three files of camera 7.
inline std::string const description = "Cali-7.xml";
inline std::string const data = "Cali-7-23-M20-100.dat";
inline std::string const curve = "Kennlinie-7-23-M20-100.prn";

/// A stick and an empty place for a calibration directory.
class Store : public testing::Test {
protected:
    /// Writes a version of a camera's set to the stick: every file but the description begins with
    /// the version.
    void putOnStick(support::Camera const& camera, std::string const& version = "1") const;
    /// Installs from the stick.
    InstallOutcome install(unsigned long serial, InstallOptions const& options = {}) const;
    /// Checks with the store.
    std::string check(unsigned long serial) const;
    /// Content of an installed file.
    std::string installed(std::string const& name) const;

    support::TemporaryDirectory const root;
    std::string const stick = root.path() + "/stick";
    std::string const cali = root.path() + "/cali";
    std::string const hidden = cali + "/.zentho-cali";
    CalibrationStore store{cali};
};

} // namespace storetest
