// The script that purges the package cannot include a header, so it repeats the names in the hidden
// folder. This test holds it to the header.
#include "store/Files.h"
#include "store/Layout.h"

#include "tests/support/Matches.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace {

using support::matches;

std::string const script =
    support::readFile(std::string(ZENTHO_SOURCE_DIR) + "/packaging/commands/postrm");

/// A name's end after the serial number.
std::string afterSerial(std::string const& name) {
    return name.substr(1);
}

TEST(ThePurgeOfThePackage, LooksIntoTheHiddenFolder) {
    EXPECT_EQ(matches(script, "hidden=\\$directory/([^\n]+)"),
              std::set<std::string>{zel::store::hiddenName});
}

TEST(ThePurgeOfThePackage, RemovesTheStage) {
    EXPECT_EQ(matches(script, "rm -rf \\$hidden/([^\n]+)"),
              std::set<std::string>{zel::store::stageName});
}

TEST(ThePurgeOfThePackage, RemovesTheLock) {
    EXPECT_EQ(matches(script, "-name ([a-z]+)"), std::set<std::string>{zel::store::lockName});
}

TEST(ThePurgeOfThePackage, RemovesRecordsAndJournalsAndWhatIsWrittenBesideThem) {
    std::set<std::string> ends;
    for (std::string const& name : {zel::store::recordName(7), zel::store::journalName(7)}) {
        ends.insert(afterSerial(name));
        ends.insert(afterSerial(zel::store::besideName(name)));
    }
    EXPECT_EQ(matches(script, "-name '\\*([^']+)'"), ends);
}

} // namespace
