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
    if (getcwd(out, workingDirectorySize(capacity)) == nullptr)
        return false;
    auto const limit = static_cast<unsigned int>(capacity);
    tstrcat(out, limit, "/");
    tstrcat(out, limit, "Imager");
    return true;
}

void startInDirectory(char* out, short capacity, char const* dir) noexcept {
    auto const limit = static_cast<unsigned int>(capacity);
    if (tstrlen(dir) >= limit)
        out[limit] = '\0'; // which the copy of so long a directory leaves out
    tstrcpy(out, limit, dir);
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

    if (tstrlen(dir) != 0) {
        startInDirectory(out, capacity, dir);
    } else if (!startInWorkingDirectory(out, capacity)) {
        return false;
    }

    mkDir(out); // normally it exists already
    auto const limit = static_cast<unsigned int>(capacity);
    // strncat: the count limits what is appended, and the slash always fits the room.
    std::strncat(out, "/", limit);
    tstrcat(out, limit, name);
    tstrcat(out, limit, suffix);
    return true;
}

} // namespace zel
