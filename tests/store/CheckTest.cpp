// What keeps an installed set from being complete.
#include "tests/store/StoreFixture.h"

#include "imgproc/Description.h"
#include "store/Lines.h"
#include "store/SetCheck.h"

#include "tests/support/Namespace.h"

#include <atomic>
#include <filesystem>
#include <thread>

#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;
using namespace storetest;
using support::writeFile;

class StoreCheck : public Store {
protected:
    StoreCheck() {
        putOnStick(camera(7));
        install(7);
    }
};

} // namespace

TEST_F(StoreCheck, NamesMissingFiles) {
    fs::remove(cali + "/" + data);
    EXPECT_EQ(check(7), "not complete\n" + data + ": missing\n");
    fs::remove(cali + "/" + description);
    EXPECT_EQ(check(7), "not complete\n" + description + ": missing\n" + data + ": missing\n");
    EXPECT_EQ(check(8), "not complete\nCali-8.xml: missing\n");
}

TEST_F(StoreCheck, NamesEmptyFiles) {
    writeFile(cali + "/" + data, "");
    EXPECT_EQ(check(7), "not complete\n" + data + ": empty\n");
    writeFile(cali + "/" + description, "");
    EXPECT_EQ(check(7), "not complete\n" + description + ": empty\n" + data + ": empty\n");
}

TEST_F(StoreCheck, NamesFilesOfAnotherSizeThanRecorded) {
    writeFile(cali + "/" + data, "short");
    EXPECT_EQ(check(7), "not complete\n" + data + ": altered (It has 5 bytes instead of 23.)\n");
    fs::remove(hidden + "/7.sha256");
    EXPECT_EQ(check(7), "complete\n");
}

TEST_F(StoreCheck, NamesFilesThatAreNotRecorded) {
    std::string record = support::readFile(hidden + "/7.sha256");
    while (record.find(data) != std::string::npos) {
        auto const start = record.rfind('\n', record.find(data)) + 1;
        record.erase(start, record.find('\n', start) - start + 1);
    }
    writeFile(hidden + "/7.sha256", record);
    EXPECT_EQ(check(7), "not complete\n" + data + ": altered (It is not recorded.)\n");
}

TEST_F(StoreCheck, NamesRecordedFilesThatTheDescriptionDoesNotAskFor) {
    writeFile(stick + "/Cali-7-notes.txt", "notes");
    writeFile(stick + "/Cali-7-empty.txt", "");
    install(7);
    EXPECT_EQ(check(7), "complete\n");
    fs::remove(cali + "/Cali-7-notes.txt");
    EXPECT_EQ(check(7), "not complete\nCali-7-notes.txt: missing\n");
    EXPECT_FALSE(store.verify(7, {}).complete);
}

TEST_F(StoreCheck, NamesRecordedFilesByNameAfterThoseOfTheDescription) {
    for (std::string const name : {"Cali-7-b.txt", "Cali-7-a.txt", "Kennlinie-7-a.txt"})
        writeFile(stick + "/" + name, "notes");
    install(7);
    for (std::string const& name : {std::string("Cali-7-b.txt"), std::string("Cali-7-a.txt"),
                                    std::string("Kennlinie-7-a.txt"), curve, data})
        fs::remove(cali + "/" + name);
    EXPECT_EQ(check(7), "not complete\n" + data + ": missing\n" + curve +
                            ": missing\nCali-7-a.txt: missing\nCali-7-b.txt: missing\n"
                            "Kennlinie-7-a.txt: missing\n");
}

TEST_F(StoreCheck, OfARecordWithItsLinesInAnotherOrderSaysTheSame) {
    std::string const record = support::readFile(hidden + "/7.sha256");
    std::vector<std::string> lines;
    zel::store::forEachLine(record, [&](std::string_view line) { lines.emplace_back(line); });
    // Backwards, sizes before sums as ever, and all of it twice.
    std::string changed;
    for (bool const isSize : {true, false}) {
        for (auto line = lines.rbegin(); line != lines.rend(); ++line) {
            if ((line->substr(0, 7) == "# size ") == isSize)
                changed.append(*line).append("\n").append(*line).append("\nforeign\n");
        }
    }
    ASSERT_NE(changed, record);
    writeFile(hidden + "/7.sha256", changed);
    EXPECT_EQ(check(7), "complete\n");
    EXPECT_TRUE(store.verify(7, {}).same);
    writeFile(cali + "/" + curve, "short");
    writeFile(cali + "/" + data, "short too");
    std::string const problems = "not complete\n" + data +
                                 ": altered (It has 9 bytes instead of 23.)\n" + curve +
                                 ": altered (It has 5 bytes instead of 28.)\n";
    EXPECT_EQ(check(7), problems);
    writeFile(hidden + "/7.sha256", record);
    EXPECT_EQ(check(7), problems);
}

TEST_F(StoreCheck, NamesAFileOnceThatTheDescriptionAsksForTwice) {
    writeFile(stick + "/" + description, camera(7).optic(23).range(-20, 100).description());
    install(7);
    EXPECT_EQ(check(7), "complete\n");
    fs::remove(cali + "/" + data);
    EXPECT_EQ(check(7), "not complete\n" + data + ": missing\n");
    fs::remove(hidden + "/7.sha256");
    EXPECT_EQ(check(7), "not complete\n" + data + ": missing\n");
}

