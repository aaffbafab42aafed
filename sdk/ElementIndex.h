/// @file
/// Where the elements of a document are.
#pragma once

#include <algorithm>
#include <array>
#include <bitset>
#include <cstddef>
#include <map>
#include <string_view>
#include <vector>

namespace zel {

/// An element's text: from behind its opening tag to the first closing tag of its name.
struct Element {
    int start = -1; ///< offset of its first character
    int end = -1;   ///< offset of its closing tag, -1 for no element

    /// @return Whether this is an element.
    bool exists() const noexcept { return end >= 0; }
};

/// The element found last by its index inside a parent, from which the search of the next goes on.
struct LastFound {
    int parentStart = -1; ///< tells the parent; -1 when nothing was found yet
    int index = -1;       ///< which of the parent's elements it is
    Element element;      ///< that element
};

/// The elements of one name in the order of their opening tags.
class NamedElements {
public:
    /// No elements.
    NamedElements() = default;

    /// @param begin         First element; the elements stay the caller's.
    /// @param end           Behind the last.
    /// @param openingLength Characters in their opening tag.
    NamedElements(Element const* begin, Element const* end, int openingLength) noexcept
        : m_begin(begin), m_end(end), m_last(begin), m_openingLength(openingLength) {}

    /// @param from Offset to search from.
    /// @return The first element whose opening tag begins at or behind @p from; no element when
    ///         there is none. Takes constant time when that is the answer of the last search or the
    ///         one behind it, as when a document is read in order; otherwise logarithmic.
    Element firstFrom(int from) const noexcept {
        if (m_last != m_end && isBefore(*m_last, from))
            ++m_last; // most searches want the next
        if (!isFirst(m_last, from))
            m_last = std::partition_point(m_begin, m_end, [this, from](Element const& element) {
                return isBefore(element, from);
            });
        return m_last != m_end ? *m_last : Element{};
    }

    mutable LastFound lastFound; ///< no part of the document, only a memory of searches in it

private:
    bool isBefore(Element const& element, int from) const noexcept {
        return element.start - m_openingLength < from;
    }

    bool isFirst(Element const* at, int from) const noexcept {
        return (at == m_end || !isBefore(*at, from)) && (at == m_begin || isBefore(at[-1], from));
    }

    Element const* m_begin = nullptr;
    Element const* m_end = nullptr;
    mutable Element const* m_last = nullptr; // where the last search ended
    int m_openingLength = 0;
};

/// Every element of a document by its name.
///
/// A tag is a "<" whose next bracket is a ">". So for a name that covers() accepts the index has
/// exactly the elements that a search for the literal tags finds. Documents repeat themselves, and
/// so do those who read them: what was the neighbour the last two times is tried before a name is
/// looked up.
class ElementIndex {
public:
    /// Indexes a document, which must stay as it is and where it is for as long as the index is
    /// used. @throws std::bad_alloc
    void build(std::string_view document);

    /// Forgets the document.
    void clear() noexcept;

    /// @param name A name.
    /// @return Its elements; null when there are none or the index does not cover the name.
    NamedElements const* find(std::string_view name) const noexcept {
        if (m_lastAsked == nullptr)
            return lookUp(name);
        for (Entry const* const expected : m_lastAsked->askedNext) {
            if (expected != nullptr && expected->name == name) {
                m_lastAsked = expected;
                return &expected->elements;
            }
        }
        return m_lastAsked->name == name ? &m_lastAsked->elements : lookUp(name);
    }

    /// @param name A name.
    /// @return Whether the index has its elements. It does not when their tags can overlap others,
    ///         as with a bracket in the name, or be those of another name, as with a leading '/'.
    static bool covers(std::string_view name) noexcept;

private:
    struct Entry;

    /// A tag as it stands in the document.
    struct Tag {
        std::string_view text;
        Entry* entry = nullptr;
        bool closing = false;
        std::array<Tag*, 2> before{}; // what stood in front of it the last two times
    };

    /// A name with what is known of it.
    struct Entry {
        std::string_view name;
        unsigned int number = 0;
        Tag opening;
        Tag closing;
        int closingAt = -1; // offset of the nearest closing tag behind the place of the walk
        NamedElements elements;
        mutable std::array<Entry const*, 2> askedNext{}; // what was asked for behind it
    };

    struct Found {
        Element element;
        unsigned int number; // its name's
    };

    std::vector<Found> collectBackwards(std::string_view document);
    static Tag* expectedTag(Tag const& behind, std::string_view rest) noexcept;
    Tag* readTag(std::string_view rest);
    Entry* entryOf(std::string_view name, bool closing);
    void sortByName(std::vector<Found> const& backwards);
    NamedElements const* lookUp(std::string_view name) const noexcept;

    /// An order of names that mostly needs no look at their characters.
    struct ShorterFirst {
        bool operator()(std::string_view a, std::string_view b) const noexcept {
            return a.size() != b.size() ? a.size() < b.size() : a < b;
        }
    };

    // Its entries are pointed to. No hash table: names of one hash are easily made.
    std::map<std::string_view, Entry, ShorterFirst> m_entries;
    std::vector<Element> m_elements; // name by name
    std::bitset<4096> m_shapes; // of the names there are, to tell most missing ones at a glance
    mutable Entry const* m_lastAsked = nullptr;
};

} // namespace zel
