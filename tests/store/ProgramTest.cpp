// What a program that reads foreign formats can still do when it is not what it should be.
#include "store/Program.h"
#include "store/Members.h"
#include "store/Stop.h"

#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using namespace zel::store;
using support::readFile;
using support::writeFile;
using zel::FileDescriptor;
using zel::frames::Frame;

constexpr long landlockCall = 444;

bool hasLandlock() {
    return syscall(landlockCall, nullptr, 0, 1) > 0;
}

bool hasSeccomp() {
    std::uint32_t const action = SECCOMP_RET_ERRNO;
    return syscall(SYS_seccomp, SECCOMP_GET_ACTION_AVAIL, 0, &action) == 0;
}

/// From here on this process and its children have a kernel without Landlock and seccomp.
void loseBoth() {
    auto const returns = [](int error) {
        return SECCOMP_RET_ERRNO | static_cast<unsigned int>(error);
    };
    sock_filter filter[]{
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, landlockCall, 3, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_seccomp, 2, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_prctl, 2, 0),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
        BPF_STMT(BPF_RET | BPF_K, returns(ENOSYS)),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, PR_SET_SECCOMP, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, returns(EINVAL)),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    sock_fprog const program{sizeof filter / sizeof *filter, filter};
    ASSERT_EQ(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0), 0);
    ASSERT_EQ(prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program), 0) << std::strerror(errno);
}

/// A person's folder with a file, and a folder with the launcher and a program of the test's.
class ConfinedProgram : public testing::Test {
protected:
    ConfinedProgram() {
        // Only what confines it keeps "nobody" from what everybody may do.
        fs::permissions(root.path(), fs::perms::all);
        writeFile(home + "/victim", "precious");
        fs::permissions(home, fs::perms::all);
        fs::permissions(home + "/victim", fs::perms::all);
        fs::create_directory(programs);
        fs::copy_file(folderOf({}) + "/zentho-cali-confine", programs + "/zentho-cali-confine");
    }

    /// Puts a script or a program in the place of ours.
    void replaceBy(std::string const& program) const {
        fs::copy_file(program, path, fs::copy_options::overwrite_existing);
    }

    Confined confined(Profile profile = Profile::unpack,
                      std::vector<std::string> const& arguments = {}) const {
        return {profile, path, arguments, {archive.get(), -1, -1}};
    }

    /// What the hostile program says of its attempts, and how it was confined.
    std::map<std::string, std::string> attempts(Profile profile,
                                                std::string const& how = "all") const {
        Program program({programs, false},
                        confined(profile, {home, std::to_string(getpid()), how}));
        Members members(1);
        std::map<std::string, std::string> outcomes;
        std::string attempt;
        ProgressCallback const noCallback;
        Reporter reporter(noCallback);
        for (bool atEnd = false; !atEnd;) {
            std::size_t const count = program.read(members.room(), members.roomSize(), reporter);
            members.filled(count);
            atEnd = count == 0;
            while (auto const event = members.next()) {
                if (event->header.type == Frame::sandbox)
                    outcomes["confined"] = std::to_string(event->header.kind);
                if (event->names)
                    attempt = event->names->path;
                if (event->header.type == Frame::data)
                    outcomes[attempt] = event->bytes;
            }
        }
        EXPECT_EQ(members.isComplete(), how == "all");
        program.finish(true);
        return outcomes;
    }

    /// Starts the program and reads to its end. @return What stood in the way.
    std::string failure(Programs const& where) const {
        try {
            Program program(where, confined());
            ProgressCallback const noCallback;
            Reporter reporter(noCallback);
            char bytes[4096];
            while (program.read(bytes, sizeof bytes, reporter) != 0) {
            }
            program.finish(false);
            return "";
        } catch (Stop const& stopped) {
            return stopped.failure.message;
        }
    }

    support::TemporaryDirectory const root;
    std::string const home = root.path() + "/home";
    std::string const programs = root.path() + "/programs";
    std::string const path = programs + "/zentho-cali-unpack";
    FileDescriptor const archive{open("/dev/null", O_RDONLY | O_CLOEXEC)};
};

/// Fails for each attempt that succeeded, but for those that are allowed.
void expectRefused(std::map<std::string, std::string> outcomes,
                   std::map<std::string, std::string> const& allowed) {
    std::string const confined = std::exchange(outcomes["confined"], "");
    outcomes.erase("confined");
    EXPECT_EQ(confined, std::to_string((hasLandlock() ? 1 : 0) + (hasSeccomp() ? 2 : 0)));
    EXPECT_GT(outcomes.size(), 35U);
    for (auto const& [attempt, outcome] : outcomes) {
        auto const exception = allowed.find(attempt);
        EXPECT_EQ(outcome, exception != allowed.end() ? exception->second : "refused") << attempt;
    }
}

} // namespace

