#include "tool/companion/Commands.h"
#include "tool/companion/Installed.h"

namespace companion {

Result check(Options const& options, Terminal const& terminal) {
    useDirectory(options.directory);
    Installed const set(options.serial);
    auto const missing = set.missing();
    Result result{missing.empty() ? Status::yes : Status::no,
                  "",
                  {{"serial", options.serial}, {"directory", options.directory}},
                  set.remarks()};
    result.members["complete"] = missing.empty();
    result.members["missing"] = missing;
    for (std::string const& name : missing)
        result.text += terminal.shown(name) + "\n";
    if (!missing.empty())
        result.notes.push_back("Not complete. " + howToFetch(options.serial));
    return result;
}

} // namespace companion
