#include "store/SourceTree.h"

#include "sdk/set/FileKinds.h"
#include "store/Layout.h"
#include "store/Stop.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <string_view>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

namespace zel::store {

namespace {

/// Every folder is opened by its path from the source, so the time grows with the square of the
/// depth.
constexpr std::size_t longestPath = 65536;

/// How many entries of a folder are read between two calls of the callback.
constexpr std::size_t entriesPerReport = 1000;

/// Opens a path of any length. The kernel accepts PATH_MAX characters at a time, so a longer path
/// is opened in parts.
FileDescriptor openAlong(int folder, std::string const& path, int flags) {
    constexpr std::size_t longest = PATH_MAX - 1;
    FileDescriptor here;
    std::size_t start = 0;
    while (path.size() - start > longest) {
        auto const slash = path.rfind('/', start + longest);
        if (slash == std::string::npos || slash <= start)
            break;
        std::string const part = path.substr(start, slash - start);
        int const from = here.valid() ? here.get() : folder;
        here = FileDescriptor(retried(
            [&] { return openat(from, part.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
        if (!here.valid())
            return here;
        start = slash + 1;
    }
    int const from = here.valid() ? here.get() : folder;
    return FileDescriptor(
        retried([&] { return openat(from, path.c_str() + start, flags | O_CLOEXEC); }));
}

std::string joined(std::string const& folder, std::string const& name) {
    if (folder.empty())
        return name;
    return folder + "/" + name;
}

} // namespace

/// One entry of a folder.
struct SourceTree::Entry {
    std::string folder;                 ///< path of its folder, from the source on
    std::string name;                   ///< its name
    std::optional<unsigned long> owner; ///< the camera that it belongs to by its name
};

/// Searches folder by folder, without recursion: a stick may nest them as deep as it likes.
class SourceTree::Search {
public:
    Search(SourceTree& tree, std::set<std::string> const& skipped, std::string const& target,
           Reporter& reporter)
        : m_tree(tree), m_skipped(skipped), m_target(folderAt(target)), m_reporter(reporter),
          m_root(resolved(tree.path())) {}

    void run() {
        m_reporter.begin(Phase::searching);
        m_pending.emplace_back();
        while (!m_pending.empty()) {
            std::string const folder = std::move(m_pending.back());
            m_pending.pop_back();
            search(folder);
            m_reporter.fileDone();
        }
    }

private:
    void search(std::string const& folder) {
        FileDescriptor const opened =
            openAlong(m_tree.m_root.get(), folder.empty() ? "." : folder, O_RDONLY | O_DIRECTORY);
        struct stat status {};
        if (!opened.valid() || retried([&] { return fstat(opened.get(), &status); }) != 0)
            return noteGap(folder, errno);
        if (!m_searched.emplace(status.st_dev, status.st_ino).second)
            return; // a link led here before
        // What is installed is no source of itself. A source that is the target was named as such.
        if (!folder.empty() && m_target == FolderId(status.st_dev, status.st_ino))
            return m_tree.m_notSearched.push_back(
                {m_tree.shownPath(folder), "Not searched, since it is the calibration directory:"});
        std::size_t entries = 0;
        int const error = forEachEntry(opened.get(), [&](char const* name, unsigned char type) {
            if (++entries % entriesPerReport == 0)
                m_reporter.askWhetherToGoOn();
            visit({folder, name, set::ownerOf(name)}, type, opened.get());
        });
        if (error != 0)
            noteGap(folder, error);
    }

    void visit(Entry const& entry, unsigned char listed, int folder) {
        unsigned char const type = typeOf(folder, entry.name, listed);
        if (type == DT_DIR)
            descend(entry);
        else if (type == DT_LNK)
            follow(entry);
        else if (entry.owner && type == DT_REG)
            m_tree.m_files[*entry.owner].push_back({entry.folder, entry.name, {}});
        else if (entry.owner)
            leaveOut(entry, "Left out, since it is no file:");
    }

    /// Some file systems do not report types in their listings.
    static unsigned char typeOf(int folder, std::string const& name, unsigned char listed) {
        struct stat status {};
        if (listed != DT_UNKNOWN ||
            retried([&] { return fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW); }) !=
                0)
            return listed;
        return static_cast<unsigned char>(IFTODT(status.st_mode));
    }

    void descend(Entry const& entry) {
        std::string path = joined(entry.folder, entry.name);
        if (path.size() > longestPath)
            return noteGap(path, ENAMETOOLONG);
        if (isOurFolder(entry.name))
            return;
        if (m_skipped.count(m_tree.shownPath(path)) == 0)
            m_pending.push_back(std::move(path));
    }

    /// A link that leads out of the source could bring in any file of this machine.
    void follow(Entry const& entry) {
        std::string const target = resolved(m_tree.shownPath(joined(entry.folder, entry.name)));
        struct stat status {};
        if (target.empty() || stat(target.c_str(), &status) != 0) {
            if (entry.owner)
                leaveOut(entry, "Left out, since it is a link that leads nowhere:");
            return;
        }
        auto const inside = pathInside(target);
        if (S_ISDIR(status.st_mode)) {
            if (!inside)
                noteLink(entry);
            else if (!leadsThroughHidden(*inside))
                m_pending.push_back(*inside);
        } else if (entry.owner) {
            if (!S_ISREG(status.st_mode))
                leaveOut(entry, "Left out, since it is no file:");
            else if (!inside || leadsThroughHidden(*inside))
                leaveOut(entry, "Left out, since it is a link out of the source:");
            else
                m_tree.m_files[*entry.owner].push_back({entry.folder, entry.name, {}});
        }
    }

    /// @return A path from the source on; nothing when it leads elsewhere.
    std::optional<std::string> pathInside(std::string const& target) const {
        if (target == m_root)
            return "";
        std::string const start = m_root == "/" ? m_root : m_root + "/";
        if (m_root.empty() || target.compare(0, start.size(), start) != 0)
            return std::nullopt;
        return target.substr(start.size());
    }

    static bool leadsThroughHidden(std::string_view path) {
        while (!path.empty()) {
            auto const end = std::min(path.find('/'), path.size());
            if (isOurFolder(path.substr(0, end)))
                return true;
            path.remove_prefix(std::min(end + 1, path.size()));
        }
        return false;
    }

    void leaveOut(Entry const& entry, char const* message) {
        auto& remarks = m_tree.m_leftOut[*entry.owner];
        if (remarks.size() < mostRemarks)
            remarks.push_back({m_tree.shownPath(joined(entry.folder, entry.name)), message});
    }

    void noteLink(Entry const& entry) {
        if (m_tree.m_notSearched.size() < mostRemarks)
            m_tree.m_notSearched.push_back({m_tree.shownPath(joined(entry.folder, entry.name)),
                                            "Not followed, since it is a link out of the source:"});
    }

    /// A folder that cannot be read, such as lost+found, does not matter if all files are found
    /// elsewhere. So the failure is only remembered.
    void noteGap(std::string const& folder, int error) {
        if (m_tree.m_gap)
            return;
        m_tree.m_gap.emplace();
        m_tree.m_gap->message = "Cannot search";
        m_tree.m_gap->path = folder.empty() ? m_tree.path() : m_tree.shownPath(folder);
        m_tree.m_gap->error = error;
    }

    SourceTree& m_tree;
    std::set<std::string> const& m_skipped;
    std::optional<FolderId> m_target;
    Reporter& m_reporter;
    std::string m_root; // without links
    std::vector<std::string> m_pending;
    std::set<FolderId> m_searched;
};

namespace {

void sortByPath(std::vector<SourceFile>& files) {
    // Of one path there may be several in an archive, which stay in its order.
    std::stable_sort(files.begin(), files.end(), [](SourceFile const& a, SourceFile const& b) {
        return std::tie(a.folder, a.name) < std::tie(b.folder, b.name);
    });
}

bool isDescription(SourceFile const& file, unsigned long serial) {
    return set::inProperCase(file.name) == set::descriptionName(serial).view();
}

} // namespace

SourceTree::SourceTree(HeldMembers&& members)
    : m_root{FileDescriptor(), std::move(members.path)}, m_isArchive(true),
      m_texts(std::move(members.texts)), m_damagedSums(std::move(members.damagedSums)),
      m_files(std::move(members.files)), m_leftOut(std::move(members.leftOut)),
      m_notSearched(std::move(members.remarks)),
      m_cameras(members.described.begin(), members.described.end()) {
    for (auto& [serial, files] : m_files)
        sortByPath(files);
    for (auto& [serial, remarks] : m_leftOut)
        std::sort(remarks.begin(), remarks.end(),
                  [](Remark const& a, Remark const& b) { return a.path < b.path; });
}

SourceTree::SourceTree(std::string path, std::set<std::string> const& skipped,
                       std::string const& target, Reporter& reporter)
    : m_root(openFolder(path)) {
    if (!m_root.descriptor.valid())
        stop("Cannot use the source", std::move(path), errno);
    Search(*this, skipped, target, reporter).run();
    for (auto& [serial, files] : m_files) {
        sortByPath(files);
        unsigned long const owner = serial;
        if (std::any_of(files.begin(), files.end(),
                        [&](SourceFile const& file) { return isDescription(file, owner); }))
            m_cameras.push_back(serial);
    }
}

std::vector<SourceFile> const& SourceTree::filesOf(unsigned long serial) const {
    static std::vector<SourceFile> const none;
    auto const found = m_files.find(serial);
    return found != m_files.end() ? found->second : none;
}

std::vector<Remark> SourceTree::remarksOn(unsigned long serial) const {
    std::vector<Remark> remarks = m_notSearched;
    auto const found = m_leftOut.find(serial);
    if (found != m_leftOut.end())
        remarks.insert(remarks.end(), found->second.begin(), found->second.end());
    return remarks;
}

std::vector<Remark> SourceTree::remarks() const {
    std::vector<Remark> remarks = m_notSearched;
    for (auto const& [serial, leftOut] : m_leftOut)
        remarks.insert(remarks.end(), leftOut.begin(), leftOut.end());
    return remarks;
}

Remark remarkOn(Failure const& gap) {
    return {gap.path, "Cannot be searched:", gap.error};
}

Look SourceTree::look(std::string const& path) const {
    Look look;
    if (path.size() < PATH_MAX) {
        look = lookAt(m_root.get(), path.c_str());
    } else {
        OpenedFile const opened = open(path);
        look = {opened.error == 0, opened.error, opened.error == 0, opened.size(),
                opened.status.st_mtim};
    }
    if (look.error == 0 && !look.regular)
        look.error = EINVAL;
    return look;
}

std::uint64_t SourceTree::sizeOf(SourceFile const& file) const {
    if (file.held)
        return file.held->size;
    return open(file.path()).size();
}

bool SourceTree::hasSumsFor(std::string const& folder, unsigned long serial) const {
    auto const& files = filesOf(serial);
    return !m_isArchive || std::any_of(files.begin(), files.end(), [&](SourceFile const& file) {
        return file.folder == folder && isDescription(file, serial);
    });
}

std::map<std::string, std::string> SourceTree::damagedSumsFor(unsigned long serial) const {
    std::map<std::string, std::string> damaged;
    for (auto const& [path, why] : m_damagedSums) {
        auto const slash = path.rfind('/');
        if (hasSumsFor(slash == std::string::npos ? "" : path.substr(0, slash), serial))
            damaged.emplace(shownPath(path), why);
    }
    return damaged;
}

OpenedFile SourceTree::openHeld(std::string const& path) const {
    OpenedFile opened;
    auto const text = m_texts.find(path);
    if (text == m_texts.end()) {
        opened.error = ENOENT;
        return opened;
    }
    HeldText const& held = text->second;
    opened.file = FileDescriptor(memfd_create("member", MFD_CLOEXEC));
    std::array<timespec, 2> const times{held.time, held.time};
    if (!opened.file.valid() || !writeAll(opened.file.get(), held.bytes) ||
        lseek(opened.file.get(), 0, SEEK_SET) != 0 ||
        futimens(opened.file.get(), times.data()) != 0 ||
        fstat(opened.file.get(), &opened.status) != 0) {
        opened.error = errno;
        opened.file = FileDescriptor();
    }
    return opened;
}

OpenedFile SourceTree::open(std::string const& path) const {
    if (m_isArchive)
        return openHeld(path);
    if (path.size() < PATH_MAX)
        return openRegular(m_root.get(), path.c_str());
    auto const slash = path.rfind('/');
    FileDescriptor const folder =
        openAlong(m_root.get(), path.substr(0, slash), O_RDONLY | O_DIRECTORY);
    if (!folder.valid()) {
        OpenedFile none;
        none.error = errno;
        return none;
    }
    return openRegular(folder.get(), path.c_str() + slash + 1);
}

} // namespace zel::store
