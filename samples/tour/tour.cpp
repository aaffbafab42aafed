// The stops of the tour in docs/tour.md: tour <calibration directory> <serial number>
#include "imgproc/Cali.h"
#include "sdk/IRCalibrationManager.h"
#include "sdk/IRLogger.h"

#include <cstdlib>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>

namespace {

//! [log]
void routeTheLog() {
    zel::IRLogger::setVerbosity(zel::IRLOG_ERROR, zel::IRLOG_DEBUG, "tour");
}
//! [log]

//! [check]
void listMissing(zel::IRCalibrationManager& manager, unsigned long serial) {
    std::unique_ptr<char[]> const list(manager.checkCalibration(serial));
    if (list == nullptr) {
        std::cout << "The set of " << serial << " is complete.\n";
        return;
    }
    std::istringstream names(list.get());
    for (std::string name; std::getline(names, name, ';');)
        std::cout << "missing: " << name << '\n';
}
//! [check]

//! [optics]
void listOptics(zel::IRCalibrationManager& manager, unsigned long serial) {
    for (auto const& optic : *manager.getAvailableOptics(serial)) {
        std::cout << "optic " << optic.fov << (optic.text.empty() ? "" : " ") << optic.text << '\n';
        for (auto const& range : optic.tempRanges)
            std::cout << "  " << range.tMin << " to " << range.tMax << '\n';
    }
}
//! [optics]

//! [rates]
void listFrameRates(char const* directory, int serial) {
    ConfigCali* const description = ConfigCali::getInstance();
    if (description == nullptr || description->load(directory, serial) != 0)
        return;
    for (auto const& optic : *description->optics) {
        for (auto const& definition : optic.tempRanges) {
            std::cout << optic.FOV << ", " << definition.range.lo << " to " << definition.range.hi;
            if (!definition.framerates) {
                std::cout << ": any frame rate\n";
                continue;
            }
            for (auto const frameRate : *definition.framerates)
                std::cout << ", " << frameRate << " Hz";
            std::cout << '\n';
        }
    }
}
//! [rates]

//! [question]
void askFor(unsigned short const frameRate) {
    char text[] = "Macro";
    OPTICS const optic{54, text};
    Range const range{-20.0F, 100.0F};
    unsigned short taken = frameRate;
    ConfigCali* const description = ConfigCali::getInstance();
    if (description == nullptr || !description->checkFramerate(&optic, &range, taken))
        taken = 0;
    std::cout << frameRate << " Hz: " << (taken == frameRate ? "yes" : "no") << '\n';
}
//! [question]

//! [download]
void downloadMissing(zel::IRCalibrationManager& manager, unsigned long serial) {
    if (!manager.isOnlineCalibrationRepoAccessible()) {
        std::cout << "There is no way to the download server.\n";
        return;
    }
    if (!manager.downloadCalibration(serial))
        std::cout << "The download failed; the log tells why.\n";
    listMissing(manager, serial);
}
//! [download]

//! [configuration]
void printConfiguration(zel::IRCalibrationManager& manager, unsigned long serial) {
    std::cout << manager.generateConfiguration(serial);
}
//! [configuration]

void visit(zel::IRCalibrationManager& manager, char const* directory, int serial) {
    auto const camera = static_cast<unsigned long>(serial);
    listMissing(manager, camera);
    listOptics(manager, camera);
    listFrameRates(directory, serial);
    askFor(27);
    askFor(80);
    downloadMissing(manager, camera);
    printConfiguration(manager, camera);
}

} // namespace

//! [main]
int main(int argc, char* argv[]) {
    if (argc != 3)
        return EXIT_FAILURE;
    char const* const directory = argv[1];
    int const serial = std::atoi(argv[2]);

    routeTheLog();
    zel::IRCalibrationManager* const manager = zel::IRCalibrationManager::getInstance();
    if (manager == nullptr)
        return EXIT_FAILURE;
    manager->setCalibrationDir(directory);
    visit(*manager, directory, serial);
}
//! [main]
