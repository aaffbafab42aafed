// Scripts cannot include a header, so they repeat directories and names. These tests hold them to
// the header.
#include "sdk/manager/CameraSearch.h"
#include "sdk/set/FileKinds.h"
#include "util/DefaultDirectories.h"

#include "tests/support/Matches.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace {

using support::matches;

std::string textOf(std::string const& file) {
    return support::readFile(std::string(ZENTHO_SOURCE_DIR) + "/" + file);
}

constexpr char const* filesWithDirectory[] = {
    "packaging/commands/postrm",
    "packaging/commands/lintian-overrides",
    "completions/bash/zentho-cali",
    "completions/zsh/_zentho-cali",
    "completions/fish/__zentho_cali_serials.fish",
    "docs/man/zentho-cali.1.scd",
    "docs/man/zentho-cali-install.1.scd",
    "docs/building.md",
    "README.md",
    "sdk/IRCalibrationManager.h",
};

constexpr char const* completionsOfSerials[] = {
    "completions/bash/zentho-cali",
    "completions/zsh/_zentho-cali",
    "completions/fish/__zentho_cali_serials.fish",
};

} // namespace

TEST(TheDefaultDirectories, AreTheSameWhereScriptsAndManualPagesSpellThem) {
    std::string const formats = std::string(zel::defaultFormatsDir).substr(1);
    std::string const calibration = std::string(zel::defaultCalibrationDir).substr(1);
    for (char const* const file : filesWithDirectory) {
        auto found = matches(textOf(file), "(usr/share/lib[a-z/]*[a-z])");
        EXPECT_EQ(found.count(calibration), 1U) << file;
        found.erase(calibration);
        found.erase(formats);
        EXPECT_EQ(found, std::set<std::string>()) << file << " names another directory";
    }
}

TEST(ThePurgeOfThePackage, RemovesTheKindsOfFilesThatASetHas) {
    std::set<std::string> prefixes;
    for (zel::set::KindOfFile const& kind : zel::set::kinds)
        prefixes.insert(std::string(kind.prefix));
    EXPECT_EQ(matches(textOf("packaging/commands/postrm"), "-name '([^'*]*)\\*'"), prefixes);
}

TEST(TheCompletions, TakeSerialNumbersFromTheNamesOfDescriptions) {
    zel::set::KindOfFile const& description = zel::set::kinds.front();
    std::set<std::string> const names{std::string(description.prefix) +
                                      std::string(description.suffix)};
    for (char const* const file : completionsOfSerials) {
        std::set<std::string> spelt;
        for (std::string const& pattern : matches(textOf(file), "([A-Z][a-z]+-[^ ]*\\.xml)"))
            spelt.insert(pattern.substr(0, description.prefix.size()) +
                         pattern.substr(pattern.size() - description.suffix.size()));
        EXPECT_EQ(spelt, names) << file;
    }
}

TEST(TheManualPages, NameTheIdentifiersOfTheCamera) {
    for (char const* const file :
         {"docs/man/zentho-cali.1.scd", "docs/man/zentho-cali-install.1.scd"}) {
        std::string const text = textOf(file);
        EXPECT_NE(text.find(zel::cameraVendor), std::string::npos) << file;
        EXPECT_NE(text.find(zel::cameraProduct), std::string::npos) << file;
    }
}

// The description stands below the room that knows the names, so it spells its own.
TEST(TheDescription, IsLoadedUnderTheNameThatTheSetGivesIt) {
    zel::set::KindOfFile const& description = zel::set::kinds.front();
    std::string const text = textOf("imgproc/Cali.cpp");
    EXPECT_NE(text.find('"' + std::string(description.prefix) + "%i\""), std::string::npos);
    EXPECT_NE(text.find('"' + std::string(description.suffix) + '"'), std::string::npos);
}
