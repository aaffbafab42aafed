// The store while the system refuses a call: every call of every operation fails in each way that
// matters. Whatever happens, no set of two versions passes for complete, and the next operation
// ends well.
#include "tests/reliability/FailingCalls.h"
#include "tests/reliability/TwoVersions.h"

#include "store/Reporter.h"
#include "store/Signature.h"
#include "store/Stop.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <optional>
#include <vector>

#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using namespace storetest;
using reliability::Beginning;
using reliability::errorGiven;
using reliability::failEachCall;
using reliability::failFrom;
using reliability::WithFailingCalls;
using zel::store::Failure;
using zel::store::Source;

class StoreWithFailingCalls : public reliability::TwoVersions {
protected:
    /// Version 1 is installed with a file that is to be pruned, and version 2 is on the stick.
    void startUpdate() const {
        startFromVersion1();
        support::writeFile(cali + "/Cali-7-99-M20-100.dat", "old");
        putVersion(2);
    }

    /// The disk is gone when the removal of version 1 is about to remove the second file.
    void interruptRemoval() const {
        EXPECT_TRUE(failFrom("unlinkat", 4, [&] { CalibrationStore(cali).remove(7, {}, {}); }));
        EXPECT_TRUE(fs::exists(hidden + "/7.journal"));
    }

    /// The disk is gone at the given rename of the update: the first puts the journal in its place.
    void interruptUpdate(long rename) const {
        EXPECT_TRUE(failFrom("renameat", rename, [&] { install(7, pruned); }));
        EXPECT_TRUE(fs::exists(hidden + "/7.journal"));
    }

    /// Installs version 2 while calls fail: whole, or completed by the next installation.
    void expectWholeOrCompleted(WithFailingCalls const& withFailingCalls,
                                InstallOptions const& options);

    InstallOptions const pruned = [] {
        InstallOptions options;
        options.prune = true;
        return options;
    }();
};

/// A failure says what the system said. What is only interrupted is done. What is gone although it
/// was just made may be noticed in any way.
void expectHonest(std::optional<Failure> const& failure) {
    int const given = errorGiven();
    if (!failure)
        return;
    EXPECT_NE(given, 0) << failure->message << ' ' << failure->path;
    EXPECT_NE(given, EINTR) << failure->message << ' ' << failure->path;
    int const told = failure->kind == FailureKind::noMemory ? ENOMEM : failure->error;
    if (given != ENOENT) {
        EXPECT_EQ(told, given) << failure->message << ' ' << failure->path;
    }
}

void StoreWithFailingCalls::expectWholeOrCompleted(WithFailingCalls const& withFailingCalls,
                                                   InstallOptions const& options) {
    auto const source = Source::open(stick, {});
    std::optional<InstallOutcome> outcome;
    withFailingCalls([&] { outcome = store.install(7, *source.source, options, {}); });
    expectHonest(outcome->failure);
    EXPECT_EQ(outcome->complete, !outcome->failure);
    expectOneVersion();
    expectVersion2AfterTheNextInstallation();
}

class MirrorWithFailingCalls : public reliability::TwoVersions {
protected:
    /// Mirrors version 2 while calls fail: whole, or completed by the next run.
    void expectWholeOrCompleted(WithFailingCalls const& withFailingCalls,
                                zel::store::MirrorOptions const& options) const {
        auto const source = Source::open(stick, {});
        std::optional<zel::store::MirrorOutcome> outcome;
        withFailingCalls(
            [&] { outcome = zel::store::mirror(web, {7}, *source.source, options, {}); });
        expectHonestMirror(*outcome);
        int const version = expectOneServedVersion();
        EXPECT_EQ(outcome->cameras.empty() ? false : outcome->cameras[0].changed,
                  version == 2 && !wasThere);
        if (outcome->complete) {
            EXPECT_EQ(version, 2);
        }
        expectVersion2AfterTheNextMirroring(options);
    }

