// Completing interrupted transactions, from every state that an interruption can leave.
#include "tests/store/StoreFixture.h"

#include "store/Journal.h"
#include "store/Publication.h"
#include "store/Record.h"
#include "store/Stop.h"

#include <cstring>
#include <filesystem>
#include <functional>

namespace {

namespace fs = std::filesystem;
using namespace storetest;
using namespace zel::store;
using support::writeFile;

/// A directory with version 1 of a set, and version 2 staged, with its journal.
class StoreRecover : public Store {
protected:
    StoreRecover() {
        putOnStick(camera(7), "1");
        install(7);
        Journal journal;
        journal.serial = 7;
        journal.data = {staged(0, data, "2 " + data), staged(1, curve, "2 " + curve)};
        journal.description = staged(2, description, text);
        Record record{"stick", "2026-11-22T00:00:00Z", {}, {}};
        for (StagedFile const& file : journal.data)
            record.add(file.name, {file.size, file.digest});
        record.add(description, {text.size(), sumOfText(text)});
        journal.record = staged(3, "7.sha256", record.text());
        journal.removedAfter = {"Cali-7-old.dat"};
        writeFile(cali + "/Cali-7-old.dat", "old");
        writeFile(hidden + "/7.journal", journal.text());
    }

    StagedFile staged(unsigned int number, std::string const& name, std::string const& content) {
        writeFile(stage + "/" + std::to_string(number), content);
        return {number, content.size(), sumOfText(content), name};
    }

    void expectVersion2() {
        EXPECT_EQ(installed(data), "2 " + data);
        EXPECT_EQ(installed(curve), "2 " + curve);
        EXPECT_EQ(installed(description), text);
        EXPECT_EQ(check(7), "complete\n");
        EXPECT_TRUE(store.verify(7, {}).same);
        EXPECT_FALSE(fs::exists(cali + "/Cali-7-old.dat"));
        expectNothingLeft();
    }

    void expectNothingLeft() {
        EXPECT_FALSE(fs::exists(stage));
        EXPECT_FALSE(fs::exists(hidden + "/7.journal"));
    }

    std::string const stage = hidden + "/stage";
    std::string const text = camera(7).mainSection().description();
};

} // namespace

TEST_F(StoreRecover, ACheckSaysInterruptedMeanwhile) {
    EXPECT_EQ(check(7), "not complete\nCali-7.xml: interrupted\n");
    EXPECT_EQ(seen(store.verify(7, {})), "not the same, not complete\nCali-7.xml: interrupted\n");
    auto const list = store.list();
    ASSERT_EQ(list.cameras.size(), 1U);
    EXPECT_FALSE(list.cameras[0].complete);
    EXPECT_EQ(list.cameras[0].problems[0].state, FileState::interrupted);
}

TEST_F(StoreRecover, CompletesTheSetWithoutItsSource) {
    fs::remove_all(stick);
    auto const outcome = store.recover(true, {});
    EXPECT_TRUE(outcome.changed);
    ASSERT_EQ(outcome.cameras.size(), 1U);
    EXPECT_TRUE(outcome.cameras[0].complete);
    EXPECT_EQ(outcome.cameras[0].serial, 7U);
    expectVersion2();
    EXPECT_FALSE(store.recover(true, {}).changed);
}

TEST_F(StoreRecover, CompletesTheSetFromEveryStepOn) {
    std::vector<std::function<void()>> const steps{
        [&] { fs::remove(cali + "/" + description); },
        [&] { fs::rename(stage + "/0", cali + "/" + data); },
        [&] { fs::rename(stage + "/1", cali + "/" + curve); },
        [&] { fs::rename(stage + "/2", cali + "/" + description); },
        [&] { fs::rename(stage + "/3", hidden + "/7.sha256"); },
        [&] { fs::remove(cali + "/Cali-7-old.dat"); },
        [&] { fs::remove(stage); },
    };
    fs::copy(cali, root.path() + "/before", fs::copy_options::recursive);
    for (std::size_t count = 0; count <= steps.size(); ++count) {
        fs::remove_all(cali);
        fs::copy(root.path() + "/before", cali, fs::copy_options::recursive);
        for (std::size_t i = 0; i < count; ++i)
            steps[i]();
        ASSERT_TRUE(store.recover(true, {}).cameras.at(0).complete) << count;
        expectVersion2();
    }
}

