/// @file
/// What a program without rights tells through its pipe, checked: it may be anything.
#pragma once

#include "util/Frames.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string_view>

namespace zel::store {

/// A frame that may come where it came.
struct MemberEvent {
    frames::Header header;                    ///< its header
    std::string_view bytes;                   ///< its payload, until the next call
    std::optional<frames::MemberNames> names; ///< of Frame::member
};

/// Reads frames, and holds a program to their order: the sandbox first, and once; members that
/// begin before anything is said of them, and do not begin again before they end; bytes without
/// gaps; an end that agrees with the bytes; nothing after the last frame.
class Members {
public:
    /// @param mostOpen How many members may be open at once. @throws std::bad_alloc
    explicit Members(std::size_t mostOpen);

    /// @return Where to put the next bytes from the pipe: room for at least one frame.
    char* room() noexcept { return m_buffer.get() + m_filled; }
    /// @return How many bytes fit there; not zero after next() returned nothing.
    std::size_t roomSize() const noexcept { return bufferSize - m_filled; }
    /// Tells how many bytes were put there.
    void filled(std::size_t count) noexcept { m_filled += count; }

    /// @return The next frame; nothing when more bytes are needed, or isWrong(). @throws
    ///         std::bad_alloc
    std::optional<MemberEvent> next();

    /// @return Whether something came that must not come. Nothing is read any more then.
    bool isWrong() const noexcept { return m_isWrong; }
    /// @return Whether the last frame has come, and nothing after it.
    bool isComplete() const noexcept { return m_isLast && !m_isWrong && m_taken == m_filled; }

private:
    static constexpr std::size_t bufferSize = 2 * (frames::headerSize + frames::largestData);
    /// More members than that would take the memory of this process.
    static constexpr std::uint64_t mostMembers = 4000000;

    bool accepts(MemberEvent& event);
    bool begins(MemberEvent& event);
    bool isOpen(std::uint32_t member) const { return m_open.count(member) != 0; }

    std::size_t m_mostOpen;
    std::unique_ptr<char[]> m_buffer;
    std::size_t m_filled = 0;
    std::size_t m_taken = 0;
    std::map<std::uint32_t, std::uint64_t> m_open; // bytes so far, by member
    std::uint64_t m_begun = 0;
    bool m_isConfined = false;
    bool m_isLast = false;
    bool m_isWrong = false;
};

} // namespace zel::store
