/// @file
/// Where a camera's files come from.
#pragma once

#include "store/Results.h"
#include "util/Export.h"

#include <memory>
#include <string>
#include <vector>

namespace zel::store {

class Archive;
class SourceTree;
struct SourceOutcome;

/// A directory with cameras' files, or an archive of them. A directory is searched at once, with
/// all below: links are followed inside it only, a `.zentho-cali` in it, and what a mirror has
/// beside it, are not searched, and files that come later are not seen. An archive (zip, 7z, tar,
/// also compressed with gzip, xz or zstd) is read by each operation. Can be moved, not copied.
/// Constant operations are safe from several threads.
class ZENTHO_API Source {
public:
    /// Searches a directory, or opens an archive.
    /// @param path     Path of the directory or archive.
    /// @param progress Called from this thread while it goes on.
    /// @param target   Path of the calibration directory, which is not searched when it is below
    ///                 the source, whatever path leads there; may be empty.
    /// @return The source, or why it cannot be used.
    static SourceOutcome open(std::string const& path, ProgressCallback const& progress,
                              std::string const& target = "") noexcept;

    /// Takes over what @p other found.
    Source(Source&& other) noexcept;
    /// Takes over what @p other found. @return This source.
    Source& operator=(Source&& other) noexcept;
    ~Source();

    /// @return Path of the directory or archive, as given.
    std::string const& path() const noexcept;
    /// @return The cameras that a directory holds a description of, by serial number; camerasOf()
    ///         tells those of an archive, too.
    std::vector<unsigned long> const& cameras() const noexcept;
    /// @return What was found in a directory, for the rooms of the store.
    SourceTree const& tree() const noexcept { return *m_tree; }
    /// @return The archive, for the rooms of the store; null for a directory.
    Archive const* archive() const noexcept { return m_archive.get(); }

private:
    explicit Source(std::unique_ptr<SourceTree const> tree) noexcept;
    explicit Source(std::unique_ptr<Archive const> archive) noexcept;
    friend struct SourceAccess;
    std::unique_ptr<SourceTree const> m_tree; // null for an archive
    std::unique_ptr<Archive const> m_archive; // null for a directory
};

/// Outcome of searching a source.
struct SourceOutcome {
    std::optional<Failure> failure; ///< why it cannot be searched
    std::optional<Source> source;   ///< nothing on failure
};

/// Outcome of searching the mounted media.
struct MediaOutcome {
    std::optional<Failure> failure; ///< why they cannot be searched
    std::vector<Source> sources;    ///< those that hold a description, by path
    std::vector<Remark> remarks;    ///< media that could not be searched
};

/// Searches the media that are mounted at or below `/media`, `/run/media` and `/mnt`, each for
/// itself.
/// @param serial   Camera whose description is searched for; 0 for any camera's.
/// @param progress Called from this thread while it goes on.
/// @param target   Path of the calibration directory, which is not searched; may be empty.
/// @return The media that hold it.
ZENTHO_API MediaOutcome findMedia(unsigned long serial, ProgressCallback const& progress,
                                  std::string const& target = "") noexcept;

} // namespace zel::store
