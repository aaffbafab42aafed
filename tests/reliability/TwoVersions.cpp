#include "tests/reliability/TwoVersions.h"

#include <cstdlib>
#include <filesystem>

namespace reliability {

namespace {

namespace fs = std::filesystem;
using storetest::camera;
using storetest::description;

// A thousand installations would each wait for the disk.
int const inMemory = setenv("TMPDIR", "/dev/shm", 0);

} // namespace

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
