// What is accepted of a program that may be anything.
#include "store/Members.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>

namespace {

using namespace zel::frames;
using zel::store::Members;

std::string frame(Frame type, std::uint8_t kind, std::uint32_t member, std::uint64_t number,
                  std::string const& payload = "") {
    Header header;
    header.type = type;
    header.kind = kind;
    header.length = static_cast<std::uint32_t>(payload.size());
    header.member = member;
    header.number = number;
    HeaderBytes const bytes = bytesOf(header);
    return std::string(bytes.data(), bytes.size()) + payload;
}

std::string member(std::uint32_t number, std::string const& path,
                   MemberKind kind = MemberKind::file, std::string const& target = "") {
    MemberNames names;
    names.path = path;
    names.target = target;
    return frame(Frame::member, static_cast<std::uint8_t>(kind), number, unknownSize,
                 payloadOf(names));
}

std::string const sandbox = frame(Frame::sandbox, 3, 0, 7);
std::string data(std::uint32_t number, std::uint64_t offset, std::string const& bytes) {
    return frame(Frame::data, 0, number, offset, bytes);
}
std::string end(std::uint32_t number, std::uint64_t size) {
    return frame(Frame::end, 0, number, size);
}
std::string done(std::uint64_t count) {
    return frame(Frame::done, 0, 0, count);
}

/// The types of the frames that are accepted, with what they bring, and how it ended.
std::string seen(std::string const& text, std::size_t atOnce = 1000000, std::size_t mostOpen = 1) {
    Members members(mostOpen);
    std::string seen;
    for (std::size_t at = 0; at < text.size();) {
        std::size_t const count = std::min({atOnce, text.size() - at, members.roomSize()});
        std::memcpy(members.room(), text.data() + at, count);
        members.filled(count);
        at += count;
        while (auto const event = members.next()) {
            seen += static_cast<char>(event->header.type);
            seen += event->names ? event->names->path : std::string(event->bytes);
            seen += ' ';
        }
        if (members.isWrong())
            return seen + "wrong";
    }
    return seen + (members.isComplete() ? "complete" : "incomplete");
}

} // namespace

TEST(Members, ComeInOrder) {
    std::string const text = sandbox + member(0, "a/x") + data(0, 0, "12") + data(0, 2, "3") +
                             end(0, 3) + member(1, "y") + end(1, 0) + done(2);
    std::string const all = "S Ma/x D12 D3 E My E Z complete";
    EXPECT_EQ(seen(text), all);
    for (std::size_t const atOnce : {1U, 7U, 24U, 25U})
        EXPECT_EQ(seen(text, atOnce), all);
}

TEST(Members, AreNotCompleteBeforeTheLastFrame) {
    EXPECT_EQ(seen(""), "incomplete");
    EXPECT_EQ(seen(sandbox + member(0, "x") + end(0, 0)), "S Mx E incomplete");
    EXPECT_EQ(seen(sandbox + done(0).substr(0, 23)), "S incomplete");
}

TEST(Members, ComeAfterTheSandboxWhichIsToldOnce) {
    EXPECT_EQ(seen(done(0)), "wrong");
    EXPECT_EQ(seen(sandbox + sandbox), "S wrong");
}

TEST(Members, HaveNothingAfterTheLastFrame) {
    EXPECT_EQ(seen(sandbox + done(0) + "x"), "S Z wrong");
    EXPECT_EQ(seen(sandbox + done(0) + done(0), 24), "S Z wrong");
    EXPECT_EQ(seen(sandbox + frame(Frame::failed, 0, 0, 0, "why")), "S Fwhy complete");
}

TEST(Members, AreCounted) {
    EXPECT_EQ(seen(sandbox + done(1)), "S wrong");
    EXPECT_EQ(seen(sandbox + member(0, "x") + done(1)), "S Mx wrong");
}

TEST(Members, HaveBytesWithoutGaps) {
    EXPECT_EQ(seen(sandbox + data(0, 0, "1")), "S wrong");
    EXPECT_EQ(seen(sandbox + member(0, "x") + data(0, 1, "1")), "S Mx wrong");
    EXPECT_EQ(seen(sandbox + member(0, "x") + data(0, 0, "1") + end(0, 2)), "S Mx D1 wrong");
    EXPECT_EQ(seen(sandbox + end(0, 0)), "S wrong");
}

TEST(Members, BeginAnewWhenTheyAreOpen) {
    EXPECT_EQ(seen(sandbox + member(0, "x") + data(0, 0, "12") + frame(Frame::restart, 0, 0, 0) +
                   data(0, 0, "3") + end(0, 1) + done(1)),
              "S Mx D12 R D3 E Z complete");
    EXPECT_EQ(seen(sandbox + frame(Frame::restart, 0, 0, 0)), "S wrong");
}

TEST(Members, BreakWhenTheyAreOpen) {
    std::string const broken = frame(Frame::broken, 1, 0, 0, "why");
    EXPECT_EQ(seen(sandbox + member(0, "x") + broken + done(1)), "S Mx Bwhy Z complete");
    EXPECT_EQ(seen(sandbox + broken), "S wrong");
}

TEST(Members, AreNotMoreAtOnceThanAllowed) {
    std::string const two = sandbox + member(0, "x") + member(1, "y");
    EXPECT_EQ(seen(two), "S Mx wrong");
    EXPECT_EQ(seen(two, 1000, 2), "S Mx My incomplete");
    EXPECT_EQ(seen(sandbox + member(0, "x") + member(0, "y"), 1000, 2), "S Mx wrong");
}

TEST(Members, WithoutBytesNeedNoEnd) {
    EXPECT_EQ(seen(sandbox + member(0, "x", MemberKind::link) + member(1, "y", MemberKind::other) +
                   member(2, "n", MemberKind::nameOnly) +
                   member(3, "z", MemberKind::hardLink, "x") + done(4)),
              "S Mx My Mn Mz Z complete");
    EXPECT_EQ(seen(sandbox + member(0, "x", MemberKind::link) + data(0, 0, "1")), "S Mx wrong");
}

TEST(Members, HaveATargetOnlyAsHardLinks) {
    EXPECT_EQ(seen(sandbox + member(0, "x", MemberKind::file, "y")), "S wrong");
    EXPECT_EQ(seen(sandbox + member(0, "x", MemberKind::hardLink)), "S wrong");
    EXPECT_EQ(seen(sandbox + frame(Frame::member, 0, 0, 0, "short")), "S wrong");
}

TEST(Members, AreNotReadAfterAMistake) {
    EXPECT_EQ(seen(sandbox + frame(static_cast<Frame>('x'), 0, 0, 0) + done(0)), "S wrong");
}

TEST(Members, MayFillTheirFrames) {
    std::string const bytes(largestData, 'b');
    std::string const text = sandbox + member(0, "x") + data(0, 0, bytes) +
                             data(0, largestData, bytes) + end(0, 2 * largestData) + done(1);
    EXPECT_EQ(seen(text), "S Mx D" + bytes + " D" + bytes + " E Z complete");
}
