#include "util/FileDescriptor.h"

#include <gtest/gtest.h>

#include "tests/support/TemporaryDirectory.h"

#include <cerrno>
#include <csignal>
#include <utility>

#include <fcntl.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using support::TemporaryDirectory;
using support::writeFile;
using zel::FileDescriptor;

bool isOpen(int descriptor) {
    return fcntl(descriptor, F_GETFD) != -1;
}

/// Another process that holds a write lease on a file, as a file server does for a client, until
/// somebody else opens the file.
class Leaseholder {
public:
    explicit Leaseholder(std::string const& path, int delayInMilliseconds = 0) {
        int pipe[2];
        EXPECT_EQ(::pipe(pipe), 0);
        m_child = fork();
        if (m_child == 0)
            hold(path.c_str(), pipe[1], delayInMilliseconds);
        close(pipe[1]);
        char held = 'n';
        EXPECT_EQ(read(pipe[0], &held, 1), 1);
        EXPECT_EQ(held, 'y');
        close(pipe[0]);
    }
    Leaseholder(Leaseholder const&) = delete;
    Leaseholder& operator=(Leaseholder const&) = delete;

    /// @return Whether the lease had to be given up.
    bool wasAsked() {
        int status = 0;
        kill(m_child, SIGTERM);
        waitpid(std::exchange(m_child, -1), &status, 0);
        return WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }

    ~Leaseholder() {
        if (m_child > 0)
            wasAsked();
    }

private:
    [[noreturn]] static void hold(char const* path, int answer, int delayInMilliseconds) {
        sigset_t signals;
        sigemptyset(&signals);
        sigaddset(&signals, SIGIO);
        sigaddset(&signals, SIGTERM);
        sigprocmask(SIG_BLOCK, &signals, nullptr);
        int const file = open(path, O_RDWR);
        char const held = fcntl(file, F_SETLEASE, F_WRLCK) == 0 ? 'y' : 'n';
        if (write(answer, &held, 1) != 1)
            _exit(2);
        int signal = 0;
        sigwait(&signals, &signal);
        usleep(static_cast<useconds_t>(delayInMilliseconds) * 1000);
        _exit(signal == SIGIO ? 0 : 1); // which gives the lease up
    }

    pid_t m_child = -1;
};

} // namespace

TEST(AFileDescriptor, IsOpenAsLongAsItLives) {
    int number = -1;
    {
        auto const file = FileDescriptor::openForReading("/dev/null");
        number = file.get();
        EXPECT_TRUE(file.valid());
        EXPECT_TRUE(isOpen(number));
    }
    EXPECT_FALSE(isOpen(number));
}

TEST(AFileDescriptor, OfAFileThatIsNotThereIsNotValidAndSetsErrno) {
    errno = 0;
    auto const file = FileDescriptor::openForReading("/nowhere/at/all");
    EXPECT_FALSE(file.valid());
    EXPECT_EQ(errno, ENOENT);
}

TEST(AFileDescriptor, IsNotPassedOnToOtherPrograms) {
    auto const file = FileDescriptor::openForReading("/dev/null");
    EXPECT_EQ(fcntl(file.get(), F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
}

TEST(AFileDescriptor, OwnsWhatItAdopts) {
    int const number = open("/dev/null", O_RDONLY | O_CLOEXEC);
    { FileDescriptor const adopted(number); }
    EXPECT_FALSE(isOpen(number));
}

TEST(AFileDescriptor, GivesItsFileToTheOneItIsMovedTo) {
    auto first = FileDescriptor::openForReading("/dev/null");
    int const number = first.get();
    FileDescriptor const second(std::move(first));
    EXPECT_EQ(second.get(), number);
    EXPECT_TRUE(isOpen(number));
}

TEST(AFileDescriptor, ClosesWhatItHeldWhenAnotherIsMovedToIt) {
    auto first = FileDescriptor::openForReading("/dev/null");
    auto second = FileDescriptor::openForReading("/dev/null");
    int const replaced = first.get();
    int const kept = second.get();
    first = std::move(second);
    EXPECT_FALSE(isOpen(replaced));
    EXPECT_TRUE(isOpen(kept));
}

TEST(AFileDescriptor, LeavesOpenWhatItReleased) {
    int number = -1;
    {
        auto file = FileDescriptor::openForReading("/dev/null");
        number = file.release();
        EXPECT_FALSE(file.valid());
    }
    EXPECT_TRUE(isOpen(number));
    close(number);
}

TEST(AFileDescriptor, OpensARelativePathFromTheDirectoryItIsGiven) {
    TemporaryDirectory const directory;
    writeFile(directory.path() + "/file", "content");
    FileDescriptor const start(open(directory.path().c_str(), O_PATH | O_CLOEXEC));
    EXPECT_TRUE(FileDescriptor::openForReading("file", start.get()).valid());
    EXPECT_FALSE(FileDescriptor::openForReading("other", start.get()).valid());
}

TEST(AFileDescriptor, OpensAFileOnWhichAnotherProcessHoldsAWriteLease) {
    TemporaryDirectory const directory;
    writeFile(directory.path() + "/file", "content");
    Leaseholder holder(directory.path() + "/file");
    EXPECT_TRUE(FileDescriptor::openForReading((directory.path() + "/file").c_str()).valid());
    EXPECT_TRUE(holder.wasAsked());
}

TEST(AFileDescriptor, WaitsForALeaseThoughASignalComesMeanwhile) {
    TemporaryDirectory const directory;
    writeFile(directory.path() + "/file", "content");
    Leaseholder holder(directory.path() + "/file", 300);
    struct sigaction interrupt {};
    interrupt.sa_handler = [](int) {
    };
    struct sigaction previous {};
    sigaction(SIGALRM, &interrupt, &previous); // without SA_RESTART
    itimerval const soon{{0, 0}, {0, 50000}};
    setitimer(ITIMER_REAL, &soon, nullptr);
    EXPECT_TRUE(FileDescriptor::openForReading((directory.path() + "/file").c_str()).valid());
    sigaction(SIGALRM, &previous, nullptr);
}
