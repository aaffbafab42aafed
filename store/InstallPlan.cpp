#include "store/InstallPlan.h"

#include "sdk/set/FileKinds.h"
#include "store/Copies.h"
#include "store/FileSum.h"
#include "store/Stop.h"
#include "store/Sums.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <set>
#include <unordered_set>
#include <utility>

#include <sys/stat.h>

namespace zel::store {

namespace {

bool areEqual(RecordedFile const& a, RecordedFile const& b) noexcept {
    return a.size == b.size && a.digest == b.digest;
}

std::string baseName(std::string const& path) {
    return path.substr(path.rfind('/') + 1);
}

/// Makes one plan.
class Planner {
public:
    Planner(SourceTree const& tree, unsigned long serial, InstalledFiles const& installed,
            InstallOptions const& options, Reporter& reporter)
        : m_tree(tree), m_serial(serial), m_installed(installed), m_options(options),
          m_reporter(reporter), m_sums(tree, serial, reporter),
          m_descriptionName(set::descriptionName(serial).view()) {}

    InstallPlan make() {
        m_reporter.begin(Phase::comparing);
        m_plan.remarks = m_tree.remarksOn(m_serial);
        std::vector<std::string> asked{m_descriptionName};
        if (readDescription(asked))
            planFiles(asked);
        for (auto const& [path, why] : m_tree.damagedSumsFor(m_serial))
            refuseDamaged(baseName(path), path, why);
        finish();
        return std::move(m_plan);
    }

private:
    /// @param asked Receives the names that the description asks for.
    /// @return Whether the other files can be planned.
    bool readDescription(std::vector<std::string>& asked) {
        CopiesByName const copies(m_tree.filesOf(m_serial), asked);
        Copies const* const found = copies.find(m_descriptionName);
        if (found == nullptr) {
            m_lacks = true;
            m_plan.files.push_back({m_descriptionName, FileState::missing, 0, {}, ""});
            // New data with an old description could be taken for one set.
            return m_options.partial && m_installed.placeOf(m_descriptionName) == Place::nothing;
        }
        CopiesLook const look = lookAtCopies(m_tree, *found, m_sums, m_reporter);
        if (refuse(m_descriptionName, *found, look))
            return false;
        std::string const path = found->files.front()->path();
        OpenedFile const opened = m_tree.open(path);
        if (opened.error != 0)
            stop("Cannot read", m_tree.shownPath(path), opened.error);
        // Hashed before it is parsed: if it changes in between, the staged copy has another hash.
        Digest const digest = readSum(opened, m_tree.shownPath(path), m_reporter).digest;
        auto description = readSetDescription(opened.file, m_tree.shownPath(path), m_serial);
        if (!description.description) {
            refuseDamaged(m_descriptionName, m_tree.shownPath(path), description.whyNot);
            return false;
        }
        m_sameDescription = sumIfInstalled(m_descriptionName, *found, look).has_value();
        m_descriptionDigest = digest;
        m_descriptionTime = opened.status.st_mtim;
        asked = description.names.all();
        m_plan.newDescription = std::move(description);
        return true;
    }

    void planFiles(std::vector<std::string> const& asked) {
        m_asked.insert(asked.begin(), asked.end());
        CopiesByName const copies(m_tree.filesOf(m_serial), asked);
        for (SourceFile const* const file : copies.displaced())
            m_plan.remarks.push_back({m_tree.shownPath(file->path()),
                                      "Left out, since there is another one with exactly the right "
                                      "name:"});
        for (SourceFile const* const file : copies.displaced()) {
            if (file->held && !file->held->damage.empty())
                refuseDamaged(file->name, m_tree.shownPath(file->path()), file->held->damage);
        }
        for (auto const& [name, found] : copies.all()) {
            planFile(name, found);
            m_reporter.fileDone();
        }
        for (std::string const& name : asked) {
            if (copies.find(name) == nullptr && name != m_descriptionName)
                planMissing(name);
        }
        if (m_plan.newDescription)
            planDescription(copies);
        planLeftovers(copies);
    }

    void planFile(std::string const& name, Copies const& copies) {
        CopiesLook const look = lookAtCopies(m_tree, copies, m_sums, m_reporter);
        if (refuse(name, copies, look))
            return;
        if (copies.isRespelt)
            m_plan.remarks.push_back(
                {m_tree.shownPath(copies.files.front()->path()), "Installed as " + name + ":"});
        requireNoFolder(name);
        if (auto const digest = sumIfInstalled(name, copies, look)) {
            m_plan.files.push_back({name, FileState::unchanged, look.size, {}, ""});
            m_plan.unchanged[name] = {look.size, *digest};
            return;
        }
        bool const isNew = m_installed.placeOf(name) == Place::nothing;
        m_plan.files.push_back(
            {name, isNew ? FileState::installed : FileState::replaced, look.size, {}, ""});
        SourceFile const& first = *copies.files.front();
        FileToStage file{name, first.path(), look.size, look.digest, look.modified, first.held};
        addBytes(look.size);
        if (name != m_descriptionName)
            return m_plan.data.push_back(std::move(file));
        file.digest = m_descriptionDigest;
        m_plan.description = std::move(file);
    }