    static void expectHonestMirror(zel::store::MirrorOutcome const& outcome) {
        auto failure = outcome.failure;
        if (!failure && !outcome.cameras.empty())
            failure = outcome.cameras[0].failure;
        EXPECT_EQ(outcome.complete, !failure);
        if (failure && failure->error == EOPNOTSUPP) { // what EINVAL means there
            EXPECT_EQ(errorGiven(), EINVAL);
        } else {
            expectHonest(failure);
        }
    }

    bool wasThere = false; ///< version 2 was there before
};

} // namespace

TEST_F(MirrorWithFailingCalls, AFirstRunIsWholeOrCompletedByTheNext) {
    putVersion(2);
    zel::store::MirrorOptions options;
    options.url = "http://h";
    failEachCall([&](WithFailingCalls const& withFailingCalls) {
        fs::remove_all(root.path() + "/srv");
        expectWholeOrCompleted(withFailingCalls, options);
    });
}

TEST_F(MirrorWithFailingCalls, AnUpdateIsWholeOrCompletedByTheNext) {
    failEachCall([&](WithFailingCalls const& withFailingCalls) {
        startFromMirrored1();
        putVersion(2);
        expectWholeOrCompleted(withFailingCalls, {});
    });
}

TEST_F(MirrorWithFailingCalls, ATextIsSignedWholeOrNotAtAll) {
    std::string const path = std::getenv("PATH");
    std::string const head = "-----BEGIN PGP SIGNED MESSAGE-----\n\n";
    std::string const end = "-----BEGIN PGP SIGNATURE-----\n-----END PGP SIGNATURE-----\n";
    support::writeFile(root.path() + "/bin/gpg",
                       "#!/bin/sh\necho '" + head.substr(0, head.size() - 1) + "'\ncat\necho '" +
                           end.substr(0, end.size() - 1) + "'\n");
    fs::permissions(root.path() + "/bin/gpg", fs::perms::owner_all);
    setenv("PATH", (root.path() + "/bin:" + path).c_str(), 1);
    zel::store::ProgressCallback const nobody;
    failEachCall([&](WithFailingCalls const& withFailingCalls) {
        std::optional<Failure> failure;
        std::string answer;
        withFailingCalls([&] {
            try {
                zel::store::Reporter reporter(nobody);
                answer = zel::store::signedInline("text\n", "me", reporter);
            } catch (zel::store::Stop const& stopped) {
                failure = stopped.failure;
            }
        });
        expectHonest(failure);
        EXPECT_EQ(answer, failure ? "" : head + "text\n" + end);
    });
    setenv("PATH", path.c_str(), 1);
}

TEST_F(MirrorWithFailingCalls, WhatADeadProcessLeftHarmsNoSetThatIsAsItShouldBe) {
    putVersion(2);
    mirror();
    wasThere = true;
    failEachCall([&](WithFailingCalls const& withFailingCalls) {
        support::writeFile(root.path() + "/srv/.www.zentho-cali/stage/0", "left");
        for (auto const& name : {description, data, curve}) // so that all are read
            fs::last_write_time(set + "/" + name, fs::file_time_type());
        auto const source = Source::open(stick, {});
        std::optional<zel::store::MirrorOutcome> outcome;
        withFailingCalls([&] { outcome = zel::store::mirror(web, {7}, *source.source, {}, {}); });
        expectHonestMirror(*outcome);
        EXPECT_EQ(expectOneServedVersion(), 2);
        expectVersion2AfterTheNextMirroring();
    });
}

TEST_F(StoreWithFailingCalls, AFirstInstallationIsWholeOrCompletedByTheNext) {
    putVersion(2);
    failEachCall([&](WithFailingCalls const& withFailingCalls) {
        fs::remove_all(cali);
        expectWholeOrCompleted(withFailingCalls, {});
    });
}

