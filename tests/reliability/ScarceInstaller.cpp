// The installer with memory that runs out: the environment variable REFUSED_ALLOCATION says which
// allocation is refused, with FOREVER all later ones as well. The number of allocations that the
// run asked for is written to the file ALLOCATIONS_FILE.
#include "tests/reliability/FailingMemory.h"

#include <cstdlib>
#include <fstream>

/// The installer's own main function.
int installerMain(int argc, char* argv[]);

int main(int argc, char* argv[]) {
    char const* const at = std::getenv("REFUSED_ALLOCATION");
    char const* const file = std::getenv("ALLOCATIONS_FILE");
    if (at == nullptr || file == nullptr)
        return EXIT_FAILURE;

    reliability::refuseAllocation(std::atol(at), std::getenv("FOREVER") != nullptr);
    int const result = installerMain(argc, argv);
    long const count = reliability::allocationsAskedFor();
    reliability::refuseAllocation(0, false);
    std::ofstream(file) << count;
    return result;
}
