/// @file
/// Files of a source that would be installed under the same name.
#pragma once

#include "store/SourceSums.h"
#include "store/SourceTree.h"

#include <ctime>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace zel::store {

/// Files of a source that would be installed under the same name.
struct Copies {
    std::vector<SourceFile const*> files; ///< sorted by path; not empty
    bool isRespelt = false;               ///< they have other letters than the name
};

/// A camera's files in a source, by the names under which they would be installed. Letter case is
/// ignored, but a file with exactly the right name is preferred to those that differ in case.
class CopiesByName {
public:
    /// @param files The camera's files.
    /// @param asked The names that the description asks for. @throws std::bad_alloc
    CopiesByName(std::vector<SourceFile> const& files, std::vector<std::string> const& asked);

    /// @return The copies, by name.
    std::map<std::string, Copies> const& all() const noexcept { return m_copies; }
    /// @return The copies of a name; null without any.
    Copies const* find(std::string const& name) const noexcept;
    /// @return Files that are ignored because another one has exactly the right name.
    std::vector<SourceFile const*> const& displaced() const noexcept { return m_displaced; }

private:
    void add(SourceFile const& file, std::string const& name);

    std::map<std::string, Copies> m_copies;
    std::vector<SourceFile const*> m_displaced;
};

/// What is known of the copies of one name.
struct CopiesLook {
    bool differ = false;          ///< they have different bytes
    std::string contradictedPath; ///< one that a sum beside it contradicts; empty without one
    std::string damagedPath;      ///< one that cannot be unpacked; empty without one
    std::string damage;           ///< why that is so, in a sentence
    std::uint64_t size = 0;       ///< size of the first
    timespec modified{};          ///< modification time of the first
    std::optional<Digest> digest; ///< sum of the first, if it had to be read
};

/// Looks at the copies of one name. Their contents are read only if there are several, or if a
/// SHA256SUMS file lists one of them.
/// @param reporter Told of the bytes.
/// @throws Stop when one cannot be read
CopiesLook lookAtCopies(SourceTree const& tree, Copies const& copies, SourceSums& sums,
                        Reporter& reporter);

/// @return The paths of copies, as messages show them. @throws std::bad_alloc
std::vector<std::string> pathsOf(SourceTree const& tree, Copies const& copies);

} // namespace zel::store
