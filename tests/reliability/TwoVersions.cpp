#include "tests/reliability/TwoVersions.h"

#include "store/Record.h"
#include "store/Sha256.h"
#include "store/Signature.h"

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

void TwoVersions::startFromMirrored1(zel::store::MirrorOptions const& options) const {
    fs::remove_all(root.path() + "/srv");
    putVersion(1);
    ASSERT_TRUE(mirror(options).complete);
}

zel::store::MirrorOutcome TwoVersions::mirror(zel::store::MirrorOptions const& options) const {
    auto const source = zel::store::Source::open(stick, {});
    return zel::store::mirror(web, {7}, *source.source, options, {});
}

int TwoVersions::expectOneServedVersion() const {
    storetest::Tree served = storetest::treeOf(set);
    if (served.empty()) {
        EXPECT_FALSE(fs::exists(set));
        return 0;
    }
    auto const index = zel::store::Record::from(served["SHA256SUMS"], 7);
    EXPECT_TRUE(index);
    EXPECT_EQ(index->text(), served["SHA256SUMS"]);
    if (served.count("SHA256SUMS.asc") != 0) {
        EXPECT_TRUE(zel::store::holdsInline(served["SHA256SUMS.asc"], served["SHA256SUMS"]));
    }
    served.erase("SHA256SUMS");
    served.erase("SHA256SUMS.asc");
    EXPECT_EQ(served.size(), index->files.size());
    int const version = served[description] == camera(7).description() ? 1 : 2;
    for (auto const& [name, content] : served) {
        if (name != description) {
            EXPECT_EQ(content, std::to_string(version) + " " + name);
        }
        zel::store::Sha256 sum;
        sum.add(content);
        auto const* const listed = index->find(name);
        EXPECT_TRUE(listed != nullptr && listed->digest == sum.finish()) << name;
    }
    return version;
}

void TwoVersions::expectVersion2AfterTheNextMirroring(
    zel::store::MirrorOptions const& options) const {
    EXPECT_TRUE(mirror(options).complete);
    EXPECT_EQ(expectOneServedVersion(), 2);
    EXPECT_FALSE(fs::exists(root.path() + "/srv/.www.zentho-cali"));
}

} // namespace reliability