TEST_F(ConfinedProgram, CanDoNothingButReadAnArchive) {
    if (!hasLandlock() || !hasSeccomp()) {
        std::cout << "This kernel lacks Landlock or seccomp.\n";
        EXPECT_EQ(failure({"", true}).substr(0, 17), "This kernel lacks");
        return;
    }
    replaceBy(ZENTHO_HOSTILE_PROGRAM);
    expectRefused(attempts(Profile::unpack), {});
    EXPECT_EQ(readFile(home + "/victim"), "precious");
    EXPECT_EQ(std::distance(fs::directory_iterator(home), fs::directory_iterator()), 1);
}

TEST_F(ConfinedProgram, IsEndedWhenItExecutesAnotherAsTheLauncherDid) {
    if (!hasLandlock() || !hasSeccomp()) {
        std::cout << "This kernel lacks Landlock or seccomp.\n";
        return;
    }
    replaceBy(ZENTHO_HOSTILE_PROGRAM);
    for (std::string const how : {"by path", "again"}) {
        auto const outcomes = attempts(Profile::unpack, how);
        EXPECT_EQ(outcomes.count("before"), 1U);
        EXPECT_EQ(outcomes.count("after"), 0U) << how;
    }
}

TEST_F(ConfinedProgram, CanDoNoHarmToThePersonWhoStartedIt) {
    if (!hasLandlock() || !hasSeccomp()) {
        std::cout << "This kernel lacks Landlock or seccomp.\n";
        return;
    }
    replaceBy(ZENTHO_HOSTILE_PROGRAM);
    ASSERT_EQ(getuid() != 0 ||
                  (chown((home + "/victim").c_str(), 1234, 1234) == 0 &&
                   setresgid(1234, 1234, 1234) == 0 && setresuid(1234, 1234, 1234) == 0),
              true);
    expectRefused(attempts(Profile::unpack), {});
    EXPECT_EQ(readFile(home + "/victim"), "precious");
}

TEST_F(ConfinedProgram, MayOpenSocketsOfTheInternetToFetch) {
    if (!hasLandlock() || !hasSeccomp()) {
        std::cout << "This kernel lacks Landlock or seccomp.\n";
        return;
    }
    replaceBy(ZENTHO_HOSTILE_PROGRAM);
    expectRefused(
        attempts(Profile::fetch),
        {{"internet socket", "DONE"}, {"internet socket, new", "DONE"}, {"routes", "DONE"}});
    EXPECT_EQ(readFile(home + "/victim"), "precious");
}

TEST_F(ConfinedProgram, MayOpenNoSocketToCheckASignature) {
    if (!hasLandlock() || !hasSeccomp()) {
        std::cout << "This kernel lacks Landlock or seccomp.\n";
        return;
    }
    // It tells nobody how it is confined: its output is gpgv's.
    replaceBy("/bin/cat");
    writeFile(root.path() + "/text", "text");
    FileDescriptor const text(open((root.path() + "/text").c_str(), O_RDONLY));
    Confined what = confined(Profile::verify);
    what.descriptors = {text.get(), -1, -1};
    Program program({programs, true}, what);
    ProgressCallback const noCallback;
    Reporter reporter(noCallback);
    char bytes[16];
    EXPECT_EQ(program.read(bytes, sizeof bytes, reporter), 4U);
    EXPECT_EQ(std::string(bytes, 4), "text");
    EXPECT_EQ(program.read(bytes, sizeof bytes, reporter), 0U);
    program.finish(false);
}

TEST_F(ConfinedProgram, RunsWhereTheKernelCannotConfineItUnlessThatIsRequired) {
    replaceBy("/bin/true");
    loseBoth();
    ASSERT_FALSE(hasLandlock());
    EXPECT_EQ(failure({programs, false}), "");
    EXPECT_EQ(failure({programs, true}),
              "This kernel lacks Landlock or seccomp, without which this must not run:");
}

TEST_F(ConfinedProgram, HasToBeInstalled) {
    EXPECT_EQ(failure({programs, false}), "This takes a program that is not installed:");
    EXPECT_EQ(failure({root.path(), false}), "This takes a program that is not installed:");
    replaceBy("/bin/true");
    fs::permissions(path, fs::perms::owner_read);
    EXPECT_EQ(failure({programs, false}), "This takes a program that is not installed:");
}

TEST_F(ConfinedProgram, HasToBeAProgram) {
    writeFile(path, "no program");
    fs::permissions(path, fs::perms::all);
    EXPECT_EQ(failure({programs, false}), "This takes a program that cannot be executed:");
}

TEST_F(ConfinedProgram, IsStartedByALauncherThatCanBeStarted) {
    replaceBy("/bin/true");
    writeFile(programs + "/zentho-cali-confine", "no program");
    EXPECT_EQ(failure({programs, false}), "Cannot start");
}