TEST_F(StoreWithFailingCalls, AnUpdateIsWholeOrCompletedByTheNext) {
    startUpdate();
    Beginning const beginning(root.path());
    failEachCall([&](WithFailingCalls const& withFailingCalls) {
        beginning.putBack();
        expectWholeOrCompleted(withFailingCalls, pruned);
    });
}

TEST_F(StoreWithFailingCalls, ARemovalIsWholeOrCompletedByTheNext) {
    startFromVersion1();
    Beginning const beginning(root.path());
    failEachCall([&](WithFailingCalls const& withFailingCalls) {
        beginning.putBack();
        std::optional<InstallOutcome> outcome;
        withFailingCalls([&] { outcome = store.remove(7, {}, {}); });
        expectHonest(outcome->failure);
        expectOneVersion();
        expectNothingAfterTheNextRemoval();
    });
}

TEST_F(StoreWithFailingCalls, ARecoveryIsWholeOrCompletedByTheNext) {
    for (long const rename : {2, 5}) {
        startUpdate();
        Beginning const beginning(root.path());
        failEachCall([&](WithFailingCalls const& withFailingCalls) {
            beginning.putBack();
            interruptUpdate(rename);
            std::optional<zel::store::RecoverOutcome> outcome;
            withFailingCalls([&] { outcome = store.recover(true, {}); });
            expectHonest(outcome->failure);
            expectOneVersion();
            expectVersion2AfterTheNextInstallation();
        });
    }
}

TEST_F(StoreWithFailingCalls, AnInstallationAfterAnInterruptionIsWholeOrCompletedByTheNext) {
    startUpdate();
    Beginning const beginning(root.path());
    failEachCall([&](WithFailingCalls const& withFailingCalls) {
        beginning.putBack();
        interruptUpdate(3);
        expectWholeOrCompleted(withFailingCalls, {});
    });
}

TEST_F(StoreWithFailingCalls, ARecoveryOfARemovalIsWholeOrCompletedByTheNext) {
    startFromVersion1();
    Beginning const beginning(root.path());
    failEachCall([&](WithFailingCalls const& withFailingCalls) {
        beginning.putBack();
        interruptRemoval();
        std::optional<zel::store::RecoverOutcome> outcome;
        withFailingCalls([&] { outcome = store.recover(true, {}); });
        expectHonest(outcome->failure);
        expectOneVersion();
        EXPECT_FALSE(store.recover(true, {}).failure);
        EXPECT_FALSE(fs::exists(cali + "/" + description));
    });
}

TEST_F(StoreWithFailingCalls, AnEqualSetWithoutARecordIsCompleteAllTheSame) {
    startFromVersion1();
    fs::remove(hidden + "/7.sha256");
    support::writeFile(hidden + "/stage/0", "left");
    Beginning const beginning(root.path());
    failEachCall([&](WithFailingCalls const& withFailingCalls) {
        beginning.putBack();
        auto const source = Source::open(stick, {});
        std::optional<InstallOutcome> outcome;
        withFailingCalls([&] { outcome = store.install(7, *source.source, {}, {}); });
        expectHonest(outcome->failure);
        EXPECT_TRUE(install(7).complete);
        EXPECT_TRUE(store.verify(7, {}).same);
    });
}

TEST_F(StoreWithFailingCalls, WhatADeadProcessStagedHarmsNoEqualSet) {
    startFromVersion1();
    auto const source = Source::open(stick, {});
    failEachCall([&](WithFailingCalls const& withFailingCalls) {
        support::writeFile(hidden + "/stage/0", "left");
        support::writeFile(hidden + "/stage/folder/0", "left");
        std::optional<InstallOutcome> outcome;
        withFailingCalls([&] { outcome = store.install(7, *source.source, {}, {}); });
        expectHonest(outcome->failure);
        EXPECT_TRUE(store.verify(7, {}).same);
        install(7);
        EXPECT_FALSE(fs::exists(hidden + "/stage"));
    });
}

