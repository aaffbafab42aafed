// The record of an installed set.
#include "store/Record.h"
#include "store/Lines.h"

#include "tests/support/Random.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using zel::store::Digest;
using zel::store::hexadecimal;
using zel::store::Record;

Digest digest(unsigned char value) {
    Digest made{};
    made.fill(value);
    return made;
}

Record record() {
    Record record{"/media/a\nb\\c", "2026-11-22T01:02:03Z", {}, {}};
    record.add("Cali-7.xml", {12, digest(1)});
    record.add("Cali-7-a\nb.dat", {0, digest(2)});
    record.add("Kennlinie-7-x.prn", {18446744073709551615U, digest(3)});
    return record;
}

bool equal(Record const& a, Record const& b) {
    return a.source == b.source && a.date == b.date && a.text() == b.text();
}

} // namespace

TEST(StoreRecord, IsReadAsItWasWritten) {
    auto const read = Record::from(record().text(), 7);
    ASSERT_TRUE(read);
    EXPECT_TRUE(equal(*read, record())) << read->text();
}

TEST(StoreRecord, IsNoneWhenAFileLacksItsSizeOrItsSum) {
    for (std::string const part : {"# size 12 Cali-7.xml\n", "01  Cali-7.xml\n"}) {
        std::string text = record().text();
        text.erase(text.find(part), part.size());
        EXPECT_FALSE(Record::from(text, 7)) << part;
    }
    EXPECT_FALSE(Record::from("", 7));
    EXPECT_FALSE(Record::from("# source x\n# date y\n", 7));
}

TEST(StoreRecord, NeedsNoSource) {
    Record without = record();
    without.source.clear();
    EXPECT_EQ(without.text().substr(0, 7), "# date ");
    EXPECT_TRUE(equal(*Record::from(without.text(), 7), without));
}

TEST(StoreRecord, HasDatesThatAreTimes) {
    EXPECT_EQ(zel::store::dateOf(1769860800), "2026-01-31T12:00:00Z");
    EXPECT_EQ(zel::store::timeOf("2026-01-31T12:00:00Z"), 1769860800);
    for (char const* const text : {"", "today", "2026-01-31", "2026-02-30T12:00:00Z",
                                   "2026-1-31T12:00:00Z", "2026-01-31T12:00:00Z "})
        EXPECT_FALSE(zel::store::timeOf(text)) << text;
}

TEST(StoreRecord, HasNoFilesOfOtherCameras) {
    EXPECT_FALSE(Record::from(record().text(), 71));
    Record other = record();
    other.add("Cali-71.xml", {1, digest(4)});
    other.add("../Cali-7.xml", {1, digest(5)});
    other.add("Cali-7/../../secret", {1, digest(6)});
    auto const read = Record::from(other.text(), 7);
    ASSERT_TRUE(read);
    EXPECT_TRUE(equal(*read, record()));
}

TEST(StoreRecord, IsReadWithItsLinesInAnyOrderInWhichSizesComeFirst) {
    Record const expected = record();
    std::string const text = expected.text();
    std::vector<std::string> sizes;
    std::vector<std::string> others;
    zel::store::forEachLine(text, [&](std::string_view line) {
        bool const isSize = line.substr(0, 7) == "# size ";
        (isSize ? sizes : others).push_back(std::string(line) + "\n");
    });
    std::sort(sizes.begin(), sizes.end());
    std::sort(others.begin(), others.end());
    do {
        do {
            std::string shuffled;
            for (auto const* const lines : {&sizes, &others}) {
                for (std::string const& line : *lines)
                    shuffled += line;
            }
            auto const read = Record::from(shuffled, 7);
            ASSERT_TRUE(read) << shuffled;
            EXPECT_TRUE(equal(*read, expected)) << shuffled;
        } while (std::next_permutation(others.begin(), others.end()));
    } while (std::next_permutation(sizes.begin(), sizes.end()));
}

TEST(StoreRecord, HasWhatTheLastOfSeveralLinesSaysOfAFile) {
    Record expected = record();
    expected.source = "/other";
    expected.add("Cali-7.xml", {13, digest(9)});
    std::string const start = "# size 12 Cali-7.xml\n" + record().text();
    std::string const sum = hexadecimal(digest(9)) + "  Cali-7.xml\n";
    auto const read = Record::from("# size 13 Cali-7.xml\n" + sum + start + "# source /other\n" +
                                       "# size 13 Cali-7.xml\n" + sum + sum,
                                   7);
    ASSERT_TRUE(read);
    EXPECT_TRUE(equal(*read, expected)) << read->text();
    EXPECT_FALSE(Record::from(start + "# size 13 Cali-7.xml\n", 7)) << "its sum may be another";
}

TEST(StoreRecord, IgnoresLinesThatItDoesNotKnow) {
    std::string const text =
        "# to be read by a person\n\nrubbish\n# size x Cali-7.xml\n# size 1 \n# size 1 "
        "Cali-7-bad\\x\n" +
        record().text() + hexadecimal(digest(4)) + "  Cali-71.xml\n" + hexadecimal(digest(5)) +
        "  notes\n" + hexadecimal(digest(6)).substr(1) + "  Cali-7.xml";
    auto const read = Record::from(text, 7);
    ASSERT_TRUE(read);
    EXPECT_TRUE(equal(*read, record())) << read->text();
}

TEST(StoreRecord, OfAnyRubbishIsNoneOrSound) {
    support::Random random(7);
    int sound = 0;
    for (int i = 0; i < 3000; ++i) {
        std::string text = record().text();
        for (int change = random.between(1, 4); change > 0; --change)
            text[random.placeIn(text) % text.size()] = static_cast<char>(random.below(256));
        auto const read = Record::from(text, 7);
        if (!read)
            continue;
        ++sound;
        auto const again = Record::from(read->text(), 7);
        ASSERT_TRUE(again);
        EXPECT_TRUE(equal(*read, *again));
    }
    EXPECT_GT(sound, 0);
}
