#include "sdk/xml/ElementIndex.h"

#include <cstring>

namespace zel::xml {

namespace {

// About as many as an indented description has; only a first guess at the room needed.
constexpr std::size_t charactersPerElement = 32;

bool startsWith(std::string_view text, std::string_view searched) noexcept {
    return text.size() >= searched.size() &&
           std::memcmp(text.data(), searched.data(), searched.size()) == 0;
}

/// Searches backwards, a piece at a time: with a sanitizer each search checks its whole range.
/// @return Offset of the last '<' before @p end, or npos.
std::size_t findLastOpening(std::string_view text, std::size_t end) noexcept {
    constexpr std::size_t pieceSize = 1024;
    while (end > 0) {
        std::size_t const begin = end - std::min(end, pieceSize);
        void const* const hit = memrchr(text.data() + begin, '<', end - begin);
        if (hit != nullptr)
            return static_cast<std::size_t>(static_cast<char const*>(hit) - text.data());
        end = begin;
    }
    return std::string_view::npos;
}

char const* findBracket(std::string_view text) noexcept {
    return std::find_if(text.begin(), text.end(), [](char c) { return c == '<' || c == '>'; });
}

bool hasSlashInFront(std::string_view name) noexcept {
    return !name.empty() && name.front() == '/';
}

/// @return A hash that mostly differs for names of another length or with other ends.
std::size_t nameHash(std::string_view name) noexcept {
    if (name.empty())
        return 0;
    std::size_t const first = static_cast<unsigned char>(name.front());
    std::size_t const last = static_cast<unsigned char>(name.back());
    return name.size() * 1024 + first * 32 + last;
}

/// Puts the newest of two first and drops the older.
template <class Pointer>
void remember(std::array<Pointer, 2>& lastTwo, Pointer newest) noexcept {
    lastTwo = {newest, lastTwo.front()};
}

} // namespace

bool ElementIndex::covers(std::string_view name) noexcept {
    return !hasSlashInFront(name) && findBracket(name) == name.end();
}

void ElementIndex::clear() noexcept {
    m_entries.clear();
    m_elements.clear();
    m_nameFilter.reset();
    m_lastAsked = nullptr;
}

void ElementIndex::build(std::string_view document) {
    clear();
    sortByName(collectBackwards(document));
}

/// Goes through the document from its end, so that it meets a closing tag before the opening tag.
/// "Before" and "following" are places in the document: the following tag is met first.
std::vector<ElementIndex::Found> ElementIndex::collectBackwards(std::string_view document) {
    std::vector<Found> found;
    found.reserve(document.size() / charactersPerElement);
    Tag end;
    Tag* following = &end;
    for (auto at = findLastOpening(document, document.size()); at != std::string_view::npos;
         at = findLastOpening(document, at)) {
        auto const rest = document.substr(at);
        Tag* tag = expectedTag(*following, rest);
        if (tag == nullptr) {
            tag = readTag(rest);
            if (tag == nullptr)
                continue;
            remember(following->before, tag);
        }
        following = tag;
        Entry& entry = *tag->entry;
        int const position = static_cast<int>(at);
        if (tag->closing)
            entry.closingAt = position;
        else
            found.push_back(
                {{position + static_cast<int>(tag->text.size()), entry.closingAt}, entry.number});
    }
    return found;
}

/// @return The tag that @p rest begins with, if it stood before @p following one of the last two
///         times; else null.
ElementIndex::Tag* ElementIndex::expectedTag(Tag const& following, std::string_view rest) noexcept {
    for (Tag* const expected : following.before) {
        if (expected != nullptr && startsWith(rest, expected->text))
            return expected;
    }
    return nullptr;
}

/// @return The tag that @p rest begins with; null when another tag begins before its '>', and when
///         it opens an element that is not closed.
ElementIndex::Tag* ElementIndex::readTag(std::string_view rest) {
    char const* const bracket = findBracket(rest.substr(1));
    if (bracket == rest.end() || *bracket == '<')
        return nullptr;
    auto const text = rest.substr(0, static_cast<std::size_t>(bracket + 1 - rest.begin()));
    bool const closing = text[1] == '/';
    auto const name = text.substr(closing ? 2 : 1, text.size() - (closing ? 3 : 2));
    Entry* const entry = entryOf(name, closing);
    if (entry == nullptr)
        return nullptr;
    Tag& tag = closing ? entry->closing : entry->opening;
    tag.text = text;
    tag.entry = entry;
    tag.closing = closing;
    return &tag;
}

/// @return The entry of a name; a closing tag makes a missing one, an opening tag gets null.
ElementIndex::Entry* ElementIndex::entryOf(std::string_view name, bool closing) {
    if (hasSlashInFront(name))
        return nullptr;
    if (!closing) {
        auto const hit = m_entries.find(name);
        return hit != m_entries.end() ? &hit->second : nullptr;
    }
    auto const [hit, isNew] = m_entries.try_emplace(name);
    Entry& entry = hit->second;
    if (isNew) {
        entry.name = hit->first;
        entry.number = static_cast<unsigned int>(m_entries.size() - 1);
        m_nameFilter.set(nameHash(name) % m_nameFilter.size());
    }
    return &entry;
}

void ElementIndex::sortByName(std::vector<Found> const& backwards) {
    std::vector<std::size_t> places(m_entries.size() + 1, 0);
    for (Found const& found : backwards)
        ++places[found.number];
    for (std::size_t number = 1; number < places.size(); ++number)
        places[number] += places[number - 1];

    // Filled from its end, since they were found backwards: a place ends up at a name's first.
    m_elements.resize(backwards.size());
    for (Found const& found : backwards)
        m_elements[--places[found.number]] = found.element;

    for (auto& [name, entry] : m_entries) {
        Element const* const elements = m_elements.data();
        entry.elements = {elements + places[entry.number], elements + places[entry.number + 1],
                          static_cast<int>(name.size()) + 2};
    }
}

NamedElements const* ElementIndex::lookUp(std::string_view name) const noexcept {
    if (!m_nameFilter[nameHash(name) % m_nameFilter.size()])
        return nullptr;
    auto const hit = m_entries.find(name);
    if (hit == m_entries.end())
        return nullptr;
    Entry const& entry = hit->second;
    if (m_lastAsked != nullptr)
        remember(m_lastAsked->askedNext, &entry);
    m_lastAsked = &entry;
    return &entry.elements;
}

} // namespace zel::xml
