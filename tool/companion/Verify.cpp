#include "tool/companion/CommandOptions.h"
#include "tool/companion/Commands.h"
#include "tool/companion/FileState.h"
#include "tool/companion/Files.h"
#include "tool/companion/InstalledSet.h"

#include "sdk/set/FileKinds.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <map>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

namespace companion {

namespace {

using Names = std::vector<std::string>;
using Paths = std::vector<std::string>;

/// The files of one camera in a directory and all below.
struct Tree {
    std::map<std::string, Paths> files; ///< by name; several directories may hold one each
    std::optional<Failure> gap;         ///< why a directory could not be searched
};

/// @return The type of a directory entry. It is asked for where the file system lists none.
unsigned char typeOf(std::string const& path, unsigned char listed) {
    struct stat status {};
    bool const known = listed != DT_UNKNOWN || lstat(path.c_str(), &status) != 0;
    return known ? listed : static_cast<unsigned char>(IFTODT(status.st_mode));
}

bool leadsToFile(std::string const& link) {
    struct stat status {};
    return stat(link.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

/// As the installer's `find` does, follows no link to a directory. A directory that may not be
/// entered, such as lost+found, does no harm when all files are found elsewhere.
void searchTree(std::string const& directory, unsigned long serial, Tree& tree) {
    auto const visit = [&](std::string const& name, unsigned char listed) {
        bool const belongs = zel::set::belongsTo(name, serial);
        if (!belongs && listed != DT_DIR && listed != DT_UNKNOWN)
            return;
        std::string const path = pathIn(directory, name);
        unsigned char const type = typeOf(path, listed);
        if (type == DT_DIR) {
            searchTree(path, serial, tree);
        } else if (belongs && (type == DT_REG || (type == DT_LNK && leadsToFile(path)))) {
            tree.files[name].push_back(path);
        }
    };
    int const error = forEachEntry(directory, visit);
    if (error != 0 && !tree.gap)
        tree.gap = systemFailure("Cannot search", directory, error);
}

/// @throws Failure when the file cannot be read.
void requireReadable(OpenedFile const& opened) {
    if (!opened.file.valid())
        throw systemFailure("Cannot read", opened.path, opened.look.error);
}

/// One camera's files here, in the calibration directory, and there, on the stick.
class Comparison {
public:
    Comparison(InstalledSet const& set, Tree const& stick) : m_set(set), m_stick(stick) {}

    /// Looks at a file on both sides and compares the two.
    FileState stateOf(std::string const& name) {
        auto const found = m_stick.files.find(name);
        if (found == m_stick.files.end()) {
            bool const here = remember(name, m_set.look(name)).there;
            return here ? FileState::missingThere : FileState::missingHereAndThere;
        }
        if (name == m_set.descriptionName())
            return compare(name, m_set.descriptionFile(), found->second);
        return compare(name, m_set.open(name), found->second);
    }

    /// @param names Names of files that were compared.
    /// @return These files with what was seen of them in the calibration directory.
    std::vector<LookedAtFile> filesHere(Names const& names) const {
        std::vector<LookedAtFile> files;
        for (std::string const& name : names)
            files.push_back({name, m_looks.at(name)});
        return files;
    }

    std::vector<std::string> const& remarks() const { return m_remarks; }

private:
    Look const& remember(std::string const& name, Look const& look) {
        return m_looks.emplace(name, look).first->second;
    }

    /// The installer copies all files of one name over each other; which one remains, depends on
    /// the order of the directories.
    FileState compare(std::string const& name, OpenedFile const& here, Paths const& copies) {
        if (!remember(name, here.look).there)
            return FileState::missingHere;
        requireReadable(here);
        auto const equal = std::count_if(copies.begin(), copies.end(), [&](auto const& copy) {
            OpenedFile const there = openFile(copy);
            requireReadable(there);
            return sameBytes(here, there);
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
    std::unordered_map<std::string, Look> m_looks;
    std::vector<std::string> m_remarks;
};

/// @return The names of the set and of all other files of the camera, sorted, each once.
Names namesOf(Names const& ofSet, Options const& options, Tree const& stick) {
    std::unordered_set<std::string_view> const asked(ofSet.begin(), ofSet.end());
    Names names = ofSet;
    for (auto const& [name, paths] : stick.files) {
        if (asked.count(name) == 0)
            names.push_back(name);
    }
    for (std::string const& name : namesIn(options.directory)) {
        bool const known = asked.count(name) != 0 || stick.files.count(name) != 0;
        if (!known && zel::set::belongsTo(name, options.serial))
            names.push_back(name);
    }
    std::sort(names.begin(), names.end());
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
    InstalledSet const set(options.directory, options.serial);
    requireDirectory(options.source, R_OK | X_OK, "source directory");
    Tree stick;
    searchTree(options.source, options.serial, stick);
    Comparison comparison(set, stick);

    Result result = answerAbout(options.serial, options.directory);
    Json files = Json::array();
    Names const ofSet = set.names();
    for (std::string const& name : namesOf(ofSet, options, stick)) {
        FileState const state = comparison.stateOf(name);
        if (isMissingThere(state) && stick.gap)
            throw Failure(*stick.gap);
        if (state != FileState::same)
            result.status = Status::no;
        // There may be thousands of files, so only what will be printed is composed.
        if (options.json) {
            files.push_back({{"name", name}, {"state", jsonName(state)}});
        } else {
            result.text += stateLine(name, state, terminal);
        }
    }
    auto const filesHere = comparison.filesHere(ofSet);
    bool const complete = set.missing(filesHere).empty();
    if (!complete)
        result.status = Status::no;
    result.members["source"] = options.source;
    result.members["complete"] = complete;
    result.members["files"] = std::move(files);
    result.notes = set.remarks(filesHere);
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
