// Files and folders as the store reads them.
#include "tests/store/StoreFixture.h"

#include "store/Files.h"
#include "store/Target.h"

#include <cerrno>

namespace {

using namespace storetest;
using namespace zel::store;

class StoreFiles : public Store {};

} // namespace

TEST_F(StoreFiles, AreReadWholeUpToALimit) {
    support::writeFile(stick + "/x", "123");
    Folder const folder = openFolder(stick);
    EXPECT_EQ(readWhole(folder.get(), "x", 3), "123");
    EXPECT_EQ(readWhole(folder.get(), "x", 2), std::nullopt);
    EXPECT_EQ(errno, EFBIG);
}

TEST_F(StoreFiles, HaveParents) {
    EXPECT_EQ(parentOf("/"), "/");
    EXPECT_EQ(parentOf("/x"), "/");
    EXPECT_EQ(parentOf("x"), ".");
    EXPECT_EQ(parentOf("/a//b"), "/a");
}
