#include "tests/support/TemporaryDirectory.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

#include <stdlib.h>

namespace support {

namespace fs = std::filesystem;

namespace {

// A test may have taken away its own permission to look into a directory.
void makeRemovable(fs::path const& directory) {
    std::error_code ignored;
    fs::permissions(directory, fs::perms::owner_all, fs::perm_options::add, ignored);
    for (auto const& entry : fs::directory_iterator(directory, ignored)) {
        if (entry.is_directory(ignored) && !entry.is_symlink(ignored)) {
            makeRemovable(entry.path());
        }
    }
}

} // namespace

TemporaryDirectory::TemporaryDirectory()
    : m_path((fs::canonical(fs::temp_directory_path()) / "zentho-test-XXXXXX").string()) {
    if (mkdtemp(m_path.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), m_path);
    }
}

TemporaryDirectory::~TemporaryDirectory() {
    makeRemovable(m_path);
    std::error_code ignored;
    fs::remove_all(m_path, ignored);
}

void writeFile(std::string const& path, std::string_view content) {
    auto const parent = fs::path(path).parent_path();
    if (!parent.empty()) {
        fs::create_directories(parent);
    }
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(content.data(), static_cast<std::streamsize>(content.size()));
    file.close();
    if (!file) {
        throw std::runtime_error("cannot write " + path);
    }
}

std::string readFile(std::string const& path) {
    std::ifstream file(path, std::ios::binary);
    std::string content{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    if (!file.is_open() || file.bad() || fs::is_directory(path)) {
        throw std::runtime_error("cannot read " + path);
    }
    return content;
}

} // namespace support
