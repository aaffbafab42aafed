// The record of an installed set.
#include "store/Record.h"

#include "tests/support/Random.h"

#include <gtest/gtest.h>

namespace {

using zel::store::Digest;
using zel::store::Record;

Digest digest(unsigned char value) {
    Digest made{};
    made.fill(value);
    return made;
}

Record record() {
    Record record{"/media/a\nb\\c", "2026-11-22T01:02:03Z", {}};
    record.files["Cali-7.xml"] = {12, digest(1)};
    record.files["Cali-7-a\nb.dat"] = {0, digest(2)};
    record.files["Kennlinie-7-x.prn"] = {18446744073709551615U, digest(3)};
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

TEST(StoreRecord, HasNoFilesOfOtherCameras) {
    EXPECT_FALSE(Record::from(record().text(), 71));
    Record other = record();
    other.files["Cali-71.xml"] = {1, digest(4)};
    other.files["../Cali-7.xml"] = {1, digest(5)};
    other.files["Cali-7/../../secret"] = {1, digest(6)};
    auto const read = Record::from(other.text(), 7);
    ASSERT_TRUE(read);
    EXPECT_TRUE(equal(*read, record()));
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
