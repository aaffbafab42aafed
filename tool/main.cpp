#include "sdk/IRCalibrationManager.h"
#include "sdk/IRLogger.h"
#include "util/DefaultDirectories.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <string>

#include <dirent.h>
#include <getopt.h>

namespace {

constexpr int success = 0;
constexpr int failure = -1;

struct Options {
    std::string source;
    std::string target = zel::defaultCalibrationDir;
    unsigned long serial = 0;
    bool serialGiven = false;
    bool findFirst = false;
};

void printUsage(char* programName) {
    std::printf("Usage: %s {-1|-d} {-s source_directory} [-t]\n", programName);
    std::printf(" -1: find 1st device\n");
    std::printf(" -d: find specific device\n");
    std::printf(" -s: use source directory to search for calibration files\n");
    std::printf(" -t: specify target directory (optional)\n\n");
    std::printf("  examples\n");
    std::printf("  --------\n");
    std::printf("   $ %s -1 -s /media/usbstick\n", programName);
    std::printf("   $ %s -d14080045 -s /media/usbstick\n", programName);
    std::printf("   $ %s -d14080045 -s /media/usbstick -t /tmp\n", programName);
}

bool startsWithDigit(char const* text) {
    return text[0] >= '0' && text[0] <= '9';
}

bool startsPrintable(char const* text) {
    return std::isprint(static_cast<unsigned char>(text[0])) != 0;
}

/// Numbers that do not fit a 32-bit serial number saturate, whatever the width of `long`.
unsigned long parseSerial(char const* text) {
    long const largest = std::numeric_limits<int>::max();
    return static_cast<unsigned long>(std::min(std::strtol(text, nullptr, 10), largest));
}

// An argument that is not accepted leaves its option unset; only the resulting combination is
// reported.
Options parseOptions(int argc, char* argv[]) {
    Options options;
    for (int option = 0; (option = getopt(argc, argv, "1d:t:s:")) != -1;) {
        if (option == '1') {
            options.findFirst = true;
        } else if (option == 'd' && startsWithDigit(optarg)) {
            options.serial = parseSerial(optarg);
            options.serialGiven = true;
        } else if (option == 's' && startsPrintable(optarg)) {
            options.source = optarg;
        } else if (option == 't' && startsPrintable(optarg)) {
            options.target = optarg;
        }
    }
    return options;
}

bool isDirectory(std::string const& path) {
    DIR* const directory = path.empty() ? nullptr : opendir(path.c_str());
    if (directory == nullptr)
        return false;
    closedir(directory);
    return true;
}

/// @return What is wrong with the options, or null.
char const* findMistake(Options const& options) {
    if (!isDirectory(options.source)) {
        return "Option -s needs to be qualified with a valid directory\n";
    }
    if (options.findFirst && options.serialGiven) {
        return "Option -1 and -d are not to be used at once.\n";
    }
    if (!options.findFirst && !options.serialGiven)
        return "No valid option(s) passed.\n";
    return nullptr;
}

std::string withoutTrailingSlash(std::string directory) {
    if (!directory.empty() && directory.back() == '/')
        directory.pop_back();
    return directory;
}

int install(zel::IRCalibrationManager& manager, Options& options) {
    if (options.findFirst && !manager.findSerial(options.serial)) {
        std::fputs("Valid serial number cannot be determined. Is device attached?\n", stdout);
        return failure;
    }
    manager.setCalibrationDir(withoutTrailingSlash(options.target).c_str());
    if (!manager.copyCalibrationFromLocalRepo(options.serial, options.source)) {
        std::fputs("Copying of calibration files was NOT successful\n", stdout);
        return failure;
    }
    std::fputs("Copying of calibration files was successful\n", stdout);
    return success;
}

} // namespace

int main(int argc, char* argv[]) try {
    std::string const logFile = std::string(argv[0]) + ".log";
    zel::IRLogger::setVerbosity(zel::IRLOG_ERROR, zel::IRLOG_OFF, logFile.c_str());

    Options options = parseOptions(argc, argv);
    zel::IRCalibrationManager* const manager = zel::IRCalibrationManager::getInstance();
    if (char const* const mistake = findMistake(options)) {
        std::fputs(mistake, stderr);
        printUsage(argv[0]);
        return failure;
    }
    return manager != nullptr ? install(*manager, options) : failure;
} catch (...) {
    return failure;
}
