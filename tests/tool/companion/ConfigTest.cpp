#include "tests/tool/companion/Companion.h"

#include "tests/support/Camera.h"
#include "tests/support/ConfigurationText.h"
#include "tests/support/Namespace.h"

#include <cstddef>
#include <filesystem>

#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>

namespace {

namespace fs = std::filesystem;

using companiontest::fetchHint;
using companiontest::hinted;
using companiontest::makeHint;
using companiontest::said;
using support::exited;
using support::readFile;
using support::writeFile;

std::string configuration(std::string const& directory) {
    return support::configurationText("14080045", directory, "23");
}

class CompanionConfig : public companiontest::Companion {
protected:
    CompanionConfig() { install("14080045"); }

    std::string written(std::string const& name, std::vector<std::string> const& options = {}) {
        std::vector<std::string> arguments{"config", "14080045", "-t", "cali", "-o", name};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return seenOf(arguments);
    }

    std::string const file = root.path() + "/camera.xml";
};

/// Makes the exclusive move of a file fail in this process, as on a file system that lacks it.
void refuseExclusiveMoves() {
    sock_filter program[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_renameat2, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EINVAL),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    sock_fprog const filter{sizeof program / sizeof *program, program};
    ASSERT_EQ(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0), 0);
    ASSERT_EQ(prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter), 0);
}

} // namespace

TEST_F(CompanionConfig, PrintsTheConfiguration) {
    EXPECT_EQ(seenOf({"config", "14080045", "-t", cali}), exited(0, configuration(cali), ""));
}

TEST_F(CompanionConfig, NamesARelativeDirectoryByItsAbsolutePath) {
    EXPECT_EQ(seenOf({"config", "14080045", "-t", "cali"}), exited(0, configuration(cali), ""));
}

TEST_F(CompanionConfig, NamesADirectoryBesideAWorkingDirectoryThatWasRemoved) {
    EXPECT_EQ(seenOfShell("mkdir gone; cd gone; rmdir ../gone; \"$0\" config 14080045 -t ../cali"),
              exited(3, "",
                     said("Cannot use the calibration directory ../cali: No such file or"
                          " directory")));
}

TEST_F(CompanionConfig, LeavesAnAbsolutePathWithLinksAsItIs) {
    fs::create_directory_symlink("cali", root.path() + "/link");
    EXPECT_EQ(seenOf({"config", "14080045", "-t", root.path() + "/link"}),
              exited(0, configuration(root.path() + "/link"), ""));
}

TEST_F(CompanionConfig, PrintsNothingWhenItWritesTheConfigurationToAFile) {
    EXPECT_EQ(written("camera.xml"), exited(0, "", ""));
    EXPECT_EQ(readFile(file), configuration(cali));
}

TEST_F(CompanionConfig, LeavesNothingBesideTheFile) {
    written("camera.xml");
    EXPECT_EQ(std::distance(fs::directory_iterator(root.path()), {}), 2); // the file and "cali"
}

TEST_F(CompanionConfig, GivesTheFileTheRightsOfAnyNewFile) {
    mode_t const before = umask(027);
    written("camera.xml");
    umask(before);
    EXPECT_EQ(fs::status(file).permissions(), fs::perms(0640));
}

TEST_F(CompanionConfig, ReplacesNoFileThatExists) {
    writeFile(file, "mine");
    EXPECT_EQ(written("camera.xml"), exited(3, "",
                                            said("Cannot write camera.xml: File exists") +
                                                hinted("With --force it is replaced.")));
    EXPECT_EQ(readFile(file), "mine");
}

TEST_F(CompanionConfig, LeavesNothingBesideAFileThatExists) {
    writeFile(file, "mine");
    written("camera.xml");
    EXPECT_EQ(std::distance(fs::directory_iterator(root.path()), {}), 2);
}

TEST_F(CompanionConfig, ReplacesNoLinkThatLeadsNowhere) {
    fs::create_symlink("nowhere", file);
    EXPECT_EQ(written("camera.xml"), exited(3, "",
                                            said("Cannot write camera.xml: File exists") +
                                                hinted("With --force it is replaced.")));
}

