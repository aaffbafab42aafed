#include "util/Frames.h"

#include <algorithm>
#include <cerrno>

#include <sys/uio.h>

namespace zel::frames {

namespace {

constexpr std::size_t kindAt = 1;
constexpr std::size_t zeroAt = 2;
constexpr std::size_t lengthAt = 4;
constexpr std::size_t memberAt = 8;
constexpr std::size_t otherZeroAt = 12;
constexpr std::size_t numberAt = 16;

constexpr std::size_t secondsSize = 8;
constexpr std::size_t fixedPart = 16; // seconds, nanoseconds, length of the path

constexpr std::uint8_t confinements = 4; // two bits

/// What frames of a type may be like.
struct Rule {
    Frame type;
    std::uint8_t kinds; ///< how many kinds there are
    std::size_t longestPayload;
    bool hasMember;
    bool hasNumber;
};

constexpr std::array<Rule, 8> rules{{
    {Frame::sandbox, confinements, 0, false, true},
    {Frame::member, memberKinds, largestMember, true, true},
    {Frame::data, 1, largestData, true, true},
    {Frame::restart, 1, 0, true, false},
    {Frame::end, 1, 0, true, true},
    {Frame::broken, damages, largestText, true, true},
    {Frame::done, 1, 0, false, true},
    {Frame::failed, troubles, largestText, false, true},
}};

Rule const* ruleOf(Frame type) noexcept {
    auto const* const rule = std::find_if(rules.begin(), rules.end(),
                                          [&](Rule const& known) { return known.type == type; });
    return rule != rules.end() ? rule : nullptr;
}

template <class Bytes>
void put(Bytes& bytes, std::size_t at, std::size_t size, std::uint64_t value) noexcept {
    for (std::size_t i = 0; i < size; ++i)
        bytes[at + i] = static_cast<char>(static_cast<unsigned char>((value >> (8 * i)) & 0xFFU));
}

std::uint64_t get(std::string_view bytes, std::size_t at, std::size_t size) noexcept {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < size; ++i)
        value |= static_cast<std::uint64_t>(static_cast<unsigned char>(bytes[at + i])) << (8 * i);
    return value;
}

std::uint32_t get32(std::string_view bytes, std::size_t at) noexcept {
    return static_cast<std::uint32_t>(get(bytes, at, sizeof(std::uint32_t)));
}

} // namespace

HeaderBytes bytesOf(Header const& header) noexcept {
    HeaderBytes bytes{};
    bytes[0] = static_cast<char>(header.type);
    put(bytes, kindAt, 1, header.kind);
    put(bytes, lengthAt, sizeof header.length, header.length);
    put(bytes, memberAt, sizeof header.member, header.member);
    put(bytes, numberAt, sizeof header.number, header.number);
    return bytes;
}

std::optional<Header> readHeader(std::string_view bytes) noexcept {
    Header header;
    header.type = static_cast<Frame>(get(bytes, 0, 1));
    header.kind = static_cast<std::uint8_t>(get(bytes, kindAt, 1));
    header.length = get32(bytes, lengthAt);
    header.member = get32(bytes, memberAt);
    header.number = get(bytes, numberAt, sizeof header.number);
    Rule const* const rule = ruleOf(header.type);
    bool const hasZeros = get(bytes, zeroAt, 2) == 0 && get32(bytes, otherZeroAt) == 0;
    if (rule == nullptr || !hasZeros || header.kind >= rule->kinds ||
        header.length > rule->longestPayload || (!rule->hasMember && header.member != 0) ||
        (!rule->hasNumber && header.number != 0))
        return std::nullopt;
    return header;
}

std::string payloadOf(MemberNames const& names) {
    constexpr std::size_t longest = (largestMember - fixedPart) / 2;
    std::string_view const path = std::string_view(names.path).substr(0, longest);
    std::string payload(fixedPart, '\0');
    put(payload, 0, secondsSize, static_cast<std::uint64_t>(names.seconds));
    put(payload, secondsSize, sizeof names.nanoseconds, names.nanoseconds);
    put(payload, secondsSize + sizeof names.nanoseconds, sizeof(std::uint32_t), path.size());
    return payload.append(path).append(std::string_view(names.target).substr(0, longest));
}

std::optional<MemberNames> readMember(std::string_view payload) {
    if (payload.size() < fixedPart)
        return std::nullopt;
    MemberNames names;
    names.seconds = static_cast<std::int64_t>(get(payload, 0, secondsSize));
    names.nanoseconds = get32(payload, secondsSize);
    std::size_t const length = get32(payload, secondsSize + sizeof names.nanoseconds);
    payload.remove_prefix(fixedPart);
    if (names.nanoseconds >= secondInNano || length == 0 || length > payload.size() ||
        payload.find('\0') != std::string_view::npos)
        return std::nullopt;
    names.path = payload.substr(0, length);
    names.target = payload.substr(length);
    return names;
}

bool FrameWriter::write(Header header, std::string_view payload) const noexcept {
    Rule const* const rule = ruleOf(header.type);
    payload = payload.substr(0, rule != nullptr ? rule->longestPayload : 0);
    header.length = static_cast<std::uint32_t>(payload.size());
    HeaderBytes bytes = bytesOf(header);
    std::array<iovec, 2> pieces{
        {{bytes.data(), bytes.size()}, {const_cast<char*>(payload.data()), payload.size()}}};
    std::size_t left = bytes.size() + payload.size();
    while (left > 0) {
        ssize_t count = -1;
        do
            count = writev(m_pipe, pieces.data(), static_cast<int>(pieces.size()));
        while (count < 0 && errno == EINTR);
        if (count < 0)
            return false;
        auto done = static_cast<std::size_t>(count);
        left -= done;
        for (iovec& piece : pieces) {
            std::size_t const here = std::min(done, piece.iov_len);
            piece.iov_base = static_cast<char*>(piece.iov_base) + here;
            piece.iov_len -= here;
            done -= here;
        }
    }
    return true;
}

} // namespace zel::frames
