#include "tests/tool/companion/Companion.h"

#include "tests/support/SmallSet.h"

#include <csignal>
#include <filesystem>

namespace {

namespace fs = std::filesystem;

using companiontest::curve;
using companiontest::data;
using companiontest::description;
using companiontest::hinted;
using companiontest::said;
using support::exited;
using support::writeFile;

std::string const allNew =
    data + ": installed\n" + description + ": installed\n" + curve + ": installed\n";
std::string const howToAsk = hinted("This tells what fits:", {"zentho-cali mirror --help"});

// Camera 7 has the small set on a stick of its own.
class CompanionMirror : public companiontest::Companion {
protected:
    CompanionMirror() { support::writeSmallSet(usb + "/7", 7); }

    std::string mirrored(std::vector<std::string> const& words = {"--all"}) const {
        return seenOf(whole(words));
    }

    static std::vector<std::string> whole(std::vector<std::string> words) {
        words.insert(words.begin(), {"mirror", "-s", "usb", "-o", "web"});
        return words;
    }

    std::string answerTo(std::vector<std::string> const& words) const {
        return jsonOf(whole(words));
    }

    static bool contains(std::string const& text, std::string const& part) {
        return text.find(part) != std::string::npos;
    }

    std::string const usb = root.path() + "/usb";
    std::string const web = root.path() + "/web";
    std::string const set = web + "/7/7/Califiles SN7";
};

} // namespace

TEST_F(CompanionMirror, IsMadeAndThenLeftAsItIs) {
    EXPECT_EQ(mirrored({"--all", "--dry-run"}),
              exited(0, allNew, said("The mirror would be complete: 1 changed.")));
    EXPECT_FALSE(fs::exists(web));
    EXPECT_EQ(mirrored(), exited(0, allNew, said("The mirror is complete: 1 changed.")));
    EXPECT_EQ(mirrored(), exited(0, "", said("The mirror is unchanged and complete.")));
    EXPECT_EQ(mirrored({"7", "--dry-run"}),
              exited(0, "", said("The mirror is unchanged and complete.")));
}

TEST_F(CompanionMirror, IsAStick) {
    mirrored({"--all", "--url", "http://h"});
    EXPECT_EQ(ask({"install", "7", "-s", "web", "-t", "cali"}).exitStatus, 0);
    EXPECT_EQ(seenOf({"check", "7", "-t", "cali"}), exited(0, "", ""));
}

TEST_F(CompanionMirror, TakesSeveralSerialNumbers) {
    support::writeSmallSet(usb + "/9", 9);
    support::writeSmallSet(usb + "/11", 11);
    EXPECT_EQ(ask(whole({"9", "7"})).exitStatus, 0);
    EXPECT_TRUE(fs::exists(web + "/9/9/Califiles SN9/Cali-9.xml"));
    EXPECT_FALSE(fs::exists(web + "/11"));
    EXPECT_EQ(ask(whole({"--all"})).standardError,
              said("The mirror is complete: 1 changed, 2 unchanged."));
}

TEST_F(CompanionMirror, KeepsTheOldSetWhereTheStickLacksFiles) {
    mirrored();
    fs::remove(usb + "/7/" + curve);
    EXPECT_EQ(mirrored(),
              exited(1, curve + ": missing\n", said("The mirror is not complete: 1 not written.")));
    EXPECT_TRUE(fs::exists(set + "/" + curve));
    EXPECT_EQ(mirrored({"8", "--dry-run"}),
              exited(1, "Cali-8.xml: missing\n",
                     said("The mirror would not be complete: 1 not written.") +
                         said("The source holds camera 7.")));
    fs::remove_all(usb + "/7");
    EXPECT_EQ(mirrored(), exited(1, "", said("usb holds no camera's description.")));
}

