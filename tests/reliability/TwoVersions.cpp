#include "tests/reliability/TwoVersions.h"

#include <cstdlib>
#include <filesystem>
#include <utility>
#include <vector>

namespace reliability {

namespace {

namespace fs = std::filesystem;
using storetest::camera;
using storetest::description;

// A thousand installations would each wait for the disk.
int const inMemory = setenv("TMPDIR", "/dev/shm", 0);

/// Modification times are kept: they are part of what is installed. But a record is made younger
/// than the files that it records, as it is after an installation.
void copyTree(fs::path const& from, fs::path const& to) {
    fs::copy(from, to, fs::copy_options::recursive | fs::copy_options::copy_symlinks);
    std::vector<fs::path> records;
    for (auto const& entry : fs::recursive_directory_iterator(from)) {
        fs::path const copy = to / fs::relative(entry.path(), from);
        if (copy.extension() == ".sha256")
            records.push_back(copy);
        else if (entry.is_regular_file())
            fs::last_write_time(copy, entry.last_write_time());
    }
    for (fs::path const& record : records)
        fs::last_write_time(record, fs::file_time_type::clock::now());
}

} // namespace

Beginning::Beginning(std::string directory) : m_directory(std::move(directory)) {
    copyTree(m_directory, m_kept.path());
}

void Beginning::putBack() const {
    for (auto const& entry : fs::directory_iterator(m_directory))
        fs::remove_all(entry.path());
    copyTree(m_kept.path(), m_directory);
}

void TwoVersions::putVersion(int version) const {
    putOnStick(version == 1 ? camera(7) : camera(7).mainSection(), std::to_string(version));
}

void TwoVersions::startFromVersion1() const {
    fs::remove_all(cali);
    putVersion(1);
    ASSERT_TRUE(install(7).complete);
}

void TwoVersions::expectOneVersion() const {
    auto const outcome = store.verify(7, {});
    if (!outcome.complete)
        return;
    EXPECT_TRUE(outcome.same);
    bool const isOld = installed(description) == camera(7).description();
    for (std::string const& name : camera(7).fileNames()) {
        if (name != description) {
            EXPECT_EQ(installed(name), (isOld ? "1 " : "2 ") + name);
        }
    }
}

void TwoVersions::expectVersion2AfterTheNextInstallation() const {
    EXPECT_TRUE(install(7).complete);
    EXPECT_EQ(installed(description), camera(7).mainSection().description());
    EXPECT_TRUE(store.verify(7, {}).same);
    EXPECT_FALSE(fs::exists(hidden + "/stage"));
    EXPECT_FALSE(fs::exists(hidden + "/7.journal"));
}

void TwoVersions::expectNothingAfterTheNextRemoval() {
    EXPECT_FALSE(store.remove(7, {}, {}).failure);
    storetest::Tree left = storetest::treeOf(cali);
    left.erase(".zentho-cali");
    left.erase(".zentho-cali/lock");
    EXPECT_TRUE(left.empty());
}

} // namespace reliability
