// Archives in the place of sticks.
#include "tests/tool/companion/Companion.h"

#include "tests/support/Archives.h"
#include "tests/support/SmallSet.h"

#include <filesystem>

#include <unistd.h>

namespace {

namespace fs = std::filesystem;

using companiontest::curve;
using companiontest::data;
using companiontest::description;
using companiontest::hinted;
using companiontest::said;
using support::exited;
using support::writeFile;

/// What is printed of the three files of a camera.
std::string states(std::string const& state, std::string const& serial = "7") {
    std::string text;
    for (std::string const& name : {"Cali-" + serial + "-23-M20-100.dat", "Cali-" + serial + ".xml",
                                    "Kennlinie-" + serial + "-23-M20-100.prn"})
        text += name + ": " + state + "\n";
    return text;
}

class CompanionArchive : public companiontest::Companion {
protected:
    CompanionArchive() { support::writeSmallSet(folder + "/below", 7); }

    void pack(std::string const& name = "sets.zip") const {
        support::pack(folder, root.path() + "/" + name);
    }
    std::string installed(std::vector<std::string> const& more = {"7"}) const {
        std::vector<std::string> words{"install", "-s", "sets.zip", "-t", "cali"};
        words.insert(words.begin() + 1, more.begin(), more.end());
        return seenOf(words);
    }

    std::string const folder = root.path() + "/folder";
};

} // namespace

TEST_F(CompanionArchive, IsInstalledFrom) {
    pack();
    EXPECT_EQ(installed(), exited(0, states("installed"),
                                  said("From here on the source may be unplugged.") +
                                      said("Camera 7 is complete: 3 installed.")));
    EXPECT_EQ(installed(),
              exited(0, states("unchanged"), said("Camera 7 is unchanged and complete.")));
    EXPECT_EQ(seenOf({"verify", "7", "-s", "sets.zip", "-t", "cali"}),
              exited(0, states("same"), said("Camera 7: 3 same; complete.")));
    EXPECT_EQ(seenOf({"verify", "-s", "sets.zip", "-t", "cali"}),
              exited(0, states("same"), said("Camera 7: 3 same; complete.")));
    EXPECT_EQ(seenOf({"check", "7", "-t", "cali"}), exited(0, "", ""));
}

TEST_F(CompanionArchive, IsInstalledFromForEveryCamera) {
    support::writeSmallSet(folder, 8);
    pack();
    EXPECT_EQ(installed({"--all"}), exited(0, states("installed") + states("installed", "8"),
                                           said("From here on the source may be unplugged.") +
                                               said("Camera 7 is complete: 3 installed.") +
                                               said("Camera 8 is complete: 3 installed.")));
    std::string const listed = seenOf({"list", "-s", "sets.zip"});
    EXPECT_NE(listed.find("7       yes"), std::string::npos) << listed;
    EXPECT_NE(listed.find("8       yes"), std::string::npos) << listed;
}

TEST_F(CompanionArchive, AnswersInJson) {
    fs::remove(folder + "/below/" + data);
    pack();
    std::string const answer = jsonOf({"install", "7", "-s", "sets.zip", "-t", "cali"});
    EXPECT_NE(answer.find("\"source\": \"sets.zip\""), std::string::npos) << answer;
    EXPECT_NE(answer.find("\"state\": \"missing\""), std::string::npos);
    jsonOf({"install", "--all", "-s", "sets.zip", "-t", "cali", "--dry-run"});
    jsonOf({"list", "-s", "sets.zip"});
    writeFile(root.path() + "/sets.zip", "none");
    jsonOf({"install", "7", "-s", "sets.zip", "-t", "cali"});
    jsonOf({"install", "--all", "-s", "sets.zip", "-t", "cali"});
}

TEST_F(CompanionArchive, OffersTheCamerasThatItHolds) {
    support::writeSmallSet(folder, 8);
    pack();
    std::string const seen = seenOf({"install", "-s", "sets.zip", "-t", "cali"});
    EXPECT_NE(seen.find(hinted("The source holds these cameras:",
                               {"zentho-cali install 7 -s sets.zip -t cali",
                                "zentho-cali install 8 -s sets.zip -t cali",
                                "zentho-cali install --all -s sets.zip -t cali"})),
              std::string::npos)
        << seen;
}

