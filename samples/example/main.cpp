// Tells which optics a camera is calibrated for and which of its files are missing:
// calibration-report <calibration directory> <serial number>
#include "sdk/IRCalibrationManager.h"
#include "sdk/IRLogger.h"

#include <cstdlib>
#include <iostream>
#include <memory>

int main(int argc, char* argv[]) {
    zel::IRLogger::setVerbosity(zel::IRLOG_ERROR, zel::IRLOG_OFF, nullptr);
    auto* const manager = zel::IRCalibrationManager::getInstance();
    if (argc != 3 || manager == nullptr)
        return EXIT_FAILURE;
    manager->setCalibrationDir(argv[1]);
    auto const serial = std::strtoul(argv[2], nullptr, 10);

    for (auto const& optic : *manager->getAvailableOptics(serial)) {
        std::cout << "optic " << optic.fov << (optic.text.empty() ? "" : " ") << optic.text << '\n';
        for (auto const& range : optic.tempRanges)
            std::cout << "  " << range.tMin << " to " << range.tMax << '\n';
    }
    std::unique_ptr<char[]> const missing(manager->checkCalibration(serial));
    std::cout << "missing: " << (missing ? missing.get() : "nothing") << '\n';
}
