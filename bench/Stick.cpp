#include "bench/Stick.h"

#include "bench/Descriptions.h"
#include "bench/Programs.h"
#include "bench/Readers.h"

#include "tests/support/Command.h"
#include "tests/support/TemporaryDirectory.h"

#include <array>
#include <csignal>
#include <filesystem>
#include <stdexcept>

#include <sys/wait.h>
#include <unistd.h>

namespace bench {

namespace {

namespace fs = std::filesystem;

void require(bool done, char const* failure) {
    if (!done)
        throw std::runtime_error(failure);
}

bool exitedWith(int status, int expected) {
    return WIFEXITED(status) && WEXITSTATUS(status) == expected;
}

} // namespace

Stick::Stick(std::string const& where, int others, std::size_t fileSize)
    : m_source(where + "/stick"), m_target(where + "/target") {
    fs::create_directories(m_target);
    makeSet(fileSize);
    for (int i = 0; i < others; ++i) {
        support::writeFile(m_source + "/folder" + std::to_string(i / 100) + "/picture" +
                               std::to_string(i) + ".tif",
                           "picture");
    }
    m_printed = support::run(installer()).standardOutput;
    m_printed.erase(m_printed.find('\n'));
    require(m_printed.rfind("find ", 0) == 0, "the installer prints no command");
    clear();
    sync();
}

std::uint64_t Stick::install() const {
    int const status = runQuietly(installer());
    require(WIFSIGNALED(status) && WTERMSIG(status) == SIGSEGV,
            "the installer did not find the set complete");
    return installed();
}

std::uint64_t Stick::runPrintedCommand() const {
    runQuietly({"/bin/sh", "-c", m_printed});
    return installed();
}

std::uint64_t Stick::installSafely() const {
    require(exitedWith(runQuietly(companion()), 0), "the companion did not install");
    return installed();
}

std::uint64_t Stick::copyWithRsync() const {
    require(exitedWith(runQuietly({"rsync", "-a", "--fsync", m_source + "/", m_target}), 0),
            "rsync failed");
    return installed();
}

void Stick::clear() const {
    for (auto const& entry : fs::directory_iterator(m_target))
        fs::remove_all(entry);
}

std::vector<std::string> Stick::installer() const {
    return {ZENTHO_BENCH_INSTALLER, "-d" + std::to_string(serial), "-s", m_source, "-t", m_target};
}

std::vector<std::string> Stick::companion() const {
    return {
        ZENTHO_BENCH_COMPANION, "install", std::to_string(serial), "-s", m_source, "-t", m_target};
}

void Stick::makeSet(std::size_t fileSize) const {
    support::writeFile(descriptionPath(m_source, serial), describeOptics({}, 5));
    std::string const content(fileSize, 'x');
    Records const records = readers()[0].load(m_source, serial);
    for (auto const& optic : records.optics) {
        for (auto const& range : optic.tempRanges) {
            for (auto const framerate : *range.framerates)
                writePair(optic, range.range, framerate, content);
        }
    }
}

void Stick::writePair(OpticsDefinition const& optic, Range range, std::uint16_t framerate,
                      std::string const& content) const {
    std::array<char, 260> stem{};
    ConfigCali::caliFilenameString(serial, optic.FOV, optic.Text.get(), &range, framerate,
                                   stem.data(), static_cast<int>(stem.size()));
    support::writeFile(m_source + "/camera/Cali-" + stem.data() + ".dat", content);
    support::writeFile(m_source + "/camera/Kennlinie-" + stem.data() + ".prn", content);
}

std::uint64_t Stick::installed() const {
    std::uint64_t bytes = 0;
    for (auto const& entry : fs::recursive_directory_iterator(m_target)) {
        std::string const name = entry.path().filename();
        if (name.rfind("Cali-", 0) == 0 || name.rfind("Kennlinie-", 0) == 0)
            bytes += entry.file_size();
    }
    return bytes;
}

} // namespace bench