TEST_F(StoreRecover, NamesTheStageWhenSomebodyRemovesItMeanwhile) {
    zel::store::Target const target(cali);
    Journal journal = *zel::store::readJournalOf(target, 7).journal;
    fs::remove_all(stage);
    auto const failureOf = [&](Journal const& asked) {
        try {
            zel::store::carryOut(target, asked);
        } catch (zel::store::Stop const& stopped) {
            return stopped.failure.message + " " + stopped.failure.path + ": " +
                   std::strerror(stopped.failure.error);
        }
        return std::string("none");
    };
    std::string const expected = "Cannot open " + stage + ": No such file or directory";
    EXPECT_EQ(failureOf(journal), expected);
    journal.data.clear();
    journal.description.reset();
    EXPECT_EQ(failureOf(journal), expected) << "only the record is left";
}

TEST_F(StoreRecover, IsDoneByTheNextInstallation) {
    putOnStick(camera(8));
    EXPECT_EQ(seen(install(8)).rfind("changed, complete\nCali-8", 0), 0U);
    expectVersion2();
}

TEST_F(StoreRecover, IsDoneByTheNextRemoval) {
    EXPECT_EQ(
        seen(store.remove(8, {}, {})),
        "unchanged, not complete\nremark: An interrupted change of camera 7 was completed. \n");
    expectVersion2();
}

TEST_F(StoreRecover, IsDoneBeforeOthersGetTheLock) {
    auto const outcome = store.lockForOthers(true, {});
    EXPECT_TRUE(outcome.recovered.changed);
    expectVersion2();
}

TEST_F(StoreRecover, ADryRunSeesTheSetAsItWillBe) {
    InstallOptions options;
    options.dryRun = true;
    auto const before = treeOf(cali);
    std::string const first =
        "remark: An interrupted change of camera 7 would be completed first. \n";
    EXPECT_EQ(seen(install(7, options)), "changed, complete\n" + data + ": replaced\n" +
                                             description + ": replaced\n" + curve + ": replaced\n" +
                                             first);
    putOnStick(camera(7).mainSection(), "2");
    // The run will complete the transaction, and so change something.
    EXPECT_EQ(seen(install(7, options)), "changed, complete\n" + data + ": unchanged\n" +
                                             description + ": unchanged\n" + curve +
                                             ": unchanged\n" + first);
    EXPECT_EQ(treeOf(cali), before);
}

TEST_F(StoreRecover, TakesTheDescriptionOutWhenAStagedFileIsLost) {
    for (std::function<void()> const& damage :
         {std::function<void()>([&] { fs::remove(stage + "/0"); }),
          std::function<void()>([&] { writeFile(stage + "/1", "3 " + curve); }),
          std::function<void()>([&] { fs::remove_all(stage); })}) {
        fs::remove_all(root.path() + "/saved");
        fs::copy(cali, root.path() + "/saved", fs::copy_options::recursive);
        damage();
        auto const outcome = store.recover(true, {});
        ASSERT_EQ(outcome.cameras.size(), 1U);
        EXPECT_FALSE(outcome.cameras[0].complete);
        EXPECT_EQ(check(7), "not complete\nCali-7.xml: missing\n");
        expectNothingLeft();
        fs::remove_all(cali);
        fs::copy(root.path() + "/saved", cali, fs::copy_options::recursive);
    }
}

