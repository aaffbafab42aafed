#include "sdk/IRCalibrationManager.h"
#include "sdk/SetCheck.h"

#include "imgproc/Cali.h"
#include "util/FileDescriptor.h"
#include "util/StringHelpers.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <utility>

namespace zel {

namespace {

/// The list under construction: measured when there is no text to write it to, else written.
class MissingFiles {
public:
    /// @param out  Null for sizing, else the terminated list to go on with.
    /// @param size Counts what sizing finds; limits each appended piece.
    /// @param room Characters that the whole list may take, with its terminator.
    MissingFiles(char* out, int* size, std::size_t room) noexcept : m_end(out), m_size(size) {
        if (out == nullptr)
            return;
        std::size_t const length = std::strlen(out);
        m_end = out + length;
        m_room = room - length - 1;
    }

    void add(char const* name) noexcept {
        if (m_end == nullptr)
            return addToSize(std::strlen(name) + std::strlen(separator));
        append(name);
        append(separator);
    }

private:
    static constexpr char const* separator = ";";

    void addToSize(std::size_t length) noexcept {
        constexpr long long largest = std::numeric_limits<int>::max() - 1; // the terminator follows
        *m_size = static_cast<int>(std::min(*m_size + static_cast<long long>(length), largest));
    }

    // As tstrcat, from the remembered end: the size limits the piece and not the whole list.
    void append(char const* piece) noexcept {
        auto const limit = std::min<std::size_t>(static_cast<unsigned int>(*m_size), m_room);
        std::size_t const length = strnlen(piece, limit);
        std::memcpy(m_end, piece, length);
        m_end += length;
        m_room -= length;
        *m_end = '\0';
    }

    char* m_end;
    int* m_size;
    std::size_t m_room = 0;
};

constexpr std::size_t unlimited = std::numeric_limits<std::size_t>::max();

bool exists(char const* path) noexcept {
    return FileDescriptor::openForReading(path).valid();
}

void testFile(char const* dir, char const* baseName, char const* format,
              MissingFiles& missing) noexcept {
    std::array<char, pathCapacity> name{};
    tsnprintf(name.data(), static_cast<unsigned int>(name.size()), format, baseName);
    PathBuffer path;
    path[0] = '\0';
    bool const formed = createConfigFilepath(path.data(), dir, pathCapacity, name.data(), "");
    if (!formed || !exists(path.data()))
        missing.add(name.data());
}

/// Where the files of a set are and what they are called.
struct Naming {
    char const* dir;
    int serial;
    char const* xmlFormat;
    char const* datFormat;
    char const* prnFormat;
    char const* separator;
};

void testDataSet(Naming const& naming, OPTICS const& optic, bool samplePointCali,
                 Range const& range, unsigned short framerate, MissingFiles& missing) noexcept {
    std::array<char, pathCapacity> stem{};
    ConfigCali::caliFilenameString(naming.serial, optic.fov, optic.text, &range, framerate,
                                   stem.data(), static_cast<int>(stem.size()));
    testFile(naming.dir, stem.data(), naming.datFormat, missing);
    if (!samplePointCali)
        testFile(naming.dir, stem.data(), naming.prnFormat, missing);
}

void testRange(Naming const& naming, ConfigCali const& description, OpticsDefinition const& listed,
               Range const& range, MissingFiles& missing) noexcept {
    OPTICS const optic{listed.FOV, listed.Text.get()};
    int const count = description.getFramerateCount(&optic, &range);
    if (count < 1)
        return testDataSet(naming, optic, listed.SamplePointCali, range, 0, missing);
    for (int f = 0; f < count; ++f) {
        unsigned short const framerate = description.getFramerate(&optic, &range, f);
        testDataSet(naming, optic, listed.SamplePointCali, range, framerate, missing);
    }
}

// Ranges come from the first optic of that field of view and text, the flag from the listed one:
// a description that lists an optic twice needs its files twice.
void testDescribedFiles(Naming const& naming, ConfigCali const& description,
                        MissingFiles& missing) noexcept {
    for (OpticsDefinition const& listed : *description.optics) {
        auto const* const optic = description.findOptic(listed.FOV, listed.Text.get());
        for (auto const& definition : optic->tempRanges) {
            testRange(naming, description, listed, definition.range, missing);
        }
    }
}

/// @return The description of the camera, or null when it cannot be loaded.
ConfigCali const* loadedDescription(char const* dir, int serial) noexcept {
    ConfigCali* const description = ConfigCali::getInstance();
    if (description == nullptr)
        return nullptr;
    if (description->isLoaded(serial))
        return description;
    return description->load(dir, serial) == 0 ? description : nullptr;
}

void reportDescriptionMissing(Naming const& naming, char* out, int* size) noexcept {
    std::array<char, 20> name{};
    tsnprintf(name.data(), static_cast<unsigned int>(name.size()), naming.xmlFormat, naming.serial);
    int const length = static_cast<int>(tstrlen(name.data()));
    if (out == nullptr) {
        *size = length + 2; // room for one character of a separator and the end
        return;
    }
    auto const capacity = static_cast<unsigned int>(std::max(*size, 0));
    tstrcpy(out, capacity, name.data());
    if (length >= *size)
        out[capacity] = '\0'; // which the copy of so long a name leaves out
    tstrcat(out, capacity, naming.separator);
}

/// @return Whether nothing is missing; the rest of the answer is in the list or its size.
bool check(Naming const& naming, ConfigCali const* description, char* out, int* size,
           std::size_t room) noexcept {
    if (out == nullptr) {
        *size = 0;
    } else {
        out[0] = '\0';
    }

    if (description == nullptr) {
        reportDescriptionMissing(naming, out, size);
        return false;
    }
    MissingFiles missing(out, size, room);
    testDescribedFiles(naming, *description, missing);

    if (out != nullptr)
        return out[0] == '\0';
    if (*size == 0)
        return true;
    *size += 1; // the terminator
    return false;
}

} // namespace

void _checkCaliFilesHelper(char const* dir, char const* baseName, char const* format, char* out,
                           int* size) noexcept {
    MissingFiles missing(out, size, unlimited);
    testFile(dir, baseName, format, missing);
}

bool IRCalibrationManager::checkCaliFiles(char const* dir, int serial, char* out, int* size,
                                          char const* xmlFormat, char const* datFormat,
                                          char const* prnFormat, char const* separator) noexcept {
    return check({dir, serial, xmlFormat, datFormat, prnFormat, separator},
                 loadedDescription(dir, serial), out, size, unlimited);
}

SetCheck checkSet(char const* dir, unsigned long serial) noexcept {
    Naming const naming{dir,           static_cast<int>(serial), "Cali-%i.xml",
                        "Cali-%s.dat", "Kennlinie-%s.prn",       ";"};
    ConfigCali const* const description = loadedDescription(dir, naming.serial);
    int size = 0;
    check(naming, description, nullptr, &size, 0);
    if (size == 0)
        return {true, nullptr};

    auto const room = static_cast<std::size_t>(size);
    std::unique_ptr<char[]> list(new (std::nothrow) char[room]());
    if (list == nullptr)
        return {false, nullptr};
    // Each pass tries to load a missing description, but the list has the room for its name alone.
    if (description == nullptr)
        loadedDescription(dir, naming.serial);
    check(naming, description, list.get(), &size, room);
    return {false, std::move(list)};
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

} // namespace zel
