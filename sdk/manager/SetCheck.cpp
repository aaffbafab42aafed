#include "sdk/manager/SetCheck.h"

#include "imgproc/Cali.h"
#include "sdk/set/FileKinds.h"
#include "sdk/set/FileWalk.h"
#include "util/ConfigFilepath.h"
#include "util/FileDescriptor.h"
#include "util/StringHelpers.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <limits>
#include <new>
#include <utility>

namespace zel {

namespace {

using set::FileKind;
using set::SetFile;

/// Builds the list, or only measures it when there is no buffer to write it to.
class MissingFiles {
public:
    /// @param out  Null for sizing, else the terminated list to append to.
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

    // Like tstrcat, but from the remembered end: the size limits the piece, not the whole list.
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

/// The name of a missing description. The list holds no more of it than fits here.
using ListedDescription = std::array<char, 20>;

constexpr std::size_t unlimited = std::numeric_limits<std::size_t>::max();

bool exists(char const* path) noexcept {
    return FileDescriptor::openForReading(path).valid();
}

void testFile(char const* dir, char const* name, MissingFiles& missing) noexcept {
    PathBuffer path;
    path[0] = '\0';
    bool const formed = createConfigFilepath(path.data(), dir, pathCapacity, name, "");
    if (!formed || !exists(path.data()))
        missing.add(name);
}

void testNamedFile(char const* dir, char const* stem, char const* format,
                   MissingFiles& missing) noexcept {
    std::array<char, pathCapacity> name{};
    tsnprintf(name.data(), static_cast<unsigned int>(name.size()), format, stem);
    testFile(dir, name.data(), missing);
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

void reportDescriptionMissing(char const* name, char const* separator, char* out,
                              int* size) noexcept {
    int const length = static_cast<int>(tstrlen(name));
    if (out == nullptr) {
        *size = length + 2; // room for one character of a separator and the end
        return;
    }
    auto const capacity = static_cast<unsigned int>(std::max(*size, 0));
    tstrcpy(out, capacity, name);
    if (length >= *size)
        out[capacity] = '\0'; // strncpy does not terminate a text of full length
    tstrcat(out, capacity, separator);
}

/// @param description     The loaded description, or null.
/// @param descriptionName Its name, listed with the separator when it could not be loaded.
/// @param testDescribed   Tests all files that the description asks for.
/// @return Whether nothing is missing; the rest of the answer is in the list or its size.
template <class TestDescribed>
bool check(ConfigCali const* description, char const* descriptionName, char const* separator,
           char* out, int* size, std::size_t room, TestDescribed const& testDescribed) noexcept {
    if (out == nullptr) {
        *size = 0;
    } else {
        out[0] = '\0';
    }

    if (description == nullptr) {
        reportDescriptionMissing(descriptionName, separator, out, size);
        return false;
    }
    MissingFiles missing(out, size, room);
    testDescribed(missing);

    if (out != nullptr)
        return out[0] == '\0';
    if (*size == 0)
        return true;
    *size += 1; // the terminator
    return false;
}

/// @return The caller's format for a kind of file. Null for a kind that callers have no format for:
///         such files are checked under their own names.
char const* formatOf(FileKind kind, SetNaming const& naming) noexcept {
    switch (kind) {
    case FileKind::data:
        return naming.datFormat;
    case FileKind::curve:
        return naming.prnFormat;
    default:            // GCOVR_EXCL_LINE: for a kind that may be added
        return nullptr; // GCOVR_EXCL_LINE: likewise
    }
}

} // namespace

bool checkNamedSet(SetNaming const& naming, char* out, int* size) noexcept {
    ConfigCali const* const description = loadedDescription(naming.dir, naming.serial);
    ListedDescription name{};
    if (description == nullptr)
        tsnprintf(name.data(), static_cast<unsigned int>(name.size()), naming.xmlFormat,
                  naming.serial);
    auto const testDescribed = [&](MissingFiles& missing) {
        set::forEachDescribedFile(*description->optics, naming.serial, [&](SetFile const& file) {
            char const* const format = formatOf(file.kind.kind, naming);
            if (format != nullptr)
                return testNamedFile(naming.dir, file.stem, format, missing);
            testFile(naming.dir, file.name().c_str(), missing); // GCOVR_EXCL_LINE: likewise
        });
    };
    return check(description, name.data(), naming.separator, out, size, unlimited, testDescribed);
}

void checkNamedFile(char const* dir, char const* baseName, char const* format, char* out,
                    int* size) noexcept {
    MissingFiles missing(out, size, unlimited);
    testNamedFile(dir, baseName, format, missing);
}

SetCheck checkSet(char const* dir, unsigned long serial) noexcept {
    auto const descriptionSerial = static_cast<int>(serial);
    ConfigCali const* const description = loadedDescription(dir, descriptionSerial);
    ListedDescription name{};
    tstrcpy(name.data(), name.size() - 1, set::descriptionName(descriptionSerial).c_str());
    auto const testDescribed = [&](MissingFiles& missing) {
        set::forEachDescribedFile(
            *description->optics, descriptionSerial,
            [&](SetFile const& file) { testFile(dir, file.name().c_str(), missing); });
    };
    int size = 0;
    check(description, name.data(), ";", nullptr, &size, 0, testDescribed);
    if (size == 0)
        return {true, nullptr};

    auto const room = static_cast<std::size_t>(size);
    std::unique_ptr<char[]> list(new (std::nothrow) char[room]());
    if (list == nullptr)
        return {false, nullptr};
    // Each pass tries to load a missing description. Even if this one succeeds, the list names only
    // the description, since the first pass made room for nothing else.
    if (description == nullptr)
        loadedDescription(dir, descriptionSerial);
    check(description, name.data(), ";", list.get(), &size, room, testDescribed);
    return {false, std::move(list)};
}

} // namespace zel