TEST_F(StoreRecover, TakesTheDescriptionOutWhenTheJournalIsDamaged) {
    writeFile(hidden + "/7.journal", "rubbish");
    auto const outcome = store.recover(true, {});
    ASSERT_EQ(outcome.cameras.size(), 1U);
    EXPECT_FALSE(outcome.cameras[0].complete);
    EXPECT_EQ(check(7), "not complete\nCali-7.xml: missing\n");
    expectNothingLeft();
    EXPECT_TRUE(install(7).complete);
}

TEST_F(StoreRecover, RefusesTheJournalOfALaterVersion) {
    writeFile(hidden + "/7.journal", "zentho-cali journal 2\n");
    auto const before = treeOf(cali);
    auto const outcome = store.recover(true, {});
    ASSERT_TRUE(outcome.failure);
    EXPECT_EQ(outcome.failure->kind, FailureKind::laterVersion);
    Tree now = treeOf(cali);
    now[".zentho-cali/lock"] = before.at(".zentho-cali/lock");
    EXPECT_EQ(now, before);
    EXPECT_EQ(check(7), "not complete\nCali-7.xml: interrupted\n");
}

TEST_F(StoreRecover, RemovesWhatADeadProcessStaged) {
    fs::remove(hidden + "/7.journal");
    auto const outcome = store.recover(true, {});
    EXPECT_TRUE(outcome.changed);
    EXPECT_FALSE(fs::exists(stage));
    EXPECT_EQ(installed(data), "1 " + data);
    EXPECT_EQ(check(7), "complete\n");
}

TEST_F(StoreRecover, RemovesAJournalThatWasNotFinished) {
    fs::rename(hidden + "/7.journal", hidden + "/7.journal.new");
    EXPECT_TRUE(store.recover(true, {}).changed);
    EXPECT_FALSE(fs::exists(hidden + "/7.journal.new"));
    EXPECT_FALSE(fs::exists(stage));
    EXPECT_EQ(check(7), "complete\n");
}

TEST_F(StoreRecover, IsDoneByRunsThatHaveNothingElseToDo) {
    for (auto const& run :
         {std::function<void()>([&] { EXPECT_FALSE(install(7).changed); }),
          std::function<void()>([&] { EXPECT_FALSE(store.remove(8, {}, {}).changed); })}) {
        writeFile(hidden + "/8.journal.new", "half a journal");
        writeFile(stage + "/0", "half a file");
        fs::remove(hidden + "/7.journal");
        run();
        EXPECT_FALSE(fs::exists(hidden + "/8.journal.new"));
        EXPECT_FALSE(fs::exists(stage));
    }
}

TEST_F(StoreRecover, CompletesTheSetWithoutItsRecordWhenThatIsLost) {
    fs::remove(stage + "/3");
    ASSERT_TRUE(store.recover(true, {}).cameras.at(0).complete);
    EXPECT_EQ(installed(data), "2 " + data);
    EXPECT_EQ(check(7), "complete\n");
    EXPECT_FALSE(fs::exists(hidden + "/7.sha256"));
    expectNothingLeft();
}

TEST_F(StoreRecover, RemovesFoldersInTheStage) {
    writeFile(stage + "/folder/inside/file", "x");
    ASSERT_TRUE(store.recover(true, {}).cameras.at(0).complete);
    expectVersion2();
}

TEST_F(StoreRecover, ADryRunKnowsWhatCannotBeCompleted) {
    InstallOptions options;
    options.dryRun = true;
    putOnStick(camera(7).mainSection(), "2");
    fs::remove(stick + "/" + curve);
    fs::remove(stage + "/0");
    fs::remove(cali + "/Cali-7-old.dat");
    std::string const start = "changed, not complete\n" + curve + ": missing\n";
    EXPECT_EQ(seen(install(7, options)),
              start + "remark: An interrupted change of camera 7 could not be completed; its "
                      "description would be taken out first. \nholds 7\n");
    EXPECT_FALSE(store.needsLaterVersion());
    EXPECT_EQ(seen(install(7)), start + "remark: An interrupted change of camera 7 could not be "
                                        "completed; its description was taken out. \nholds 7\n");
    writeFile(hidden + "/8.journal", "zentho-cali journal 2\n");
    EXPECT_TRUE(store.needsLaterVersion());
    EXPECT_EQ(install(7, options).failure->kind, FailureKind::laterVersion);
    EXPECT_EQ(install(7).failure->kind, FailureKind::laterVersion);
}

