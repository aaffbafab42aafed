#include "sdk/manager/ShellSafety.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace {

using zel::isSafeBetweenQuotes;
using zel::isSafeFileName;

/// Those of the characters that a text in front of, around and behind which others stand may hold.
template <class Check>
std::string accepted(std::string_view characters, Check check) {
    std::string found;
    for (char const c : characters) {
        std::string const one(1, c);
        if (check(one) || check("a" + one) || check(one + "b") || check("a" + one + "b"))
            found.push_back(c);
    }
    return found;
}

/// Those of the characters that a text may not hold.
template <class Check>
std::string refused(std::string_view characters, Check check) {
    std::string found;
    for (char const c : characters) {
        if (!check("a" + std::string(1, c) + "b"))
            found.push_back(c);
    }
    return found;
}

/// Every byte but the null character that passes for plain in a shell's word.
std::string plainCharacters() {
    std::string all = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789%+,-.:=@_~#";
    for (int c = 128; c < 256; ++c)
        all.push_back(static_cast<char>(c));
    return all;
}

} // namespace

TEST(ALink, MayBeAnOrdinaryAddress) {
    EXPECT_TRUE(isSafeBetweenQuotes("http://download.zentho.example:8080/cali/a%20b?c=d#e"));
}

TEST(ALink, MayBeEmpty) {
    EXPECT_TRUE(isSafeBetweenQuotes(""));
}

TEST(ALink, MayHoldWhatMeansNothingBetweenQuotes) {
    EXPECT_EQ(refused("'&|<>;()[]{}*?!~# \t/" + plainCharacters(), isSafeBetweenQuotes), "");
}

TEST(ALink, MayNotHoldWhatTheShellReadsBetweenQuotes) {
    EXPECT_EQ(accepted("\"$`\\\n\r", isSafeBetweenQuotes), "");
}

TEST(ALink, MayNotBeginLikeAnOption) {
    EXPECT_FALSE(isSafeBetweenQuotes("-i/etc/passwd"));
    EXPECT_FALSE(isSafeBetweenQuotes("--config=x"));
    EXPECT_FALSE(isSafeBetweenQuotes("-"));
}

TEST(ALink, MayHoldAHyphenFurtherOn) {
    EXPECT_TRUE(isSafeBetweenQuotes("http://a-b/ -c"));
    EXPECT_TRUE(isSafeBetweenQuotes(" -c"));
}

TEST(AFileName, MayBeAnOrdinaryOne) {
    EXPECT_TRUE(isSafeFileName("Kennlinie-14080045-23-Macro-M20-100-27.prn"));
}

TEST(AFileName, MayBeEmpty) {
    EXPECT_TRUE(isSafeFileName(""));
}

TEST(AFileName, MayHoldPlainCharactersAndBlanks) {
    EXPECT_EQ(refused(" \t" + plainCharacters(), isSafeFileName), "");
}

TEST(AFileName, MayNotHoldWhatTheShellReadsBetweenQuotes) {
    EXPECT_EQ(accepted("\"$`\\\n\r", isSafeFileName), "");
}

TEST(AFileName, MayNotHoldWhatTheShellReadsOutsideQuotes) {
    EXPECT_EQ(accepted("'&|<>;*?", isSafeFileName), "");
    for (char const* const name : {"a[b]c", "[]", "a{b,c}", "{}"})
        EXPECT_FALSE(isSafeFileName(name)) << name;
}

TEST(AFileName, MayNotHoldAHyphenBehindWhiteSpace) {
    for (std::string const blank : {" ", "\t", "\v", "\f"}) {
        EXPECT_FALSE(isSafeFileName("a" + blank + "-i"));
        EXPECT_FALSE(isSafeFileName(blank + "-i"));
        EXPECT_FALSE(isSafeFileName("a" + blank + "-"));
    }
}

TEST(AFileName, IsExaminedUpToItsEndOnly) {
    EXPECT_TRUE(isSafeFileName(std::string_view("a -", 2)));
}

TEST(AFileName, MayHoldBracketsThatBelongToNoPair) {
    for (char const* const name : {"a[b", "]", "]a[", "a{b", "}", "}a{", "[}", "{]"})
        EXPECT_TRUE(isSafeFileName(name)) << name;
}

TEST(AFileName, MayNotHoldASlash) {
    for (char const* const name : {"/", "/etc/passwd", "../a", "a/b", "a/"})
        EXPECT_FALSE(isSafeFileName(name)) << name;
}

TEST(AFileName, MayBeginWithAHyphenSinceASlashIsInFrontOfIt) {
    EXPECT_TRUE(isSafeFileName("-i"));
}

TEST(AFileName, MayHoldAHyphenBehindAnotherCharacter) {
    EXPECT_TRUE(isSafeFileName("a b-c"));
}