TEST_F(CompanionConfig, ReplacesAFileByForce) {
    writeFile(file, "mine");
    EXPECT_EQ(written("camera.xml", {"--force"}), exited(0, "", ""));
    EXPECT_EQ(readFile(file), configuration(cali));
}

TEST_F(CompanionConfig, WritesByForceWhenThereIsNoFile) {
    EXPECT_EQ(written("camera.xml", {"--force"}), exited(0, "", ""));
    EXPECT_EQ(readFile(file), configuration(cali));
}

TEST_F(CompanionConfig, ReplacesNoDirectoryByForce) {
    fs::create_directory(file);
    EXPECT_EQ(written("camera.xml", {"--force"}),
              exited(3, "", said("Cannot write camera.xml: Is a directory")));
}

TEST_F(CompanionConfig, AdvisesNoForceAgainstADirectory) {
    fs::create_directory(file);
    EXPECT_EQ(written("camera.xml"), exited(3, "", said("Cannot write camera.xml: File exists")));
}

TEST_F(CompanionConfig, ReplacesNothingButFilesByForce) {
    mkfifo(file.c_str(), 0600);
    EXPECT_EQ(written("camera.xml", {"--force"}),
              exited(3, "", said("Cannot write camera.xml: Operation not permitted")));
    EXPECT_TRUE(fs::is_fifo(file));
}

TEST_F(CompanionConfig, DropsOneTrailingSlashOfTheDirectory) {
    EXPECT_EQ(seenOf({"config", "14080045", "-t", cali + "/"}), exited(0, configuration(cali), ""));
}

TEST_F(CompanionConfig, WritesWhereFilesCannotBeMovedExclusively) {
    support::inPrivateNamespaces([&] {
        refuseExclusiveMoves();
        EXPECT_EQ(written("camera.xml"), exited(0, "", ""));
        EXPECT_EQ(readFile(file), configuration(cali));
    });
}

TEST_F(CompanionConfig, ReplacesNothingWhereFilesCannotBeMovedExclusively) {
    support::inPrivateNamespaces([&] {
        writeFile(file, "mine");
        refuseExclusiveMoves();
        written("camera.xml");
        EXPECT_EQ(readFile(file), "mine");
    });
}

TEST_F(CompanionConfig, NamesAFileInADirectoryThatDoesNotExist) {
    EXPECT_EQ(written("none/camera.xml"),
              exited(3, "", said("Cannot write none/camera.xml: No such file or directory")));
}

TEST_F(CompanionConfig, NamesAFileInADirectoryThatMayNotBeWritten) {
    support::inPrivateNamespaces([&] {
        fs::permissions(root.path(), fs::perms::owner_read | fs::perms::owner_exec);
        support::giveUpPrivileges();
        EXPECT_EQ(written("camera.xml"),
                  exited(3, "", said("Cannot write camera.xml: Permission denied")));
        fs::permissions(root.path(), fs::perms::owner_all);
    });
}

TEST_F(CompanionConfig, LeavesNothingOnAFullDisk) {
    support::inPrivateNamespaces([&] {
        std::string const disk = root.path() + "/disk";
        fs::create_directory(disk);
        ASSERT_EQ(mount("tmpfs", disk.c_str(), "tmpfs", 0, "size=4k"), 0);
        writeFile(disk + "/full", std::string(4096, '0'));
        EXPECT_EQ(written("disk/camera.xml"),
                  exited(3, "", said("Cannot write disk/camera.xml: No space left on device")));
        EXPECT_EQ(std::distance(fs::directory_iterator(disk), {}), 1);
    });
}

TEST_F(CompanionConfig, SaysThatThereIsNoDescription) {
    EXPECT_EQ(
        seenOf({"config", "7", "-t", "cali"}),
        exited(1, "",
               said("There is no description " + cali + "/Cali-7.xml to read.") + fetchHint("7")));
}

TEST_F(CompanionConfig, WritesNoFileWithoutADescription) {
    seenOf({"config", "7", "-t", "cali", "-o", "camera.xml"});
    EXPECT_FALSE(fs::exists(file));
}

