// Reads what a program without rights may write to its pipe. Lines of the input are frames that are
// well formed or nearly so: type, kind, member, number, payload. What does not look like one goes
// into the pipe as it is. However the bytes are cut, the same must be accepted, and a model of the
// few rules must accept it, too.

#include "fuzz/MemoryFile.h"

#include "store/Members.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <string_view>

namespace {

using fuzz::require;
using namespace zel::frames;
using zel::store::Members;

/// Takes a word from the start of a line.
std::string takeWord(std::string_view& line) {
    auto const blank = std::min(line.find(' '), line.size());
    std::string word(line.substr(0, blank));
    line.remove_prefix(std::min(blank + 1, line.size()));
    return word;
}

std::uint64_t takeNumber(std::string_view& line) {
    return std::strtoull(takeWord(line).c_str(), nullptr, 10);
}

std::string frameFrom(std::string_view line) {
    Header header;
    header.type = static_cast<Frame>(line.front());
    line.remove_prefix(2);
    header.kind = static_cast<std::uint8_t>(takeNumber(line) % 256);
    header.member = static_cast<std::uint32_t>(takeNumber(line) % 1024);
    header.number = takeNumber(line);
    std::string payload;
    if (header.type == Frame::member) {
        MemberNames names;
        names.path = takeWord(line);
        names.target = line;
        payload = payloadOf(names);
    } else {
        payload = line;
    }
    header.length = static_cast<std::uint32_t>(payload.size());
    HeaderBytes const bytes = bytesOf(header);
    return std::string(bytes.data(), bytes.size()) + payload;
}

std::string bytesFrom(std::string_view script) {
    std::string bytes;
    while (!script.empty()) {
        auto const end = std::min(script.find('\n'), script.size());
        std::string_view const line = script.substr(0, end);
        script.remove_prefix(std::min(end + 1, script.size()));
        if (line.size() > 2 && line[1] == ' ')
            bytes += frameFrom(line);
        else
            bytes += line;
    }
    return bytes;
}

/// Holds what is accepted against the rules, in the plainest words.
class Model {
public:
    void see(zel::store::MemberEvent const& event) {
        Header const& header = event.header;
        require(!m_ended, "nothing comes after the end");
        require((header.type == Frame::sandbox) == (m_count++ == 0), "the sandbox comes first");
        m_ended = header.type == Frame::done || header.type == Frame::failed;
        if (header.type == Frame::member && header.kind == 0)
            require(m_sizes.emplace(header.member, 0).second, "a member begins once");
        if (header.type == Frame::member)
            require(event.names && !event.names->path.empty(), "a member has a path");
        bool const concernsOpen = header.type == Frame::data || header.type == Frame::end ||
                                  header.type == Frame::broken || header.type == Frame::restart;
        if (!concernsOpen)
            return;
        auto const open = m_sizes.find(header.member);
        require(open != m_sizes.end(), "what is said of a member comes while it is open");
        if (header.type == Frame::data) {
            require(header.number == open->second, "bytes have no gaps");
            open->second += event.bytes.size();
        } else if (header.type == Frame::restart) {
            open->second = 0;
        } else {
            require(header.type == Frame::broken || header.number == open->second,
                    "the size is that of the bytes");
            m_sizes.erase(open);
        }
    }

    bool isComplete() const { return m_ended; }

private:
    std::map<std::uint32_t, std::uint64_t> m_sizes;
    std::size_t m_count = 0;
    bool m_ended = false;
};

/// What is accepted of the bytes when they come in pieces of this size at most.
std::string seen(std::string_view bytes, std::size_t piece) {
    Members members(4);
    Model model;
    std::string seen;
    while (!bytes.empty() && !members.isWrong()) {
        std::size_t const count = std::min({piece, bytes.size(), members.roomSize()});
        require(count != 0, "there is always room");
        std::memcpy(members.room(), bytes.data(), count);
        members.filled(count);
        bytes.remove_prefix(count);
        while (auto const event = members.next()) {
            model.see(*event);
            seen += static_cast<char>(event->header.type);
            seen.append(event->bytes);
        }
    }
    require(!members.isComplete() || model.isComplete(), "the last frame came");
    return seen + (members.isComplete() ? "+" : "-");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::string const bytes = bytesFrom(fuzz::text(data, size));
    std::string const whole = seen(bytes, bytes.size());
    for (std::size_t const piece : {1U, 23U, 64U})
        require(seen(bytes, piece) == whole, "the cuts do not matter");
    return 0;
}
