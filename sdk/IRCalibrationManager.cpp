#include "sdk/IRCalibrationManager.h"

#include "sdk/manager/CameraSearch.h"
#include "sdk/manager/Configuration.h"
#include "sdk/manager/DefaultRoute.h"
#include "sdk/manager/Download.h"
#include "sdk/manager/OpticsList.h"
#include "sdk/manager/SetCheck.h"
#include "sdk/manager/StickCopy.h"
#include "sdk/set/FileKinds.h"
#include "util/ConfigFilepath.h"
#include "util/DefaultDirectories.h"
#include "util/Logger.h"
#include "util/StringHelpers.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include <sys/stat.h>
#include <unistd.h>

namespace zel {

namespace {

using thalvo::LogLevel;
using thalvo::report;

constexpr char const* sourceFile = "sdk/IRCalibrationManager";

// How many checks of incomplete sets in a row can do without memory for their lists.
constexpr std::size_t spareListCount = 64;

// Larger than the capacity, since the bounded helpers limit each piece that a caller appends and
// not the whole text.
constexpr std::size_t directoryRoom = pathRoom(pathCapacity);

/// Stores a directory text, cut to the capacity.
void setDirectory(char* buffer, char const* dir) noexcept {
    if (dir == nullptr)
        return;
    PathBuffer fresh{}; // the text may come from the buffer itself
    static_assert(fresh.size() == directoryRoom);
    tstrcpy(fresh.data(), pathCapacity, dir);
    std::copy(fresh.begin(), fresh.end(), buffer);
}

/// Fetches the files of a list; those of which no command can be started are logged until one
/// could.
/// @return Whether the command of at least one could be started.
bool downloadAll(char const* fileList, std::string const& serialText, std::string const& targetDir,
                 std::vector<std::string> const& links) {
    bool success = false;
    for (std::string const& name : namesOfList(fileList)) {
        FetchOutcome const outcome = fetchFile(name, serialText, targetDir, links);
        success = success || outcome.started;
        if (!success) {
            report(LogLevel::error, sourceFile, __LINE__, "Error downloading ", outcome.lastUrl);
        }
    }
    return success;
}

/// Downloads the missing files that belong to the camera. A description can list others: a ';' in
/// the text of an optic makes two names of one.
bool downloadMissing(SetCheck const& check, unsigned long serial, std::string const& dir) {
    if (check.missing == nullptr) // for want of memory
        return false;
    std::string own;
    for (std::string const& name : namesOfList(check.missing.get())) {
        if (set::belongsTo(name, static_cast<int>(serial)))
            own += name + ";";
    }
    return IRCalibrationManager::downloadTarget(own.c_str(), std::to_string(serial), dir);
}

/// @return Whether files can be created in a directory; a failure is logged.
bool isWritable(std::string const& dir) {
    int const error = probeWriting(dir);
    if (error == EACCES) {
        report(LogLevel::error, sourceFile, __LINE__, "No writing permissions to ", dir);
    } else if (error != 0) {
        report(LogLevel::error, sourceFile, __LINE__,
               "Something went wrong: ", std::strerror(error));
    }
    return error == 0;
}

} // namespace

int mkDir(char const* path) noexcept {
    return mkdir(path, 0777);
}

char* getFolderPath(char* buffer, short capacity) noexcept {
    if (buffer == nullptr || capacity < 0)
        return nullptr;
    return getcwd(buffer, workingDirectoryRoom(capacity));
}

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

IRCalibrationManager::IRCalibrationManager()
    : m_calibrationDir(new char[directoryRoom]()), m_formatsDir(new char[directoryRoom]()) {
    setCalibrationDir(defaultCalibrationDir);
    setFormatsDir(defaultFormatsDir);
    m_spareLists.reserve(spareListCount);
    stockSpareLists();
}

IRCalibrationManager::~IRCalibrationManager() {
    _this = nullptr;
}

void IRCalibrationManager::setCalibrationDir(char const* dir) noexcept {
    setDirectory(m_calibrationDir.get(), dir);
}

void IRCalibrationManager::setFormatsDir(char const* dir) noexcept {
    setDirectory(m_formatsDir.get(), dir);
}

char* IRCalibrationManager::getCalibrationDir() noexcept {
    return m_calibrationDir.get();
}

char* IRCalibrationManager::getFormatsDir() noexcept {
    return m_formatsDir.get();
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
    stockSpareLists();
    SetCheck check = checkSet(m_calibrationDir.get(), serial);
    if (check.complete)
        return nullptr;
    // Without memory for the list, an incomplete set must not look complete.
    return check.missing != nullptr ? check.missing.release() : takeSpareList();
}

void IRCalibrationManager::stockSpareLists() noexcept {
    while (m_spareLists.size() < spareListCount) {
        std::unique_ptr<char[]> list(new (std::nothrow) char[2]{';', '\0'});
        if (list == nullptr)
            return;
        m_spareLists.push_back(std::move(list)); // within the room reserved, so without memory
    }
}

char* IRCalibrationManager::takeSpareList() noexcept {
    if (m_spareLists.empty())
        std::abort(); // no list would mean that the set is complete
    char* const list = m_spareLists.back().release();
    m_spareLists.pop_back();
    return list;
}

bool IRCalibrationManager::copyCalibrationFromLocalRepo(unsigned long serial,
                                                        std::string sourceDir) noexcept try {
    char const* const targetDir = m_calibrationDir.get();
    std::string const command = copyCommand(sourceDir, serial, targetDir);
    std::printf("%s\n", command.c_str());
    std::fflush(stdout);
    if (!runCopy(command))
        return false;

    SetCheck const check = checkSet(targetDir, serial);
    // Callers learn that the set is complete from this end, which no success value ever replaced.
    if (check.complete)
        endAbnormally();
    return false; // also when the second pass found what the first had missed
} catch (...) {
    return false;
}

bool IRCalibrationManager::isOnlineCalibrationRepoAccessible() noexcept {
    return hasOneDefaultRoute();
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
    std::string const dir = m_calibrationDir.get();
    if (!isWritable(dir))
        return false;
    if (serial == 0) {
        report(LogLevel::error, sourceFile, __LINE__, "No serial number specified.");
        return false;
    }

    constexpr int passes = 3;
    for (int pass = 0; pass < passes; ++pass) {
        SetCheck const check = checkSet(dir.c_str(), serial);
        bool const installed = check.missing != nullptr && check.missing[0] == '\0';
        if (check.complete || installed) {
            report(LogLevel::information, sourceFile, __LINE__, "All files installed.");
            return true;
        }
        if (!downloadMissing(check, serial, dir)) {
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
    listOptics(m_calibrationDir.get(), serial, m_optics);
    return &m_optics;
} catch (...) {
    return &m_optics;
}

std::string IRCalibrationManager::generateConfiguration(unsigned long serial) noexcept try {
    std::string const calibrationDir = m_calibrationDir.get();
    // Not descriptionName(): here the number has no sign, however big it is.
    set::FileName const name = set::descriptionName(serial);
    Suggestion const suggested = readSuggestion(calibrationDir + "/" + name.c_str());
    return configurationText(serial, calibrationDir, m_formatsDir.get(), suggested);
} catch (...) {
    return {};
}

} // namespace zel