TEST_F(StoreWithFailingCalls, WhatTheSourceLacksIsReadWhereItIsInstalledOrMissing) {
    startFromVersion1();
    fs::remove(stick + "/" + curve);
    support::writeFile(stick + "/" + data, "2 " + data);
    Beginning const beginning(root.path());
    failEachCall([&](WithFailingCalls const& withFailingCalls) {
        beginning.putBack();
        auto const source = Source::open(stick, {});
        std::optional<InstallOutcome> outcome;
        withFailingCalls([&] { outcome = store.install(7, *source.source, {}, {}); });
        expectHonest(outcome->failure);
        EXPECT_EQ(installed(curve), "1 " + curve);
        EXPECT_TRUE(install(7).complete);
        EXPECT_EQ(installed(data), "2 " + data);
        EXPECT_TRUE(store.verify(7, {}).same);
    });
}

TEST_F(StoreWithFailingCalls, ADeepSourceIsReadToTheEndOrFails) {
    putVersion(1);
    std::string folder = stick;
    for (int depth = 0; depth < 10; ++depth)
        folder += "/" + std::string(200, 'd');
    fs::create_directories(folder);
    for (std::string const name : {"1", "2"}) { // one more half at a time: no path may be so long
        ASSERT_EQ(chdir(folder.c_str()), 0);
        folder.clear();
        for (int depth = 0; depth < 10; ++depth)
            folder += std::string(200, name[0]) + "/";
        fs::create_directories(folder);
    }
    ASSERT_EQ(chdir(folder.c_str()), 0);
    fs::rename(stick + "/" + data, data);
    support::writeFile("SHA256SUMS", "");
    failEachCall([&](WithFailingCalls const& withFailingCalls) {
        fs::remove_all(cali);
        std::optional<zel::store::SourceOutcome> opened;
        std::optional<zel::store::ListOutcome> held;
        withFailingCalls([&] {
            opened.emplace(Source::open(stick, {}));
            if (opened->source)
                held = zel::store::listSource(*opened->source, {});
        });
        expectHonest(opened->failure);
        if (held)
            expectHonest(held->failure);
    });
    EXPECT_TRUE(install(7).complete);
    ASSERT_EQ(chdir("/"), 0);
}

TEST_F(StoreWithFailingCalls, ASourceWithoutTypesInItsListingsIsSearchedWhole) {
    putVersion(1);
    fs::create_directory(stick + "/folder");
    fs::rename(stick + "/" + data, stick + "/folder/" + data);
    reliability::hideTypes();
    failEachCall([&](WithFailingCalls const& withFailingCalls) {
        fs::remove_all(cali);
        std::optional<zel::store::SourceOutcome> opened;
        withFailingCalls([&] { opened.emplace(Source::open(stick, {})); });
        expectHonest(opened->failure);
        EXPECT_TRUE(install(7).complete);
    });
}

TEST_F(StoreWithFailingCalls, DryRunsChangeNothing) {
    std::vector<std::function<void()>> const starts{[&] { startUpdate(); },
                                                    [&] {
                                                        startUpdate();
                                                        interruptUpdate(3);
                                                    },
                                                    [&] {
                                                        startFromVersion1();
                                                        interruptRemoval();
                                                    }};
    for (auto const& start : starts) {
        start();
        auto const source = Source::open(stick, {});
        Tree const before = treeOf(cali);
        InstallOptions dry = pruned;
        dry.dryRun = true;
        failEachCall([&](WithFailingCalls const& withFailingCalls) {
            std::optional<InstallOutcome> installation;
            std::optional<InstallOutcome> removal;
            withFailingCalls([&] {
                installation = store.install(7, *source.source, dry, {});
                removal = store.remove(7, dry, {});
            });
            expectHonest(installation->failure);
            expectHonest(removal->failure);
            EXPECT_EQ(treeOf(cali), before);
        });
    }
}

