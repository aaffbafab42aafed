#include "store/MirrorPlan.h"

#include "store/FileSum.h"
#include "store/InstalledFiles.h"
#include "store/Layout.h"
#include "store/Stop.h"
#include "store/Target.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>

namespace zel::store {

namespace {

bool areSameTimes(timespec const& left, timespec const& right) noexcept {
    return left.tv_sec == right.tv_sec && left.tv_nsec == right.tv_nsec;
}

/// Compares a camera's set in a mirror with a source.
class MirrorComparison {
public:
    MirrorComparison(SourceTree const& tree, ServedSet const& served, Reporter& reporter)
        : m_tree(tree), m_served(served), m_reporter(reporter) {}

    /// @return What becomes of a file. @throws Stop
    FileState stateOf(FileToStage const& file) {
        if (!m_served.folder().descriptor.valid())
            return FileState::installed;
        struct stat status {};
        if (retried([&] {
                return fstatat(m_served.folder().get(), file.name.c_str(), &status,
                               AT_SYMLINK_NOFOLLOW);
            }) != 0) {
            if (errno != ENOENT)
                stop("Cannot look at", m_served.folder().pathOf(file.name), errno);
            return FileState::installed;
        }
        bool const isSame = S_ISREG(status.st_mode) &&
                            static_cast<std::uint64_t>(status.st_size) == file.size &&
                            (isSurelySame(file, status) || hasSameBytes(file));
        return isSame ? FileState::unchanged : FileState::replaced;
    }

    /// @return Whether the index lists the right sums of all files that are the same.
    bool isIndexRight() const noexcept { return m_isIndexRight; }

private:
    RecordedFile const* listed(FileToStage const& file) const {
        auto const* const found = m_served.index() ? m_served.index()->find(file.name) : nullptr;
        return found != nullptr && found->size == file.size ? found : nullptr;
    }

    /// Reading all files again would take most of the time of a run that has nothing to do.
    bool isSurelySame(FileToStage const& file, struct stat const& status) const {
        auto const* const sum = listed(file);
        return sum != nullptr && m_served.isIndexOriginal() &&
               areSameTimes(status.st_mtim, file.modified) &&
               (!file.digest || *file.digest == sum->digest);
    }

    bool hasSameBytes(FileToStage const& file) {
        auto const digest = commonDigest(file);
        auto const* const sum = listed(file);
        m_isIndexRight = m_isIndexRight && digest && sum != nullptr && sum->digest == *digest;
        return digest.has_value();
    }

    /// @return The hash of both files; nothing if they differ, or the one that is there cannot be
    ///         read: it has to be replaced.
    std::optional<Digest> commonDigest(FileToStage const& file) {
        std::string const path = m_served.folder().pathOf(file.name);
        OpenedFile const served = openRegular(m_served.folder().get(), file.name.c_str());
        if (served.error != 0)
            return std::nullopt;
        OpenedFile const held = m_tree.open(file.source);
        std::string const heldPath = m_tree.shownPath(file.source);
        if (held.error != 0)
            stop("Cannot read", heldPath, held.error);
        try {
            return sumIfSame(held, heldPath, served, path, m_reporter);
        } catch (Stop const& stopped) {
            if (stopped.failure.path != path)
                throw;
            return std::nullopt;
        }
    }

    SourceTree const& m_tree;
    ServedSet const& m_served;
    Reporter& m_reporter;
    bool m_isIndexRight = true;
};

/// Makes one plan.
class MirrorPlanner {
public:
    MirrorPlanner(SourceTree const& tree, unsigned long serial, WebRoot const& root,
                  MirrorOptions const& options, Reporter& reporter)
        : m_tree(tree), m_serial(serial), m_root(root), m_options(options), m_reporter(reporter) {}

    MirrorPlan make() {
        Target const nothing;
        m_plan.source = makePlan(m_tree, m_serial, InstalledFiles(nothing, m_serial),
                                 InstallOptions(), m_reporter);
        m_plan.remarks = std::move(m_plan.source.remarks);
        if (m_plan.source.refused)
            m_plan.files = std::move(m_plan.source.files);
        else
            compare();
        return std::move(m_plan);
    }

private:
    void compare() {
        ServedSet const served(m_root, m_serial);
        MirrorComparison comparison(m_tree, served, m_reporter);
        for (FileToStage const& file : m_plan.source.data)
            add(file.name, comparison.stateOf(file), file.size);
        add(m_plan.source.description->name, comparison.stateOf(*m_plan.source.description),
            m_plan.source.description->size);
        std::size_t const held = m_plan.files.size();
        sortFiles();
        for (std::string const& name : served.names()) {
            if (!isPlanned(name, held))
                add(name, FileState::removed, 0);
        }
        sortFiles();
        m_plan.changes = m_plan.changes || !comparison.isIndexRight() || !isIndexOf(served, held) ||
                         !isSignedAsWanted(served);
        if (m_plan.changes)
            requireReplaceable(served);
    }

    void add(std::string const& name, FileState state, std::uint64_t size) {
        m_plan.files.push_back({name, state, size, {}, ""});
        m_plan.changes = m_plan.changes || state != FileState::unchanged;
    }

    void sortFiles() {
        std::sort(m_plan.files.begin(), m_plan.files.end(),
                  [](File const& a, File const& b) { return a.name < b.name; });
    }

    /// @param count How many files are planned, which come first.
    bool isPlanned(std::string const& name, std::size_t count) const {
        auto const end = m_plan.files.begin() + static_cast<std::ptrdiff_t>(count);
        auto const found = std::lower_bound(
            m_plan.files.begin(), end, name,
            [](File const& file, std::string const& text) { return file.name < text; });
        return found != end && found->name == name;
    }

    bool isIndexOf(ServedSet const& served, std::size_t count) const {
        return served.index() && served.index()->files.size() == count;
    }

    bool isSignedAsWanted(ServedSet const& served) const {
        if (served.isSigned())
            return served.isSignedAlike();
        return m_options.signKey.empty();
    }

    /// The folder is replaced as a whole, and what is not ours is not ours to remove.
    void requireReplaceable(ServedSet const& served) {
        if (!served.foreign().empty())
            stop(FailureKind::inTheWay, "What does not belong to the set is in the way:",
                 served.folder().pathOf(served.foreign()));
        std::vector<std::string> names = served.names();
        names.insert(names.end(), {sumsName, signedSumsName});
        for (std::string const& name : names) {
            if (isFolder(served.folder(), name.c_str()))
                stop(FailureKind::inTheWay,
                     "A folder stands in a file's place:", served.folder().pathOf(name));
        }
        if (served.index())
            m_plan.oldDate = served.index()->date;
        if (served.isSigned() && m_options.signKey.empty())
            m_plan.remarks.push_back(
                {served.folder().path, "The set was signed, and no longer is:"});
    }

    SourceTree const& m_tree;
    unsigned long m_serial;
    WebRoot const& m_root;
    MirrorOptions const& m_options;
    Reporter& m_reporter;
    MirrorPlan m_plan;
};

} // namespace

MirrorPlan planMirror(SourceTree const& tree, unsigned long serial, WebRoot const& root,
                      MirrorOptions const& options, Reporter& reporter) {
    return MirrorPlanner(tree, serial, root, options, reporter).make();
}

} // namespace zel::store
