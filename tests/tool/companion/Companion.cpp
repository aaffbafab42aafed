#include "tests/tool/companion/Companion.h"

#include <filesystem>

#include <unistd.h>

namespace companiontest {

namespace fs = std::filesystem;

using support::Outcome;
using Words = std::vector<std::string>;

std::string const program = ZENTHO_COMPANION;
std::string const stick = ZENTHO_SOURCE_DIR "/samples/stick";

namespace {

Words joined(Words first, Words const& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

Words const plainEnvironment{"env", "-u", "NO_COLOR", "-u", "TERM", "-u", "LC_ALL", "LC_CTYPE=C"};

} // namespace

std::string said(std::string const& text) {
    return "zentho-cali: " + text + "\n";
}

std::string hinted(std::string const& text, Words const& commands) {
    std::string hint = said("hint: " + text);
    for (std::string const& command : commands)
        hint += "  " + command + "\n";
    return hint;
}

std::string makeHint(std::string const& directory) {
    return hinted("-t names another directory; this makes it:", {"mkdir -p " + directory});
}

std::string fetchHint(std::string const& serial) {
    return hinted("From a stick, or from the maker's server:",
                  {"zentho-cali install " + serial + " -t cali",
                   "zentho-cali download " + serial + " -t cali"});
}

testing::AssertionResult fitsTheSchema(std::string const& answer) {
    support::TemporaryDirectory const directory;
    support::writeFile(directory.path() + "/answer", answer);
    Outcome const check = support::run({ZENTHO_SOURCE_DIR "/tests/tool/companion/check-json",
                                        ZENTHO_SOURCE_DIR "/docs/zentho-cali.schema.json",
                                        directory.path() + "/answer"});
    if (check.exitStatus == 0)
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << check.standardOutput << check.standardError << answer;
}

Companion::Companion() {
    fs::create_directory(cali);
}

Outcome Companion::ask(Words arguments) const {
    arguments.insert(arguments.begin(), program);
    return support::run(joined(plainEnvironment, arguments), root.path());
}

std::string Companion::seenOf(Words const& arguments) const {
    return support::seen(ask(arguments));
}

std::string Companion::jsonOf(Words arguments) const {
    arguments.emplace_back("--json");
    Outcome const outcome = ask(arguments);
    EXPECT_TRUE(fitsTheSchema(outcome.standardOutput));
    return outcome.standardOutput;
}

std::string Companion::seenOfShell(std::string const& command) const {
    return support::seen(
        support::run(joined(plainEnvironment, {"sh", "-c", command, program}), root.path()));
}

std::string Companion::seenOfOrdinaryUser(std::string const& arguments) const {
    bool const isRoot = geteuid() == 0;
    // An ordinary user who runs the tests owns the directories.
    auto const rights = isRoot ? fs::perms(0755) : fs::perms(0555);
    fs::permissions(root.path(), rights);
    fs::permissions(cali, rights);
    // A build that counts lines gets counters elsewhere: those of root cannot be written.
    std::string const counters = root.path() + "/counters";
    fs::create_directory(counters);
    fs::permissions(counters, fs::perms::all);
    std::string const become =
        isRoot ? "GCOV_PREFIX=" + counters + " setpriv --reuid 65534 --regid 65534 --clear-groups "
               : "";
    auto seen = seenOfShell(become + "\"$0\" " + arguments);
    fs::permissions(cali, fs::perms(0755));
    fs::permissions(root.path(), fs::perms(0755));
    return seen;
}

std::string Companion::onTerminal(Words environment, std::string const& command) const {
    environment.insert(environment.begin(),
                       {"env", "-u", "NO_COLOR", "-u", "LC_ALL", "TERM=xterm", "LC_CTYPE=C.UTF-8"});
    environment.push_back("program=" + program);
    auto const shell = "stty cols 60 -onlcr; " + command;
    return support::run(joined(environment, {"script", "-qec", shell, "/dev/null"}), root.path())
        .standardOutput;
}

void Companion::installSafely(std::string const& serial) const {
    EXPECT_EQ(ask({"install", serial, "-s", stick, "-t", "cali"}).exitStatus, 0);
}

void Companion::install(std::string const& serial) const {
    for (auto const& entry : fs::recursive_directory_iterator(stick + "/" + serial)) {
        if (entry.is_regular_file() && entry.path().filename() != "Contents.txt")
            fs::copy_file(entry.path(), installed(entry.path().filename()));
    }
}

} // namespace companiontest
