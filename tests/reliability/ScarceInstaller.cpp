// The installer with memory that runs out: as many times over as the environment variable REFUSED
// says, its first allocation is refused, then its second and so on; then all over again with all
// later ones refused as well. Each time it runs in a forked process, which starts faster than
// another program, and a line beginning with "END" says how that ended. When REFUSED is 0, it runs
// undisturbed in this process, and the number of allocations that it asked for is written to the
// file ALLOCATIONS_FILE.
#include "tests/reliability/FailingMemory.h"

#include <cstdlib>
#include <fstream>
#include <iostream>

#include <sys/wait.h>
#include <unistd.h>

/// The installer's own main function.
int installerMain(int argc, char* argv[]);

namespace {

/// Runs the installer in a process of its own, and says how it ended.
void installAside(int argc, char* argv[], long refused, bool forever) {
    pid_t const child = fork();
    if (child == 0) {
        reliability::refuseAllocation(refused, forever);
        int const result = installerMain(argc, argv);
        reliability::refuseAllocation(0, false);
        std::exit(result);
    }
    int status = 0;
    if (child == -1 || waitpid(child, &status, 0) != child)
        std::exit(EXIT_FAILURE);
    if (WIFSIGNALED(status))
        std::cout << "END by signal " << WTERMSIG(status) << std::endl;
    else
        std::cout << "END with " << WEXITSTATUS(status) << std::endl;
}

} // namespace

int main(int argc, char* argv[]) {
    char const* const refused = std::getenv("REFUSED");
    char const* const file = std::getenv("ALLOCATIONS_FILE");
    if (refused == nullptr || file == nullptr)
        return EXIT_FAILURE;

    long const last = std::atol(refused);
    for (bool const forever : {false, true}) {
        for (long at = 1; at <= last; ++at)
            installAside(argc, argv, at, forever);
    }
    if (last > 0)
        return EXIT_SUCCESS;
    reliability::refuseAllocation(0, false);
    int const result = installerMain(argc, argv);
    long const count = reliability::allocationsAskedFor();
    reliability::refuseAllocation(0, false);
    std::ofstream(file) << count;
    return result;
}
