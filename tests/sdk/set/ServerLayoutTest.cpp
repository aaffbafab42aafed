#include "sdk/set/ServerLayout.h"

#include <gtest/gtest.h>

using zel::set::folderOnServer;

TEST(ServerLayout, SortsCamerasByTheirFirstTwoAndFourDigits) {
    EXPECT_EQ(folderOnServer("12345678"), "12/1234/Califiles SN12345678");
}

TEST(ServerLayout, TakesAShortSerialNumberWhole) {
    EXPECT_EQ(folderOnServer("1234"), "12/1234/Califiles SN1234");
    EXPECT_EQ(folderOnServer("123"), "12/123/Califiles SN123");
    EXPECT_EQ(folderOnServer("7"), "7/7/Califiles SN7");
}