TEST_F(CompanionArchive, IsRefusedWithItsReason) {
    writeFile(root.path() + "/sets.zip", "none");
    std::string const none = said("This is no archive that can be read (zip, 7z, tar): sets.zip");
    EXPECT_EQ(installed(), exited(3, "", none));
    EXPECT_EQ(installed({"--all"}), exited(3, "", none));
    EXPECT_EQ(seenOf({"list", "-s", "sets.zip"}), exited(3, "", none));
    EXPECT_EQ(seenOf({"verify", "7", "-s", "sets.zip", "-t", "cali"}), exited(3, "", none));
}

TEST_F(CompanionArchive, HasNoCamera) {
    fs::remove_all(folder);
    writeFile(folder + "/readme.txt", "text");
    pack();
    EXPECT_EQ(installed({"--all"}), exited(1, "", said("sets.zip holds no camera's description.")));
    EXPECT_EQ(seenOf({"list", "-s", "sets.zip"}),
              exited(0, "", said("sets.zip holds no camera's description.")));
}

TEST_F(CompanionArchive, IsReadInAnyLocale) {
    std::string const script =
        "import zipfile, os\n"
        "class Raw(zipfile.ZipInfo):\n"
        "    def _encodeFilenameFlags(self): return raw, 0\n"
        "z = zipfile.ZipFile(archive, 'w')\n"
        "for i, name in enumerate(os.listdir('" +
        folder +
        "/below')):\n"
        "    raw = (b'M\\x81nchen/', b'\\x83J\\x83\\x81/', b'')[i] + name.encode()\n"
        "    z.writestr(Raw('x'), open('" +
        folder +
        "/below/' + name, 'rb').read())\n"
        "z.writestr('M\\u00fcnchen/\\u30ab/Cali-7-more.dat', 'x')\n"
        "z.close()\n";
    support::packByPython(script, root.path() + "/sets.zip");
    for (std::string const locale : {"C", "C.UTF-8", "de_DE.ISO-8859-1"}) {
        fs::remove_all(cali);
        std::string const seen =
            seenOfShell("env LC_ALL=" + locale + " \"$0\" install 7 -s sets.zip -t cali");
        EXPECT_NE(seen.find("Camera 7 is complete: 4 installed."), std::string::npos) << seen;
    }
}

TEST_F(CompanionArchive, IsReadConfinedOrNotAtAllWhenThatIsRequired) {
    pack();
    std::string const seen = installed({"7", "--require-sandbox"});
    EXPECT_TRUE(seen == exited(0, states("installed"),
                               said("From here on the source may be unplugged.") +
                                   said("Camera 7 is complete: 3 installed.")) ||
                seen.find("This kernel lacks Landlock or seccomp") != std::string::npos)
        << seen;
}

TEST_F(CompanionArchive, TakesAnotherPackage) {
    pack();
    // Away from its build, the command looks where it would be installed.
    fs::copy_file(companiontest::program, root.path() + "/moved");
    std::string const seen = seenOfShell("unset SUDO_UID; ./moved install 7 -s sets.zip -t cali");
    EXPECT_EQ(
        seen.find(
            exited(3, "", said("This takes a program that is not installed: ")).substr(0, 20)),
        0U)
        << seen;
    std::string const command = getuid() == 0 ? "apt-get install zentho-cali-sources"
                                              : "sudo apt-get install zentho-cali-sources";
    EXPECT_NE(seen.find(hinted("Archives take another package:", {command})), std::string::npos)
        << seen;
    EXPECT_NE(seenOfShell("SUDO_UID=1000 ./moved install 7 -s sets.zip -t cali")
                  .find(hinted("Archives take another package:",
                               {"sudo apt-get install zentho-cali-sources"})),
              std::string::npos);
    EXPECT_TRUE(fs::is_empty(cali));
}
