/// @file
/// What a source holds.
#pragma once

#include "store/Files.h"
#include "store/Reporter.h"
#include "store/Results.h"
#include "store/Sha256.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <sys/stat.h>

namespace zel::store {

/// Limits the remarks about a source, which may have a million odd links.
constexpr std::size_t mostRemarks = 100;

/// What is known of a member of an archive after it passed by. Its bytes are not there any more,
/// unless they were staged.
struct Held {
    std::uint64_t size = 0;             ///< its size in bytes
    Digest digest{};                    ///< sum of its bytes
    timespec modified{};                ///< its modification time
    std::optional<unsigned int> staged; ///< its number in the stage
    std::string damage;                 ///< why it cannot be had, in a sentence; empty when it can
    struct stat sameAs {};              ///< status of the installed file that it equals; zero
                                        ///< without one
};

/// A file of a camera in a source.
struct SourceFile {
    std::string folder; ///< path of its folder, from the source on; empty for the source itself
    std::string name;   ///< its name
    std::shared_ptr<Held const> held; ///< of a member of an archive; null for a file

    /// @return Its path, from the source on. @throws std::bad_alloc
    std::string path() const {
        if (folder.empty())
            return name;
        return folder + "/" + name;
    }
};

/// A small file of a source that is kept in memory.
struct HeldText {
    std::string bytes; ///< what it holds
    timespec time;     ///< its modification time
};

/// What a reading of an archive found.
struct HeldMembers {
    std::string path;                                       ///< path of the archive
    std::map<unsigned long, std::vector<SourceFile>> files; ///< by camera
    std::map<unsigned long, std::vector<Remark>> leftOut;   ///< by camera
    std::set<unsigned long> described;                      ///< cameras with a description
    std::map<std::string, HeldText> texts;                  ///< descriptions and sums, by path
    std::map<std::string, std::string> damagedSums;         ///< why, by path
    std::vector<Remark> remarks;                            ///< on the archive as a whole
};

/// The cameras' files in a directory and all below, or in an archive, as one search found them.
class SourceTree {
public:
    /// Searches a directory.
    /// @param path     Its path.
    /// @param skipped  Paths of folders below it that are not searched.
    /// @param target   Path of the calibration directory, which is not searched below it either;
    ///                 may be empty.
    /// @param reporter Told of each folder.
    /// @throws Stop when the directory cannot be searched; std::bad_alloc
    SourceTree(std::string path, std::set<std::string> const& skipped, std::string const& target,
               Reporter& reporter);

    /// Takes over what a reading of an archive found. @throws std::bad_alloc
    explicit SourceTree(HeldMembers&& members);

    /// @return Path of the directory or archive, as given.
    std::string const& path() const noexcept { return m_root.path; }
    /// @return The cameras with a description, by serial number.
    std::vector<unsigned long> const& cameras() const noexcept { return m_cameras; }
    /// @return A camera's files, sorted by path.
    std::vector<SourceFile> const& filesOf(unsigned long serial) const;
    /// @return What was left out of a camera's files, and folders that were not searched.
    std::vector<Remark> remarksOn(unsigned long serial) const;
    /// @return What was left out of all cameras' files, and folders that were not searched.
    std::vector<Remark> remarks() const;
    /// @return Why a folder could not be searched; nothing when all could.
    std::optional<Failure> const& gap() const noexcept { return m_gap; }

    /// Opens a file; of an archive only a description or sums.
    /// @param path Its path, from the source on; of any length.
    OpenedFile open(std::string const& path) const;
    /// Looks at a file that need not be read now.
    /// @param path Its path, from the source on; of any length.
    /// @return What it shows; its error is EINVAL for what is no regular file.
    Look look(std::string const& path) const;
    /// @return A file's size in bytes; 0 when it cannot be opened.
    std::uint64_t sizeOf(SourceFile const& file) const;
    /// @return Whether the sums in a folder count for a camera: in a directory always, in an
    /// archive
    ///         where its description is, too.
    bool hasSumsFor(std::string const& folder, unsigned long serial) const;
    /// @return Paths of sums that count for a camera and cannot be had, with the reason.
    std::map<std::string, std::string> damagedSumsFor(unsigned long serial) const;
    /// @return The path that messages show. @throws std::bad_alloc
    std::string shownPath(std::string const& path) const { return m_root.pathOf(path); }

private:
    struct Entry;
    class Search;

    OpenedFile openHeld(std::string const& path) const;

    Folder m_root;
    bool m_isArchive = false;
    std::map<std::string, HeldText> m_texts;
    std::map<std::string, std::string> m_damagedSums;
    std::map<unsigned long, std::vector<SourceFile>> m_files;
    std::map<unsigned long, std::vector<Remark>> m_leftOut;
    std::vector<Remark> m_notSearched;
    std::vector<unsigned long> m_cameras;
    std::optional<Failure> m_gap;
};

/// @return What to know of a folder that could not be searched. @throws std::bad_alloc
Remark remarkOn(Failure const& gap);

} // namespace zel::store
