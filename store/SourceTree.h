/// @file
/// What a source holds.
#pragma once

#include "store/Files.h"
#include "store/Reporter.h"
#include "store/Results.h"

#include <map>
#include <set>
#include <string>
#include <vector>

namespace zel::store {

/// A file of a camera in a source.
struct SourceFile {
    std::string folder; ///< path of its folder, from the source on; empty for the source itself
    std::string name;   ///< its name

    /// @return Its path, from the source on. @throws std::bad_alloc
    std::string path() const { return folder.empty() ? name : folder + "/" + name; }
};

/// The cameras' files in a directory and all below, as one search found them.
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

    /// @return Path of the directory, as given.
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

    /// Opens a file.
    /// @param path Its path, from the source on; of any length.
    OpenedFile open(std::string const& path) const;
    /// Looks at a file that need not be read now.
    /// @param path Its path, from the source on; of any length.
    /// @return What it shows; its error is EINVAL for what is no regular file.
    Look look(std::string const& path) const;
    /// @return The path that messages show. @throws std::bad_alloc
    std::string shownPath(std::string const& path) const { return m_root.pathOf(path); }

private:
    struct Entry;
    class Search;

    Folder m_root;
    std::map<unsigned long, std::vector<SourceFile>> m_files;
    std::map<unsigned long, std::vector<Remark>> m_leftOut;
    std::vector<Remark> m_notSearched;
    std::vector<unsigned long> m_cameras;
    std::optional<Failure> m_gap;
};

/// @return What to know of a folder that could not be searched. @throws std::bad_alloc
Remark remarkOn(Failure const& gap);

} // namespace zel::store