    /// @return The hash of the installed file if it equals the source's, otherwise nothing. An
    ///         installed file that cannot be read counts as different: it has to be replaced.
    std::optional<Digest> sumIfInstalled(std::string const& name, Copies const& copies,
                                         CopiesLook const& look) {
        if (m_installed.placeOf(name) != Place::file)
            return std::nullopt;
        OpenedFile const installed = m_installed.open(name);
        if (installed.error != 0 || installed.size() != look.size)
            return std::nullopt;
        if (copies.files.front()->held)
            return sumIfHeld(name, *copies.files.front()->held, installed);
        std::string const path = copies.files.front()->path();
        OpenedFile const held = m_tree.open(path);
        if (held.error != 0)
            stop("Cannot read", m_tree.shownPath(path), held.error);
        try {
            // Hashing takes most of the time of an installation that has nothing to do.
            auto const recorded = m_installed.recordedSince(name, installed);
            if (recorded) {
                bool const same = haveSameBytes(held, m_tree.shownPath(path), installed,
                                                m_installed.pathOf(name), m_reporter);
                return same ? std::optional(recorded->digest) : std::nullopt;
            }
            return sumIfSame(held, m_tree.shownPath(path), installed, m_installed.pathOf(name),
                             m_reporter);
        } catch (Stop const& stopped) {
            if (stopped.failure.path != m_installed.pathOf(name))
                throw;
            return std::nullopt;
        }
    }

    /// @return The hash of the installed file if it equals a member of an archive, of which only
    /// the
    ///         hash is left. Both were compared when the member passed by, unless it has changed.
    std::optional<Digest> sumIfHeld(std::string const& name, Held const& held,
                                    OpenedFile const& installed) {
        struct stat const& then = held.sameAs;
        struct stat const& now = installed.status;
        bool const wasCompared = then.st_ino == now.st_ino && then.st_dev == now.st_dev &&
                                 then.st_nlink != 0 && then.st_ctim.tv_sec == now.st_ctim.tv_sec &&
                                 then.st_ctim.tv_nsec == now.st_ctim.tv_nsec;
        if (wasCompared)
            return held.digest;
        auto const file = readInstalled(name);
        return file && file->digest == held.digest ? std::optional(held.digest) : std::nullopt;
    }

    /// @return Size and hash of an installed file, or nothing if it cannot be read.
    std::optional<RecordedFile> readInstalled(std::string const& name) {
        OpenedFile const opened = m_installed.open(name);
        if (opened.error != 0)
            return std::nullopt;
        try {
            return readSum(opened, m_installed.pathOf(name), m_reporter);
        } catch (Stop const& stopped) {
            if (stopped.failure.kind != FailureKind::system)
                throw;
            return std::nullopt;
        }
    }

    /// Plans a file that the source lacks. If the description stays the same, the installed file
    /// will do, provided that it is what was recorded. If the description changes, the installed
    /// file belongs to the old set and must not complete the new one.
    void planMissing(std::string const& name) {
        bool const isHere = m_installed.placeOf(name) == Place::file;
        if (m_sameDescription && isHere) {
            auto const file = readInstalled(name);
            if (file && file->size != 0 && agreesWithRecord(name, *file)) {
                m_plan.files.push_back({name, FileState::unchanged, file->size, {}, ""});
                m_plan.unchanged[name] = *file;
                return;
            }
        }
        m_lacks = true;
        m_plan.files.push_back({name, FileState::missing, 0, {}, ""});
        if (m_installed.placeOf(name) == Place::nothing || m_sameDescription)
            return;
        requireNoFolder(name);
        m_plan.removedBefore.push_back(name);
    }

    bool agreesWithRecord(std::string const& name, RecordedFile const& file) const {
        if (!m_installed.record())
            return true;
        RecordedFile const* const recorded = m_installed.record()->find(name);
        return recorded == nullptr || areEqual(*recorded, file);
    }

    /// While data changes, no description must be there, even one that stays the same.
    void planDescription(CopiesByName const& copies) {
        bool const dataChanges = !m_plan.data.empty() || !m_plan.removedBefore.empty();
        auto const stays = m_plan.unchanged.find(m_descriptionName);
        if (!dataChanges || stays == m_plan.unchanged.end())
            return;
        SourceFile const& first = *copies.find(m_descriptionName)->files.front();
        m_plan.description = FileToStage{m_descriptionName,   first.path(),      stays->second.size,
                                         m_descriptionDigest, m_descriptionTime, first.held};
        addBytes(stays->second.size);
        m_plan.unchanged.erase(stays);
    }

