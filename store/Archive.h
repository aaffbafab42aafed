/// @file
/// An archive as a source.
#pragma once

#include "util/FileDescriptor.h"

#include <atomic>
#include <string>
#include <utility>

namespace zel::store {

/// An open archive. It is read by each operation anew, in a program of its own.
class Archive {
public:
    /// @param path Its path, for messages and records.
    /// @param file The open file.
    Archive(std::string path, FileDescriptor file) noexcept
        : m_path(std::move(path)), m_file(std::move(file)) {}

    /// @return Its path, as given.
    std::string const& path() const noexcept { return m_path; }
    /// @return The open file.
    int file() const noexcept { return m_file.get(); }
    /// @return Whether this is the first time that it is asked: what is said once for a source.
    bool isFirstTime() const noexcept { return !m_wasAsked.exchange(true); }

private:
    std::string m_path;
    FileDescriptor m_file;
    mutable std::atomic<bool> m_wasAsked{false};
};

} // namespace zel::store