TEST_F(CompanionConfig, SelectsTheOpticRangeAndFrameRateThatArePickedOut) {
    auto const outcome = ask({"config", "14080045", "-t", "cali", "--optic", "54 Macro", "--range",
                              "-20 to 100", "--framerate", "27"});
    EXPECT_EQ(outcome.exitStatus, 0) << outcome.standardError;
    EXPECT_NE(outcome.standardOutput.find("  <fov>54</fov>\n"
                                          "  <temperature>\n"
                                          "    <min>-20</min>\n"
                                          "    <max>100</max>\n"
                                          "  </temperature>\n"
                                          "  <optics_text>Macro</optics_text>\n"
                                          "  <framerate>27</framerate> "),
              std::string::npos)
        << outcome.standardOutput;
    EXPECT_EQ(outcome.standardOutput.find("<!--\n"), std::string::npos);
}

TEST_F(CompanionConfig, TakesTheFirstRangeOfTheOpticThatIsPickedOut) {
    auto const text = ask({"config", "14080045", "-t", "cali", "--optic", "54"}).standardOutput;
    EXPECT_NE(text.find("  <fov>54</fov>\n  <temperature>\n    <min>-20</min>\n"),
              std::string::npos)
        << text;
}

TEST_F(CompanionConfig, ReadsARangeWithDotsOrAColon) {
    for (auto const* range : {"0..250", "0:250", " 0 to 250 "}) {
        auto const text =
            ask({"config", "14080045", "-t", "cali", "--range", range}).standardOutput;
        EXPECT_NE(text.find("    <min>0</min>\n    <max>250</max>\n"), std::string::npos) << range;
    }
}

TEST_F(CompanionConfig, TakesAnyFrameRateOfARangeThatIsNotSplitByIt) {
    EXPECT_EQ(ask({"config", "14080045", "-t", "cali", "--range", "0 to 250", "--framerate", "50"})
                  .exitStatus,
              0);
}

TEST_F(CompanionConfig, RefusesAnOpticThatTheDescriptionLacks) {
    EXPECT_EQ(seenOf({"config", "14080045", "-t", "cali", "--optic", "99"}),
              exited(1, "", said("The description names no optic 99, but: 23, 54 Macro.")));
}

TEST_F(CompanionConfig, RefusesAFieldOfViewThatSeveralOpticsHave) {
    auto const camera =
        support::camera(7).optic(23).text("a").range(0, 1).optic(23).text("b").range(0, 1);
    writeFile(installed("Cali-7.xml"), camera.description());
    EXPECT_EQ(seenOf({"config", "7", "-t", "cali", "--optic", "23"}),
              exited(1, "", said("The description names several optics 23: 23 a, 23 b.")));
}

TEST_F(CompanionConfig, RefusesARangeThatTheOpticLacks) {
    EXPECT_EQ(seenOf({"config", "14080045", "-t", "cali", "--range", "0 to 300"}),
              exited(1, "",
                     said("The optic has no range 0 to 300, but: -20 to 100, 0 to 250, 150 to"
                          " 900.")));
}

TEST_F(CompanionConfig, RefusesAFrameRateThatTheRangeLacks) {
    EXPECT_EQ(seenOf({"config", "14080045", "-t", "cali", "--framerate", "50"}),
              exited(1, "", said("The range -20 to 100 has no frame rate 50, but: 27, 80.")));
}

TEST_F(CompanionConfig, RefusesAFrameRateOfARangeThatHasNone) {
    writeFile(installed("Cali-7.xml"),
              support::camera(7).optic(23).range(-20, 100).withoutFrameRates().description());
    EXPECT_EQ(seenOf({"config", "7", "-t", "cali", "--framerate", "27"}),
              exited(1, "", said("The range -20 to 100 has no frame rate 27, but: none.")));
}

TEST_F(CompanionConfig, RefusesAnOpticWithoutRanges) {
    writeFile(installed("Cali-7.xml"), support::camera(7).optic(23).withoutRanges().description());
    EXPECT_EQ(seenOf({"config", "7", "-t", "cali", "--optic", "23"}),
              exited(1, "", said("The optic 23 has no ranges.")));
    EXPECT_EQ(seenOf({"config", "7", "-t", "cali", "--range", "0 to 1"}),
              exited(1, "", said("The optic has no range 0 to 1, but: none.")));
}

