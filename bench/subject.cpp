// Reads a description a given number of times with one of the readers, for figures that can only be
// counted for a whole process.

#include "bench/Readers.h"

#include "sdk/IRLogger.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

int main(int argc, char* argv[]) try {
    if (argc != 5) {
        std::fputs("usage: zentho-bench-subject <reader> <directory> <serial> <times>\n", stderr);
        return 2;
    }
    zel::IRLogger::setVerbosity(zel::IRLOG_ERROR, zel::IRLOG_OFF, nullptr);
    std::string const directory = argv[2];
    int const serial = std::atoi(argv[3]);
    int const times = std::atoi(argv[4]);
    for (bench::Reader const& reader : bench::readers()) {
        if (reader.name != std::string(argv[1]))
            continue;
        std::uint64_t sum = 0;
        for (int i = 0; i < times; ++i)
            sum += reader.loadAndWalk(directory, serial);
        std::printf("%llx\n", static_cast<unsigned long long>(sum));
        return 0;
    }
    return 2;
} catch (std::exception const& failure) {
    std::fprintf(stderr, "%s\n", failure.what());
    return 1;
}
