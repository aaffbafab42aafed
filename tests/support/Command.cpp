#include "tests/support/Command.h"

#include "tests/support/Fail.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace support {

namespace {

class Pipe {
public:
    Pipe() {
        if (pipe2(m_ends.data(), O_CLOEXEC) != 0) {
            fail("pipe");
        }
    }
    ~Pipe() {
        closeEnd(0);
        closeEnd(1);
    }
    Pipe(Pipe const&) = delete;
    Pipe& operator=(Pipe const&) = delete;

    int reading() const { return m_ends[0]; }
    int writing() const { return m_ends[1]; }
    void closeWriting() { closeEnd(1); }

private:
    void closeEnd(std::size_t end) {
        if (m_ends[end] >= 0) {
            close(m_ends[end]);
            m_ends[end] = -1;
        }
    }

    std::array<int, 2> m_ends{-1, -1};
};

// Reads what there is; false at the end of the stream.
bool readSome(int descriptor, std::string& text) {
    std::array<char, 4096> buffer{};
    auto const count = read(descriptor, buffer.data(), buffer.size());
    if (count < 0) {
        return errno == EINTR;
    }
    text.append(buffer.data(), static_cast<std::size_t>(count));
    return count > 0;
}

// Both at once, so that a command that fills one pipe never waits for us to read the other.
void readBoth(int first, std::string& firstText, int second, std::string& secondText) {
    std::array<pollfd, 2> streams{pollfd{first, POLLIN, 0}, pollfd{second, POLLIN, 0}};
    std::array<std::string*, 2> const texts{&firstText, &secondText};
    while (streams[0].fd >= 0 || streams[1].fd >= 0) {
        if (poll(streams.data(), streams.size(), -1) < 0 && errno != EINTR) {
            fail("poll");
        }
        for (std::size_t i = 0; i < streams.size(); ++i) {
            auto& stream = streams[i];
            if (stream.fd >= 0 && stream.revents != 0 && !readSome(stream.fd, *texts[i])) {
                stream.fd = -1;
            }
            stream.revents = 0;
        }
    }
}

// Only async-signal-safe calls up to exec, since this is the memory of the parent, which waits so
// long; an error reaches it through the failure pipe, which exec closes.
[[noreturn]] void execute(char* const* argv, char const* directory, Pipe const& output,
                          Pipe const& error, Pipe const& failure) {
    prctl(PR_SET_PDEATHSIG, SIGKILL); // a test that is killed leaves no command behind
    auto const input = open("/dev/null", O_RDONLY | O_CLOEXEC);
    auto const ready =
        dup2(input, STDIN_FILENO) >= 0 && dup2(output.writing(), STDOUT_FILENO) >= 0 &&
        dup2(error.writing(), STDERR_FILENO) >= 0 && (*directory == '\0' || chdir(directory) == 0);
    if (ready) {
        execvp(argv[0], argv);
    }
    auto const reason = errno;
    static_cast<void>(!write(failure.writing(), &reason, sizeof reason));
    _exit(127);
}

Outcome waitFor(pid_t child) {
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) {
            fail("waitpid");
        }
    }
    Outcome outcome{-1, 0, "", "", false};
    if (WIFEXITED(status)) {
        outcome.exitStatus = WEXITSTATUS(status);
    } else {
        outcome.signal = WTERMSIG(status);
        outcome.coreDumped = WCOREDUMP(status);
    }
    return outcome;
}

} // namespace

Outcome run(std::vector<std::string> const& arguments, std::string const& workingDirectory) {
    if (arguments.empty()) {
        throw std::invalid_argument("no command");
    }
    std::vector<char*> argv;
    for (auto const& argument : arguments) {
        argv.push_back(const_cast<char*>(argument.c_str()));
    }
    argv.push_back(nullptr);

    Pipe output;
    Pipe error;
    Pipe failure;
    // fork() would copy the page tables, which are large in a program with sanitizers.
    auto const child = vfork();
    if (child < 0) {
        fail("fork");
    }
    if (child == 0) {
        execute(argv.data(), workingDirectory.c_str(), output, error, failure);
    }
    output.closeWriting();
    error.closeWriting();
    failure.closeWriting();

    std::string outputText;
    std::string errorText;
    readBoth(output.reading(), outputText, error.reading(), errorText);
    int reason = 0;
    auto const started = read(failure.reading(), &reason, sizeof reason) == 0;
    auto outcome = waitFor(child);
    if (!started) {
        throw std::system_error(reason, std::generic_category(), "cannot run " + arguments[0]);
    }
    outcome.standardOutput = std::move(outputText);
    outcome.standardError = std::move(errorText);
    return outcome;
}

} // namespace support
