/// @file
/// What the programs that unpack archives and speak to servers tell the store, through one pipe:
/// frames, each a header and a payload.
///
/// The first frame is that of the launcher, Frame::sandbox. Then come members: one that begins has
/// a frame Frame::member, then its bytes in order, then Frame::end, or Frame::broken at any point.
/// The last frame is Frame::done or Frame::failed.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace zel::frames {

/// What a frame says.
enum class Frame : std::uint8_t {
    sandbox = 'S', ///< how the program is confined: `Confined` bits as kind
    member = 'M',  ///< a member begins: a MemberKind as kind, its size or `unknownSize` as number
    data = 'D',    ///< bytes of a member, which begin at the offset that the number is
    restart = 'R', ///< a member begins anew
    end = 'E',     ///< a member is whole; the number is its size
    broken = 'B',  ///< a member cannot be had: a Damage as kind, a text for people as payload
    done = 'Z',    ///< all is said; the number is how many members began
    failed = 'F',  ///< it cannot go on: a Trouble as kind, a text for people as payload
};

/// What keeps the program from doing harm; bits.
enum Confined : std::uint8_t {
    byLandlock = 1, ///< Landlock: no file but a few for reading
    bySeccomp = 2,  ///< seccomp: no system call but a few
};

/// What a member is. Only a file has bytes and an end.
enum class MemberKind : std::uint8_t {
    file,     ///< a regular file
    link,     ///< a symbolic link, which is left out
    other,    ///< a device or a pipe, which is left out
    hardLink, ///< another name of an earlier member
    nameOnly, ///< a file whose bytes were not asked for
};
constexpr std::uint8_t memberKinds = 5; ///< how many kinds there are

/// The path of members, of kind MemberKind::other, whose names cannot be told.
constexpr char const* nameless = "?";

/// Why a member cannot be had.
enum class Damage : std::uint8_t {
    checksum,    ///< its bytes are not those that were packed
    undecodable, ///< its bytes cannot be unpacked
    missing,     ///< the server does not have it
    cut,         ///< the answer ended early
    page,        ///< the answer is a page for people
    encoding,    ///< the answer has an encoding that was not asked for
    tooLarge,    ///< it is larger than the limit
};
constexpr std::uint8_t damages = 7; ///< how many there are

/// Why a program cannot go on.
enum class Trouble : std::uint8_t {
    noArchive,   ///< the file is no archive of a known format
    encrypted,   ///< it is encrypted
    cut,         ///< it ends early
    spoilt,      ///< its structure is damaged
    unsupported, ///< it is packed in a way that is not known
    unreadable,  ///< the system cannot read it: the number is the error's
    noMemory,    ///< memory ran out
    refused,     ///< the server refuses: the number is the status of its answer, or 0
    unreachable, ///< the server cannot be reached
    untrusted,   ///< the server's certificate is not trusted
    other,       ///< something else
};
constexpr std::uint8_t troubles = 11; ///< how many there are

constexpr std::size_t headerSize = 24;             ///< bytes of a header
constexpr std::size_t largestData = 262144;        ///< bytes of a member in one frame
constexpr std::size_t largestMember = 131072;      ///< bytes of the payload of Frame::member
constexpr std::size_t largestText = 1024;          ///< bytes of a text for people
constexpr std::uint64_t unknownSize = ~0ULL;       ///< a member that does not announce its size
constexpr std::uint32_t secondInNano = 1000000000; ///< nanoseconds of a second

/// The start of a frame.
struct Header {
    Frame type{};             ///< what it says
    std::uint8_t kind = 0;    ///< what kind of that
    std::uint32_t length = 0; ///< bytes of the payload that follows
    std::uint32_t member = 0; ///< the member that it is about, or 0
    std::uint64_t number = 0; ///< a size, an offset or an error, as the type says
};

/// The bytes of a header.
using HeaderBytes = std::array<char, headerSize>;

/// @return The bytes of a header.
HeaderBytes bytesOf(Header const& header) noexcept;

/// Reads a header, and accepts none that a program of ours would not write.
/// @param bytes `headerSize` bytes.
/// @return The header; nothing when type or kind are not known, the payload would be too long for
///         the type, or something is set that the type does not have.
std::optional<Header> readHeader(std::string_view bytes) noexcept;

/// What is known of a member when it begins: the payload of Frame::member.
struct MemberNames {
    std::int64_t seconds = 0;      ///< its modification time, since 1970
    std::uint32_t nanoseconds = 0; ///< the rest of that, below a second
    std::string path;              ///< its path; not empty, without null characters
    std::string target;            ///< the path of the member that a hard link stands for
};

/// @return The payload, at most `largestMember` bytes. @throws std::bad_alloc
std::string payloadOf(MemberNames const& names);

/// @return What a payload says; nothing when it has another form. @throws std::bad_alloc
std::optional<MemberNames> readMember(std::string_view payload);

/// Writes frames to a pipe.
class FrameWriter {
public:
    /// @param pipe The pipe, which stays the caller's.
    explicit FrameWriter(int pipe) noexcept : m_pipe(pipe) {}

    /// Writes a frame.
    /// @param header  Its header; the length is set here.
    /// @param payload Its payload, cut to what a frame of the type may have.
    /// @return Whether that went through; the reader may be gone.
    bool write(Header header, std::string_view payload = {}) const noexcept;

private:
    int m_pipe;
};

} // namespace zel::frames