    void planLeftovers(CopiesByName const& copies) {
        for (std::string const& name : m_installed.names()) {
            if (m_asked.count(name) != 0 || copies.find(name) != nullptr)
                continue;
            if (m_options.prune) {
                requireNoFolder(name);
                m_plan.files.push_back({name, FileState::removed, 0, {}, ""});
                m_plan.removedAfter.push_back(name);
            } else {
                m_plan.remarks.push_back(
                    {m_installed.pathOf(name), "Neither the source nor the description names"});
            }
        }
    }

    void addBytes(std::uint64_t size) { m_plan.bytes += std::min(size, UINT64_MAX - m_plan.bytes); }

    void requireNoFolder(std::string const& name) const {
        if (m_installed.placeOf(name) == Place::folder)
            stop(FailureKind::inTheWay,
                 "A folder stands in a file's place:", m_installed.pathOf(name));
    }

    /// @return Whether the copies of a name are refused.
    bool refuse(std::string const& name, Copies const& copies, CopiesLook const& look) {
        bool const isOfSet = name == m_descriptionName || m_asked.count(name) != 0;
        if (!look.damagedPath.empty())
            refuseDamaged(name, look.damagedPath, look.damage);
        else if (!look.contradictedPath.empty())
            refuseDamaged(name, look.contradictedPath, "SHA256SUMS beside it has another sum.");
        else if (look.differ)
            refuse(name, FileState::ambiguous, pathsOf(m_tree, copies), "These files differ.");
        else if (isOfSet && look.size == 0)
            refuseDamaged(name, pathsOf(m_tree, copies).front(), "It is empty.");
        else
            return false;
        return true;
    }

    void refuseDamaged(std::string const& name, std::string const& path, std::string message) {
        refuse(name, FileState::damaged, std::vector<std::string>(1, path), std::move(message));
    }

    void refuse(std::string const& name, FileState state, std::vector<std::string> paths,
                std::string message) {
        m_isRefused = true;
        m_plan.files.push_back({name, state, 0, std::move(paths), std::move(message)});
    }

    void finish() {
        std::sort(m_plan.files.begin(), m_plan.files.end(),
                  [](File const& a, File const& b) { return a.name < b.name; });
        // The missing files, or files that must not be pruned, may be where the search failed.
        if (m_tree.gap() && (m_lacks || m_options.prune))
            throw Stop{*m_tree.gap()};
        if (m_tree.gap())
            m_plan.remarks.push_back(remarkOn(*m_tree.gap()));
        bool const mayBePartial = m_options.partial && mayInstall();
        m_plan.refused = m_isRefused || (m_lacks && !mayBePartial);
        if (m_plan.refused) {
            refuseAll();
            return;
        }
        for (std::string const& name : m_plan.removedBefore)
            m_plan.remarks.push_back(
                {m_installed.pathOf(name), "Removed, since it belongs to another description:"});
        m_plan.complete = !m_lacks;
        m_plan.recordDiffers = recordDiffers();
    }

    /// Nothing will be installed, so only the problems are listed.
    void refuseAll() {
        auto const isWrong = [](File const& file) {
            return file.state == FileState::missing || file.state == FileState::damaged ||
                   file.state == FileState::ambiguous;
        };
        auto& files = m_plan.files;
        files.erase(std::remove_if(files.begin(), files.end(),
                                   [&](File const& file) { return !isWrong(file); }),
                    files.end());
        m_plan.data.clear();
        m_plan.description.reset();
        m_plan.removedBefore.clear();
        m_plan.removedAfter.clear();
        m_plan.bytes = 0;
    }

    bool mayInstall() const {
        return m_plan.newDescription || m_installed.placeOf(m_descriptionName) == Place::nothing;
    }

    /// @return Whether the record differs from what will be installed.
    bool recordDiffers() const {
        bool const hasFiles =
            !m_plan.unchanged.empty() || !m_plan.data.empty() || m_plan.description;
        if (!hasFiles)
            return false;
        if (!m_plan.data.empty() || m_plan.description || !m_installed.record())
            return true;
        Record const& record = *m_installed.record();
        auto const isRecorded = [&](auto const& file) {
            RecordedFile const* const recorded = record.find(file.first);
            return recorded != nullptr && areEqual(*recorded, file.second);
        };
        return record.files.size() != m_plan.unchanged.size() ||
               !std::all_of(m_plan.unchanged.begin(), m_plan.unchanged.end(), isRecorded);
    }

    SourceTree const& m_tree;
    unsigned long m_serial;
    InstalledFiles const& m_installed;
    InstallOptions const& m_options;
    Reporter& m_reporter;
    SourceSums m_sums;
    std::string m_descriptionName;
    std::unordered_set<std::string> m_asked;
    std::optional<Digest> m_descriptionDigest;
    timespec m_descriptionTime{};
    bool m_sameDescription = false;
    bool m_lacks = false;
    bool m_isRefused = false;
    InstallPlan m_plan;
};

} // namespace

InstallPlan makePlan(SourceTree const& tree, unsigned long serial, InstalledFiles const& installed,
                     InstallOptions const& options, Reporter& reporter) {
    return Planner(tree, serial, installed, options, reporter).make();
}

} // namespace zel::store
