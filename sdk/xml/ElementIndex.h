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

namespace zel::xml {

/// An element's text: from the end of its opening tag to the first closing tag of its name.
struct Element {
    int start = -1; ///< offset of its first character
    int end = -1;   ///< offset of its closing tag; -1 when there is no such element

    /// @return Whether there is such an element.
    bool exists() const noexcept { return end >= 0; }
};

/// Goes through elements from the first one inside a parent; each is searched for after the end of
/// the one before.
/// @param elements What has firstFrom().
/// @param parent   An element.
/// @param index    Which of the elements inside the parent, 0 for the first.
/// @return That element; it ends before the parent does.
template <class Elements>
Element insideOneByOne(Elements const& elements, Element parent, int index) noexcept {
    Element found = elements.firstFrom(parent.start);
    for (int i = 0; i < index && found.exists(); ++i)
        found = elements.firstFrom(found.end);
    return found.end < parent.end ? found : Element{};
}

/// Counts elements as insideOneByOne() goes through them, including one that ends where the parent
/// ends.
/// @param elements What has firstFrom().
/// @param parent   An element.
/// @return How many there are.
template <class Elements>
unsigned int countOneByOne(Elements const& elements, Element parent) noexcept {
    unsigned int count = 0;
    Element found = elements.firstFrom(parent.start);
    while (found.exists() && found.end <= parent.end) {
        ++count;
        found = elements.firstFrom(found.end);
    }
    return count;
}

/// The elements of one name in the order of their opening tags.
class NamedElements {
public:
    /// No elements.
    NamedElements() = default;

    /// @param begin         First element; the elements stay the caller's.
    /// @param end           After the last.
    /// @param openingLength Characters in their opening tag.
    NamedElements(Element const* begin, Element const* end, int openingLength) noexcept
        : m_begin(begin), m_end(end), m_last(begin), m_openingLength(openingLength),
          m_areDisjoint(std::adjacent_find(begin, end, [this](Element const& a, Element const& b) {
                            return isBefore(b, a.end);
                        }) == end) {}

    /// @param from Offset to search from.
    /// @return The first element whose opening tag begins at or after @p from. Takes constant time
    ///         when that is the answer of the last search or the element after it, as when a
    ///         document is read in order; otherwise logarithmic time.
    Element firstFrom(int from) const noexcept {
        m_last = positionFrom(from);
        return m_last != m_end ? *m_last : Element{};
    }

    /// @param parent An element.
    /// @param index  Which of the elements inside the parent, 0 for the first. Each is searched for
    ///               after the end of the one before.
    /// @return That element; it ends before the parent does. Takes the time of firstFrom(), unless
    ///         elements of this name hold elements of this name: then it takes them one by one.
    Element inside(Element parent, int index) const noexcept {
        if (!m_areDisjoint)
            return insideOneByOne(*this, parent, index);
        Element const* const first = positionFrom(parent.start);
        if (index >= m_end - first)
            return {};
        m_last = first + index;
        return m_last->end < parent.end ? *m_last : Element{};
    }

    /// @param parent An element.
    /// @return How many elements there are inside the parent, including one that ends where the
    ///         parent ends. Takes the time of inside().
    unsigned int countInside(Element parent) const noexcept {
        if (!m_areDisjoint)
            return countOneByOne(*this, parent);
        Element const* const first = positionFrom(parent.start);
        Element const* const after = std::partition_point(
            first, m_end, [parent](Element const& element) { return element.end <= parent.end; });
        return static_cast<unsigned int>(after - first);
    }

private:
    bool isBefore(Element const& element, int from) const noexcept {
        return element.start - m_openingLength < from;
    }

    bool isFirst(Element const* at, int from) const noexcept {
        return (at == m_end || !isBefore(*at, from)) && (at == m_begin || isBefore(at[-1], from));
    }

    Element const* positionFrom(int from) const noexcept {
        Element const* at = m_last;
        if (at != m_end && isBefore(*at, from))
            ++at; // most searches want the next
        if (isFirst(at, from))
            return at;
        return std::partition_point(m_begin, m_end, [this, from](Element const& element) {
            return isBefore(element, from);
        });
    }

    Element const* m_begin = nullptr;
    Element const* m_end = nullptr;
    mutable Element const* m_last = nullptr; // where the last search ended
    int m_openingLength = 0;
    bool m_areDisjoint = true;
};

/// Every element of a document by its name.
///
/// A tag is a "<" whose next bracket is a ">". So for a name that covers() accepts the index has
/// exactly the elements that a search for the literal tags finds.
///
/// Four memories make it fast. Documents repeat themselves, so while the index is built the tags
/// that stood before a tag the last two times are tried first; questions repeat themselves, so the
/// names asked for after a name the last two times are, too. Each name remembers where its last
/// search ended. A filter rejects most names that a document does not have, such as optional ones.
class ElementIndex {
public:
    ElementIndex() = default;
    ElementIndex(ElementIndex const&) = delete; // its parts point to each other
    ElementIndex& operator=(ElementIndex const&) = delete;

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
        std::array<Tag*, 2> before{}; // that stood before it the last two times
    };

    /// A name with what is known of it.
    struct Entry {
        std::string_view name;
        unsigned int number = 0;
        Tag opening;
        Tag closing;
        int closingAt = -1; // offset of the nearest closing tag after the place of the walk
        NamedElements elements;
        mutable std::array<Entry const*, 2> askedNext{}; // asked for after it the last two times
    };

    struct Found {
        Element element;
        unsigned int number; // its name's
    };

    std::vector<Found> collectBackwards(std::string_view document);
    static Tag* expectedTag(Tag const& following, std::string_view rest) noexcept;
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

    // Its entries are pointed to. Not a hash table: a file can be made of names of one hash.
    std::map<std::string_view, Entry, ShorterFirst> m_entries;
    std::vector<Element> m_elements; // name by name
    std::bitset<4096> m_nameFilter;  // hashes of the names that exist: rejects most others at once
    mutable Entry const* m_lastAsked = nullptr;
};

} // namespace zel::xml
