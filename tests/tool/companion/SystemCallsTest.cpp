// What the questions about a set ask of the system: one look at each file, and nothing is created.
#include "tests/tool/companion/Companion.h"

#include "tests/support/Camera.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <map>
#include <set>
#include <sstream>

namespace {

namespace fs = std::filesystem;

using support::Outcome;
using support::writeFile;
using Words = std::vector<std::string>;

/// How often each file was looked at.
using Looks = std::map<std::string, int>;

/// A camera whose set has a hundred files besides the description.
support::Camera camera() {
    support::Camera camera(7);
    for (int fieldOfView = 1; fieldOfView <= 13; ++fieldOfView)
        camera.optic(fieldOfView)
            .range(-20, 100)
            .frameRate(27)
            .frameRate(80)
            .range(0, 250)
            .range(150, 900);
    return camera;
}

/// The path of a traced call: its first text in quotation marks; empty without one.
std::string pathIn(std::string const& call) {
    auto const begin = call.find('"');
    auto const end = call.find('"', begin + 1);
    return end == std::string::npos ? "" : call.substr(begin + 1, end - begin - 1);
}

/// The name of a traced call, which follows the number of the process.
std::string nameOf(std::string const& call) {
    auto const begin = call.find_first_not_of("0123456789 ");
    return call.substr(begin, call.find('(') - begin);
}

/// Whether a call creates, removes or renames something in the working directory. What a program
/// that counts its lines writes elsewhere does not matter.
bool changesSomething(std::string const& call) {
    static std::set<std::string> const changing{"creat",     "link",      "linkat",   "mkdir",
                                                "mkdirat",   "mknod",     "mknodat",  "rename",
                                                "renameat",  "renameat2", "rmdir",    "symlink",
                                                "symlinkat", "unlink",    "unlinkat", "truncate"};
    bool const elsewhere = pathIn(call).rfind('/', 0) == 0;
    bool const opensNewFile = call.find("O_CREAT") != std::string::npos;
    return !elsewhere && (opensNewFile || changing.count(nameOf(call)) != 0);
}

class CompanionSystemCalls : public companiontest::Companion {
protected:
    CompanionSystemCalls() {
        for (std::string const& name : camera().fileNames())
            writeFile(installed(name), name);
        writeFile(installed(description), camera().description());
    }

    /// The calls with a path that the program makes, one a line.
    Words callsOf(Words const& arguments) const {
        std::string const trace = root.path() + "/trace";
        // The leak checker does not work in a traced process. With a filter of the kernel, other
        // calls than these are as fast as ever.
        Words command{"env",    "ASAN_OPTIONS=detect_leaks=0",
                      "strace", "--seccomp-bpf",
                      "-f",     "-qq",
                      "-s",     "4096",
                      "-e",     "trace=%file",
                      "-y",     "-o",
                      trace,    companiontest::program};
        command.insert(command.end(), arguments.begin(), arguments.end());
        Outcome const outcome = support::run(command, root.path());
        EXPECT_LE(outcome.exitStatus, 1) << outcome.standardError;
        std::istringstream text(support::readFile(trace));
        Words calls;
        for (std::string line; std::getline(text, line);)
            calls.push_back(line);
        return calls;
    }

    /// The looks at data and curve files of the set, those on the stick with "usb/" before their
    /// names. The description is looked at again at the end, in case it was changed meanwhile.
    static Looks looksIn(Words const& calls) {
        Looks looks;
        for (std::string const& call : calls) {
            std::string const name = fs::path(pathIn(call)).filename();
            if (name.rfind("Cali-7-", 0) == 0 || name.rfind("Kennlinie-7-", 0) == 0)
                ++looks[(call.find("/usb>") != std::string::npos ? "usb/" : "") + name];
        }
        return looks;
    }

    /// How often a question looks at the description, which it must do with no other file.
    long looksAtDescription(Words const& question) const {
        auto const calls = callsOf(question);
        EXPECT_EQ(looksIn(calls), Looks{});
        return std::count_if(calls.begin(), calls.end(), [&](std::string const& call) {
            return fs::path(pathIn(call)).filename() == description;
        });
    }

    static Looks onceEach(std::string const& directory = "") {
        Looks looks;
        for (std::string const& name : camera().fileNames())
            looks[directory + name] = 1;
        looks.erase(directory + camera().descriptionName());
        return looks;
    }

    static Words changesIn(Words const& calls) {
        Words changes;
        std::copy_if(calls.begin(), calls.end(), std::back_inserter(changes), changesSomething);
        return changes;
    }

    std::string const description = camera().descriptionName();
};

} // namespace

TEST_F(CompanionSystemCalls, CheckLooksAtEachFileOnce) {
    EXPECT_EQ(looksIn(callsOf({"check", "7", "-t", "cali"})), onceEach());
}

TEST_F(CompanionSystemCalls, CheckLooksOnceForFilesThatAreMissing) {
    for (std::string const& name : camera().fileNames()) {
        if (name != description)
            fs::remove(installed(name));
    }
    EXPECT_EQ(looksIn(callsOf({"check", "7", "-t", "cali"})), onceEach());
}

TEST_F(CompanionSystemCalls, VerifyLooksAtEachFileOnceOnEachSide) {
    fs::copy(cali, root.path() + "/usb");
    Looks both = onceEach();
    both.merge(onceEach("usb/"));
    EXPECT_EQ(looksIn(callsOf({"verify", "7", "-s", "usb", "-t", "cali"})), both);
}

TEST_F(CompanionSystemCalls, VerifyLooksOnceForFilesThatTheStickLacks) {
    fs::create_directory(root.path() + "/usb");
    EXPECT_EQ(looksIn(callsOf({"verify", "7", "-s", "usb", "-t", "cali"})), onceEach());
}

TEST_F(CompanionSystemCalls, OpticsOpensTheDescriptionOnceAndLooksAtNoOtherFile) {
    EXPECT_EQ(looksAtDescription({"optics", "7", "-t", "cali"}), 1);
}

TEST_F(CompanionSystemCalls, ConfigOpensTheDescriptionOnceAndLooksAtNoOtherFile) {
    EXPECT_EQ(looksAtDescription({"config", "7", "-t", "cali"}), 1);
}

TEST_F(CompanionSystemCalls, OfAQuestionChangeNothing) {
    fs::copy(cali, root.path() + "/usb");
    for (Words const& question : {Words{"check", "7", "-t", "cali"},
                                  {"check", "-t", "cali"},
                                  {"list", "-t", "cali"},
                                  {"list", "-s", "usb"},
                                  {"install", "7", "-s", "usb", "-t", "cali", "--dry-run"},
                                  {"remove", "7", "-t", "cali", "--dry-run"},
                                  {"remove", "8", "-t", "cali"},
                                  {"check", "8", "-t", "cali"},
                                  {"verify", "7", "-s", "usb", "-t", "cali"},
                                  {"optics", "7", "-t", "cali"},
                                  {"optics", "8", "-t", "cali"},
                                  {"config", "7", "-t", "cali"}}) {
        EXPECT_EQ(changesIn(callsOf(question)), Words{});
    }
}
