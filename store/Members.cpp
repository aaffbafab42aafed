#include "store/Members.h"

#include <cstring>
#include <utility>

namespace zel::store {

using frames::Frame;
using frames::MemberKind;

Members::Members(std::size_t mostOpen) : m_mostOpen(mostOpen), m_buffer(new char[bufferSize]) {}

std::optional<MemberEvent> Members::next() {
    std::string_view const rest(m_buffer.get() + m_taken, m_filled - m_taken);
    std::size_t wanted = frames::headerSize;
    if (!m_isWrong && !m_isLast && rest.size() >= wanted) {
        MemberEvent event;
        auto const header = frames::readHeader(rest.substr(0, frames::headerSize));
        m_isWrong = !header;
        if (header)
            wanted += header->length;
        if (header && rest.size() >= wanted) {
            event.header = *header;
            event.bytes = rest.substr(frames::headerSize, header->length);
            m_taken += wanted;
            m_isWrong = !accepts(event);
            if (!m_isWrong)
                return event;
        }
    }
    m_isWrong = m_isWrong || (m_isLast && !rest.empty());
    std::memmove(m_buffer.get(), m_buffer.get() + m_taken, m_filled - m_taken);
    m_filled -= std::exchange(m_taken, 0);
    return std::nullopt;
}

bool Members::accepts(MemberEvent& event) {
    frames::Header const& header = event.header;
    bool const isConfinement = header.type == Frame::sandbox;
    if (isConfinement == m_isConfined)
        return false;
    switch (header.type) {
    case Frame::sandbox:
        m_isConfined = true;
        return true;
    case Frame::member:
        return begins(event);
    case Frame::data: {
        auto const open = m_open.find(header.member);
        if (open == m_open.end() || header.number != open->second)
            return false;
        open->second += event.bytes.size();
        return true;
    }
    case Frame::restart:
        if (!isOpen(header.member))
            return false;
        m_open[header.member] = 0;
        return true;
    case Frame::end: {
        auto const open = m_open.find(header.member);
        if (open == m_open.end() || header.number != open->second)
            return false;
        m_open.erase(open);
        return true;
    }
    case Frame::broken:
        return m_open.erase(header.member) != 0;
    case Frame::done:
        m_isLast = true;
        return m_open.empty() && header.number == m_begun;
    case Frame::failed:
        m_isLast = true;
        return true;
    }
    return false; // GCOVR_EXCL_LINE: there is no other type
}

bool Members::begins(MemberEvent& event) {
    auto const kind = static_cast<MemberKind>(event.header.kind);
    event.names = frames::readMember(event.bytes);
    if (!event.names || event.names->target.empty() == (kind == MemberKind::hardLink) ||
        isOpen(event.header.member) || ++m_begun > mostMembers)
        return false;
    if (kind != MemberKind::file)
        return true;
    m_open[event.header.member] = 0;
    return m_open.size() <= m_mostOpen;
}

} // namespace zel::store
