#pragma once

#include <string>
#include <string_view>

namespace support {

/// A directory of the test's own below the system's temporary directory, without symbolic links in
/// its path; it is deleted, with all it holds, when the object is destroyed.
class TemporaryDirectory {
public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(TemporaryDirectory const&) = delete;
    TemporaryDirectory& operator=(TemporaryDirectory const&) = delete;

    std::string const& path() const { return m_path; }

private:
    std::string m_path;
};

/// Writes exactly these bytes; missing parent directories are made. Throws std::runtime_error when
/// the file cannot be written.
void writeFile(std::string const& path, std::string_view content);

/// All bytes of the file. Throws std::runtime_error when it cannot be read.
std::string readFile(std::string const& path);

} // namespace support
