#include "bench/Suite.h"

#include "sdk/IRCalibrationManager.h"
#include "tests/support/UsbTree.h"

#include <array>
#include <cstdlib>
#include <memory>
#include <stdexcept>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace bench {

namespace {

constexpr unsigned long cameraSerial = 14080045;
constexpr int devices = 500;

/// The camera is made first, because a file system in memory lists that last.
void makeDevices() {
    support::emptyUsbTree();
    support::attach("1-1", support::camera(std::to_string(cameraSerial) + "\n"));
    for (int i = 2; i <= devices; ++i) {
        support::attach("1-" + std::to_string(i),
                        {"1d6b\n", "0002\n", std::to_string(1000 + i) + "\n"});
    }
}

std::uint64_t discoverWithProduct() {
    unsigned long serial = 0;
    zel::IRCalibrationManager::getInstance()->findSerial(serial);
    return serial;
}

/// @return The line of an attribute, empty when it cannot be read.
std::string_view attribute(char const* device, char const* name, std::array<char, 256>& buffer) {
    std::array<char, 512> path;
    std::snprintf(path.data(), path.size(), "%s/%s", device, name);
    int const file = open(path.data(), O_RDONLY | O_CLOEXEC);
    if (file < 0)
        return {};
    ssize_t const count = read(file, buffer.data(), buffer.size());
    close(file);
    std::string_view const text(buffer.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
    return text.substr(0, text.find('\n'));
}

std::uint64_t serialOf(char const* device) {
    std::array<char, 256> vendor;
    std::array<char, 256> product;
    auto const vendorLine = attribute(device, "idVendor", vendor);
    auto const productLine = attribute(device, "idProduct", product);
    if (vendorLine != "0403" || productLine != "de37")
        return 0;
    std::array<char, 256> serial;
    return std::strtoul(std::string(attribute(device, "serial", serial)).c_str(), nullptr, 10);
}

std::uint64_t discoverPlainly() {
    if (chdir(support::usbDevices) != 0)
        return 0;
    std::unique_ptr<DIR, int (*)(DIR*)> const directory(opendir(support::usbDevices), closedir);
    std::uint64_t serial = 0;
    while (serial == 0) {
        dirent const* const entry = readdir(directory.get());
        if (entry == nullptr)
            break;
        struct stat status;
        if (lstat(entry->d_name, &status) == 0 && S_ISLNK(status.st_mode))
            serial = serialOf(entry->d_name);
    }
    return serial;
}

} // namespace

void addDiscoveryRows(Suite& suite) {
    suite.addRace(
        "discovery", 51,
        [] {
            makeDevices();
            if (discoverPlainly() != cameraSerial)
                throw std::runtime_error("the made camera is not found");
            return Race{{{"zentho-cali", discoverWithProduct}, {"plain loop", discoverPlainly}},
                        10};
        },
        [&suite](Timings const& timings) {
            suite.results().add("discovery among 500 devices ÷ plain loop", Goal{1.1, 0.8},
                                timings.ratioTo(1));
        });
}

} // namespace bench
