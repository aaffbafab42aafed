/// @file
/// Where the tags of a document are.
#pragma once

#include <algorithm>
#include <bitset>
#include <cstddef>
#include <list>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace zel {

/// Ascending offsets of one tag in a document.
class TagPositions {
public:
    /// No offsets.
    TagPositions() = default;

    /// @param begin First offset; the offsets stay the caller's.
    /// @param end   Behind the last.
    TagPositions(int const* begin, int const* end) noexcept
        : m_begin(begin), m_end(end), m_last(begin) {}

    /// @param from Offset to search from.
    /// @return First offset at or behind @p from; -1 when there is none. Takes constant time when
    ///         searches move forward, as they do when a document is read in order.
    int firstFrom(int from) const noexcept {
        if (m_last != m_end && *m_last < from)
            ++m_last; // most searches want the next
        if (!isFirst(m_last, from))
            m_last = std::lower_bound(m_begin, m_end, from);
        return m_last != m_end ? *m_last : -1;
    }

private:
    bool isFirst(int const* at, int from) const noexcept {
        return (at == m_end || *at >= from) && (at == m_begin || at[-1] < from);
    }

    int const* m_begin = nullptr;
    int const* m_end = nullptr;
    mutable int const* m_last = nullptr; // where the last search ended
};

/// The element found last by its index inside a parent, from which the search of the next goes on.
struct LastFound {
    int parentStart = -1; ///< start of the parent's text, -1 when nothing was found yet
    int parentEnd = -1;   ///< end of the parent's text
    int index = -1;       ///< which of the parent's elements it is
    int end = -1;         ///< offset of its closing tag
};

/// The tags `<name>` and `</name>` of one name.
struct ElementTags {
    TagPositions openings;       ///< offsets of the opening tags
    TagPositions closings;       ///< offsets of the closing tags
    mutable LastFound lastFound; ///< no part of the document, only a memory of searches in it
};

/// Every tag of a document by its name.
///
/// A tag is a "<" whose next bracket is a ">". So for a name without brackets the index has exactly
/// the hits that a search for the literal tag has. Documents repeat themselves, and so do those who
/// read them: the name that followed the last time is tried before the name is looked up.
class TagIndex {
public:
    /// Indexes a document, which must stay as it is and where it is for as long as the index is
    /// used. @throws std::bad_alloc
    void build(std::string_view document);

    /// Forgets the document.
    void clear() noexcept;

    /// @param name A name.
    /// @return Its tags; null when the document has none.
    ElementTags const* find(std::string_view name) const noexcept {
        if (m_lastAsked != nullptr && m_lastAsked->name == name)
            return &m_lastAsked->tags;
        Element const* const expected = m_lastAsked != nullptr ? m_lastAsked->askedNext : nullptr;
        if (expected != nullptr && expected->name == name) {
            m_lastAsked = expected;
            return &expected->tags;
        }
        return lookUp(name);
    }

private:
    struct Element {
        std::string_view name;
        std::size_t id;
        ElementTags tags;
        Element* afterOpening = nullptr;            // what followed its opening tag last
        Element* afterClosing = nullptr;            // what followed its closing tag last
        mutable Element const* askedNext = nullptr; // what was asked for behind it last
    };

    /// The tags in the document's order.
    struct Tags {
        std::vector<int> positions;
        std::vector<unsigned int> keys; // twice the element's id, plus one for a closing tag
    };

    Tags collectTags(std::string_view document);
    Element* elementAt(char const* name, char const* end, Element* last, Element*& expected);
    Element* elementOf(std::string_view name);
    void sortByElement(Tags const& tags);
    ElementTags const* lookUp(std::string_view name) const noexcept;

    std::list<Element> m_elements; // pointed to, and empty it needs no memory
    std::unordered_map<std::string_view, Element*> m_byName;
    std::vector<int> m_positions; // element by element, the openings before the closings
    std::bitset<4096> m_shapes;   // of the names there are, to tell most missing ones at a glance
    mutable Element const* m_lastAsked = nullptr;
};

} // namespace zel