TEST_F(StoreCheck, NamesADamagedRecord) {
    writeFile(hidden + "/7.sha256", "rubbish");
    EXPECT_EQ(check(7),
              "not complete\n.zentho-cali/7.sha256: unreadable (The record is damaged.)\n");
    EXPECT_TRUE(install(7).complete);
    EXPECT_EQ(check(7), "complete\n");
}

TEST_F(StoreCheck, NamesADescriptionThatCannotBeFollowed) {
    std::string const whole = camera(7).description();
    writeFile(cali + "/" + description, whole.substr(0, whole.size() / 2));
    fs::remove(hidden + "/7.sha256");
    EXPECT_EQ(check(7), "not complete\n" + description +
                            ": unreadable (The closing tag of its root element is missing.)\n");
}

TEST_F(StoreCheck, NamesWhatIsNoFile) {
    fs::remove(cali + "/" + data);
    fs::create_directory(cali + "/" + data);
    EXPECT_EQ(check(7), "not complete\n" + data + ": unreadable (It is no file.)\n");
    fs::remove(cali + "/" + description);
    fs::create_directory(cali + "/" + description);
    EXPECT_EQ(check(7), "not complete\n" + description + ": unreadable (Is a directory)\n" + data +
                            ": unreadable (It is no file.)\n");
}

TEST_F(StoreCheck, NamesPipesDevicesAndLinksThroughFiles) {
    std::string const noFile = "not complete\n" + data + ": unreadable (It is no file.)\n";
    fs::remove(cali + "/" + data);
    ASSERT_EQ(mkfifo((cali + "/" + data).c_str(), 0600), 0);
    EXPECT_EQ(check(7), noFile);
    fs::remove(cali + "/" + data);
    fs::create_symlink("/dev/null", cali + "/" + data);
    EXPECT_EQ(check(7), noFile);
    fs::remove(cali + "/" + data);
    fs::create_symlink(curve + "/x", cali + "/" + data);
    EXPECT_EQ(check(7), "not complete\n" + data + ": missing\n");
    fs::remove(cali + "/" + description);
    ASSERT_EQ(mkfifo((cali + "/" + description).c_str(), 0600), 0);
    EXPECT_EQ(check(7), "not complete\n" + description + ": unreadable (Invalid argument)\n" +
                            data + ": missing\n");
}

TEST_F(StoreCheck, NamesADescriptionThatIsTooLarge) {
    fs::resize_file(cali + "/" + description, largestDescription + 1);
    fs::remove(hidden + "/7.sha256");
    EXPECT_EQ(check(7), "not complete\n" + description + ": unreadable (It is too large.)\n");
}

TEST_F(StoreCheck, OfADirectoryThatChangesAllTheTimeSaysInterrupted) {
    zel::store::Target const target(cali);
    int looks = 0;
    EXPECT_TRUE(zel::store::lookSteadily(target, 7, [&](zel::store::OpenedFile const&) {
        ++looks;
        writeFile(cali + "/new", camera(7).description());
        fs::rename(cali + "/new", cali + "/" + description);
    }));
    EXPECT_GT(looks, 1);
}

TEST_F(StoreCheck, NamesWhatCannotBeRead) {
    support::inPrivateNamespaces([&] {
        support::giveUpPrivileges();
        fs::permissions(cali + "/" + data, fs::perms::none);
        EXPECT_EQ(check(7), "not complete\n" + data + ": unreadable (Permission denied)\n");
        fs::permissions(cali + "/" + description, fs::perms::none);
        EXPECT_EQ(check(7), "not complete\n" + description + ": unreadable (Permission denied)\n" +
                                data + ": unreadable (Permission denied)\n");
        fs::permissions(cali + "/" + data, fs::perms::owner_all);
        fs::permissions(cali + "/" + description, fs::perms::owner_all);
    });
}

TEST_F(StoreCheck, FailsWithoutADirectory) {
    CalibrationStore const nowhere(root.path() + "/nowhere");
    EXPECT_EQ(seen(nowhere.check(7)), "failed: Cannot use the calibration directory " +
                                          root.path() +
                                          "/nowhere: No such file or directory\nnot complete\n");
}

TEST_F(StoreCheck, NeverFindsACompleteSetOfTwoVersionsWhileOneIsReplaced) {
    // The first letter of each data file and the main section of the description tell the version.
    putOnStick(camera(7), "11");
    install(7);
    std::atomic<bool> ended{false};
    std::thread writer([&] {
        for (int i = 0; i < 60; ++i) {
            bool const isOdd = i % 2 != 0;
            putOnStick(isOdd ? camera(7) : camera(7).mainSection(), isOdd ? "11" : "2");
            EXPECT_TRUE(install(7).complete);
        }
        ended = true;
    });
    auto const length = std::string(" " + data).size();
    int complete = 0;
    while (!ended) {
        auto const outcome = store.verify(7, {});
        if (!outcome.complete || outcome.failure)
            continue;
        ++complete;
        bool const isNew = outcome.files.at(0).bytes == length + 1;
        EXPECT_EQ(outcome.files.at(1).bytes == camera(7).description().size(), !isNew);
        EXPECT_EQ(outcome.files.at(2).bytes > length + 5, true);
        EXPECT_TRUE(outcome.same);
    }
    writer.join();
    EXPECT_GT(complete, 0);
}
