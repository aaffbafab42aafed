// Installs a camera's set, whole or not at all:
// install-set <calibration directory> <source> <serial number>
#include "store/CalibrationStore.h"

#include <cstdlib>
#include <iostream>
#include <system_error>

namespace store = zel::store;

namespace {

int fail(store::Failure const& failure) {
    std::cerr << failure.message << ' ' << failure.path;
    if (failure.error != 0)
        std::cerr << ": " << std::generic_category().message(failure.error);
    std::cerr << '\n';
    return EXIT_FAILURE;
}

bool report(store::Progress const& progress) {
    if (progress.phase == store::Phase::sourceNotNeeded)
        std::cout << "The stick may be unplugged.\n";
    return true; // false would cancel
}

} // namespace

int main(int argc, char* argv[]) {
    if (argc != 4)
        return EXIT_FAILURE;
    auto const source = store::Source::open(argv[2], report, argv[1]);
    if (source.failure)
        return fail(*source.failure);

    store::CalibrationStore sets(argv[1]);
    auto const outcome =
        sets.install(std::strtoul(argv[3], nullptr, 10), *source.source, {}, report);
    if (outcome.failure)
        return fail(*outcome.failure);
    for (auto const& file : outcome.files)
        std::cout << file.name << ": " << store::word(file.state) << '\n';
    return outcome.complete ? EXIT_SUCCESS : EXIT_FAILURE;
}
