/// @file
/// One document and the way through it.
#pragma once

#include "sdk/xml/ElementIndex.h"
#include "util/FileDescriptor.h"

#include <array>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace zel::xml {

/// What became of reading a file.
enum class Loading {
    loaded,     ///< the document is there
    unreadable, ///< it cannot be read or is too large; `errno` tells why
    malformed,  ///< its comments do not pair up
};

/// Reads one document and answers questions relative to a selected element.
///
/// There is no tree. load() keeps the text between the lines of the root element's tags, without
/// line breaks and comments; each question is answered with the literal tags `<name>` and `</name>`
/// inside the selected element, at whatever depth they are. Reading changes nothing outside the
/// object: no log, no locale, no directory. An object is for one thread at a time, since questions
/// change what it remembers, too. Operations throw nothing but std::bad_alloc, where they say so.
class Reader {
public:
    /// The largest file that can be loaded, in bytes: offsets are ints.
    static constexpr std::size_t largestFile = 0x7FFFFFFF;

    /// The deepest selection, 0 being the root.
    static constexpr int maxDepth = 254;

    /// An empty document.
    Reader() = default;
    Reader(Reader const&) = delete; // its index points into it
    Reader& operator=(Reader const&) = delete;

    /// Reads a file from its current offset, in four steps, a file each: its text (FileText), the
    /// part between the root's tags (RootContent), without comments (Comments), and where its
    /// elements are (ElementIndex). Select the root next.
    /// @param file      An open file.
    /// @param rootname  Name of the root element.
    /// @param sizeLimit Largest size accepted, in bytes; #largestFile counts when it
    ///                  is less.
    /// @return What became of it. An unreadable file leaves the earlier document, a malformed one
    ///         leaves its whole text, with the comments.
    /// @throws std::bad_alloc, which leaves an empty document.
    Loading load(FileDescriptor const& file, std::string_view rootname, std::size_t sizeLimit);

    /// @return Whether the last document that was loaded had the root's closing tag. A file that
    ///         was cut off has none, and neither has one with a line that is too long.
    bool isRootClosed() const noexcept { return m_isRootClosed; }

    /// @return The text of the whole document.
    std::string_view text() const noexcept { return m_document; }

    /// Selects the root.
    void selectRoot() noexcept;

    /// Descends into the first element of a name inside the selected one.
    /// @return false, with the selection unchanged, if there is no such element or the selection is
    ///         already #maxDepth deep.
    /// @throws std::bad_alloc
    bool enter(std::string_view name) { return select(findFirst(name)); }

    /// Descends into an element of a name inside the selected one.
    /// @param name  The name.
    /// @param index Which of them, 0 for the first; each is searched for after the one before.
    /// @return false, with the selection unchanged, if there are fewer or the selection is already
    ///         #maxDepth deep.
    /// @throws std::bad_alloc
    bool enter(std::string_view name, int index) { return select(findByIndex(name, index)); }

    /// Climbs one level. @return false at the root.
    bool leave() noexcept;

    /// Descends into each element of a name inside the selected one, in order, and leaves it again.
    /// Takes linear time.
    /// @param name  The name.
    /// @param visit Called once in each element; must leave the selection as it found it.
    /// @throws std::bad_alloc, and what @p visit throws.
    template <class Visit>
    void forEach(std::string_view name, Visit const& visit) {
        for (bool found = enter(name); found; found = moveToNext(name))
            visit();
    }

    /// @return How many elements of a name there are inside the selected one, including one that
    ///         ends where the selected one ends. @throws std::bad_alloc
    unsigned int count(std::string_view name) const;

    /// @return Whether there is anything between the selected element's tags. At the root a comment
    ///         counts, too, although it is not part of the text.
    bool hasSelectedText() const noexcept { return selected().end > selected().start; }

    /// @return Text of the selected element; of the whole document at the root.
    std::string_view selectedText() const noexcept { return textOf(selected()); }

    /// @param name A name.
    /// @return Text of the first element of that name inside the selected one; nothing when there
    ///         is none or the depth is #maxDepth. Valid until the next load().
    /// @throws std::bad_alloc
    std::optional<std::string_view> childText(std::string_view name) const;

    /// Reads the first element of a name inside the selected one as a number, in the "C" locale:
    /// an int as "%i", a long as "%ld", a float as "%f" of `scanf(3)`. (A further type is added in
    /// Numbers.h, and instantiated in Reader.cpp.)
    /// @param name  The name.
    /// @param value Receives the number; untouched when the element holds none.
    /// @return Whether there is such an element, whatever its text. @throws std::bad_alloc
    template <class Number>
    bool readNumber(std::string_view name, Number* value);

    /// Searches a tag.
    /// @param tag   The tag's text.
    /// @param from  Offset in the document to start from, in characters.
    /// @return Offset of the tag; -1 when there is none at or after @p from.
    int findTag(std::string_view tag, int from) const noexcept;

private:
    template <class Answer, class Question>
    Answer ask(std::string_view name, Answer none, Question const& question) const;
    Element selected() const noexcept { return {m_starts[m_depth], m_ends[m_depth]}; }
    Element findFirst(std::string_view name) const;
    Element findByIndex(std::string_view name, int index) const;
    bool moveToNext(std::string_view name);
    bool select(Element element) noexcept;
    std::string_view textOf(Element element) const noexcept;

    bool m_isRootClosed = false;
    int m_length = 0; // characters of the document, comments included
    std::array<int, maxDepth + 1> m_starts{};
    std::array<int, maxDepth + 1> m_ends{};
    std::size_t m_depth = 0;
    std::unique_ptr<char[]> m_characters;
    std::string_view m_document; // what is left without comments
    ElementIndex m_index;
};

/// @return The literal opening tag of a name. @throws std::bad_alloc
std::string openingTag(std::string_view name);
/// @return The literal closing tag of a name. @throws std::bad_alloc
std::string closingTag(std::string_view name);

} // namespace zel::xml