TEST_F(ConfinedProgram, DoesNotRunWhenItCannotBeConfined) {
    replaceBy("/bin/true");
    writeFile(programs + "/zentho-cali-confine", "#!/bin/sh\nexit 121\n");
    fs::permissions(programs + "/zentho-cali-confine", fs::perms::all);
    EXPECT_EQ(failure({programs, false}), "The program that reads it could not be confined:");
}

TEST_F(ConfinedProgram, KnowsTheTimeZoneAndNothingElseOfTheEnvironment) {
    setenv("TZ", "Asia/Tokyo", 1);
    setenv("https_proxy", "proxy", 1);
    setenv("LD_DEBUG", "libs", 1);
    for (auto const& [profile, expected] :
         {std::pair(Profile::verify, std::string("TZ=Asia/Tokyo\n")),
          std::pair(Profile::fetch, std::string("TZ=Asia/Tokyo\nhttps_proxy=proxy\n"))}) {
        replaceBy("/usr/bin/env");
        Program program({programs, false}, confined(profile));
        ProgressCallback const noCallback;
        Reporter reporter(noCallback);
        char bytes[4096];
        std::string text;
        while (std::size_t const count = program.read(bytes, sizeof bytes, reporter))
            text.append(bytes, count);
        program.finish(true);
        std::size_t const frame = profile == Profile::fetch ? zel::frames::headerSize : 0;
        EXPECT_EQ(text.substr(std::min(frame, text.size())), expected);
    }
}

TEST_F(ConfinedProgram, IsHeldAlsoWhenItIsAScript) {
    writeFile(path, "#!/bin/sh\necho x > " + home + "/victim\n");
    fs::permissions(path, fs::perms::all);
    failure({programs, false});
    EXPECT_EQ(readFile(home + "/victim"), "precious");
}

TEST_F(ConfinedProgram, EndsWithWhatStartedIt) {
    replaceBy(ZENTHO_WAITING_PROGRAM);
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    pid_t const store = fork();
    if (store == 0) {
        try {
            Confined what = confined();
            what.arguments = {};
            Program const program({programs, false}, what);
            char const started = 's';
            if (write(ends[1], &started, 1) == 1) {
                for (;;)
                    pause();
            }
        } catch (...) {
        }
        _exit(1);
    }
    close(ends[1]);
    char started = 0;
    ASSERT_EQ(read(ends[0], &started, 1), 1);
    // The program becomes an orphan of this process, which so learns of its end.
    std::string const children =
        "/proc/" + std::to_string(store) + "/task/" + std::to_string(store) + "/children";
    pid_t program = 0;
    std::ifstream(children) >> program;
    ASSERT_GT(program, 0);
    for (int i = 0;
         i < 500 && readFile("/proc/" + std::to_string(program) + "/comm") != "zentho-cali-unp\n";
         ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    ASSERT_EQ(prctl(PR_SET_CHILD_SUBREAPER, 1), 0);
    kill(store, SIGKILL);
    EXPECT_EQ(waitpid(store, nullptr, 0), store);
    int status = 0;
    EXPECT_EQ(waitpid(program, &status, 0), program);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
    close(ends[0]);
}

TEST_F(ConfinedProgram, IsEndedWithoutATraceWhenItIsNotNeeded) {
    replaceBy(ZENTHO_WAITING_PROGRAM);
    auto const start = std::chrono::steady_clock::now();
    { Program const program({programs, false}, confined()); }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
}

TEST_F(ConfinedProgram, IsNotWaitedForWhenTheCallerGivesUp) {
    replaceBy(ZENTHO_WAITING_PROGRAM);
    int questions = 0;
    ProgressCallback const giveUp = [&](Progress const&) {
        return ++questions < 3;
    };
    Reporter reporter(giveUp);
    Program program({programs, false}, confined());
    char bytes[64];
    ASSERT_GT(program.read(bytes, sizeof bytes, reporter), 0U); // how it is confined
    EXPECT_THROW(program.read(bytes, sizeof bytes, reporter), Stop);
}

TEST_F(ConfinedProgram, MayEndWithoutAStatusWhenNobodyWantsToKnow) {
    std::signal(SIGCHLD, SIG_IGN);
    replaceBy("/bin/false");
    EXPECT_EQ(failure({programs, false}), "");
}

TEST_F(ConfinedProgram, StartsAsAnOrdinaryUserToo) {
    if (getuid() != 0)
        return;
    replaceBy("/bin/true");
    ASSERT_EQ(setresgid(1234, 1234, 1234), 0);
    ASSERT_EQ(setresuid(1234, 1234, 1234), 0);
    EXPECT_EQ(failure({programs, true}), "");
}