TEST_F(CompanionMirror, AnswersWithJson) {
    auto const start = [](std::string const& status, std::string const& changed,
                          std::string const& complete) {
        return "{\n  \"command\": \"mirror\",\n  \"status\": " + status +
               ",\n  \"source\": \"usb\",\n  \"directory\": \"web\",\n  \"changed\": " + changed +
               ",\n  \"complete\": " + complete +
               ",\n  \"cameras\": [\n    {\n      \"serial\": 7,\n" +
               "      \"changed\": " + changed + ",\n      \"complete\": " + complete;
    };
    auto const file = [](std::string const& name, std::string const& state) {
        return "{\n      \"name\": \"" + name + "\",\n      \"state\": \"" + state + "\"\n    }";
    };
    auto const end = [](std::string const& files) {
        return "\n    }\n  ],\n  \"files\": [\n    " + files + "\n  ],\n  \"problems\": []\n}\n";
    };
    EXPECT_EQ(answerTo({"--all", "--url", "http://h"}),
              start("0", "true", "true") +
                  end(file(data, "installed") + ",\n    " + file(description, "installed") +
                      ",\n    " + file(curve, "installed") + ",\n    " +
                      file("downloadlinks.xml", "installed")));
    EXPECT_EQ(answerTo({"--all"}),
              start("0", "false", "true") +
                  end(file(data, "unchanged") + ",\n    " + file(description, "unchanged") +
                      ",\n    " + file(curve, "unchanged")));
    writeFile(usb + "/7/" + data, "");
    std::string answer = answerTo({"7"});
    EXPECT_EQ(answer.find(start("1", "false", "false")), 0U) << answer;
    EXPECT_TRUE(contains(answer, "\"message\": \"It is empty.\"")) << answer;
    writeFile(usb + "/7/" + data, "new");
    writeFile(set + "/mine", "x");
    answer = answerTo({"7"});
    EXPECT_EQ(answer.find(start("3", "false", "false") + ",\n      \"error\": {"), 0U) << answer;
    EXPECT_TRUE(contains(answer, "\"path\": \"web/7/7/Califiles SN7/mine\"")) << answer;
    fs::remove_all(usb);
    EXPECT_TRUE(contains(answerTo({"7"}), "\"path\": \"usb\""));
}

TEST_F(CompanionMirror, SaysWhatIsWrongWithTheCommandLine) {
    EXPECT_EQ(seenOf({"mirror", "--all", "-o", "web"}),
              exited(2, "", said("--source is required") + howToAsk));
    EXPECT_EQ(seenOf({"mirror", "--all", "-s", "usb"}),
              exited(2, "", said("--output is required") + howToAsk));
    EXPECT_EQ(mirrored({}),
              exited(2, "", said("Which sets? Name serial numbers, or --all") + howToAsk));
    EXPECT_EQ(mirrored({"--all", "7"}), exited(2, "", said("SERIAL excludes --all") + howToAsk));
    EXPECT_EQ(mirrored({"7", "0"}),
              exited(2, "",
                     said("SERIAL: '0' is no serial number: decimal digits, 1 to 2147483647") +
                         howToAsk));
    EXPECT_EQ(mirrored({"7", "--url", "h"}),
              exited(2, "", said("--url: must begin with http:// or https://") + howToAsk));
    EXPECT_EQ(mirrored({"7", "--sign-with", ""}),
              exited(2, "", said("--sign-with: must not be empty") + howToAsk));
    EXPECT_TRUE(contains(answerTo({}), "\"command\": \"mirror\",\n  \"status\": 2,"));
}

TEST_F(CompanionMirror, IsNotMadeOfAnArchive) {
    writeFile(root.path() + "/set.tar", "");
    for (std::string const which : {"7", "--all"}) {
        auto const outcome = ask({"mirror", which, "-s", "set.tar", "-o", "web"});
        EXPECT_EQ(outcome.exitStatus, 3);
        EXPECT_EQ(outcome.standardError,
                  said("A mirror is made from a directory, not from set.tar"));
    }
}

