#include "tool/companion/CommandOptions.h"
#include "tool/companion/Commands.h"
#include "tool/companion/FileState.h"
#include "tool/companion/Files.h"
#include "tool/companion/InstalledSet.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
#include <filesystem>
#include <map>
#include <optional>
#include <string_view>
#include <system_error>

#include <unistd.h>

namespace companion {

namespace {

namespace fs = std::filesystem;

using Paths = std::vector<std::string>;

/// The files of one camera in a directory and all below.
struct Tree {
    std::map<std::string, Paths> files; ///< by name; several directories may hold one each
    std::optional<Failure> gap;         ///< why a directory could not be searched
};

/// The installer takes what begins like this, also of a camera whose serial number is longer; those
/// files belong to that one.
bool belongsTo(std::string_view name, std::string const& serial) {
    std::array<std::string, 2> const prefixes{"Cali-" + serial, "Kennlinie-" + serial};
    return std::any_of(prefixes.begin(), prefixes.end(), [&](std::string const& prefix) {
        bool const begins = name.substr(0, prefix.size()) == prefix;
        return begins && name.substr(prefix.size()).find_first_of("0123456789") != 0;
    });
}

/// As the installer's `find` does, follows no link to a directory. A directory that may not be
/// entered, such as lost+found, is no harm while all files are found elsewhere.
void searchTree(fs::path const& directory, std::string const& serial, Tree& tree) {
    std::error_code error;
    fs::directory_iterator entries(directory, error);
    for (; !error && entries != fs::directory_iterator(); entries.increment(error)) {
        std::error_code unknown;
        if (entries->is_directory(unknown) && !entries->is_symlink(unknown)) {
            searchTree(entries->path(), serial, tree);
        } else if (std::string const name = entries->path().filename();
                   belongsTo(name, serial) && entries->is_regular_file(unknown)) {
            tree.files[name].push_back(entries->path());
        }
    }
    if (error && !tree.gap)
        tree.gap = systemFailure("Cannot search", directory, error.value());
}

/// One camera's files here, in the calibration directory, and there, on the stick.
class Comparison {
public:
    Comparison(InstalledSet const& set, Tree const& stick) : m_set(set), m_stick(stick) {}

    FileState stateOf(std::string const& name) {
        bool const here = access(m_set.path(name).c_str(), F_OK) == 0;
        auto const found = m_stick.files.find(name);
        if (found == m_stick.files.end())
            return here ? FileState::missingThere : FileState::missingHereAndThere;
        if (!here)
            return FileState::missingHere;
        return compare(name, found->second);
    }

    std::vector<std::string> const& remarks() const { return m_remarks; }

private:
    /// Of several copies the installer leaves one; which, depends on the order of the directories.
    FileState compare(std::string const& name, Paths const& copies) {
        auto const equal = std::count_if(copies.begin(), copies.end(), [&](auto const& copy) {
            return sameBytes(m_set.path(name), copy);
        });
        if (equal == 0)
            return FileState::differs;
        if (static_cast<std::size_t>(equal) != copies.size()) {
            m_remarks.push_back("The stick holds different copies of " + name +
                                "; the installed one is the same as one of them.");
        }
        return FileState::same;
    }

    InstalledSet const& m_set;
    Tree const& m_stick;
    std::vector<std::string> m_remarks;
};

std::set<std::string> namesOf(InstalledSet const& set, Options const& options, Tree const& stick) {
    std::set<std::string> names;
    for (std::string const& name : set.wanted())
        names.insert(name);
    for (auto const& [name, paths] : stick.files)
        names.insert(name);
    for (std::string const& name : namesIn(options.directory)) {
        if (belongsTo(name, std::to_string(options.serial)))
            names.insert(name);
    }
    return names;
}

bool isMissingThere(FileState state) {
    return state == FileState::missingThere || state == FileState::missingHereAndThere;
}

void addOptions(CLI::App& parser, Options& options) {
    addSerial(parser, options);
    addText(parser, "-s,--source", "DIR", options.source,
            "The stick: searched with all directories below")
        .required();
    addDirectory(parser, options);
}

Result run(Options const& options, Terminal const& terminal) {
    useDirectory(options.directory);
    requireDirectory(options.source, R_OK | X_OK, "source directory");
    Tree stick;
    searchTree(options.source, std::to_string(options.serial), stick);
    InstalledSet const set(options.serial);
    Comparison comparison(set, stick);

    Result result = answerAbout(options.serial, options.directory);
    result.notes = set.remarks();
    Json files = Json::array();
    for (std::string const& name : namesOf(set, options, stick)) {
        FileState const state = comparison.stateOf(name);
        if (isMissingThere(state) && stick.gap)
            throw Failure(*stick.gap);
        if (state != FileState::same)
            result.status = Status::no;
        Json& file = files.emplace_back();
        file["name"] = name;
        file["state"] = jsonName(state);
        result.text += stateLine(name, state, terminal);
    }
    bool const complete = set.missing().empty();
    if (!complete)
        result.status = Status::no;
    result.members["source"] = options.source;
    result.members["complete"] = complete;
    result.members["files"] = files;
    auto const& remarks = comparison.remarks();
    result.notes.insert(result.notes.end(), remarks.begin(), remarks.end());
    return result;
}

} // namespace

Command const verify{
    "verify",
    "Compare the installed files with a stick, byte by byte",
    "0 all the same and complete, 1 otherwise",
    "zentho-cali verify 14080045 -s /media/usbstick",
    addOptions,
    run,
};

} // namespace companion