TEST_F(StoreWithFailingCalls, ADirectoryIsLockedForOthersOrNot) {
    startFromVersion1();
    Beginning const beginning(root.path());
    failEachCall([&](WithFailingCalls const& withFailingCalls) {
        beginning.putBack();
        std::optional<Failure> failure;
        withFailingCalls([&] {
            auto locked = store.lockForOthers(true, {});
            failure = locked.failure ? locked.failure : locked.lock.dropRecord(7);
        });
        expectHonest(failure);
        EXPECT_EQ(store.check(7).complete, true);
        EXPECT_FALSE(store.lockForOthers(false, {}).failure);
    });
}

TEST_F(StoreWithFailingCalls, QuestionsAboutAnInterruptedUpdateNeverSayThatItIsWhole) {
    for (long const rename : {2, 4}) {
        startUpdate();
        interruptUpdate(rename);
        auto const source = Source::open(stick, {});
        failEachCall([&](WithFailingCalls const& withFailingCalls) {
            withFailingCalls([&] {
                EXPECT_FALSE(store.check(7).complete);
                EXPECT_FALSE(store.verify(7, {}).same);
                EXPECT_FALSE(store.verify(7, *source.source, {}).complete);
                for (auto const& listed : store.list().cameras)
                    EXPECT_FALSE(listed.complete);
            });
        });
    }
}

TEST_F(StoreWithFailingCalls, QuestionsSayWhatIsWrongOrFail) {
    startFromVersion1();
    auto const source = Source::open(stick, {});
    failEachCall([&](WithFailingCalls const& withFailingCalls) {
        std::optional<zel::store::CheckOutcome> checked;
        std::optional<zel::store::VerifyOutcome> verified;
        std::optional<zel::store::VerifyOutcome> compared;
        std::optional<zel::store::ListOutcome> listed;
        withFailingCalls([&] {
            checked = store.check(7);
            verified = store.verify(7, {});
            compared = store.verify(7, *source.source, {});
            listed = store.list();
        });
        expectHonest(checked->failure);
        if (!verified->failure || verified->failure->kind != FailureKind::noRecord)
            expectHonest(verified->failure);
        expectHonest(compared->failure);
        expectHonest(listed->failure);
        EXPECT_EQ(checked->complete, !checked->failure && checked->problems.empty());
        if (errorGiven() == 0 || errorGiven() == EINTR) {
            EXPECT_TRUE(checked->complete);
            EXPECT_TRUE(verified->same);
            EXPECT_TRUE(compared->same);
            EXPECT_TRUE(listed->cameras.at(0).complete);
        }
    });
}

TEST_F(StoreWithFailingCalls, ASourceIsSearchedWholeOrFailsOrHasAGap) {
    putVersion(1);
    fs::create_directory(stick + "/folder");
    fs::create_symlink(stick + "/folder", stick + "/link");
    failEachCall([&](WithFailingCalls const& withFailingCalls) {
        std::optional<zel::store::SourceOutcome> opened;
        std::optional<zel::store::MediaOutcome> media;
        std::optional<zel::store::ListOutcome> held;
        withFailingCalls([&] {
            opened.emplace(Source::open(stick, {}));
            media.emplace(zel::store::findMedia(7, {}));
            if (opened->source)
                held = zel::store::listSource(*opened->source, {});
        });
        expectHonest(opened->failure);
        expectHonest(media->failure);
        EXPECT_EQ(opened->source.has_value(), !opened->failure);
        if (held)
            expectHonest(held->failure);
        if (errorGiven() == 0 || errorGiven() == EINTR) {
            EXPECT_TRUE(held->cameras.at(0).complete);
        }
    });
}

TEST_F(StoreWithFailingCalls, WhatIsImmutableIsRefusedBeforeAnythingChanges) {
    startFromVersion1();
    putVersion(2);
    reliability::makeImmutable();
    auto const outcome = install(7);
    ASSERT_TRUE(outcome.failure);
    EXPECT_EQ(outcome.failure->error, EPERM);
    EXPECT_EQ(outcome.failure->path, cali);
    EXPECT_TRUE(store.verify(7, {}).same);
}
