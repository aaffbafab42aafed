#include "util/ConfigFilepath.h"

#include "util/StringHelpers.h"

#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

namespace zel {

namespace {

bool startInWorkingDirectory(char* out, short capacity) noexcept {
    if (getcwd(out, workingDirectoryRoom(capacity)) == nullptr)
        return false;
    auto const limit = static_cast<unsigned int>(capacity);
    tstrcat(out, limit, "/");
    tstrcat(out, limit, "Imager");
    return true;
}

void startInDirectory(char* out, short capacity, char const* dir) noexcept {
    auto const limit = static_cast<unsigned int>(capacity);
    if (tstrlen(dir) >= limit)
        out[limit] = '\0'; // tstrcpy does not terminate a text of the full capacity
    tstrcpy(out, limit, dir);
}

} // namespace

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

    mkdir(out, 0777); // normally it exists already
    auto const limit = static_cast<unsigned int>(capacity);
    // strncat: the count limits what is appended, and the slash always fits the room.
    std::strncat(out, "/", limit);
    tstrcat(out, limit, name);
    tstrcat(out, limit, suffix);
    return true;
}

} // namespace zel
