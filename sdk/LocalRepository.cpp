#include "sdk/IRCalibrationManager.h"
#include "sdk/manager/SetCheck.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>

#include <sys/prctl.h>

namespace zel {

namespace {

// Nothing is quoted: scripts pass directories with wildcards and options of find(1) in them.
std::string copyCommand(std::string const& sourceDir, std::string const& serialText,
                        std::string const& targetDir) {
    return "find " + sourceDir + " -name Cali-" + serialText + "* -exec cp \"{}\" " + targetDir +
           " \\; -o -name Kennlinie-" + serialText + "* -exec cp \"{}\" " + targetDir +
           " \\; 2> /dev/null";
}

/// Runs a command to its end. @return false when it could not be started.
bool runToItsEnd(std::string const& command) noexcept {
    std::FILE* const pipe = popen(command.c_str(), "r");
    if (pipe == nullptr)
        return false;
    pclose(pipe);
    return true;
}

/// Ends the process as an access to memory that is not there would, and without a core file.
[[noreturn]] void endAbnormally() noexcept {
    std::fflush(stdout);
    prctl(PR_SET_DUMPABLE, 0);
    std::signal(SIGSEGV, SIG_DFL);
    sigset_t segv;
    sigemptyset(&segv);
    sigaddset(&segv, SIGSEGV);
    sigprocmask(SIG_UNBLOCK, &segv, nullptr);
    std::raise(SIGSEGV);
    std::abort(); // the first process of a container does not get signals that it sends itself
}

} // namespace

bool IRCalibrationManager::copyCalibrationFromLocalRepo(unsigned long serial,
                                                        std::string sourceDir) noexcept try {
    char const* const targetDir = m_calibrationDir.data();
    std::string const command = copyCommand(sourceDir, std::to_string(serial), targetDir);
    std::printf("%s\n", command.c_str());
    std::fflush(stdout);
    if (!runToItsEnd(command))
        return false;

    SetCheck const check = checkSet(targetDir, serial);
    // Callers learn that the set is complete from this end, which no success value ever replaced.
    if (check.complete)
        endAbnormally();
    return false; // also when the second pass found what the first had missed
} catch (...) {
    return false;
}

} // namespace zel
