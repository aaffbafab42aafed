// Archives with changed bytes. Whatever is changed: either the installation is refused and nothing
// is there, or what is there is what was packed. The quick form changes some places; the
// environment variable ZENTHO_CORRUPTIONS names another number of them.
#include "tests/store/StoreFixture.h"
#include "tests/support/Archives.h"

#include <cstdlib>
#include <filesystem>
#include <random>

namespace {

namespace fs = std::filesystem;
using namespace storetest;
using zel::store::Source;

std::size_t corruptions() {
    char const* const number = std::getenv("ZENTHO_CORRUPTIONS");
    return number != nullptr ? std::strtoul(number, nullptr, 10) : 10;
}

/// Formats whose every byte of content has a checksum.
class CorruptedArchive : public Store, public testing::WithParamInterface<char const*> {};

} // namespace

TEST_P(CorruptedArchive, IsInstalledAsItWasPackedOrNotAtAll) {
    putOnStick(camera(7));
    std::mt19937 engine(11);
    std::string noise;
    while (noise.size() < 3000)
        noise += static_cast<char>(engine() & 0xFFU);
    support::writeFile(stick + "/" + data, noise);
    std::string const archive = root.path() + "/set." + GetParam();
    support::pack(stick, archive);
    std::string const content = support::readFile(archive);
    std::size_t refused = 0;
    for (std::size_t i = 0; i < corruptions(); ++i) {
        fs::remove_all(cali);
        support::writeFile(archive, support::corrupted(content, engine));
        auto const source = Source::open(archive, {});
        auto const outcome = CalibrationStore(cali).install(7, *source.source, {}, {});
        if (!outcome.changed) {
            ++refused;
            ASSERT_FALSE(fs::exists(cali)) << i;
            continue;
        }
        ASSERT_TRUE(outcome.complete) << i;
        for (std::string const& name : {data, curve, description})
            ASSERT_EQ(installed(name), support::readFile(stick + "/" + name)) << i;
    }
    EXPECT_GT(refused, corruptions() / 10);
}

INSTANTIATE_TEST_SUITE_P(Formats, CorruptedArchive,
                         testing::Values("zip", "7z", "tar.gz", "tar.xz"));
