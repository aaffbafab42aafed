// The script that purges the package cannot include a header, so it repeats the names in the hidden
// folder. This test holds it to the header.
#include "store/Files.h"
#include "store/Layout.h"

#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <regex>
#include <set>
#include <string>

namespace {

std::string const script =
    support::readFile(std::string(ZENTHO_SOURCE_DIR) + "/packaging/commands/postrm");

std::set<std::string> matches(std::string const& pattern) {
    std::regex const expression(pattern);
    std::set<std::string> found;
    for (std::sregex_iterator hit(script.begin(), script.end(), expression), end; hit != end; ++hit)
        found.insert(hit->str(1));
    return found;
}

/// A name's end after the serial number.
std::string afterSerial(std::string const& name) {
    return name.substr(1);
}

TEST(ThePurgeOfThePackage, LooksIntoTheHiddenFolder) {
    EXPECT_EQ(matches("hidden=\\$directory/([^\n]+)"),
              std::set<std::string>{zel::store::hiddenName});
}

TEST(ThePurgeOfThePackage, RemovesTheStage) {
    EXPECT_EQ(matches("rm -rf \\$hidden/([^\n]+)"), std::set<std::string>{zel::store::stageName});
}

TEST(ThePurgeOfThePackage, RemovesTheLock) {
    EXPECT_EQ(matches("-name ([a-z]+)"), std::set<std::string>{zel::store::lockName});
}

TEST(ThePurgeOfThePackage, RemovesRecordsAndJournalsAndWhatIsWrittenBesideThem) {
    std::set<std::string> ends;
    for (std::string const& name : {zel::store::recordName(7), zel::store::journalName(7)}) {
        ends.insert(afterSerial(name));
        ends.insert(afterSerial(zel::store::besideName(name)));
    }
    EXPECT_EQ(matches("-name '\\*([^']+)'"), ends);
}

} // namespace
