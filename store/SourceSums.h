/// @file
/// The sums that a source has beside its files.
#pragma once

#include "store/Sha256.h"
#include "store/SourceTree.h"

#include <map>
#include <string>
#include <vector>

namespace zel::store {

/// What the files `SHA256SUMS` of a source say of one camera's files. Each is read when the first
/// file beside it is asked for.
class SourceSums {
public:
    /// @param tree   The source. Must outlive this.
    /// @param serial Serial number of the camera.
    /// @param reporter Told of the bytes that are read. Must outlive this.
    SourceSums(SourceTree const& tree, unsigned long serial, Reporter& reporter) noexcept
        : m_tree(tree), m_serial(serial), m_reporter(reporter) {}

    /// @param file A file of the camera.
    /// @return The sums that are listed for it; null without any.
    /// @throws Stop when the sums cannot be read; std::bad_alloc
    std::vector<Digest> const* of(SourceFile const& file);

    /// @return Whether one of the sums that are listed for a file is not its sum.
    static bool contradict(std::vector<Digest> const& listed, Digest const& digest) noexcept;

private:
    /// Sums by name in small letters, since the stick may show other letters than those listed.
    using Sums = std::map<std::string, std::vector<Digest>>;

    Sums read(std::string const& folder) const;

    SourceTree const& m_tree;
    unsigned long m_serial;
    Reporter& m_reporter;
    std::map<std::string, Sums> m_sums; // by folder
};

} // namespace zel::store
