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
    m_byName.clear();
    m_positions.clear();
    m_shapes.reset();
    m_lastAsked = nullptr;
}

void TagIndex::build(std::string_view document) {
    clear();
    m_byName.reserve(usualNames);
    sortByElement(collectTags(document));
}

TagIndex::Tags TagIndex::collectTags(std::string_view document) {
    Tags tags;
    tags.positions.reserve(document.size() / charactersPerTag);
    tags.keys.reserve(document.size() / charactersPerTag);
    char const* const begin = document.data();
    char const* const end = begin + document.size();
    Element* first = nullptr; // what the document begins with is not foreseen
    Element* last = nullptr;
    Element** expected = &first;

    char const* at = begin;
    while (at != end) {
        auto const* const open =
            static_cast<char const*>(std::memchr(at, '<', static_cast<std::size_t>(end - at)));
        if (open == nullptr)
            break;
        bool const closing = open + 1 != end && open[1] == '/';
        char const* const name = open + (closing ? 2 : 1);
        Element* const element = elementAt(name, end, last, *expected);
        if (element == nullptr) {
            at = open + 1;
            continue;
        }
        tags.positions.push_back(static_cast<int>(open - begin));
        tags.keys.push_back(static_cast<unsigned int>(element->id * 2 + (closing ? 1 : 0)));
        at = name + element->name.size() + 1;
        last = element;
        expected = closing ? &element->afterClosing : &element->afterOpening;
    }
    return tags;
}

/// @param name     Where the name of a tag begins.
/// @param last     The element of the tag before, as most closing tags follow their opening tag.
/// @param expected The element whose tag followed then the last time; is kept up to date.
/// @return The tag's element; null when another tag begins before its '>'.
TagIndex::Element* TagIndex::elementAt(char const* name, char const* end, Element* last,
                                       Element*& expected) {
    if (last != nullptr && isTagOf(last->name, name, end))
        return last;
    if (expected != nullptr && isTagOf(expected->name, name, end))
        return expected;
    char const* const bracket = findBracket(name, end);
    if (bracket == end || *bracket == '<')
        return nullptr;
    expected = elementOf({name, static_cast<std::size_t>(bracket - name)});
    return expected;
}

TagIndex::Element* TagIndex::elementOf(std::string_view name) {
    Element*& element = m_byName[name];
    if (element == nullptr) {
        Element fresh;
        fresh.name = name;
        fresh.id = m_elements.size();
        m_elements.push_back(fresh);
        m_shapes.set(shapeOf(name) % m_shapes.size());
        element = &m_elements.back();
    }
    return element;
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
    for (Element& element : m_elements) {
        int const* const middle = m_positions.data() + ends[element.id * 2];
        int const* const end = m_positions.data() + ends[element.id * 2 + 1];
        element.tags.openings = {begin, middle};
        element.tags.closings = {middle, end};
        begin = end;
    }
}

ElementTags const* TagIndex::lookUp(std::string_view name) const noexcept {
    if (!m_shapes[shapeOf(name) % m_shapes.size()])
        return nullptr;
    auto const hit = m_byName.find(name);
    if (hit == m_byName.end())
        return nullptr;
    if (m_lastAsked != nullptr)
        m_lastAsked->askedNext = hit->second;
    m_lastAsked = hit->second;
    return &m_lastAsked->tags;
}

} // namespace zel
