#include "tool/companion/Hints.h"

#include "tool/companion/Quoting.h"

#include "store/CalibrationStore.h"
#include "store/Target.h"
#include "util/DefaultDirectories.h"

#include <cerrno>
#include <cstdlib>

#include <fcntl.h>
#include <unistd.h>

namespace companion {

namespace {

using Words = std::vector<std::string>;

bool isRoot() {
    return geteuid() == 0;
}

/// @return Whether root alone can change the directory, or make it. Who became root with sudo
///         pastes a hint into the shell of an ordinary user.
bool needsRoot(std::string directory) {
    if (isRoot())
        return std::getenv("SUDO_UID") != nullptr;
    while (faccessat(AT_FDCWD, directory.c_str(), W_OK | X_OK, AT_EACCESS) != 0) {
        if (errno != ENOENT)
            return errno == EACCES || errno == EPERM;
        directory = zel::store::parentOf(directory); // "." or "/" at the latest is there
    }
    return false;
}

/// @return Whether a sub-command changes what is installed.
bool changesSets(std::string const& command) {
    return command == "install" || command == "remove" || command == "recover" ||
           command == "download";
}

/// @return A command that changes the directory, as this person has to run it.
std::string changing(std::string const& directory, Words words) {
    if (needsRoot(directory))
        words.insert(words.begin(), "sudo");
    return commandLine(words);
}

/// @return A sub-command that changes the directory.
std::string changingSet(std::string const& directory, Words words) {
    words.insert(words.begin(), "zentho-cali");
    if (directory != zel::defaultCalibrationDir)
        words.insert(words.end(), {"-t", directory});
    return changing(directory, words);
}

} // namespace

std::string again(Options const& options, Words const& added) {
    Words words = options.words;
    words.insert(words.begin(), "zentho-cali");
    auto const afterName = words.begin() + (words.size() > 1 ? 2 : 1);
    words.insert(afterName, added.begin(), added.end());
    bool const changes = !options.dryRun && words.size() > 1 && changesSets(words[1]);
    if (changes)
        return changing(options.directory, words);
    return commandLine(words);
}

Hint asRoot(Options const& options) {
    if (isRoot())
        return {};
    Words words = options.words;
    words.insert(words.begin(), {"sudo", "zentho-cali"});
    return {"Root may do this:", {commandLine(words)}};
}

Hint howToMakeDirectory(std::string const& directory) {
    Words words{"mkdir", "-p", directory};
    if (directory.front() == '-')
        words.insert(words.end() - 1, "--");
    return {"-t names another directory; this makes it:", {changing(directory, words)}};
}

Hint howToFetch(unsigned long serial, std::string const& directory) {
    std::string const text = std::to_string(serial);
    return {
        "From a stick, or from the maker's server:",
        {changingSet(directory, {"install", text}), changingSet(directory, {"download", text})}};
}

Hint howToGetPrograms() {
    Words words{"apt-get", "install", "zentho-cali-sources"};
    if (!isRoot() || std::getenv("SUDO_UID") != nullptr)
        words.insert(words.begin(), "sudo");
    return {"Archives take another package:", {commandLine(words)}};
}

Hint howToRecover(std::string const& directory) {
    if (zel::store::CalibrationStore(directory).needsLaterVersion())
        return {"A later version of zentho-cali has to complete what was interrupted."};
    return {"This completes what was interrupted:", {changingSet(directory, {"recover"})}};
}

} // namespace companion
