#include "sdk/TagIndex.h"

#include <algorithm>
#include <cstring>

namespace zel {

namespace {

constexpr std::size_t charactersPerTag = 20; // in an indented description; a guess to start from
constexpr std::size_t usualNames = 64;       // a description has fewer

/// @return Whether a tag of this name ends at its '>' when its name begins at @p at.
bool isTagOf(std::string_view name, char const* at, char const* end) noexcept {
    return static_cast<std::size_t>(end - at) > name.size() && at[name.size()] == '>' &&
           std::memcmp(at, name.data(), name.size()) == 0;
}

char const* findBracket(char const* at, char const* end) noexcept {
    return std::find_if(at, end, [](char c) { return c == '<' || c == '>'; });
}

/// @return A number that names of another length or with other ends hardly share.
std::size_t shapeOf(std::string_view name) noexcept {
    if (name.empty())
        return 0;
    std::size_t const first = static_cast<unsigned char>(name.front());
    std::size_t const last = static_cast<unsigned char>(name.back());
    return name.size() * 1024 + first * 32 + last;
}

} // namespace

void TagIndex::clear() noexcept {
    m_elements.clear();
    m_ids.clear();
    m_positions.clear();
    m_shapes.reset();
    m_lastAsked = none;
}

void TagIndex::build(std::string_view document) {
    clear();
    m_elements.reserve(usualNames);
    m_ids.reserve(usualNames);
    sortByElement(collectTags(document));
}

TagIndex::Tags TagIndex::collectTags(std::string_view document) {
    Tags tags;
    tags.positions.reserve(document.size() / charactersPerTag);
    tags.keys.reserve(document.size() / charactersPerTag);
    char const* const begin = document.data();
    char const* const end = begin + document.size();
    Id last = none;
    bool lastIsClosing = false;

    char const* at = begin;
    while (at != end) {
        auto const* const open =
            static_cast<char const*>(std::memchr(at, '<', static_cast<std::size_t>(end - at)));
        if (open == nullptr)
            break;
        bool const closing = open + 1 != end && open[1] == '/';
        char const* const name = open + (closing ? 2 : 1);

        // Most closing tags follow their own opening tag.
        Id id = last;
        if (id == none || !isTagOf(m_elements[id].name, name, end)) {
            if (id != none)
                id = m_elements[last].followedBy[lastIsClosing ? 1 : 0];
            if (id == none || !isTagOf(m_elements[id].name, name, end)) {
                at = findBracket(name, end);
                if (at == end || *at == '<')
                    continue;
                id = idOf({name, static_cast<std::size_t>(at - name)});
            }
            if (last != none)
                m_elements[last].followedBy[lastIsClosing ? 1 : 0] = id;
        }
        at = name + m_elements[id].name.size() + 1;
        tags.positions.push_back(static_cast<int>(open - begin));
        tags.keys.push_back(static_cast<unsigned int>(id * 2 + (closing ? 1 : 0)));
        last = id;
        lastIsClosing = closing;
    }
    return tags;
}

TagIndex::Id TagIndex::idOf(std::string_view name) {
    auto const entry = m_ids.try_emplace(name, m_elements.size());
    if (entry.second) {
        Element element;
        element.name = name;
        m_elements.push_back(element);
        m_shapes.set(shapeOf(name) % m_shapes.size());
    }
    return entry.first->second;
}

void TagIndex::sortByElement(Tags const& tags) {
    std::vector<std::size_t> ends(m_elements.size() * 2 + 1, 0);
    for (unsigned int const key : tags.keys)
        ++ends[key + 1];
    for (std::size_t key = 1; key < ends.size(); ++key)
        ends[key] += ends[key - 1];

    m_positions.resize(tags.positions.size());
    for (std::size_t i = 0; i < tags.positions.size(); ++i)
        m_positions[ends[tags.keys[i]]++] = tags.positions[i];

    // Each end has moved up to where the next key's offsets begin.
    int const* begin = m_positions.data();
    for (Id id = 0; id < m_elements.size(); ++id) {
        int const* const middle = m_positions.data() + ends[id * 2];
        int const* const end = m_positions.data() + ends[id * 2 + 1];
        m_elements[id].tags.openings = {begin, middle};
        m_elements[id].tags.closings = {middle, end};
        begin = end;
    }
}

TagIndex::Id TagIndex::lookUp(std::string_view name) const noexcept {
    if (!m_shapes[shapeOf(name) % m_shapes.size()])
        return none;
    auto const hit = m_ids.find(name);
    return hit != m_ids.end() ? hit->second : none;
}

} // namespace zel
