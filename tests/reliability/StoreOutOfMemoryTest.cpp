// The store while memory runs out: every allocation of every operation is refused in turn. Whatever
// happens, no set of two versions passes for complete, and the next operation ends well.
#include "tests/reliability/FailingMemory.h"
#include "tests/store/StoreFixture.h"

#include <cstdlib>
#include <filesystem>
#include <optional>

namespace {

namespace fs = std::filesystem;
using namespace storetest;
using reliability::refuseEachAllocation;
using reliability::wasRefused;
using reliability::WithScarceMemory;
using zel::store::Source;

// A thousand installations each wait for the disk, unless there is none.
int const inMemory = setenv("TMPDIR", "/dev/shm", 0);

class StoreWithoutMemory : public Store {
protected:
    void putVersion(int version) const {
        putOnStick(version == 1 ? camera(7) : camera(7).mainSection(), std::to_string(version));
    }

    void startFromVersion1() const {
        fs::remove_all(cali);
        putVersion(1);
        ASSERT_TRUE(install(7).complete);
    }

    /// The description and the data are of one version, unless one of them is not there.
    void expectOneVersion() const {
        auto const outcome = store.verify(7, {});
        if (!outcome.complete)
            return;
        EXPECT_TRUE(outcome.same);
        bool const isOld = installed("Cali-7.xml") == camera(7).description();
        for (std::string const& name : camera(7).fileNames()) {
            if (name != "Cali-7.xml") {
                EXPECT_EQ(installed(name), (isOld ? "1 " : "2 ") + name);
            }
        }
    }

    void expectVersion2AfterTheNextInstallation() const {
        EXPECT_TRUE(install(7).complete);
        EXPECT_EQ(installed("Cali-7.xml"), camera(7).mainSection().description());
        EXPECT_TRUE(store.verify(7, {}).same);
        EXPECT_FALSE(fs::exists(hidden + "/stage"));
        EXPECT_FALSE(fs::exists(hidden + "/7.journal"));
    }
};

template <class Outcome>
void expectHonest(Outcome const& outcome) {
    if (outcome.failure) {
        EXPECT_TRUE(wasRefused());
    }
}

} // namespace

TEST_F(StoreWithoutMemory, AnUpdateIsWholeOrCompletedByTheNext) {
    refuseEachAllocation([&](WithScarceMemory const& withScarceMemory) {
        startFromVersion1();
        putVersion(2);
        auto const source = Source::open(stick, {});
        std::optional<InstallOutcome> outcome;
        withScarceMemory([&] { outcome = store.install(7, *source.source, {}, {}); });
        expectHonest(*outcome);
        EXPECT_EQ(outcome->complete, !outcome->failure);
        expectOneVersion();
        expectVersion2AfterTheNextInstallation();
    });
}

TEST_F(StoreWithoutMemory, ARemovalIsWholeOrCompletedByTheNext) {
    refuseEachAllocation([&](WithScarceMemory const& withScarceMemory) {
        startFromVersion1();
        std::optional<InstallOutcome> outcome;
        withScarceMemory([&] { outcome = store.remove(7, {}, {}); });
        expectHonest(*outcome);
        expectOneVersion();
        EXPECT_FALSE(store.remove(7, {}, {}).failure);
        // Without the memory to look into it, the hidden folder stays.
        Tree left = treeOf(cali);
        left.erase(".zentho-cali");
        left.erase(".zentho-cali/lock");
        EXPECT_TRUE(left.empty());
    });
}

TEST_F(StoreWithoutMemory, QuestionsSayWhatIsTrueOrFail) {
    startFromVersion1();
    refuseEachAllocation([&](WithScarceMemory const& withScarceMemory) {
        std::optional<zel::store::CheckOutcome> checked;
        std::optional<zel::store::VerifyOutcome> verified;
        std::optional<zel::store::ListOutcome> listed;
        withScarceMemory([&] {
            checked = store.check(7);
            verified = store.verify(7, {});
            listed = store.list();
        });
        EXPECT_EQ(checked->complete, !checked->failure);
        EXPECT_EQ(verified->same, !verified->failure);
        if (!listed->failure) {
            EXPECT_TRUE(listed->cameras.at(0).complete);
        }
    });
}

TEST_F(StoreWithoutMemory, ASourceIsSearchedWholeOrFails) {
    putVersion(1);
    refuseEachAllocation([&](WithScarceMemory const& withScarceMemory) {
        std::optional<zel::store::SourceOutcome> opened;
        std::optional<zel::store::MediaOutcome> media;
        withScarceMemory([&] {
            opened.emplace(Source::open(stick, {}));
            media.emplace(zel::store::findMedia(7, {}));
        });
        expectHonest(*opened);
        EXPECT_EQ(opened->source.has_value(), !opened->failure);
        if (!opened->source)
            return;
        std::optional<zel::store::ListOutcome> held;
        withScarceMemory([&] { held = zel::store::listSource(*opened->source, {}); });
        if (!held->failure) {
            EXPECT_TRUE(held->cameras.at(0).complete);
        }
    });
}
