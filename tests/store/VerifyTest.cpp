// Comparing every byte.
#include "tests/store/StoreFixture.h"

#include "tests/support/LogLines.h"

#include <filesystem>

namespace {

namespace fs = std::filesystem;
using namespace storetest;
using support::writeFile;

class StoreVerify : public Store {
protected:
    StoreVerify() {
        putOnStick(camera(7));
        install(7);
    }

    std::uintmax_t bytesInSet() const {
        return fs::file_size(cali + "/" + data) + fs::file_size(cali + "/" + description) +
               fs::file_size(cali + "/" + curve);
    }
    std::string againstRecord() const { return seen(store.verify(7, {})); }
    std::string againstStick() const {
        auto const source = zel::store::Source::open(stick, {});
        return seen(store.verify(7, *source.source, {}));
    }
};

std::string answer(std::string const& start, std::string const& dataState,
                   std::string const& descriptionState, std::string const& curveState) {
    return start + "\n" + data + ": " + dataState + "\n" + description + ": " + descriptionState +
           "\n" + curve + ": " + curveState + "\n";
}

} // namespace

TEST_F(StoreVerify, SaysThatEveryByteIsTheSame) {
    EXPECT_EQ(againstRecord(), answer("same, complete", "same", "same", "same"));
    EXPECT_EQ(againstStick(), answer("same, complete", "same", "same", "same"));
}

TEST_F(StoreVerify, KnowsFromTheStartHowManyBytesThereAre) {
    writeFile(stick + "/copy/" + data, support::readFile(stick + "/" + data));
    zel::store::Progress first;
    zel::store::Progress last;
    auto const follow = [&](zel::store::Progress const& progress) {
        if (progress.files == 0 && progress.bytes == 0)
            first = progress;
        last = progress;
        return true;
    };
    store.verify(7, follow);
    EXPECT_GT(first.allBytes, 0U);
    EXPECT_EQ(last.bytes, first.allBytes);
    auto const source = zel::store::Source::open(stick, {});
    store.verify(7, *source.source, follow);
    EXPECT_EQ(first.allBytes, bytesInSet() + fs::file_size(cali + "/" + data));
    EXPECT_EQ(last.bytes, first.allBytes);
}

TEST_F(StoreVerify, FindsOneChangedByte) {
    writeFile(cali + "/" + data, "2 " + data);
    EXPECT_EQ(againstRecord(), answer("not the same, complete", "differs", "same", "same"));
    EXPECT_EQ(againstStick(), answer("not the same, complete", "differs", "same", "same"));
}

TEST_F(StoreVerify, FindsAnotherSize) {
    writeFile(cali + "/" + data, "longer than it was: " + data);
    EXPECT_EQ(store.verify(7, {}).files.at(0).state, zel::store::FileState::differs);
}

TEST_F(StoreVerify, SaysWhereAFileIsMissing) {
    fs::remove(cali + "/" + data);
    EXPECT_EQ(againstRecord(), answer("not the same, not complete", "missing", "same", "same"));
    EXPECT_EQ(againstStick(), answer("not the same, not complete", "missing here", "same", "same"));
    fs::remove(stick + "/" + data);
    fs::remove(stick + "/" + curve);
    EXPECT_EQ(againstStick(), answer("not the same, not complete", "missing here and there", "same",
                                     "missing there"));
}

TEST_F(StoreVerify, NeedsARecordOrASource) {
    fs::remove(hidden + "/7.sha256");
    auto const outcome = store.verify(7, {});
    ASSERT_TRUE(outcome.failure);
    EXPECT_EQ(outcome.failure->kind, FailureKind::noRecord);
    EXPECT_EQ(againstStick(), answer("same, complete", "same", "same", "same"));
}

TEST_F(StoreVerify, SaysWhyARecordCannotBeRead) {
    fs::remove(hidden + "/7.sha256");
    fs::create_directory(hidden + "/7.sha256");
    auto const outcome = store.verify(7, {});
    ASSERT_TRUE(outcome.failure);
    EXPECT_EQ(outcome.failure->kind, FailureKind::noRecord);
    EXPECT_EQ(outcome.failure->message, "Cannot read the record of camera 7 in");
    EXPECT_EQ(outcome.failure->error, EISDIR);
}

TEST_F(StoreVerify, NamesDifferentCopiesWithTheirPaths) {
    writeFile(stick + "/more/" + data, "other");
    EXPECT_EQ(againstStick(), answer("not the same, complete",
                                     "differs (The source holds several files of this name.) [" +
                                         stick + "/" + data + "] [" + stick + "/more/" + data + "]",
                                     "same", "same"));
}

TEST_F(StoreVerify, FindsNamesInCapitals) {
    fs::rename(stick + "/" + data, stick + "/CALI-7-23-M20-100.DAT");
    EXPECT_EQ(againstStick(), answer("same, complete", "same", "same", "same"));
}

TEST_F(StoreVerify, AFileThatCannotBeReadIsAState) {
    fs::remove(cali + "/" + data);
    fs::create_directory(cali + "/" + data);
    EXPECT_EQ(againstRecord(),
              answer("not the same, not complete", "unreadable (Is a directory)", "same", "same"));
}

TEST_F(StoreVerify, CanBeCancelled) {
    auto const outcome = store.verify(7, [](auto const&) { return false; });
    ASSERT_TRUE(outcome.failure);
    EXPECT_EQ(outcome.failure->kind, FailureKind::cancelled);
}

TEST_F(StoreVerify, CanBeCancelledInTheMiddleOfAFile) {
    writeFile(stick + "/" + data, std::string(3000000, 'x'));
    install(7);
    auto const source = zel::store::Source::open(stick, {});
    auto const inTheMiddle = [](auto const& progress) {
        return progress.bytes < 1000000;
    };
    for (auto const& outcome :
         {store.verify(7, inTheMiddle), store.verify(7, *source.source, inTheMiddle)}) {
        ASSERT_TRUE(outcome.failure);
        EXPECT_EQ(outcome.failure->kind, FailureKind::cancelled);
    }
}

TEST_F(StoreVerify, NamesFilesThatAreNotRecorded) {
    std::string const record = hidden + "/7.sha256";
    std::string others;
    for (std::string const& line : support::lines(support::readFile(record))) {
        if (line.find(curve) == std::string::npos)
            others += line + "\n";
    }
    writeFile(record, others);
    EXPECT_EQ(againstRecord(), answer("not the same, not complete", "same", "same",
                                      "differs (It is not recorded.)"));
}

TEST_F(StoreVerify, AFileOfTheStickThatCannotBeOpenedIsAState) {
    auto const source = zel::store::Source::open(stick, {});
    fs::remove(stick + "/" + data);
    auto const outcome = store.verify(7, *source.source, {});
    EXPECT_FALSE(outcome.same);
    EXPECT_TRUE(outcome.complete);
    ASSERT_EQ(outcome.files.size(), 3U);
    EXPECT_EQ(outcome.files[0].state, zel::store::FileState::unreadable);
    EXPECT_EQ(outcome.files[0].paths, std::vector<std::string>{stick + "/" + data});
}

TEST_F(StoreVerify, ComparesFilesOfTheStickThatAreNotRecorded) {
    std::string const more = "Cali-7-more.dat";
    writeFile(stick + "/" + more, "more");
    writeFile(cali + "/" + more, "else");
    auto const source = zel::store::Source::open(stick, {});
    auto const files = store.verify(7, *source.source, {}).files;
    ASSERT_EQ(files.size(), 4U);
    EXPECT_EQ(files[1].name, more);
    EXPECT_EQ(files[1].state, zel::store::FileState::differs);
}
