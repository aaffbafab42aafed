#include "tests/support/Seen.h"

#include "tests/support/LogLines.h"
#include "tests/support/TemporaryDirectory.h"

#include <filesystem>

namespace support {

namespace fs = std::filesystem;

std::string seen(Outcome const& outcome) {
    auto const end = outcome.signal != 0 ? "signal " + std::to_string(outcome.signal)
                                         : "exit status " + std::to_string(outcome.exitStatus);
    return end + "\nstandard output:\n" + outcome.standardOutput + "standard error:\n" +
           withoutLineAndTime(outcome.standardError);
}

std::string exited(int status, std::string const& output, std::string const& error) {
    return seen({status, 0, output, error, false});
}

Tree tree(std::string const& directory) {
    Tree entries;
    for (auto const& entry : fs::recursive_directory_iterator(directory)) {
        auto const name = entry.path().lexically_relative(directory).string();
        if (entry.is_directory()) {
            entries[name + "/"] = "";
        } else {
            entries[name] = readFile(entry.path());
        }
    }
    return entries;
}

} // namespace support
