#include "sdk/manager/ShellSafety.h"

#include "tests/support/Command.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace {

using zel::isSafeBetweenQuotes;
using zel::isSafeFileName;

/// Those of the characters that a text may hold, alone, at its start, at its end or inside.
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

/// What the shell hands to a command as the words of this text; nothing when it fails.
std::optional<std::string> words(char const* shell, std::string const& text) {
    support::TemporaryDirectory const directory;
    auto const outcome = support::run({shell, "-c", "printf '<%s>' " + text}, directory.path());
    if (outcome.exitStatus != 0)
        return std::nullopt;
    return outcome.standardOutput;
}

/// Whether Debian's shells, of which either may be the one that runs commands, leave a text alone.
bool isLeftAlone(std::string const& text, std::string const& expected) {
    return words("dash", text) == expected && words("bash", text) == expected;
}

/// Texts of one and two characters, with at least one of these.
std::vector<std::string> textsWith(std::string const& special, std::string const& others) {
    std::vector<std::string> texts;
    for (char const c : special) {
        texts.emplace_back(1, c);
        for (char const other : special + others) {
            texts.push_back({c, other});
            if (special.find(other) == std::string::npos)
                texts.push_back({other, c});
        }
    }
    return texts;
}

} // namespace

// How a link stands in the command: between double quotes, a slash after it.
TEST(ALink, IsRefusedExactlyWhenAShellChangesIt) {
    for (auto const& text : textsWith("$`\"\\\n", "aZ_09{}()[]@*#?-!'/ .=:%~,+^&|;<>\t\r\xC3")) {
        SCOPED_TRACE("link: " + text);
        if (text.front() == '-')
            continue; // an option, whatever a shell does
        EXPECT_EQ(isSafeBetweenQuotes(text), isLeftAlone("\"" + text + "/\"", "<" + text + "/>"));
    }
}

// How a name stands in the command: at the end between double quotes, and at the end without any.
TEST(AFileName, WithADollarIsRefusedExactlyWhenAShellChangesIt) {
    for (auto const& text : textsWith("$", "aZ_09{}[]@#-!'\"`\\.=:%~,+^\r\xC3")) {
        SCOPED_TRACE("name: " + text);
        EXPECT_EQ(isSafeFileName(text),
                  isLeftAlone("\"u/" + text + "\" t/" + text, "<u/" + text + "><t/" + text + ">"));
    }
}

TEST(ALink, MayHoldADollarThatTheShellLeavesAlone) {
    EXPECT_TRUE(isSafeBetweenQuotes("http://h/share$/x"));
    EXPECT_TRUE(isSafeBetweenQuotes("http://h/share$"));
}

TEST(ALink, MayBeAnOrdinaryAddress) {
    EXPECT_TRUE(isSafeBetweenQuotes("http://download.zentho.example:8080/cali/a%20b?c=d#e"));
}

TEST(ALink, MayBeEmpty) {
    EXPECT_TRUE(isSafeBetweenQuotes(""));
}

TEST(ALink, MayHoldWhatMeansNothingBetweenQuotes) {
    EXPECT_EQ(refused("'&|<>;()[]{}*?!~# \t\v\f\n\r\\/" + plainCharacters(), isSafeBetweenQuotes),
              "");
}

TEST(ALink, MayNotHoldWhatTheShellReadsBetweenQuotes) {
    EXPECT_EQ(accepted("\"`", isSafeBetweenQuotes), "");
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
    EXPECT_EQ(refused(" \t\v\f\r" + plainCharacters(), isSafeFileName), "");
}

TEST(AFileName, MayNotHoldWhatTheShellReadsBetweenQuotes) {
    EXPECT_EQ(accepted("\"`\\\n", isSafeFileName), "");
}

TEST(AFileName, MayNotHoldWhatTheShellReadsOutsideQuotes) {
    EXPECT_EQ(accepted("'&|<>;*?", isSafeFileName), "");
    for (char const* const name : {"a[b]c", "[]", "a{b,c}", "{}"})
        EXPECT_FALSE(isSafeFileName(name)) << name;
}

TEST(AFileName, MayNotHoldAHyphenAfterABlank) {
    for (std::string const blank : {" ", "\t"}) {
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

TEST(AFileName, MayBeginWithAHyphenSinceASlashStandsBeforeIt) {
    EXPECT_TRUE(isSafeFileName("-i"));
}

TEST(AFileName, MayHoldAHyphenAfterAnotherCharacter) {
    EXPECT_TRUE(isSafeFileName("a b-c"));
    EXPECT_TRUE(isSafeFileName("a\v-c"));
}
