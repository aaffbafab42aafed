// Many names, each once.
#include "store/Names.h"

#include <gtest/gtest.h>

namespace {

using zel::store::Names;

} // namespace

TEST(StoreNames, AreNumberedInTheOrderInWhichTheyCome) {
    Names names;
    EXPECT_EQ(names.add("b"), 0U);
    EXPECT_EQ(names.add("a"), 1U);
    EXPECT_EQ(names.add(""), 2U);
    EXPECT_EQ(names.size(), 3U);
    EXPECT_EQ(names.all(), (std::vector<std::string>{"b", "a", ""}));
    EXPECT_STREQ(names.c_str(0), "b");
}

TEST(StoreNames, AreThereOnce) {
    Names names;
    names.add("b");
    names.add("a");
    EXPECT_EQ(names.add("b"), 0U);
    EXPECT_EQ(names.size(), 2U);
}

TEST(StoreNames, OfNothingHaveNone) {
    EXPECT_FALSE(Names().has("a"));
    EXPECT_EQ(Names().all(), std::vector<std::string>());
}

// So many that some have the same hash of 32 bits.
TEST(StoreNames, AreFoundAmongManyOthers) {
    constexpr std::size_t many = 500000;
    Names names;
    for (std::size_t number = 0; number < many; ++number)
        ASSERT_EQ(names.add("Cali-7-" + std::to_string(number)), number);
    for (std::size_t number = 0; number < many; ++number)
        ASSERT_EQ(names.find("Cali-7-" + std::to_string(number)), number);
    EXPECT_EQ(names[many - 1], "Cali-7-499999");
    EXPECT_FALSE(names.has("Cali-7-500000"));
    EXPECT_FALSE(names.has("Cali-7-"));
}
