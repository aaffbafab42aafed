// The mounted media.
#include "tests/store/StoreFixture.h"

#include "tests/support/Namespace.h"

#include <filesystem>

#include <sys/mount.h>

namespace {

namespace fs = std::filesystem;
using namespace storetest;

class StoreMedia : public Store {
protected:
    /// Mounts a stick with a camera.
    static void plugIn(std::string const& where, int serial) {
        fs::create_directories(where);
        support::mountTmpfs(where);
        support::Camera const held = camera(serial);
        for (std::string const& name : held.fileNames())
            support::writeFile(where + "/" + name, name);
    }

    static std::string found(unsigned long serial) {
        auto const outcome = zel::store::findMedia(serial, {});
        std::string text;
        for (auto const& source : outcome.sources)
            text += source.path() + "\n";
        return text;
    }
};

} // namespace

TEST_F(StoreMedia, AreFoundWhereDesktopsMountThem) {
    support::inPrivateNamespaces([] {
        support::mountTmpfs("/mnt");
        plugIn("/mnt", 5);
        fs::create_directories("/mnt/run/media/someone");
        plugIn("/mnt/media/someone/USB STICK", 7);
        plugIn("/mnt/back\\slash\ttab", 7);
        plugIn("/mnt/other", 71);
        support::mountTmpfs("/run");
        plugIn("/run/media/someone/stick", 72);
        plugIn("/run/mediathek", 73);
        EXPECT_EQ(found(7), "/mnt/back\\slash\ttab\n/mnt/media/someone/USB STICK\n");
        EXPECT_EQ(found(71), "/mnt/other\n");
        EXPECT_EQ(found(5), "/mnt\n");
        EXPECT_EQ(found(9), "");
        EXPECT_EQ(found(72), "/run/media/someone/stick\n");
        EXPECT_EQ(found(73), "");
        auto const cancelled = zel::store::findMedia(7, [](auto const&) { return false; });
        ASSERT_TRUE(cancelled.failure);
        EXPECT_EQ(cancelled.failure->kind, FailureKind::cancelled);
        EXPECT_EQ(found(0), "/mnt\n/mnt/back\\slash\ttab\n/mnt/media/someone/USB STICK\n"
                            "/mnt/other\n/run/media/someone/stick\n");
    });
}
