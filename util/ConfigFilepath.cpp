#include "util/ConfigFilepath.h"

#include "util/StringHelpers.h"

#include <cstddef>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

namespace zel {

namespace {

// As if the capacity counted two-byte characters: callers depend on which directories fit.
std::size_t workingDirectorySize(short capacity) noexcept {
    return static_cast<std::size_t>(capacity) * 2 + 1;
}

bool startInWorkingDirectory(char* out, short capacity) noexcept {
    auto const limit = static_cast<unsigned int>(capacity);
    return getcwd(out, workingDirectorySize(capacity)) != nullptr &&
           tstrcat(out, limit, "/") != nullptr && tstrcat(out, limit, "Imager") != nullptr;
}

bool startInDirectory(char* out, short capacity, char const* dir) noexcept {
    auto const limit = static_cast<unsigned int>(capacity);
    if (tstrlen(dir) >= limit)
        out[limit] = '\0'; // which the copy of so long a directory leaves out
    return tstrcpy(out, limit, dir) != nullptr;
}

} // namespace

int mkDir(char const* path) noexcept {
    return mkdir(path, 0777);
}

char* getFolderPath(char* buffer, short capacity) noexcept {
    if (buffer == nullptr || capacity < 0)
        return nullptr;
    return getcwd(buffer, workingDirectorySize(capacity));
}

bool createConfigFilepath(char* out, char const* dir, short capacity, char const* name,
                          char const* suffix) noexcept {
    if (out == nullptr || dir == nullptr || name == nullptr || suffix == nullptr)
        return false;
    if (capacity < 0)
        return false;

    auto const limit = static_cast<unsigned int>(capacity);
    bool const started = tstrlen(dir) == 0 ? startInWorkingDirectory(out, capacity)
                                           : startInDirectory(out, capacity, dir);
    if (!started)
        return false;

    mkDir(out); // normally it exists already
    // strncat: the count limits what is appended, and the slash always fits the room.
    if (std::strncat(out, "/", limit) == nullptr)
        return false;
    if (tstrcat(out, limit, name) == nullptr)
        return false;
    return tstrcat(out, limit, suffix) != nullptr;
}

} // namespace zel
