#include "tests/tool/companion/Companion.h"

#include <filesystem>

namespace {

namespace fs = std::filesystem;

using companiontest::said;
using support::exited;

using CompanionCommandLine = companiontest::Companion;

std::string wrongUsage(std::string const& mistake, std::string const& command = "") {
    auto const asked = command.empty() ? "" : " " + command;
    return exited(2, "",
                  said(mistake) + companiontest::hinted("This tells what fits:",
                                                        {"zentho-cali" + asked + " --help"}));
}

std::string noSerial(std::string const& text) {
    return wrongUsage("SERIAL: '" + text + "' is no serial number: decimal digits, 1 to 2147483647",
                      "check");
}

class CompanionHelp : public companiontest::Companion,
                      public testing::WithParamInterface<char const*> {};

} // namespace

TEST_F(CompanionCommandLine, NeedsACommand) {
    EXPECT_EQ(seenOf({}), wrongUsage("A subcommand is required"));
}

TEST_F(CompanionCommandLine, NamesACommandThatDoesNotExist) {
    EXPECT_EQ(seenOf({"chek", "7"}), wrongUsage("'chek' is no command"));
}

TEST_F(CompanionCommandLine, TakesAnEmptyArgumentForNoCommand) {
    EXPECT_EQ(seenOf({""}), wrongUsage("'' is no command"));
}

TEST_F(CompanionCommandLine, NamesAnOptionBeforeTheCommand) {
    EXPECT_EQ(seenOf({"--quiet", "check", "7"}),
              wrongUsage("Not expected before a command: --quiet", "check"));
}

TEST_F(CompanionCommandLine, NamesAnOptionWithoutACommand) {
    EXPECT_EQ(seenOf({"--versio"}), wrongUsage("Not expected before a command: --versio"));
}

TEST_F(CompanionCommandLine, NamesAnOptionThatDoesNotExist) {
    EXPECT_EQ(seenOf({"check", "7", "--quick"}), wrongUsage("Not expected: --quick", "check"));
}

TEST_F(CompanionCommandLine, NamesAnOptionThatDoesNotExistRatherThanWhatIsMissing) {
    EXPECT_EQ(seenOf({"check", "--quick"}), wrongUsage("Not expected: --quick", "check"));
}

TEST_F(CompanionCommandLine, NamesUnexpectedArgumentsInTheirOrder) {
    EXPECT_EQ(seenOf({"check", "7", "-o", "x"}), wrongUsage("Not expected: -o x", "check"));
}

TEST_F(CompanionCommandLine, NeedsASerial) {
    for (auto const* command : {"remove", "optics", "config", "download"})
        EXPECT_EQ(seenOf({command}), wrongUsage("SERIAL is required", command));
}

TEST_F(CompanionCommandLine, RefusesASerialWithEveryCamera) {
    for (auto const* command : {"install", "find"})
        EXPECT_EQ(seenOf({command, "7", "--all"}), wrongUsage("SERIAL excludes --all", command));
}

TEST_F(CompanionCommandLine, RefusesARangeThatIsNone) {
    EXPECT_EQ(seenOf({"config", "7", "--range", "100"}),
              wrongUsage("--range: must be as in \"-20 to 100\"", "config"));
}

TEST_F(CompanionCommandLine, RefusesAFrameRateThatIsNoNumber) {
    for (auto const* rate : {"fast", "-1", "inf", "0"})
        EXPECT_EQ(seenOf({"config", "7", "--framerate", rate}),
                  wrongUsage("--framerate: must be a number of hertz", "config"));
}

TEST_F(CompanionCommandLine, RefusesASecondSerial) {
    EXPECT_EQ(seenOf({"check", "7", "8"}), wrongUsage("Not expected: 8", "check"));
}

TEST_F(CompanionCommandLine, RefusesForceWithoutAFile) {
    EXPECT_EQ(seenOf({"config", "7", "--force"}),
              wrongUsage("--force requires --output", "config"));
}

TEST_F(CompanionCommandLine, RefusesAnEmptyDirectory) {
    EXPECT_EQ(seenOf({"check", "7", "-t", ""}), wrongUsage("--target: must not be empty", "check"));
}

TEST_F(CompanionCommandLine, RefusesSerialZero) {
    EXPECT_EQ(seenOf({"check", "0"}), noSerial("0"));
}

TEST_F(CompanionCommandLine, RefusesASerialBeyond32Bits) {
    EXPECT_EQ(seenOf({"check", "2147483648"}), noSerial("2147483648"));
}

TEST_F(CompanionCommandLine, RefusesASerialBeyond64Bits) {
    EXPECT_EQ(seenOf({"check", "99999999999999999999"}), noSerial("99999999999999999999"));
}

TEST_F(CompanionCommandLine, RefusesAHexadecimalSerial) {
    EXPECT_EQ(seenOf({"check", "0x10"}), noSerial("0x10"));
}

TEST_F(CompanionCommandLine, RefusesASerialFollowedByAnotherCharacter) {
    EXPECT_EQ(seenOf({"check", "12x"}), noSerial("12x"));
}

