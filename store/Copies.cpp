#include "store/Copies.h"

#include "sdk/set/FileKinds.h"
#include "store/FileSum.h"
#include "store/Stop.h"

#include <cerrno>
#include <unordered_map>
#include <unordered_set>
#include <utility>

namespace zel::store {

namespace {

/// Finds the name under which a file would be installed.
class Spelling {
public:
    explicit Spelling(std::vector<std::string> const& asked) : m_asked(asked.begin(), asked.end()) {
        for (std::string const& name : asked) {
            auto const [place, isNew] = m_byLetters.emplace(set::inLowerCase(name), name);
            if (!isNew)
                place->second.clear(); // two names that differ in case only
        }
    }

    std::string of(std::string const& name) const {
        if (m_asked.count(name) != 0)
            return name;
        auto const found = m_byLetters.find(set::inLowerCase(name));
        bool const isAsked = found != m_byLetters.end() && !found->second.empty();
        return isAsked ? found->second : set::inProperCase(name);
    }

private:
    std::unordered_set<std::string> m_asked;
    std::unordered_map<std::string, std::string> m_byLetters;
};

} // namespace

CopiesByName::CopiesByName(std::vector<SourceFile> const& files,
                           std::vector<std::string> const& asked) {
    Spelling const spelling(asked);
    for (SourceFile const& file : files)
        add(file, spelling.of(file.name));
}

void CopiesByName::add(SourceFile const& file, std::string const& name) {
    bool const isRespelt = file.name != name;
    Copies& copies = m_copies[name];
    if (!copies.files.empty() && copies.isRespelt != isRespelt) {
        if (isRespelt) {
            m_displaced.push_back(&file);
            return;
        }
        m_displaced.insert(m_displaced.end(), copies.files.begin(), copies.files.end());
        copies.files.clear();
    }
    copies.isRespelt = isRespelt;
    copies.files.push_back(&file);
}

Copies const* CopiesByName::find(std::string const& name) const noexcept {
    auto const found = m_copies.find(name);
    return found != m_copies.end() ? &found->second : nullptr;
}

CopiesLook lookAtCopies(SourceTree const& tree, Copies const& copies, SourceSums& sums,
                        Reporter& reporter) {
    CopiesLook look;
    for (SourceFile const* const file : copies.files) {
        bool const isFirst = file == copies.files.front();
        std::string const path = file->path();
        auto const* const listed = sums.of(*file);
        if (copies.files.size() == 1 && listed == nullptr) {
            Look const only = tree.look(path);
            if (only.error != 0)
                stop("Cannot read", tree.shownPath(path), only.error);
            look.size = only.size;
            look.modified = only.modified;
            break;
        }
        OpenedFile const opened = tree.open(path);
        if (opened.error != 0)
            stop("Cannot read", tree.shownPath(path), opened.error);
        if (isFirst) {
            look.size = opened.size();
            look.modified = opened.status.st_mtim;
        }
        Digest const digest = readSum(opened, tree.shownPath(path), reporter).digest;
        if (listed != nullptr && SourceSums::contradict(*listed, digest))
            look.contradictedPath = tree.shownPath(path);
        look.differ = look.differ || (!isFirst && digest != look.digest);
        if (isFirst)
            look.digest = digest;
    }
    return look;
}

std::vector<std::string> pathsOf(SourceTree const& tree, Copies const& copies) {
    std::vector<std::string> paths;
    for (SourceFile const* const file : copies.files)
        paths.push_back(tree.shownPath(file->path()));
    return paths;
}

} // namespace zel::store
