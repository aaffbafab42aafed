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

namespace {

/// Looks at one of several copies.
class CopyLook {
public:
    CopyLook(SourceTree const& tree, Copies const& copies, SourceSums& sums, Reporter& reporter)
        : m_tree(tree), m_copies(copies), m_sums(sums), m_reporter(reporter) {}

    CopiesLook take() {
        for (SourceFile const* const file : m_copies.files) {
            auto const* const listed = m_sums.of(*file);
            auto const digest = file->held ? digestOfMember(*file) : digestOfFile(*file, listed);
            if (!digest)
                continue;
            if (listed != nullptr && SourceSums::contradict(*listed, *digest))
                m_look.contradictedPath = m_tree.shownPath(file->path());
            m_look.differ = m_look.differ || (m_look.digest && digest != m_look.digest);
            if (!m_look.digest)
                m_look.digest = digest;
        }
        return std::move(m_look);
    }

private:
    std::optional<Digest> digestOfMember(SourceFile const& file) {
        if (!file.held->damage.empty()) {
            m_look.damagedPath = m_tree.shownPath(file.path());
            m_look.damage = file.held->damage;
            return std::nullopt;
        }
        if (!m_look.digest) {
            m_look.size = file.held->size;
            m_look.modified = file.held->modified;
        }
        return file.held->digest;
    }

    /// @return Nothing when nobody needs it.
    std::optional<Digest> digestOfFile(SourceFile const& file, std::vector<Digest> const* listed) {
        std::string const path = file.path();
        if (m_copies.files.size() == 1 && listed == nullptr) {
            Look const only = m_tree.look(path);
            if (only.error != 0)
                stop("Cannot read", m_tree.shownPath(path), only.error);
            m_look.size = only.size;
            m_look.modified = only.modified;
            return std::nullopt;
        }
        OpenedFile const opened = m_tree.open(path);
        if (opened.error != 0)
            stop("Cannot read", m_tree.shownPath(path), opened.error);
        if (!m_look.digest) {
            m_look.size = opened.size();
            m_look.modified = opened.status.st_mtim;
        }
        return readSum(opened, m_tree.shownPath(path), m_reporter).digest;
    }

    SourceTree const& m_tree;
    Copies const& m_copies;
    SourceSums& m_sums;
    Reporter& m_reporter;
    CopiesLook m_look;
};

} // namespace

CopiesLook lookAtCopies(SourceTree const& tree, Copies const& copies, SourceSums& sums,
                        Reporter& reporter) {
    return CopyLook(tree, copies, sums, reporter).take();
}

std::vector<std::string> pathsOf(SourceTree const& tree, Copies const& copies) {
    std::vector<std::string> paths;
    for (SourceFile const* const file : copies.files)
        paths.push_back(tree.shownPath(file->path()));
    return paths;
}

} // namespace zel::store
