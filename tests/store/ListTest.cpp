// The cameras in a calibration directory, and those on a stick.
#include "tests/store/StoreFixture.h"

#include <filesystem>
#include <sstream>

namespace {

namespace fs = std::filesystem;
using namespace storetest;
using support::writeFile;

std::string seenOf(zel::store::ListOutcome const& outcome) {
    std::ostringstream out;
    if (outcome.failure)
        out << "failed\n";
    for (auto const& camera : outcome.cameras) {
        out << camera.serial << (camera.complete ? " complete" : " not complete");
        for (auto const& optic : camera.optics)
            out << ", " << optic.fieldOfView << ' ' << optic.text;
        out << ", " << camera.files << " files, " << camera.bytes << " bytes"
            << (camera.date ? ", dated" : "");
        for (auto const& problem : camera.problems)
            out << ", " << problem.name << ' ' << zel::store::word(problem.state);
        out << '\n';
    }
    return out.str();
}

class StoreList : public Store {
protected:
    StoreList() {
        putOnStick(camera(7));
        putOnStick(support::Camera(71).optic(54).text("Macro").range(0, 1));
    }

    std::string held() const {
        auto const source = zel::store::Source::open(stick, {});
        return seenOf(zel::store::listSource(*source.source, {}));
    }

    static std::string bytesOf(std::string const& directory,
                               std::vector<std::string> const& names) {
        std::uintmax_t bytes = 0;
        for (std::string const& name : names)
            bytes += fs::file_size(directory + "/" + name);
        return std::to_string(bytes) + " bytes";
    }
    static std::string bytesOf7(std::string const& directory) {
        return bytesOf(directory,
                       {"Cali-7.xml", "Cali-7-23-M20-100.dat", "Kennlinie-7-23-M20-100.prn"});
    }
    static std::string bytesOf71(std::string const& directory) {
        return bytesOf(directory, {"Cali-71.xml", "Cali-71-54-Macro-0-1.dat"});
    }
};

} // namespace

TEST_F(StoreList, NamesWhatIsInstalled) {
    install(7);
    install(71);
    fs::remove(cali + "/Kennlinie-71-54-Macro-0-1.prn");
    EXPECT_EQ(seenOf(store.list()), "7 complete, 23 , 3 files, " + bytesOf7(cali) +
                                        ", dated\n71 not complete, 54 Macro, 2 files, " +
                                        bytesOf71(cali) +
                                        ", dated, Kennlinie-71-54-Macro-0-1.prn missing\n");
}

TEST_F(StoreList, HasACameraThatHasOnlyARecord) {
    install(7);
    for (auto const& entry : fs::directory_iterator(cali)) {
        if (entry.is_regular_file())
            fs::remove(entry);
    }
    EXPECT_EQ(seenOf(store.list()), "7 not complete, 0 files, 0 bytes, dated, Cali-7.xml missing, "
                                    "Cali-7-23-M20-100.dat missing, "
                                    "Kennlinie-7-23-M20-100.prn missing\n");
}

TEST_F(StoreList, HasNoCameraThatHasOnlyData) {
    writeFile(cali + "/Cali-9-x.dat", "data");
    EXPECT_EQ(seenOf(store.list()), "");
}

TEST_F(StoreList, NamesWhatAStickHolds) {
    fs::remove(stick + "/Kennlinie-71-54-Macro-0-1.prn");
    EXPECT_EQ(held(), "7 complete, 23 , 3 files, " + bytesOf7(stick) +
                          "\n71 not complete, 54 Macro, 2 files, " + bytesOf71(stick) +
                          ", Kennlinie-71-54-Macro-0-1.prn missing\n");
}

TEST_F(StoreList, CountsAFileOfAStickOnceHoweverManyCopiesThereAre) {
    fs::remove(stick + "/Cali-71.xml");
    putOnStick(camera(7), "1");
    for (char const* const name :
         {"Cali-7.xml", "Cali-7-23-M20-100.dat", "Kennlinie-7-23-M20-100.prn"})
        writeFile(stick + "/copy/" + name, support::readFile(stick + "/" + name));
    EXPECT_EQ(held(), "7 complete, 23 , 3 files, " + bytesOf7(stick) + "\n");
}

TEST_F(StoreList, FailsWithoutADirectory) {
    EXPECT_EQ(seenOf(store.list()), "failed\n");
}

TEST_F(StoreList, OfAStickCanBeCancelledAndNamesWhatWasLeftOut) {
    putOnStick(camera(7));
    fs::create_symlink("nowhere", stick + "/Cali-7-odd.dat");
    auto const source = zel::store::Source::open(stick, {});
    auto const cancelled =
        zel::store::listSource(*source.source, [](auto const&) { return false; });
    ASSERT_TRUE(cancelled.failure);
    EXPECT_EQ(cancelled.failure->kind, FailureKind::cancelled);
    auto const listed = zel::store::listSource(*source.source, {});
    ASSERT_EQ(listed.remarks.size(), 1U);
    EXPECT_EQ(listed.remarks[0].path, stick + "/Cali-7-odd.dat");
}

TEST_F(StoreList, CountsNoFoldersAndNoFilesOfOddNumbers) {
    putOnStick(camera(7));
    install(7);
    fs::create_directory(cali + "/Cali-7-folder.dat");
    support::writeFile(cali + "/Cali-007.xml", "x");
    auto const listed = store.list();
    ASSERT_EQ(listed.cameras.size(), 1U);
    EXPECT_EQ(listed.cameras[0].files, 3U);
}
