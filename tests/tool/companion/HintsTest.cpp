// Hints for people with different rights, without a program in between.
#include "tool/companion/Hints.h"
#include "tool/companion/Quoting.h"
#include "tool/companion/Terminal.h"

#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include <unistd.h>

namespace {

using companion::Hint;
using companion::Options;
using Words = std::vector<std::string>;

/// Gives up root's rights for a while.
class OrdinaryUser {
public:
    OrdinaryUser() { EXPECT_EQ(seteuid(getuid() == 0 ? 65534 : getuid()), 0); }
    ~OrdinaryUser() { EXPECT_EQ(seteuid(getuid()), 0); }
    OrdinaryUser(OrdinaryUser const&) = delete;
    OrdinaryUser& operator=(OrdinaryUser const&) = delete;
};

Options optionsOf(Words const& words) {
    Options options;
    options.words = words;
    options.directory = "/usr/none/at/all";
    return options;
}

Words recoverIn(std::string const& directory) {
    return companion::howToRecover(directory).commands;
}

} // namespace

TEST(CompanionHints, PutSudoInFrontWhereRootAloneMayWrite) {
    OrdinaryUser const user;
    EXPECT_EQ(recoverIn("/usr/none/at/all"),
              (Words{"sudo zentho-cali recover -t /usr/none/at/all"}));
    EXPECT_EQ(recoverIn("/usr//"), (Words{"sudo zentho-cali recover -t /usr//"}));
    EXPECT_EQ(recoverIn("/"), (Words{"sudo zentho-cali recover -t /"}));
    EXPECT_EQ(recoverIn("/none"), (Words{"sudo zentho-cali recover -t /none"}));
}

TEST(CompanionHints, NeedNoSudoWhereEverybodyMayWriteAndWhereItDoesNotHelp) {
    OrdinaryUser const user;
    EXPECT_EQ(recoverIn("/tmp/none/at/all"), (Words{"zentho-cali recover -t /tmp/none/at/all"}));
    EXPECT_EQ(recoverIn("/etc/passwd/none"), (Words{"zentho-cali recover -t /etc/passwd/none"}));
}

TEST(CompanionHints, LookFromTheWorkingDirectoryOn) {
    ASSERT_EQ(chdir("/usr"), 0);
    OrdinaryUser const user;
    EXPECT_EQ(recoverIn("none"), (Words{"sudo zentho-cali recover -t none"}));
    ASSERT_EQ(chdir("/tmp"), 0);
    EXPECT_EQ(recoverIn("none"), (Words{"zentho-cali recover -t none"}));
}

TEST(CompanionHints, NameTheCommandAgainAsThisPersonHasToRunIt) {
    OrdinaryUser const user;
    EXPECT_EQ(companion::again(optionsOf({"install", "7"}), {"--partial"}),
              "sudo zentho-cali install --partial 7");
    EXPECT_EQ(companion::again(optionsOf({"verify", "7"}), {"-s", "/media/a stick"}),
              "zentho-cali verify -s '/media/a stick' 7");
    for (std::string const command : {"remove", "recover", "download"})
        EXPECT_EQ(companion::again(optionsOf({command}), {}), "sudo zentho-cali " + command);
    EXPECT_EQ(companion::again(optionsOf({}), {"list"}), "zentho-cali list");
    Options dry = optionsOf({"install", "7"});
    dry.dryRun = true;
    EXPECT_EQ(companion::again(dry, {}), "zentho-cali install 7");
    EXPECT_EQ(companion::asRoot(optionsOf({"remove", "7"})).commands,
              (Words{"sudo zentho-cali remove 7"}));
}

TEST(CompanionHints, OfRootNeedNoSudoUnlessItCameBySudo) {
    if (geteuid() != 0)
        GTEST_SKIP() << "an ordinary user runs the tests";
    unsetenv("SUDO_UID");
    EXPECT_EQ(recoverIn("/usr"), (Words{"zentho-cali recover -t /usr"}));
    EXPECT_TRUE(companion::asRoot(optionsOf({"install"})).commands.empty());
    setenv("SUDO_UID", "1000", 1);
    EXPECT_EQ(recoverIn("/usr"), (Words{"sudo zentho-cali recover -t /usr"}));
}

TEST(CompanionHints, DoNotNameARecoveryThatOnlyALaterVersionCanDo) {
    support::TemporaryDirectory const root;
    support::writeFile(root.path() + "/.zentho-cali/7.journal", "zentho-cali journal 2\n");
    auto const hint = companion::howToRecover(root.path());
    EXPECT_EQ(hint.text, "A later version of zentho-cali has to complete what was interrupted.");
    EXPECT_EQ(hint.commands, Words());
}

TEST(CompanionHints, MakeADirectoryWhoseNameBeginsWithAHyphen) {
    ASSERT_EQ(chdir("/tmp"), 0);
    EXPECT_EQ(companion::howToMakeDirectory("-x").commands.at(0).find("mkdir -p -- -x"),
              companion::howToMakeDirectory("-x").commands.at(0).size() - 14);
}

TEST(CompanionQuoting, LeavesPlainWordsAloneAndQuotesTheRest) {
    using companion::shellQuoted;
    EXPECT_EQ(shellQuoted("aZ09_-./:,@+"), "aZ09_-./:,@+");
    for (char const c : {'`', '{', '[', ';', '~', '=', ' ', '$'})
        EXPECT_EQ(shellQuoted(std::string(1, c)), "'" + std::string(1, c) + "'");
    EXPECT_EQ(shellQuoted(""), "''");
    EXPECT_EQ(shellQuoted("it's"), "'it'\\''s'");
    EXPECT_EQ(shellQuoted("it's\n\\"), "$'it\\'s\\012\\\\'");
    EXPECT_EQ(shellQuoted(std::string(1, '\0')), "$'\\000'");
}

TEST(CompanionTerminal, GetsNoControlCharacters) {
    companion::Terminal terminal;
    EXPECT_EQ(terminal.sanitized("plain ~"), "plain ~");
    EXPECT_EQ(terminal.sanitized("\x01\a\r\x0E\x1B\x7F"), "\\x01\\a\\r\\x0e\\x1b\\x7f");
    terminal.interactive = false;
    EXPECT_EQ(terminal.sanitized("\xFF"), "\xFF");
    terminal.interactive = true;
    EXPECT_EQ(terminal.sanitized("\xFF"), "\\xff");
    terminal.colour = true;
    EXPECT_EQ(terminal.red("x"), "\x1B[31mx\x1B[0m");
}
