// The store while memory runs out: every allocation of every operation is refused in turn. Whatever
// happens, no set of two versions passes for complete, and the next operation ends well.
#include "tests/reliability/FailingMemory.h"
#include "tests/reliability/TwoVersions.h"

#include <optional>

namespace {

using namespace storetest;
using reliability::Beginning;
using reliability::refuseEachAllocation;
using reliability::wasRefused;
using reliability::WithScarceMemory;
using zel::store::Source;

using StoreWithoutMemory = reliability::TwoVersions;

template <class Outcome>
void expectHonest(Outcome const& outcome) {
    if (outcome.failure) {
        EXPECT_TRUE(wasRefused());
    }
}

} // namespace

TEST_F(StoreWithoutMemory, AnUpdateIsWholeOrCompletedByTheNext) {
    startFromVersion1();
    putVersion(2);
    Beginning const beginning(root.path());
    refuseEachAllocation([&](WithScarceMemory const& withScarceMemory) {
        beginning.putBack();
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
    startFromVersion1();
    Beginning const beginning(root.path());
    refuseEachAllocation([&](WithScarceMemory const& withScarceMemory) {
        beginning.putBack();
        std::optional<InstallOutcome> outcome;
        withScarceMemory([&] { outcome = store.remove(7, {}, {}); });
        expectHonest(*outcome);
        expectOneVersion();
        expectNothingAfterTheNextRemoval();
    });
}

TEST_F(StoreWithoutMemory, AMirrorIsWholeOrCompletedByTheNextRun) {
    zel::store::MirrorOptions options;
    options.url = "http://h";
    refuseEachAllocation([&](WithScarceMemory const& withScarceMemory) {
        startFromMirrored1();
        putVersion(2);
        auto const source = Source::open(stick, {});
        std::vector<unsigned long> const serials{7};
        std::optional<zel::store::MirrorOutcome> outcome;
        withScarceMemory(
            [&] { outcome = zel::store::mirror(web, serials, *source.source, options, {}); });
        expectHonest(*outcome);
        EXPECT_EQ(outcome->complete, !outcome->failure);
        EXPECT_NE(expectOneServedVersion(), 0);
        expectVersion2AfterTheNextMirroring(options);
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
