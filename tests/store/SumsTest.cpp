// Lines as sha256sum writes and reads them.
#include "store/Sums.h"
#include "store/Lines.h"

#include "tests/store/StoreFixture.h"
#include "tests/support/Command.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

namespace {

using namespace zel::store;
using storetest::sumOfText;

} // namespace

TEST(StoreSums, AreThoseOfSha256sum) {
    support::TemporaryDirectory const root;
    for (std::string const name : {"plain", "with blank", "back\\slash", "line\nbreak", "re\rturn",
                                   "*star", "#hash", "-x"}) {
        support::writeFile(root.path() + "/" + name, "content of " + name);
        auto const outcome = support::run({"sha256sum", "--", name}, root.path());
        ASSERT_EQ(outcome.exitStatus, 0);
        EXPECT_EQ(sumLine({sumOfText("content of " + name), name}), outcome.standardOutput);
        std::string_view line = outcome.standardOutput;
        line.remove_suffix(1);
        std::string room;
        auto const read = readSumLine(line, room);
        ASSERT_TRUE(read) << outcome.standardOutput;
        EXPECT_EQ(read->name, name);
        EXPECT_EQ(read->digest, sumOfText("content of " + name));
    }
}

TEST(StoreSums, AreReadInBinaryModeAndInCapitals) {
    std::string digits = hexadecimal(sumOfText(""));
    EXPECT_EQ(digits, "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    for (char& c : digits)
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    std::string const line = digits + " *name";
    std::string room;
    auto const read = readSumLine(line, room);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->name, "name");
}

TEST(StoreSums, AreNotReadFromOtherLines) {
    std::string const digits(64, 'a');
    std::string room;
    for (std::string const& line :
         {std::string(), std::string("# comment"), digits, digits + "  ", digits + " name",
          digits + " -name", digits.substr(1) + "  name", "g" + digits.substr(1) + "  name",
          "+" + digits.substr(1) + "  name", "\\" + digits + "  bad\\x", "\\" + digits + "  bad\\",
          std::string("\\")})
        EXPECT_FALSE(readSumLine(line, room)) << line;
}

TEST(StoreLines, AreVisitedWithAndWithoutALastBreak) {
    std::string seen;
    for (std::string_view const text : {"a\nb", "a\n\nb\n", "", "\n"}) {
        forEachLine(text,
                    [&](std::string_view line) { seen.append("[").append(line).append("]"); });
        seen += ' ';
    }
    EXPECT_EQ(seen, "[a][b] [a][][b]  [] ");
}
