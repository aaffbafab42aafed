#include "sdk/TagIndex.h"

#include <algorithm>
#include <cstring>

namespace zel {

namespace {

constexpr std::size_t charactersPerTag = 20; // in an indented description; a guess to start from

/// @return Whether a tag of this name ends at its '>' when its name begins at @p at.
bool isTagOf(std::string_view name, char const* at, char const* end) noexcept {
    return static_cast<std::size_t>(end - at) > name.size() && at[name.size()] == '>' &&
           std::memcmp(at, name.data(), name.size()) == 0;
}

char const* findBracket(char const* at, char const* end) noexcept {
    return std::find_if(at, end, [](char c) { return c == '<' || c == '>'; });
}

} // namespace

int TagPositions::firstFrom(int from) const noexcept {
    auto const isFirst = [&](int const* at) {
        return (at == m_end || *at >= from) && (at == m_begin || at[-1] < from);
    };
    if (!isFirst(m_last)) {
        bool const nextIsFirst = m_last != m_end && isFirst(m_last + 1);
        m_last = nextIsFirst ? m_last + 1 : std::lower_bound(m_begin, m_end, from);
    }
    return m_last != m_end ? *m_last : -1;
}

void TagIndex::clear() noexcept {
    m_elements.clear();
    m_ids.clear();
    m_positions.clear();
    m_lastAsked = none;
}

void TagIndex::build(std::string_view document) {
    clear();
    sortByElement(collectTags(document));
}

std::vector<TagIndex::Tag> TagIndex::collectTags(std::string_view document) {
    std::vector<Tag> tags;
    tags.reserve(document.size() / charactersPerTag);
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
        tags.push_back({static_cast<int>(open - begin),
                        static_cast<unsigned int>(id * 2 + (closing ? 1 : 0))});
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
    }
    return entry.first->second;
}

void TagIndex::sortByElement(std::vector<Tag> const& tags) {
    std::vector<std::size_t> ends(m_elements.size() * 2 + 1, 0);
    for (Tag const& tag : tags)
        ++ends[tag.key + 1];
    for (std::size_t key = 1; key < ends.size(); ++key)
        ends[key] += ends[key - 1];

    m_positions.resize(tags.size());
    for (Tag const& tag : tags)
        m_positions[ends[tag.key]++] = tag.position;

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

ElementTags const* TagIndex::find(std::string_view name) const noexcept {
    Id id = m_lastAsked != none ? m_elements[m_lastAsked].askedNext : none;
    if (id == none || m_elements[id].name != name) {
        auto const hit = m_ids.find(name);
        if (hit == m_ids.end())
            return nullptr;
        id = hit->second;
        if (m_lastAsked != none)
            m_elements[m_lastAsked].askedNext = id;
    }
    m_lastAsked = id;
    return &m_elements[id].tags;
}

} // namespace zel
