#include "sdk/manager/StickCopy.h"

#include "sdk/set/FileKinds.h"
#include "util/StandardStreams.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include <sys/prctl.h>

namespace zel {

std::string copyCommand(std::string const& sourceDir, unsigned long serial,
                        std::string const& targetDir) {
    std::string const serialText = std::to_string(serial);
    std::string command = "find " + sourceDir;
    std::string_view previous;
    for (set::KindOfFile const& kind : set::kinds) {
        if (kind.prefix == previous)
            continue; // one pattern finds both
        command.append(previous.empty() ? " " : " -o ").append("-name ").append(kind.prefix);
        command += serialText + "* -exec cp \"{}\" " + targetDir + " \\;";
        previous = kind.prefix;
    }
    return command + " 2> /dev/null";
}

bool runCopy(std::string const& command) noexcept {
    StandardStreams const streams;
    std::FILE* const pipe = streams.occupied() ? popen(command.c_str(), "r") : nullptr;
    if (pipe == nullptr)
        return false;
    pclose(pipe);
    return true;
}

void endAbnormally() noexcept {
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

} // namespace zel