TEST_F(StoreRecover, OfNothingIsFine) {
    CalibrationStore nowhere(root.path() + "/nowhere");
    auto const outcome = nowhere.recover(true, {});
    EXPECT_FALSE(outcome.failure);
    EXPECT_FALSE(outcome.changed);
}

TEST_F(StoreRecover, PutsTheDescriptionLastAgainWhenDataIsStillStaged) {
    fs::rename(stage + "/2", cali + "/" + description);
    EXPECT_TRUE(store.recover(true, {}).cameras.at(0).complete);
    expectVersion2();
}

TEST_F(StoreRecover, TakesTheDescriptionOutWhenAFolderStandsInAFilesPlace) {
    fs::remove(cali + "/" + data);
    fs::create_directories(cali + "/" + data + "/x");
    EXPECT_FALSE(store.recover(true, {}).cameras.at(0).complete);
    EXPECT_FALSE(fs::exists(cali + "/" + description));
    expectNothingLeft();
}

TEST_F(StoreRecover, CompletesTheSetWithoutItsRecordWhenAFolderStandsInItsPlace) {
    fs::remove(hidden + "/7.sha256");
    fs::create_directories(hidden + "/7.sha256/x");
    EXPECT_TRUE(store.recover(true, {}).cameras.at(0).complete);
    EXPECT_EQ(installed(description), text);
    expectNothingLeft();
}

TEST_F(StoreRecover, LeavesFilesAloneThatAreNoJournals) {
    writeFile(hidden + "/notes.new", "x");
    writeFile(hidden + "/07.journal", "x");
    writeFile(hidden + "/99999999999999999999.journal", "x");
    writeFile(hidden + "/7x.journal", "x");
    writeFile(hidden + "/.journal", "x");
    EXPECT_EQ(store.recover(true, {}).cameras.size(), 1U);
    expectVersion2();
    EXPECT_TRUE(fs::exists(hidden + "/notes.new"));
    EXPECT_TRUE(fs::exists(hidden + "/07.journal"));
}

TEST_F(StoreRecover, OfADirectoryThatIsMissingIsFine) {
    CalibrationStore nowhere(root.path() + "/nowhere");
    auto const outcome = nowhere.recover(true, {});
    EXPECT_FALSE(outcome.failure);
    EXPECT_FALSE(outcome.changed);
}

TEST_F(StoreRecover, ADryRunSeesARemovalAsItWillBe) {
    store.recover(true, {});
    Journal journal;
    journal.serial = 7;
    journal.removedBefore = {description, data, curve};
    journal.removesRecord = true;
    writeFile(hidden + "/7.journal", journal.text());
    InstallOptions dry;
    dry.dryRun = true;
    std::string const remark =
        "remark: An interrupted change of camera 7 would be completed first. \n";
    EXPECT_EQ(seen(install(7, dry)), "changed, complete\n" + data + ": installed\n" + description +
                                         ": installed\n" + curve + ": installed\n" + remark);
    EXPECT_EQ(seen(store.remove(7, dry, {})), "changed, not complete\n" + remark);
}

TEST_F(StoreRecover, LeavesAStageAloneWhileAnotherProcessHoldsTheLock) {
    store.recover(true, {});
    putOnStick(camera(7).mainSection(), "2");
    auto const lock = store.lockForOthers(true, {});
    writeFile(stage + "/0", "x");
    EXPECT_FALSE(install(7).failure);
    EXPECT_TRUE(fs::exists(stage + "/0"));
}
