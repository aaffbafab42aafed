/// @file
/// Where a camera's files come from.
#pragma once

#include "store/Results.h"
#include "util/Export.h"

#include <memory>
#include <string>
#include <vector>

namespace zel::store {

class SourceTree;
struct SourceOutcome;

/// A directory with cameras' files, searched with all below. Links are followed inside it only; a
/// `.zentho-cali` in it, and what a mirror has beside it, are not searched. It remembers what it
/// found: files that come later are not seen. Can be moved, not copied. Constant operations are
/// safe from several threads.
class ZENTHO_API Source {
public:
    /// Searches a directory.
    /// @param path     Path of the directory.
    /// @param progress Called from this thread while it goes on.
    /// @param target   Path of the calibration directory, which is not searched when it is below
    ///                 the source, whatever path leads there; may be empty.
    /// @return The source, or why the directory cannot be searched.
    static SourceOutcome open(std::string const& path, ProgressCallback const& progress,
                              std::string const& target = "") noexcept;

    /// Takes over what @p other found.
    Source(Source&& other) noexcept;
    /// Takes over what @p other found. @return This source.
    Source& operator=(Source&& other) noexcept;
    ~Source();

    /// @return Path of the directory, as given.
    std::string const& path() const noexcept;
    /// @return The cameras that it holds a description of, by serial number.
    std::vector<unsigned long> const& cameras() const noexcept;
    /// @return What was found, for the rooms of the store.
    SourceTree const& tree() const noexcept { return *m_tree; }

private:
    explicit Source(std::unique_ptr<SourceTree const> tree) noexcept;
    friend struct SourceAccess;
    std::unique_ptr<SourceTree const> m_tree;
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
