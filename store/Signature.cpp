#include "store/Signature.h"

#include "store/Files.h"
#include "store/Lines.h"
#include "store/Stop.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <thread>
#include <utility>

#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace zel::store {

namespace {

constexpr char const* signerName = "gpg";
constexpr std::string_view messageBegins = "-----BEGIN PGP SIGNED MESSAGE-----\n";
constexpr std::string_view signatureBegins = "-----BEGIN PGP SIGNATURE-----\n";
constexpr std::string_view signatureEnds = "-----END PGP SIGNATURE-----\n";

/// The largest answer of the program that is read, in bytes.
constexpr std::size_t largestAnswer = std::size_t{128} * 1024 * 1024;

/// The longest complaint of the program that is shown, in bytes.
constexpr std::size_t longestComplaint = 200;

constexpr std::chrono::milliseconds signerPause(1);

/// @return A file that no path leads to. A program that outlives us writes nowhere else.
FileDescriptor memoryFile() {
    FileDescriptor file(memfd_create("zentho-cali", MFD_CLOEXEC));
    if (!file.valid())
        stop("Cannot make a file in memory", "", errno);
    return file;
}

std::string textIn(FileDescriptor const& file) {
    std::string text;
    Pieces pieces(file.get(), 0);
    for (;;) {
        auto const piece = pieces.next();
        if (!piece)
            stop("Cannot read a file in memory", "", errno);
        if (piece->empty() || piece->size() > largestAnswer - text.size())
            return text;
        text.append(*piece);
    }
}

std::string lastLine(std::string_view text) {
    std::string_view last;
    forEachLine(text, [&](std::string_view line) {
        if (!line.empty())
            last = line;
    });
    return std::string(last.substr(0, longestComplaint));
}

/// What a process is started with besides its arguments. The calls that fill it in fail for lack of
/// memory only.
class Preparation {
public:
    Preparation() noexcept {
        posix_spawn_file_actions_init(&m_actions);
        posix_spawnattr_init(&m_attributes);
        // It must be possible to interrupt it, whatever our caller blocks.
        sigset_t none{};
        sigemptyset(&none);
        posix_spawnattr_setsigmask(&m_attributes, &none);
        posix_spawnattr_setflags(&m_attributes, POSIX_SPAWN_SETSIGMASK);
    }
    ~Preparation() {
        posix_spawn_file_actions_destroy(&m_actions);
        posix_spawnattr_destroy(&m_attributes);
    }
    Preparation(Preparation const&) = delete;
    Preparation& operator=(Preparation const&) = delete;

    /// @return 0, or why the process does not get the file as one of its own.
    int give(FileDescriptor const& file, int as) noexcept {
        return posix_spawn_file_actions_adddup2(&m_actions, file.get(), as);
    }
    posix_spawn_file_actions_t const* actions() const noexcept { return &m_actions; }
    posix_spawnattr_t const* attributes() const noexcept { return &m_attributes; }

private:
    posix_spawn_file_actions_t m_actions{};
    posix_spawnattr_t m_attributes{};
};

/// A process, which does not outlive this object.
class Child {
public:
    explicit Child(pid_t process) noexcept : m_process(process) {}
    ~Child() {
        if (m_ended)
            return;
        kill(m_process, SIGKILL);
        retried([&] { return waitpid(m_process, nullptr, 0); });
    }
    Child(Child const&) = delete;
    Child& operator=(Child const&) = delete;

    /// Waits for its end. @return Whether it succeeded. @throws Stop when the caller cancels.
    bool succeeds(Reporter& reporter) {
        int status = 0;
        while (waitpid(m_process, &status, WNOHANG) == 0) {
            reporter.askWhetherToGoOn();
            std::this_thread::sleep_for(signerPause);
        }
        // A caller that ignores the end of children never learns how they ended: status is 0 then,
        // and the answer has to do.
        m_ended = true;
        reporter.askWhetherToGoOn(); // rather than to blame it for an interrupt from the keyboard
        return WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }

private:
    pid_t m_process;
    bool m_ended = false;
};

pid_t startSigner(std::string const& key, FileDescriptor const& input, FileDescriptor const& output,
                  FileDescriptor const& errors) {
    std::string signer = signerName;
    std::string batch = "--batch";
    std::string user = "--local-user=" + key;
    std::string sign = "--clearsign";
    std::array<char*, 5> arguments{signer.data(), batch.data(), user.data(), sign.data(), nullptr};
    Preparation preparation;
    pid_t process = -1;
    int error = preparation.give(input, STDIN_FILENO);
    if (error == 0)
        error = preparation.give(output, STDOUT_FILENO);
    if (error == 0)
        error = preparation.give(errors, STDERR_FILENO);
    if (error == 0)
        error = posix_spawnp(&process, signerName, preparation.actions(), preparation.attributes(),
                             arguments.data(), environ);
    if (error != 0)
        stop("Cannot run", signerName, error);
    return process;
}

} // namespace

std::string signedInline(std::string const& text, std::string const& key, Reporter& reporter) {
    FileDescriptor const input = memoryFile();
    FileDescriptor const output = memoryFile();
    FileDescriptor const errors = memoryFile();
    if (!writeAll(input.get(), text) || lseek(input.get(), 0, SEEK_SET) != 0)
        stop("Cannot write a file in memory", "", errno);
    bool const succeeded = Child(startSigner(key, input, output, errors)).succeeds(reporter);
    std::string answer = textIn(output);
    if (succeeded && holdsInline(answer, text))
        return answer;
    Failure failure;
    failure.message = "gpg did not sign";
    std::string const complaint = lastLine(textIn(errors));
    if (!complaint.empty())
        failure.message += ": " + complaint;
    throw Stop{std::move(failure)};
}

bool holdsInline(std::string_view signedText, std::string_view text) noexcept {
    // There may be no headers: then the blank line follows at once.
    auto const headersEnd = signedText.find("\n\n", messageBegins.size() - 1);
    if (!after(messageBegins, signedText) || headersEnd == std::string_view::npos)
        return false;
    auto const signature = after(text, signedText.substr(headersEnd + 2));
    return signature && after(signatureBegins, *signature) &&
           signature->size() >= signatureEnds.size() &&
           signature->substr(signature->size() - signatureEnds.size()) == signatureEnds;
}

} // namespace zel::store
