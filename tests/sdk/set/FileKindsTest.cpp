#include "sdk/set/FileKinds.h"

#include <gtest/gtest.h>

#include <string>

using zel::set::belongsTo;
using zel::set::descriptionName;
using zel::set::FileKind;
using zel::set::FileName;
using zel::set::KindOfFile;
using zel::set::kinds;

namespace {

KindOfFile const& kindOf(FileKind wanted) {
    for (KindOfFile const& kind : kinds) {
        if (kind.kind == wanted)
            return kind;
    }
    throw std::logic_error("a kind without a row");
}

struct Ownership {
    char const* name;
    unsigned long serial;
    bool belongs;
};

constexpr Ownership ownerships[] = {
    {"Cali-14080045.xml", 14080045, true},
    {"Cali-14080045-23-M20-100.dat", 14080045, true},
    {"Kennlinie-14080045-23-M20-100.prn", 14080045, true},
    {"Cali-14080045", 14080045, true},
    {"Cali-14080045notes.txt", 14080045, true},
    {"Cali-140800451.xml", 14080045, false}, // a longer serial number is another camera
    {"Cali-140800450.xml", 14080045, false},
    {"Cali-140800459.xml", 14080045, false},
    {"Cali-1408004.xml", 14080045, false},
    {"Cali-014080045.xml", 14080045, false},
    {"cali-14080045.xml", 14080045, false},
    {"xCali-14080045.xml", 14080045, false},
    {"Kennlinie-15110023-23-0-250.prn", 14080045, false},
    {"Cali-", 14080045, false},
    {"Cali-.xml", 0, false},
    {"Cali-0.xml", 0, true},
    {"", 14080045, false},
    {"SHA256SUMS", 14080045, false},
};

} // namespace

TEST(AFile, BelongsToExactlyOneCamera) {
    for (Ownership const& row : ownerships)
        EXPECT_EQ(belongsTo(row.name, row.serial), row.belongs) << row.name << ' ' << row.serial;
}

TEST(AFile, BelongsToASetBeyond31BitsByTheSignedNumber) {
    EXPECT_TRUE(belongsTo("Cali--1.xml", static_cast<int>(4294967295UL)));
    EXPECT_FALSE(belongsTo("Cali--1.xml", 1));
    EXPECT_FALSE(belongsTo("Cali-4294967295.xml", -1));
    EXPECT_FALSE(belongsTo("Cali--12.xml", -1));
    EXPECT_TRUE(belongsTo("Kennlinie-14080045-23-M20-100.prn", 14080045));
}

TEST(AFilesName, IsPrefixStemAndSuffix) {
    EXPECT_EQ(FileName(kindOf(FileKind::data), "12-30-0-250").view(), "Cali-12-30-0-250.dat");
    EXPECT_EQ(FileName(kindOf(FileKind::curve), "12-30-0-250").view(), "Kennlinie-12-30-0-250.prn");
    EXPECT_EQ(descriptionName(14080045).view(), "Cali-14080045.xml");
    EXPECT_EQ(descriptionName(-2147483647 - 1).view(), "Cali--2147483648.xml");
}

TEST(AFilesName, IsCutAtItsRoomAndTerminated) {
    std::string const stem(300, 's');
    FileName const name(kindOf(FileKind::data), stem);
    EXPECT_EQ(name.view(), "Cali-" + stem.substr(0, 254));
    EXPECT_EQ(std::string(name.c_str()), name.view());
    std::string const fitting(250, 's');
    EXPECT_EQ(FileName(kindOf(FileKind::data), fitting).view(), "Cali-" + fitting + ".dat");
}
