#include "sdk/xml/Comments.h"

#include <gtest/gtest.h>

#include <string>

namespace {

/// A document without its comments, or "malformed".
std::string without(std::string text) {
    auto const left = zel::xml::removeComments(text.data(), text.size());
    return left ? text.substr(0, *left) : "malformed";
}

bool isMalformed(std::string text) {
    return !zel::xml::removeComments(text.data(), text.size());
}

} // namespace

TEST(RemoveComments, KeepsATextWithoutComments) {
    EXPECT_EQ(without("<a>1</a>"), "<a>1</a>");
}

TEST(RemoveComments, KeepsAnEmptyText) {
    EXPECT_EQ(without(""), "");
}

TEST(RemoveComments, TakesOutACommentInTheMiddle) {
    EXPECT_EQ(without("a<!-- c -->b"), "ab");
}

TEST(RemoveComments, TakesOutACommentAtTheStart) {
    EXPECT_EQ(without("<!-- c -->b"), "b");
}

TEST(RemoveComments, TakesOutACommentAtTheEnd) {
    EXPECT_EQ(without("a<!-- c -->"), "a");
}

TEST(RemoveComments, LeavesNothingOfATextThatIsAComment) {
    EXPECT_EQ(without("<!-- c -->"), "");
}

TEST(RemoveComments, TakesOutSeveralComments) {
    EXPECT_EQ(without("a<!-- 1 -->b<!-- 2 -->c<!-- 3 -->d"), "abcd");
}

TEST(RemoveComments, TakesOutCommentsThatTouch) {
    EXPECT_EQ(without("a<!-- 1 --><!-- 2 -->b"), "ab");
}

TEST(RemoveComments, TakesOutACommentThatSpansLines) {
    EXPECT_EQ(without("a<!-- 1\n2\n -->b"), "ab");
}

TEST(RemoveComments, TakesOutATagWithinAComment) {
    EXPECT_EQ(without("<!-- <a>1</a> --><a>2</a>"), "<a>2</a>");
}

TEST(RemoveComments, TakesOutACommentWithAnotherInsideAsOne) {
    EXPECT_EQ(without("a<!-- 1 <!-- 2 --> 3 -->b"), "ab");
}

TEST(RemoveComments, TakesOutThreeNestedCommentsAsOne) {
    EXPECT_EQ(without("a<!--<!--<!-- --> --> -->b"), "ab");
}

TEST(RemoveComments, TakesOutACommentWithoutText) {
    EXPECT_EQ(without("a<!---->b"), "ab");
}

TEST(RemoveComments, TakesTheDashesOfAnOpenerForACloserToo) {
    EXPECT_EQ(without("a<!-->b"), "ab");
}

TEST(RemoveComments, DoesNotLookAgainAtWhatItHasJoined) {
    EXPECT_EQ(without("<!<!-- c -->-- x"), "<!-- x");
}

TEST(RemoveComments, DoesNotTakeThreeDashesForAnotherToken) {
    EXPECT_EQ(without("a<!--- c --->b"), "ab");
}

TEST(RemoveComments, FindsACloserAtTheVeryEndOneCharacterBehindAnother) {
    EXPECT_EQ(without("<!--<!---->x-->"), "");
}

TEST(RemoveComments, FindsAnOpenerAtTheVeryEnd) {
    EXPECT_TRUE(isMalformed("<!-- c --><!--"));
}

TEST(RemoveComments, DoesNotSeeASecondCloserThatFollowsAnotherDirectly) {
    EXPECT_EQ(without("a<!-- c -->-->b"), "a-->b");
}

TEST(RemoveComments, SeesASecondCloserBehindOneCharacter) {
    EXPECT_TRUE(isMalformed("a<!-- c -->x-->b"));
}

TEST(RemoveComments, LeavesANestedCommentOpenWhenItsTwoClosersTouch) {
    EXPECT_TRUE(isMalformed("a<!-- <!-- c -->-->b"));
}

TEST(RemoveComments, SeesTheThirdOfThreeClosersThatTouch) {
    EXPECT_TRUE(isMalformed("a<!-- c -->-->-->b"));
}

TEST(RemoveComments, RefusesACloserBeforeAnyOpener) {
    EXPECT_TRUE(isMalformed("a --> b <!-- c -->"));
}

TEST(RemoveComments, RefusesACloserAlone) {
    EXPECT_TRUE(isMalformed("-->"));
}

TEST(RemoveComments, RefusesAnOpenerAlone) {
    EXPECT_TRUE(isMalformed("<!--"));
}

TEST(RemoveComments, RefusesAnOpenCommentBehindAClosedOne) {
    EXPECT_TRUE(isMalformed("<!-- c --> a <!-- b"));
}

TEST(RemoveComments, RefusesAStrayCloserDirectlyBeforeAnOpener) {
    EXPECT_TRUE(isMalformed("a--><!-- c -->b"));
    EXPECT_TRUE(isMalformed("a--><!--b"));
}

TEST(RemoveComments, RefusesANestedCommentThatIsClosedOnce) {
    EXPECT_TRUE(isMalformed("<!-- <!-- -->"));
}

TEST(RemoveComments, LeavesAMalformedTextAsItIs) {
    std::string text = "a<!-- 1 -->b<!-- 2";
    zel::xml::removeComments(text.data(), text.size());
    EXPECT_EQ(text, "a<!-- 1 -->b<!-- 2");
}
