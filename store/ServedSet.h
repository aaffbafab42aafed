/// @file
/// A camera's set as it stands in a mirror.
#pragma once

#include "store/Files.h"
#include "store/Record.h"
#include "store/WebRoot.h"

#include <ctime>
#include <optional>
#include <string>
#include <vector>

namespace zel::store {

/// A camera's folder in a mirror. All looks go through one open folder, so they see one version of
/// the set also while another process puts a new one in its place.
class ServedSet {
public:
    /// @throws Stop when something that is no folder stands in its place, or it cannot be read
    ServedSet(WebRoot const& root, unsigned long serial);

    /// @return The folder, not valid when it is missing.
    Folder const& folder() const noexcept { return m_folder; }
    /// @return The camera's files, whatever they are, sorted by name.
    std::vector<std::string> const& names() const noexcept { return m_names; }
    /// @return What is neither one of these nor the index or its signed form; empty when nothing
    /// is.
    std::string const& foreign() const noexcept { return m_foreign; }
    /// @return The index, if there is one as it would be written.
    std::optional<Record> const& index() const noexcept { return m_index; }
    /// @return Whether nobody has changed the index since it was written: its modification time is
    ///         its date.
    bool isIndexOriginal() const noexcept { return m_isIndexOriginal; }
    /// @return Whether there is a signed form of the index.
    bool isSigned() const noexcept { return m_isSigned; }
    /// @return Whether the signed form has the text of the index.
    bool isSignedAlike() const noexcept { return m_isSignedAlike; }

private:
    void list(unsigned long serial);
    void readIndex(unsigned long serial);

    Folder m_folder;
    std::vector<std::string> m_names;
    std::string m_foreign;
    std::optional<Record> m_index;
    bool m_isIndexOriginal = false;
    bool m_isSigned = false;
    bool m_isSignedAlike = false;
};

} // namespace zel::store