TEST_F(CompanionMirror, GoesOnWithTheNextSetAndNamesEachThatFailed) {
    for (unsigned long const serial : {8UL, 9UL})
        support::writeSmallSet(usb + "/" + std::to_string(serial), serial);
    for (std::string const serial : {"7", "8"})
        writeFile(web + "/" + serial + "/" + serial + "/Califiles SN" + serial + "/mine", "x");
    auto const outcome = ask(whole({"--all"}));
    EXPECT_EQ(outcome.exitStatus, 3);
    EXPECT_EQ(
        outcome.standardError,
        said("Camera 8: What does not belong to the set is in the way: web/8/8/Califiles "
             "SN8/mine") +
            said("The mirror is not complete: 1 changed, 2 not written.") +
            said("What does not belong to the set is in the way: web/7/7/Califiles SN7/mine"));
    EXPECT_TRUE(fs::exists(web + "/9/9/Califiles SN9/Cali-9.xml"));
}

TEST_F(CompanionMirror, TellsHowToGetTheRights) {
    fs::permissions(root.path(), fs::perms::all);
    fs::create_directory(root.path() + "/closed");
    fs::permissions(root.path() + "/closed", fs::perms(0755));
    EXPECT_EQ(seenOfOrdinaryUser("mirror --all -s usb -o closed/web"),
              exited(3, "",
                     said("Cannot make the directory closed/.web.zentho-cali: Permission denied") +
                         hinted("Root may do this:",
                                {"sudo zentho-cali mirror --all -s usb -o closed/web"})));
}

TEST_F(CompanionMirror, NamesWhatIsInTheWayOfItsDirectory) {
    writeFile(root.path() + "/file", "x");
    EXPECT_EQ(seenOf({"mirror", "--all", "-s", "usb", "-o", "file/web"}),
              exited(3, "", said("Cannot use the mirror's directory file/web: Not a directory")));
}

TEST_F(CompanionMirror, NamesTheSigningProgramThatIsMissing) {
    EXPECT_EQ(seenOfShell("PATH=none; \"$0\" mirror --all -s usb -o web --sign-with me"),
              exited(3, "",
                     said("The mirror is not complete: 1 not written.") +
                         said("Cannot run gpg: No such file or directory") +
                         hinted("--sign-with needs the package gpg.")));
    EXPECT_FALSE(fs::exists(web));
}

TEST_F(CompanionMirror, NeedsAFileSystemThatExchangesFolders) {
    EXPECT_EQ(seenOfShell("ASAN_OPTIONS=detect_leaks=0 strace -qq -o log -e trace=renameat2 -e "
                          "inject=renameat2:error=EINVAL "
                          "\"$0\" mirror --all -s usb -o web"),
              exited(3, "",
                     said("Cannot exchange folders in .: Operation not supported") +
                         hinted("File systems such as ext4, xfs and btrfs can do that.")));
    EXPECT_FALSE(fs::exists(web));
    EXPECT_FALSE(fs::exists(root.path() + "/.web.zentho-cali"));
}

TEST_F(CompanionMirror, EndsByTheSignalThatInterruptsIt) {
    mirrored();
    writeFile(usb + "/7/" + data, "new");
    auto const outcome =
        support::run({"env", "ASAN_OPTIONS=detect_leaks=0", "strace", "-qq", "-o", "log", "-e",
                      "trace=syncfs", "-e", "inject=syncfs:signal=SIGINT", companiontest::program,
                      "mirror", "--all", "-s", "usb", "-o", "web"},
                     root.path());
    EXPECT_EQ(outcome.signal, SIGINT);
    EXPECT_EQ(outcome.standardError, said("Interrupted; nothing was changed"));
    EXPECT_NE(support::readFile(set + "/" + data), "new");
    EXPECT_FALSE(fs::exists(root.path() + "/.web.zentho-cali"));
}