TEST_F(CompanionCommandLine, RefusesASerialAfterABlank) {
    EXPECT_EQ(seenOf({"check", " 5"}), noSerial(" 5"));
}

TEST_F(CompanionCommandLine, RefusesANegativeSerial) {
    EXPECT_EQ(ask({"check", "-5"}).exitStatus, 2);
}

TEST_F(CompanionCommandLine, RefusesAnEmptySerial) {
    EXPECT_EQ(seenOf({"check", ""}), noSerial(""));
}

TEST_F(CompanionCommandLine, AcceptsTheLargestSerialOf32Bits) {
    EXPECT_EQ(ask({"check", "2147483647", "-t", "cali"}).standardOutput,
              "Cali-2147483647.xml: missing\n");
}

TEST_F(CompanionCommandLine, TakesTheLastOfSeveralDirectories) {
    EXPECT_EQ(ask({"check", "7", "-t", "none", "-t", "cali"}).exitStatus, 1);
}

TEST_F(CompanionCommandLine, AnswersWrongUsageInJson) {
    EXPECT_EQ(jsonOf({"check", "12x"}),
              "{\n"
              "  \"command\": \"check\",\n"
              "  \"status\": 2,\n"
              "  \"error\": {\n"
              "    \"message\": \"SERIAL: '12x' is no serial number: decimal digits, 1 to"
              " 2147483647\",\n"
              "    \"path\": null,\n"
              "    \"reason\": null,\n"
              "    \"hint\": \"This tells what fits:\\nzentho-cali check --help\"\n"
              "  }\n"
              "}\n");
}

TEST_F(CompanionCommandLine, AnswersWrongUsageInJsonWithoutACommand) {
    auto const answer = jsonOf({});
    EXPECT_EQ(answer.substr(0, 36), "{\n  \"command\": null,\n  \"status\": 2,\n");
}

TEST_F(CompanionCommandLine, PrintsItsVersion) {
    EXPECT_EQ(seenOf({"--version"}), exited(0, "zentho-cali 1.0.0\n", ""));
}

TEST_F(CompanionCommandLine, ListsItsCommandsAsHelp) {
    EXPECT_EQ(
        seenOf({"--help"}),
        exited(0,
               "Installs and checks the calibration files of an infrared camera.\n"
               "Usage: zentho-cali [OPTIONS] SUBCOMMAND\n"
               "\n"
               "Options:\n"
               "  -h,--help             Print this help and exit\n"
               "  --version             Print the version and exit\n"
               "\n"
               "Subcommands:\n"
               "  find                  Find the first attached camera, every one, or tell"
               " whether a certain one is attached\n"
               "  install               Install a camera's whole set from a stick, or nothing"
               " at all\n"
               "  check                 List what keeps installed sets from being complete,"
               " by names and sizes\n"
               "  verify                Compare every byte of installed sets with their"
               " record, or with a stick\n"
               "  list                  List the cameras whose sets are installed, or are on"
               " a stick\n"
               "  remove                Remove a camera's files\n"
               "  recover               Complete what was interrupted, without the stick\n"
               "  optics                Show a camera's optics, temperature ranges and frame"
               " rates\n"
               "  config                Write a camera's configuration\n"
               "  download              Download the files that are missing of a set\n"
               "  mirror                Make or update a mirror that any web server can serve\n"
               "  online                Tell whether exactly one default route is"
               " configured\n"
               "\n"
               "Exit status: 0 yes, 1 no, 2 wrong usage, 3 could not run.\n"
               "'zentho-cali COMMAND --help' tells more of a command.\n",
               ""));
}

TEST_F(CompanionCommandLine, GivesTheSameHelpByItsShortOption) {
    EXPECT_EQ(seenOf({"-h"}), seenOf({"--help"}));
}

TEST_F(CompanionCommandLine, PrintsHelpAlsoWhenItIsCalledByAnotherName) {
    fs::create_symlink(companiontest::program, root.path() + "/other");
    EXPECT_EQ(seenOfShell("./other --help"), seenOf({"--help"}));
}

TEST_P(CompanionHelp, OfACommandEndsWithAnExample) {
    auto const outcome = ask({GetParam(), "--help"});
    EXPECT_EQ(outcome.exitStatus, 0);
    EXPECT_NE(outcome.standardOutput.find(std::string("\nExample: zentho-cali ") + GetParam()),
              std::string::npos)
        << outcome.standardOutput;
}

TEST_P(CompanionHelp, OfACommandNamesTheOptionsThatAllHave) {
    auto const help = ask({GetParam(), "--help"}).standardOutput;
    for (auto const* option : {"  -h,--help ", "  --json ", "  -v,--verbose ", "  --log FILE "}) {
        EXPECT_NE(help.find(option), std::string::npos) << option << help;
    }
}

INSTANTIATE_TEST_SUITE_P(Every, CompanionHelp,
                         testing::Values("find", "install", "check", "verify", "list", "remove",
                                         "recover", "optics", "config", "download", "mirror",
                                         "online"));
