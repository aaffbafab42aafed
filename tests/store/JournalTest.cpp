// The journal of a transaction.
#include "store/Journal.h"

#include "tests/support/Random.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using namespace zel::store;

Journal journal() {
    Journal journal;
    journal.serial = 7;
    journal.data.push_back({0, 12, Digest{1}, "Cali-7-a.dat"});
    journal.data.push_back({1, 0, Digest{2}, "Cali-7-line\nbreak\\.dat"});
    journal.description = StagedFile{2, 99, Digest{3}, "Cali-7.xml"};
    journal.record = StagedFile{3, 5, Digest{4}, "7.sha256"};
    journal.removedBefore = {"Kennlinie-7-b.prn"};
    journal.removedAfter = {"Cali-7-old.dat"};
    return journal;
}

/// The text of a journal with the right sum at its end, whatever stood there.
std::string withSum(std::string text) {
    text.erase(std::min(text.rfind("end "), text.size()));
    Sha256 sum;
    sum.add(text);
    return text + "end " + hexadecimal(sum.finish()) + "\n";
}

/// The text of a journal with another line before its end, and the right sum.
std::string withLine(std::string const& line) {
    std::string text = journal().text();
    text.insert(text.rfind("end "), line + "\n");
    return withSum(text);
}

std::string const digits(64, 'a');

} // namespace

TEST(StoreJournal, IsReadAsItWasWritten) {
    auto const read = readJournal(journal().text(), 7);
    ASSERT_TRUE(read.journal);
    EXPECT_EQ(read.journal->text(), journal().text());
    EXPECT_FALSE(read.laterVersion);
    EXPECT_TRUE(readJournal(withLine("prune Cali-7-z.dat"), 7).journal);
}

TEST(StoreJournal, IsNoneForAnotherCamera) {
    EXPECT_FALSE(readJournal(journal().text(), 8).journal);
}

TEST(StoreJournal, IsNoneWithoutItsFirstLinesWhateverItsSum) {
    std::string const start = "zentho-cali journal 1\n";
    std::string const whole = journal().text();
    ASSERT_EQ(whole.compare(0, start.size(), start), 0);
    EXPECT_TRUE(readJournal(withSum(whole), 7).journal);
    EXPECT_FALSE(
        readJournal(withSum("another journal 1\n" + whole.substr(start.size())), 7).journal);
    auto const next = whole.find('\n', start.size()) + 1;
    EXPECT_FALSE(readJournal(withSum(start + whole.substr(next)), 7).journal);
    EXPECT_FALSE(readJournal(withSum(start), 7).journal);
}

TEST(StoreJournal, NamesOnlyFilesOfItsCamera) {
    for (std::string const name :
         {"Cali-71.xml", "passwd", "../Cali-7-x.dat", "Cali-7-/../x", ".", "", "Cali-7-bad\\x"}) {
        EXPECT_FALSE(readJournal(withLine("remove " + name), 7).journal) << name;
        EXPECT_FALSE(readJournal(withLine("prune " + name), 7).journal) << name;
        EXPECT_FALSE(readJournal(withLine("data 9 1 " + digits + " " + name), 7).journal) << name;
    }
    EXPECT_FALSE(readJournal(withLine("remove Cali-7-" + std::string(300, 'x')), 7).journal);
}

TEST(StoreJournal, NamesNothingTwice) {
    for (std::string const line :
         {"remove Cali-7-a.dat", "prune Cali-7.xml", "remove Cali-7-old.dat"})
        EXPECT_FALSE(readJournal(withLine(line), 7).journal) << line;
    EXPECT_FALSE(readJournal(withLine("data 0 1 " + digits + " Cali-7-new.dat"), 7).journal);
    EXPECT_FALSE(readJournal(withLine("description 9 1 " + digits + " Cali-7.xml"), 7).journal);
    EXPECT_FALSE(readJournal(withLine("record 9 1 " + digits + " 7.sha256"), 7).journal);
}

TEST(StoreJournal, PutsDescriptionAndRecordWhereTheyBelong) {
    Journal other = journal();
    other.description->name = "Cali-7-a.xml";
    EXPECT_FALSE(readJournal(other.text(), 7).journal);
    other = journal();
    other.record->name = "71.sha256";
    EXPECT_FALSE(readJournal(other.text(), 7).journal);
    other = journal();
    other.description.reset();
    other.data.push_back({9, 1, Digest{5}, "Cali-7.xml"});
    EXPECT_FALSE(readJournal(other.text(), 7).journal);
}

TEST(StoreJournal, OfALaterVersionIsKnown) {
    for (std::string const text :
         {"zentho-cali journal 2\nwhatever", "zentho-cali journal 10", "zentho-cali journal 2\n"})
        EXPECT_TRUE(readJournal(text, 7).laterVersion) << text;
    for (std::string const text : {"zentho-cali journal \n", "zentho-cali journal x\n", "", "\n"})
        EXPECT_FALSE(readJournal(text, 7).laterVersion) << text;
}

TEST(StoreJournal, IsDamagedWhateverChangesInIt) {
    std::string const whole = journal().text();
    support::Random random(3);
    for (std::size_t i = 0; i < whole.size(); ++i) {
        EXPECT_FALSE(readJournal(whole.substr(0, i), 7).journal) << i;
        std::string other = whole;
        other[i] = static_cast<char>(other[i] ^ (1 << random.below(7)));
        bool const sameDigit =
            i > whole.rfind("end ") + 3 && (other[i] ^ whole[i]) == 0x20 && whole[i] >= 'a';
        EXPECT_EQ(readJournal(other, 7).journal.has_value(), sameDigit) << i;
    }
}

TEST(StoreJournal, OfAnyLinesIsNoneOrSound) {
    support::Random random(4);
    std::vector<std::string> const words{"data ",
                                         "remove ",
                                         "prune ",
                                         "record ",
                                         "description ",
                                         "1 ",
                                         "2 ",
                                         digits + " ",
                                         digits,
                                         "Cali-7.xml",
                                         "\\n",
                                         "7.sha256",
                                         "remove-record",
                                         " ",
                                         "Cali-7-q.dat",
                                         "-1 ",
                                         "99999999999999999999 ",
                                         "\\"};
    int sound = 0;
    for (int i = 0; i < 3000; ++i) {
        std::string line;
        for (int count = random.between(1, 5); count > 0; --count)
            line += random.oneOf(words);
        auto const read = readJournal(withLine(line), 7);
        if (!read.journal)
            continue;
        ++sound;
        EXPECT_TRUE(readJournal(read.journal->text(), 7).journal);
    }
    EXPECT_GT(sound, 0);
}

TEST(StoreJournal, NamesNoStagedFileWithoutItsNumberSizeSumAndName) {
    for (std::string const& line : {"data 4294967296 1 " + digits + " Cali-7-new.dat",
                                    "data 9 x " + digits + " Cali-7-new.dat", "data 9 1 " + digits,
                                    std::string("data 9 1 x Cali-7-new.dat")})
        EXPECT_FALSE(readJournal(withLine(line), 7).journal) << line;
    EXPECT_TRUE(readJournal(withLine("data 9 1 " + digits + " Cali-7-new.dat"), 7).journal);
}
