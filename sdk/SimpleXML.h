/// @file
/// A small reader for the XML subset of calibration descriptions and download links.
#pragma once

#include "util/Export.h"

#include <memory>

namespace zel {

namespace xml {
class Reader;
struct ReaderAccess;
} // namespace xml

/// Start or end of a comment in a document.
struct CommentToken {
    int type;     ///< 0 the start of a comment, 1 its end
    int position; ///< offset of the first character of "<!--", or just after "-->"
};

/// Orders comment tokens by position alone.
/// @param a A token.
/// @param b Another one.
/// @return Whether @p a stands before @p b.
ZENTHO_API bool compTokens(CommentToken a, CommentToken b) noexcept;

/// Reads one document and answers queries relative to a selected element.
///
/// There is no tree. open() keeps the text between the lines of the root element's tags, without
/// line breaks and comments; each query searches it for the literal tags `<name>` and `</name>`
/// inside the selected element, at whatever depth they lie. So elements carry no attributes and do
/// not hold elements of their own name, empty-element tags, references and CDATA sections mean
/// nothing, and text is returned untrimmed, in the encoding of the file.
///
/// After open(), select the root with setNode() before any other query. A name is an element's name
/// without brackets. Numbers are read in the "C" locale, whatever locale is set. Nothing throws: an
/// operation that runs out of memory gives its failure value. A null name, directory or target
/// likewise. Not for use from several threads at once, not even for reading: queries remember where
/// they found something.
class ZENTHO_API SimpleXML {
public:
    /// An empty document. Sets the process's numeric locale to "C" and leaves it so: programs that
    /// use the library rely on it.
    SimpleXML() noexcept;
    ~SimpleXML();

    SimpleXML(SimpleXML const&) = delete;
    SimpleXML& operator=(SimpleXML const&) = delete;

    /// Loads a file; replaces a document loaded earlier.
    ///
    /// The root's tags must stand on lines of their own; what is before the root is ignored, a line
    /// of 4096 or more characters ends reading. Comments may span lines and nest. A file without
    /// the root, an empty one included, is an empty document.
    /// @param filename Path of the file.
    /// @param rootname Name of the root element, whose opening tag may carry attributes.
    /// @return false when the file cannot be opened or read or is 2 GiB or larger (logged for
    ///         debugging), which leaves the earlier document; when its comments do not pair up
    ///         (logged as an error, with the whole text), which leaves the text with them; or
    ///         without memory, which leaves an empty document.
    bool open(char const* filename, char const* rootname) noexcept;

    /// Loads "directory/name.xml". Creates the directory's last component when it is missing, and
    /// cuts the directory to 260 characters. An empty one stands for "Imager" in the working
    /// directory.
    /// @param directory Directory without a trailing '/'.
    /// @param name      File name without ".xml".
    /// @param rootname  Name of the root element.
    /// @return As the other form; false without a message when the path cannot be formed.
    bool open(char const* directory, char const* name, char const* rootname) noexcept;

    /// Selects the root. @return true, always.
    bool setNode() noexcept;

    /// Descends into the first element @p name inside the selected one.
    /// @return false when there is none or the depth is 254; the selection stays as it was then.
    bool setNode(char const* name) noexcept;

    /// Descends into an element @p name inside the selected one. Takes about the same time for any
    /// index, unless elements @p name hold elements @p name or the name holds a bracket or begins
    /// with '/': then it goes through them from the first, and a loop over all of them takes
    /// quadratic time.
    /// @param name  Name of the element.
    /// @param index Which of them, 0 for the first.
    /// @return false when there are fewer or the depth is 254; the selection stays as it was then.
    bool setNode(char const* name, int index) noexcept;

    /// Climbs one level. @return false at the root.
    bool resetNode() noexcept;

    /// Copies out the text of the selected element, or of the whole document at the root.
    /// @param text Receives a terminated array that the caller releases with `delete[]`; untouched
    ///             when the result is false.
    /// @return Whether the element has any text.
    bool getNode(char** text) const noexcept;

    /// @return Elements @p name inside the selected one. Takes the time of setNode() with an index.
    unsigned int getNodeCount(char const* name) const noexcept;

    /// Searches one tag.
    /// @param name    Name of the element.
    /// @param from    Offset in the document, in characters, to search from.
    /// @param limit   A hit at or beyond this offset does not count.
    /// @param closing Whether to search `</name>` instead of `<name>`.
    /// @return Offset of the closing tag, or just after the opening tag; -1 when there is none or
    ///         @p from is outside the document.
    int getKey(char const* name, int from, int limit, bool closing) const noexcept;

    /// Reads a child as an integer: decimal, hexadecimal after 0x, octal after 0; 0b11 is 0.
    /// @param name  Name of the child.
    /// @param value Receives the number; untouched when the child holds none.
    /// @return Whether the child exists, whatever its text.
    bool getInt(char const* name, int* value) noexcept;

    /// Reads a child as a decimal integer; otherwise like getInt().
    /// @param name  Name of the child.
    /// @param value Receives the number; untouched when the child holds none.
    /// @return Whether the child exists, whatever its text.
    bool getLong(char const* name, long* value) noexcept;

    /// Reads a child as a number with a decimal point; otherwise like getInt().
    /// @param name  Name of the child.
    /// @param value Receives the number; untouched when the child holds none.
    /// @return Whether the child exists, whatever its text.
    bool getFloat(char const* name, float* value) noexcept;

    /// Copies out the text of a child, also an empty one.
    /// @param name Name of the child.
    /// @param text Set to null first; then receives a terminated array that the caller releases
    ///             with `delete[]`.
    /// @return Whether the child exists.
    bool getString(char const* name, char** text) noexcept;

private:
    friend struct xml::ReaderAccess;

    std::unique_ptr<xml::Reader> m_reader; // null until the first open()
};

} // namespace zel
