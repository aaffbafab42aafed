#include "sdk/IRCalibrationManager.h"

#include "imgproc/Cali.h"
#include "sdk/DownloadRepository.h"
#include "sdk/manager/CameraSearch.h"
#include "sdk/manager/SetCheck.h"
#include "sdk/manager/ShellSafety.h"
#include "util/DefaultDirectories.h"
#include "util/Logger.h"
#include "util/StringHelpers.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <sstream>

#include <unistd.h>

namespace zel {

namespace {

using thalvo::LogLevel;
using thalvo::report;

constexpr char const* sourceFile = "sdk/IRCalibrationManager";

/// Stores a directory text, cut to the capacity.
void setDirectory(PathBuffer& buffer, char const* dir) noexcept {
    if (dir == nullptr)
        return;
    PathBuffer fresh{}; // the text may come from the buffer itself
    tstrcpy(fresh.data(), pathCapacity, dir);
    buffer = fresh;
}

struct PipeCloser {
    void operator()(std::FILE* pipe) const noexcept { pclose(pipe); }
};
using Pipe = std::unique_ptr<std::FILE, PipeCloser>;

int truncated(float limit) noexcept {
    constexpr auto largest = std::numeric_limits<int>::max();
    constexpr auto smallest = std::numeric_limits<int>::min();
    if (std::isnan(limit))
        return 0;
    if (limit >= static_cast<float>(largest))
        return largest;
    if (limit <= static_cast<float>(smallest))
        return smallest;
    return static_cast<int>(limit);
}

IROptics listed(OpticsDefinition const& definition, ConfigCali const& description) {
    char const* const text = definition.Text.get();
    IROptics entry{definition.FOV, {}, text != nullptr ? text : ""};
    // The first optic of that field of view and text answers for all that share them.
    for (auto const& range : description.findOptic(definition.FOV, text)->tempRanges) {
        entry.tempRanges.push_back({truncated(range.range.lo), truncated(range.range.hi)});
    }
    return entry;
}

/// Fetches one file from the first link that will do. A link or name that would make the shell do
/// anything else than that counts as a command that could not be started.
/// @param lastUrl Receives the last URL formed; empty without links.
/// @return Whether a command could be started.
bool download(std::string const& name, std::string const& serialText, std::string const& targetDir,
              std::vector<std::string> const& links, std::string& lastUrl) {
    for (std::string const& link : links) {
        lastUrl = quotedUrl(link, serialText, name);
        bool const safe = isSafeBetweenQuotes(link) && isSafeFileName(name);
        if (safe && fetch(lastUrl, targetDir + "/" + name))
            return true;
    }
    return false;
}

/// Fetches every file of a list.
/// @return Whether the command of at least one could be started.
bool downloadAll(char const* fileList, std::string const& serialText, std::string const& targetDir,
                 std::vector<std::string> const& links) {
    std::istringstream names(fileList);
    bool success = false;
    for (std::string name; std::getline(names, name, ';');) {
        std::string lastUrl;
        if (download(name, serialText, targetDir, links, lastUrl)) {
            success = true;
        } else if (!success) {
            report(LogLevel::error, sourceFile, __LINE__, "Error downloading ", lastUrl);
        }
    }
    return success;
}

/// @return Whether files can be created in a directory; a failure is logged.
bool isWritable(std::string const& dir) {
    std::string const probe = dir + "/.zentho_access";
    errno = 0;
    std::FILE* const file = std::fopen(probe.c_str(), "w");
    if (file != nullptr) {
        std::fclose(file);
        std::remove(probe.c_str());
        return true;
    }
    if (errno == EACCES) {
        report(LogLevel::error, sourceFile, __LINE__, "No writing permissions to ", dir);
    } else {
        report(LogLevel::error, sourceFile, __LINE__,
               "Something went wrong: ", std::strerror(errno));
    }
    return false;
}

} // namespace

IRCalibrationManager* IRCalibrationManager::_this = nullptr;

IRCalibrationManager* IRCalibrationManager::getInstance() noexcept {
    if (_this != nullptr)
        return _this;
    try {
        _this = new IRCalibrationManager;
    } catch (...) {
        return nullptr;
    }
    return _this;
}

IRCalibrationManager::IRCalibrationManager() {
    setCalibrationDir(defaultCalibrationDir);
    setFormatsDir(defaultFormatsDir);
}

IRCalibrationManager::~IRCalibrationManager() {
    _this = nullptr;
}

void IRCalibrationManager::setCalibrationDir(char const* dir) noexcept {
    setDirectory(m_calibrationDir, dir);
}

void IRCalibrationManager::setFormatsDir(char const* dir) noexcept {
    setDirectory(m_formatsDir, dir);
}

char* IRCalibrationManager::getCalibrationDir() noexcept {
    return m_calibrationDir.data();
}

char* IRCalibrationManager::getFormatsDir() noexcept {
    return m_formatsDir.data();
}

bool IRCalibrationManager::createConfigFilepath(char* out, char const* dir, short capacity,
                                                char const* name, char const* suffix) noexcept {
    return zel::createConfigFilepath(out, dir, capacity, name, suffix);
}

bool IRCalibrationManager::findSerial(unsigned long& serial) noexcept try {
    report(LogLevel::debug, sourceFile, __LINE__, "Query directory ", usbDevices);
    errno = 0;
    // Kept, although the search does not need it: callers find themselves there afterwards.
    if (chdir(usbDevices) != 0) {
        report(LogLevel::error, sourceFile, __LINE__, "Query directory ", usbDevices,
               " could not be opened: ", std::strerror(errno));
        return false;
    }
    unsigned long taken = 0;
    int const error = forEachCamera([wanted = serial, &taken](CameraEntry const& entry) {
        if (entry.error != 0) {
            report(LogLevel::debug, sourceFile, __LINE__, "errno: ", std::strerror(entry.error));
            return true;
        }
        report(LogLevel::debug, sourceFile, __LINE__, "Found device with serial ",
               entry.serialText);
        if (wanted == 0 || entry.serial == wanted)
            taken = entry.serial;
        return taken == 0;
    });
    if (error != 0) {
        report(LogLevel::error, sourceFile, __LINE__,
               "Failed to open usb device directory: ", std::strerror(error));
        return false;
    }
    serial = taken;
    return serial != 0;
} catch (...) {
    return false;
}

void _checkCaliFilesHelper(char const* dir, char const* baseName, char const* format, char* out,
                           int* size) noexcept {
    checkNamedFile(dir, baseName, format, out, size);
}

bool IRCalibrationManager::checkCaliFiles(char const* dir, int serial, char* out, int* size,
                                          char const* xmlFormat, char const* datFormat,
                                          char const* prnFormat, char const* separator) noexcept {
    return checkNamedSet({dir, serial, xmlFormat, datFormat, prnFormat, separator}, out, size);
}

char* IRCalibrationManager::checkCalibration(unsigned long serial) noexcept {
    if (m_spareList == nullptr)
        m_spareList.reset(new (std::nothrow) char[2]{';', '\0'});
    SetCheck check = checkSet(m_calibrationDir.data(), serial);
    if (check.complete)
        return nullptr;
    // Without memory for the list, an incomplete set must not look complete.
    return check.missing != nullptr ? check.missing.release() : m_spareList.release();
}

bool IRCalibrationManager::isOnlineCalibrationRepoAccessible() noexcept {
    Pipe const pipe(popen("/sbin/route -n | grep -c '^0\\.0\\.0\\.0'", "r"));
    if (pipe == nullptr)
        return false;
    unsigned int defaultRoutes = 0;
    // Several at once do not tell which way a download would go; no number at all counts as none.
    return std::fscanf(pipe.get(), "%u", &defaultRoutes) == 1 && defaultRoutes == 1;
}

bool IRCalibrationManager::downloadTarget(char const* fileList, std::string serialText,
                                          std::string targetDir) noexcept try {
    if (fileList == nullptr)
        return false;
    fetchDownloadLinks();
    DownloadLinks const links = readDownloadLinks();
    if (links.failure == LinksFailure::unreadable) {
        // The file stays, for a look at what the server sent.
        report(LogLevel::error, sourceFile, __LINE__, "Error reading ", downloadLinksPath);
        return false;
    }
    std::remove(downloadLinksPath);
    if (links.failure == LinksFailure::malformed) {
        report(LogLevel::error, sourceFile, __LINE__,
               "Error parsing download links file: ", downloadLinksPath);
        return false;
    }
    return downloadAll(fileList, serialText, targetDir, links.urls);
} catch (...) {
    return false;
}

bool IRCalibrationManager::downloadCalibration(unsigned long serial) noexcept try {
    std::string const dir = m_calibrationDir.data();
    if (!isWritable(dir))
        return false;
    if (serial == 0) {
        report(LogLevel::error, sourceFile, __LINE__, "No serial number specified.");
        return false;
    }

    std::string const serialText = std::to_string(serial);
    constexpr int passes = 3;
    for (int pass = 0; pass < passes; ++pass) {
        SetCheck const check = checkSet(dir.c_str(), serial);
        bool const installed = check.missing != nullptr && check.missing[0] == '\0';
        if (check.complete || installed) {
            report(LogLevel::information, sourceFile, __LINE__, "All files installed.");
            return true;
        }
        if (!downloadTarget(check.missing.get(), serialText, dir)) {
            // Information, not an error: downloadTarget has told what is wrong.
            report(LogLevel::information, sourceFile, __LINE__, "Download failed.");
            return false;
        }
    }
    return true; // no check after the last pass: what the server lacks does not fail the workflow
} catch (...) {
    return false;
}

std::vector<IROptics>* IRCalibrationManager::getAvailableOptics(unsigned long serial) noexcept try {
    if (serial == 0)
        return &m_optics;
    ConfigCali* const description = ConfigCali::getInstance();
    if (description == nullptr)
        return &m_optics;
    auto const descriptionSerial = static_cast<int>(serial);
    if (!description->isLoaded(descriptionSerial)) {
        description->load(m_calibrationDir.data(), descriptionSerial);
    }
    m_optics.clear();
    for (OpticsDefinition const& definition : *description->optics) {
        m_optics.push_back(listed(definition, *description));
    }
    return &m_optics;
} catch (...) {
    return &m_optics;
}

} // namespace zel
