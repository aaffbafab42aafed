#include "util/Frames.h"

#include <gtest/gtest.h>

#include <csignal>
#include <string>
#include <thread>

#include <fcntl.h>
#include <unistd.h>

namespace {

using namespace zel::frames;

std::string textOf(Header const& header) {
    HeaderBytes const bytes = bytesOf(header);
    return {bytes.data(), bytes.size()};
}

Header header(Frame type, std::uint8_t kind = 0, std::uint32_t length = 0, std::uint32_t member = 0,
              std::uint64_t number = 0) {
    Header made;
    made.type = type;
    made.kind = kind;
    made.length = length;
    made.member = member;
    made.number = number;
    return made;
}

bool isAccepted(Header const& header) {
    return readHeader(textOf(header)).has_value();
}

/// A pipe whose reading end is read to its end after the writing end is closed.
class Pipe {
public:
    Pipe() { EXPECT_EQ(pipe(m_ends), 0); }
    ~Pipe() {
        closeWriter();
        close(m_ends[0]);
    }
    Pipe(Pipe const&) = delete;
    Pipe& operator=(Pipe const&) = delete;

    int writer() const { return m_ends[1]; }
    void closeReader() { close(std::exchange(m_ends[0], -1)); }
    void closeWriter() { close(std::exchange(m_ends[1], -1)); }
    std::string read() {
        std::string text;
        char bytes[65536];
        for (ssize_t count = 1; count > 0;) {
            count = ::read(m_ends[0], bytes, sizeof bytes);
            text.append(bytes, count > 0 ? static_cast<std::size_t>(count) : 0);
        }
        return text;
    }

private:
    int m_ends[2]{-1, -1};
};

} // namespace

TEST(Frames, KeepEveryFieldOfAHeader) {
    auto const read = readHeader(textOf(header(Frame::data, 0, 262144, 0xFEDCBA98U, 1ULL << 63)));
    ASSERT_TRUE(read);
    EXPECT_EQ(read->type, Frame::data);
    EXPECT_EQ(read->length, 262144U);
    EXPECT_EQ(read->member, 0xFEDCBA98U);
    EXPECT_EQ(read->number, 1ULL << 63);
    EXPECT_EQ(readHeader(textOf(header(Frame::failed, 3)))->kind, 3);
}

TEST(Frames, HaveNoOtherTypesAndKinds) {
    EXPECT_FALSE(isAccepted(header(static_cast<Frame>('x'))));
    EXPECT_FALSE(isAccepted(header(static_cast<Frame>(0))));
    EXPECT_TRUE(isAccepted(header(Frame::sandbox, 3)));
    EXPECT_FALSE(isAccepted(header(Frame::sandbox, 4)));
    EXPECT_TRUE(isAccepted(header(Frame::member, memberKinds - 1)));
    EXPECT_FALSE(isAccepted(header(Frame::member, memberKinds)));
    EXPECT_FALSE(isAccepted(header(Frame::end, 1)));
    EXPECT_FALSE(isAccepted(header(Frame::broken, damages)));
    EXPECT_FALSE(isAccepted(header(Frame::failed, troubles)));
}

TEST(Frames, HaveLimits) {
    EXPECT_FALSE(isAccepted(header(Frame::data, 0, largestData + 1)));
    EXPECT_TRUE(isAccepted(header(Frame::member, 0, largestMember)));
    EXPECT_FALSE(isAccepted(header(Frame::member, 0, largestMember + 1)));
    EXPECT_FALSE(isAccepted(header(Frame::broken, 0, largestText + 1)));
    EXPECT_FALSE(isAccepted(header(Frame::done, 0, 1)));
}

TEST(Frames, LeaveEmptyWhatTheirTypeDoesNotHave) {
    EXPECT_FALSE(isAccepted(header(Frame::done, 0, 0, 1)));
    EXPECT_FALSE(isAccepted(header(Frame::restart, 0, 0, 1, 1)));
    for (std::size_t const place : {2U, 3U, 12U, 15U}) {
        std::string bytes = textOf(header(Frame::end));
        bytes[place] = 1;
        EXPECT_FALSE(readHeader(bytes)) << place;
    }
}

TEST(Frames, KeepWhatAMemberIs) {
    MemberNames names;
    names.seconds = -5;
    names.nanoseconds = 999999999;
    names.path = "a/b\n\xFF";
    names.target = "c";
    auto const read = readMember(payloadOf(names));
    ASSERT_TRUE(read);
    EXPECT_EQ(read->seconds, -5);
    EXPECT_EQ(read->nanoseconds, 999999999U);
    EXPECT_EQ(read->path, "a/b\n\xFF");
    EXPECT_EQ(read->target, "c");
}

TEST(Frames, AcceptNoMemberWithoutAPath) {
    MemberNames names;
    EXPECT_FALSE(readMember(payloadOf(names)));
    names.path = "a";
    std::string const payload = payloadOf(names);
    EXPECT_TRUE(readMember(payload));
    EXPECT_FALSE(readMember(payload.substr(0, payload.size() - 1)));
    EXPECT_FALSE(readMember(payload.substr(0, 15)));
    EXPECT_FALSE(readMember(payload + '\0'));
    names.nanoseconds = secondInNano;
    EXPECT_FALSE(readMember(payloadOf(names)));
}

TEST(Frames, CutPathsThatAreTooLong) {
    MemberNames names;
    names.path.assign(largestMember, 'p');
    names.target.assign(largestMember, 't');
    std::string const payload = payloadOf(names);
    EXPECT_EQ(payload.size(), largestMember);
    EXPECT_TRUE(readMember(payload));
}

TEST(FrameWriter, WritesMoreThanAPipeHolds) {
    Pipe pipe;
    ASSERT_EQ(fcntl(pipe.writer(), F_SETPIPE_SZ, 4096), 4096);
    std::string const bytes(largestData, 'b');
    std::thread writing([&] {
        EXPECT_TRUE(FrameWriter(pipe.writer()).write(header(Frame::data, 0, 0, 7), bytes));
        pipe.closeWriter();
    });
    std::string const text = pipe.read();
    writing.join();
    EXPECT_EQ(text, textOf(header(Frame::data, 0, largestData, 7)) + bytes);
}

TEST(FrameWriter, CutsTextsThatAreTooLong) {
    Pipe pipe;
    EXPECT_TRUE(
        FrameWriter(pipe.writer()).write(header(Frame::failed), std::string(largestText + 1, 't')));
    EXPECT_TRUE(FrameWriter(pipe.writer()).write(header(static_cast<Frame>('x')), "t"));
    pipe.closeWriter();
    EXPECT_EQ(pipe.read().size(), headerSize + largestText + headerSize);
}

TEST(FrameWriter, SaysThatTheReaderIsGone) {
    std::signal(SIGPIPE, SIG_IGN);
    Pipe pipe;
    pipe.closeReader();
    EXPECT_FALSE(FrameWriter(pipe.writer()).write(header(Frame::done)));
}
