#include "tool/companion/Commands.h"
#include "tool/companion/InstalledSet.h"

namespace companion {

Result check(Options const& options, Terminal const& terminal) {
    useDirectory(options.directory);
    InstalledSet const set(options.serial);
    auto const missing = set.missing();
    Result result = answerAbout(options.serial, options.directory);
    result.notes = set.remarks();
    result.members["complete"] = missing.empty();
    result.members["missing"] = missing;
    for (std::string const& name : missing)
        result.text += terminal.sanitized(name) + "\n";
    if (!missing.empty()) {
        result.status = Status::no;
        result.notes.push_back("Not complete. " + howToFetch(options));
    }
    return result;
}

} // namespace companion