TEST_F(CompanionConfig, WritesNoFileOfARefusedChoice) {
    written("camera.xml", {"--optic", "99"});
    EXPECT_FALSE(fs::exists(file));
}

TEST_F(CompanionConfig, AnswersInJsonWithARefusal) {
    auto const answer = jsonOf({"config", "14080045", "-t", "cali", "--optic", "99"});
    EXPECT_NE(answer.find("\"message\": \"The description names no optic 99, but: 23, 54 Macro.\""),
              std::string::npos)
        << answer;
}

TEST_F(CompanionConfig, NamesADirectoryThatDoesNotExist) {
    EXPECT_EQ(seenOf({"config", "7", "-t", "none"}),
              exited(3, "",
                     said("Cannot use the calibration directory none: No such file or directory") +
                         makeHint("none")));
}

TEST_F(CompanionConfig, NamesADirectoryThatMayNotBeRead) {
    support::inPrivateNamespaces([&] {
        fs::permissions(cali, fs::perms::none);
        support::giveUpPrivileges();
        EXPECT_EQ(
            seenOf({"config", "14080045", "-t", "cali"}),
            exited(3, "", said("Cannot use the calibration directory cali: Permission denied")));
    });
}

TEST_F(CompanionConfig, AnswersInJsonWithTheText) {
    auto const answer = jsonOf({"config", "14080045", "-t", "cali"});
    auto const start = "{\n"
                       "  \"command\": \"config\",\n"
                       "  \"status\": 0,\n"
                       "  \"serial\": 14080045,\n"
                       "  \"directory\": \"cali\",\n"
                       "  \"configuration\": \"<?xml version=\\\"1.0\\\" encoding=\\\"UTF-8\\\"?>"
                       "\\n<imager ";
    EXPECT_EQ(answer.substr(0, std::string(start).size()), start);
}

TEST_F(CompanionConfig, AnswersInJsonWithTheFile) {
    auto const answer = jsonOf({"config", "14080045", "-t", "cali", "-o", "camera.xml"});
    EXPECT_NE(answer.find("  \"file\": \"camera.xml\",\n  \"problems\": []\n}\n"),
              std::string::npos)
        << answer;
}

TEST_F(CompanionConfig, AnswersInJsonWithoutADescription) {
    EXPECT_EQ(jsonOf({"config", "7", "-t", "cali"}), "{\n"
                                                     "  \"command\": \"config\",\n"
                                                     "  \"status\": 1,\n"
                                                     "  \"serial\": 7,\n"
                                                     "  \"directory\": \"cali\",\n"
                                                     "  \"configuration\": null,\n"
                                                     "  \"file\": null,\n"
                                                     "  \"problems\": [\n"
                                                     "    {\n"
                                                     "      \"name\": \"Cali-7.xml\",\n"
                                                     "      \"state\": \"missing\",\n"
                                                     "      \"path\": \"" +
                                                         cali +
                                                         "/Cali-7.xml\",\n"
                                                         "      \"message\": \"missing\"\n"
                                                         "    }\n"
                                                         "  ]\n"
                                                         "}\n");
}

TEST_F(CompanionConfig, AnswersInJsonAlsoOnFailure) {
    writeFile(file, "mine");
    EXPECT_EQ(jsonOf({"config", "14080045", "-t", "cali", "-o", "camera.xml"}),
              "{\n"
              "  \"command\": \"config\",\n"
              "  \"status\": 3,\n"
              "  \"error\": {\n"
              "    \"message\": \"Cannot write\",\n"
              "    \"path\": \"camera.xml\",\n"
              "    \"reason\": \"File exists\",\n"
              "    \"hint\": \"With --force it is replaced.\"\n"
              "  }\n"
              "}\n");
}

TEST_F(CompanionConfig, RefusesARangeOfBlanks) {
    for (std::string const range : {"  ", " to ", "0 to ", "0 to x", "0 to 1x"}) {
        auto const outcome = ask({"config", "14080045", "--range", range, "-t", "cali"});
        EXPECT_NE(outcome.exitStatus, 0) << range;
        EXPECT_EQ(outcome.standardOutput, "") << range;
    }
}
