#include "sdk/SimpleXML.h"

#include "sdk/XmlComments.h"
#include "util/ConfigFilepath.h"
#include "util/FileDescriptor.h"
#include "util/Logger.h"
#include "util/StringHelpers.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <clocale>
#include <cstddef>
#include <cstring>
#include <limits>
#include <memory>
#include <optional>

#include <sys/stat.h>
#include <unistd.h>

namespace zel {

namespace {

using thalvo::LogLevel;
using thalvo::report;

constexpr char const* sourceFile = "sdk/SimpleXML";
constexpr std::size_t maxLineLength = 4095;

constexpr std::size_t pieceSize = 65536; // stays in the cache while it is looked through

/// A file's characters, written before they are read, so without a first value. What is rare in a
/// file is known of the whole, so that the others are spared a search.
struct FileText {
    std::unique_ptr<char[]> characters;
    std::size_t size = 0;
    bool hasNulls = false;
    bool hasReturns = false;

    std::string_view view() const noexcept { return {characters.get(), size}; }
};

/// @return Room for a text and a terminator behind it.
FileText roomFor(std::size_t size) {
    FileText text;
    text.characters.reset(new char[size + 1]);
    text.size = size;
    return text;
}

bool contains(std::string_view text, char searched) noexcept {
    return text.find(searched) != std::string_view::npos;
}

bool contains(std::string_view text, std::string_view searched) noexcept {
    return text.find(searched) != std::string_view::npos;
}

/// Reads until the text is full or nothing more comes. @return false for an error, like a bad
/// disk's.
bool readAll(FileDescriptor const& file, FileText& text) {
    std::size_t filled = 0;
    while (filled < text.size) {
        char* const at = text.characters.get() + filled;
        ssize_t const count = read(file.get(), at, std::min(pieceSize, text.size - filled));
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return false;
        if (count == 0)
            break;
        std::string_view const piece(at, static_cast<std::size_t>(count));
        text.hasNulls = text.hasNulls || contains(piece, '\0');
        text.hasReturns = text.hasReturns || contains(piece, '\r');
        filled += piece.size();
    }
    text.size = filled;
    text.characters[filled] = '\0';
    return true;
}

/// @return The file's text; nothing when it cannot be opened or read, or when its offsets would
///         not fit an int. What is no regular file, like a directory, holds nothing.
std::optional<FileText> readFile(char const* filename) {
    auto const file = FileDescriptor::openForReading(filename);
    struct stat status {};
    if (!file.valid() || fstat(file.get(), &status) != 0)
        return std::nullopt;
    if (!S_ISREG(status.st_mode))
        return roomFor(0);
    if (status.st_size > std::numeric_limits<int>::max())
        return std::nullopt;

    FileText text = roomFor(static_cast<std::size_t>(status.st_size));
    if (!readAll(file, text))
        return std::nullopt;
    return text;
}

std::string tagOf(std::string_view name, char const* start) {
    std::string tag;
    tag.reserve(name.size() + 3);
    tag.append(start).append(name).append(">");
    return tag;
}

std::string openingTag(std::string_view name) {
    return tagOf(name, "<");
}

std::string closingTag(std::string_view name) {
    return tagOf(name, "</");
}

/// @return Offset of the first such tag at or behind @p from, or -1.
int findTag(std::string_view document, std::string_view tag, int from) noexcept {
    auto const hit = document.find(tag, static_cast<std::size_t>(from));
    return hit != std::string_view::npos ? static_cast<int>(hit) : -1;
}

/// With strstr, since string_view::find tries each character that the searched text begins with.
/// @param text A text without null characters, terminated.
/// @return Offset of the first occurrence at or behind @p from, or npos.
std::size_t findText(std::string_view text, std::string const& searched,
                     std::size_t from) noexcept {
    if (from >= text.size())
        return std::string_view::npos;
    char const* const hit = std::strstr(text.data() + from, searched.c_str());
    return hit != nullptr ? static_cast<std::size_t>(hit - text.data()) : std::string_view::npos;
}

/// The lines of a text from its first "<" on: leading bytes, such as a byte order mark, are
/// skipped.
class Lines {
public:
    explicit Lines(FileText const& text) noexcept
        : m_text(text.view()), m_haveNulls(text.hasNulls), m_next(m_text.find('<')) {}

    /// @return The next line, up to a null character in it; nothing behind the last one and where a
    ///         line is too long.
    std::optional<std::string_view> next() noexcept {
        if (m_next >= m_text.size())
            return std::nullopt;
        std::size_t const end = std::min(m_text.find('\n', m_next), m_text.size());
        if (end - m_next > maxLineLength)
            return std::nullopt;
        auto const line = m_text.substr(m_next, end - m_next);
        m_next = end + 1;
        return m_haveNulls ? line.substr(0, line.find('\0')) : line;
    }

    /// @return Offset of the next line.
    std::size_t place() const noexcept { return m_next; }

private:
    std::string_view m_text;
    bool m_haveNulls;
    std::size_t m_next;
};

/// Finds the line that ends the root. The text is searched once for all lines up to it: a search of
/// each line would cost more than copying it.
class RootEnd {
public:
    RootEnd(FileText const& text, std::string_view rootname)
        : m_text(text.view()), m_haveNulls(text.hasNulls), m_tag(closingTag(rootname)) {}

    /// @param line A line.
    /// @param next Where the next one begins.
    /// @return Whether the line ends the root.
    bool isIn(std::string_view line, std::size_t next) {
        if (m_noneBefore >= next)
            return false;
        if (contains(line, m_tag))
            return true;
        m_noneBefore = m_haveNulls ? next : findText(m_text, m_tag, next);
        return false;
    }

private:
    std::string_view m_text;
    bool m_haveNulls;
    std::string m_tag;
    std::size_t m_noneBefore = 0; // no such tag begins before here
};

/// Reduces a file to the lines between those of the root's tags, joined without a separator. A
/// null character ends the text of its line, a line that is too long ends reading.
void keepRootContent(FileText& text, std::string_view rootname) {
    std::string const opening = std::string("<").append(rootname); // no '>': it may have attributes
    Lines lines(text);
    auto line = lines.next();
    while (line && !contains(*line, opening))
        line = lines.next();

    RootEnd rootEnd(text, rootname);
    std::size_t kept = 0;
    for (line = lines.next(); line && !rootEnd.isIn(*line, lines.place()); line = lines.next()) {
        std::memmove(text.characters.get() + kept, line->data(), line->size());
        kept += line->size();
    }
    text.size = kept;
}

/// Turns carriage returns into line feeds.
void replaceCarriageReturns(FileText& text) noexcept {
    if (!text.hasReturns)
        return;
    char* const begin = text.characters.get();
    std::replace(begin, begin + text.size, '\r', '\n');
}

/// The elements of one name, searched for as their tags stand in a document.
class LiteralElements {
public:
    LiteralElements(std::string_view document, std::string_view name)
        : m_document(document), m_opening(openingTag(name)), m_closing(closingTag(name)) {}

    Element firstFrom(int from) const noexcept {
        int const opening = findTag(m_document, m_opening, from);
        if (opening < 0)
            return {};
        int const start = opening + static_cast<int>(m_opening.size());
        return {start, findTag(m_document, m_closing, start)};
    }

    mutable LastFound lastFound; // of this search only

private:
    std::string_view m_document;
    std::string m_opening;
    std::string m_closing;
};

/// @return The first element that begins at or behind @p from and ends before @p limit.
template <class Elements>
Element firstWithin(Elements const& elements, int from, int limit) noexcept {
    Element const found = elements.firstFrom(from);
    return found.end < limit ? found : Element{};
}

/// Reads a plain decimal, which needs none of the C library's scanning.
/// @return false for anything else, like signs, blanks, bases and numbers out of range.
template <class Integer>
bool readPlain(std::string_view text, Integer* value) noexcept {
    bool const leadingZero = text.size() > 1 && text.front() == '0';
    if (leadingZero || text.empty() || text.front() < '0' || text.front() > '9')
        return false;
    Integer number = 0;
    auto const end = std::from_chars(text.data(), text.data() + text.size(), number);
    if (end.ec != std::errc() || end.ptr != text.data() + text.size())
        return false;
    *value = number;
    return true;
}

bool readPlain(std::string_view text, float* value) noexcept {
    auto const digits = text.substr(!text.empty() && text.front() == '-' ? 1 : 0);
    if (digits.empty() || digits.front() < '0' || digits.front() > '9')
        return false;
    float number = 0.0F;
    auto const end =
        std::from_chars(text.data(), text.data() + text.size(), number, std::chars_format::fixed);
    if (end.ec != std::errc() || end.ptr != text.data() + text.size())
        return false;
    *value = number;
    return true;
}

std::unique_ptr<char[]> copyOf(std::string_view text) {
    auto copy = std::make_unique<char[]>(text.size() + 1);
    std::copy(text.begin(), text.end(), copy.get());
    return copy;
}

} // namespace

SimpleXML::SimpleXML() noexcept {
    std::setlocale(LC_NUMERIC, "C");
}

bool SimpleXML::open(char const* filename, char const* rootname) noexcept try {
    if (filename == nullptr || rootname == nullptr)
        return false;

    auto text = readFile(filename);
    if (!text) {
        report(LogLevel::debug, sourceFile, __LINE__, "Failed to open file ", filename);
        return false;
    }
    keepRootContent(*text, rootname);
    replaceCarriageReturns(*text);
    auto const left = removeComments(text->characters.get(), text->size);
    m_text = std::move(text->characters);
    m_length = static_cast<int>(text->size);
    m_doc = {m_text.get(), left.value_or(text->size)};
    m_depth = 0;
    m_index.build(m_doc);
    if (left)
        return true;
    report(LogLevel::error, sourceFile, __LINE__, m_doc);
    report(LogLevel::error, sourceFile, __LINE__, "Format of file ", filename,
           " is wrong. Verify, that the XML document is well-formed!");
    return false;
} catch (...) {
    m_index.clear();
    m_doc = {};
    m_length = 0;
    setNode(); // what was selected is gone
    return false;
}

bool SimpleXML::open(char const* directory, char const* name, char const* rootname) noexcept {
    PathBuffer path{};
    if (!createConfigFilepath(path.data(), directory, pathCapacity, name, ".xml"))
        return false;
    return open(path.data(), rootname);
}

bool SimpleXML::setNode() noexcept {
    m_depth = 0;
    m_nodeStart[0] = 0;
    m_nodeEnd[0] = m_length;
    return true;
}

Element SimpleXML::selected() const noexcept {
    return {m_nodeStart[m_depth], m_nodeEnd[m_depth]};
}

/// Puts a question about the elements of a name, to the index or to the text itself.
/// @return The answer; @p none when the document has no tag of the name.
template <class Answer, class Question>
Answer SimpleXML::ask(std::string_view name, Answer none, Question const& question) const {
    NamedElements const* const elements = m_index.find(name);
    if (elements != nullptr)
        return question(*elements);
    return ElementIndex::covers(name) ? none : question(LiteralElements(m_doc, name));
}

/// @return The first element of a name inside the selected one.
Element SimpleXML::findFirst(std::string_view name) const {
    if (m_depth >= maxDepth)
        return {};
    Element const parent = selected();
    return ask(name, Element{}, [parent](auto const& elements) {
        return firstWithin(elements, parent.start, parent.end);
    });
}

/// @return The element of a name and an index inside the selected one. Asking in ascending order
///         takes constant time each; any other order goes through the elements from the first.
Element SimpleXML::findByIndex(std::string_view name, int index) const {
    if (index < 0 || m_depth >= maxDepth)
        return {};
    Element const parent = selected();
    return ask(name, Element{}, [parent, index](auto const& elements) {
        LastFound& last = elements.lastFound;
        bool const goesOn = last.parentStart == parent.start && last.index <= index;
        Element found = goesOn ? last.element : firstWithin(elements, parent.start, parent.end);
        for (int i = goesOn ? last.index : 0; i < index && found.exists(); ++i)
            found = firstWithin(elements, found.end, parent.end);
        if (found.exists())
            last = {parent.start, index, found};
        return found;
    });
}

bool SimpleXML::select(Element element) noexcept {
    if (!element.exists())
        return false;
    ++m_depth;
    m_nodeStart[m_depth] = element.start;
    m_nodeEnd[m_depth] = element.end;
    return true;
}

bool SimpleXML::setNode(char const* name) noexcept try {
    return name != nullptr && select(findFirst(name));
} catch (...) {
    return false;
}

bool SimpleXML::setNode(char const* name, int index) noexcept try {
    return name != nullptr && select(findByIndex(name, index));
} catch (...) {
    return false;
}

bool SimpleXML::resetNode() noexcept {
    if (m_depth == 0)
        return false;
    --m_depth;
    return true;
}

/// @return The text of an element; the root's ends where the document does.
std::string_view SimpleXML::textOf(Element element) const noexcept {
    auto const start = static_cast<std::size_t>(element.start);
    auto const length = static_cast<std::size_t>(element.end - element.start);
    return m_doc.substr(start, length);
}

bool SimpleXML::getNode(char** text) const noexcept try {
    Element const element = selected();
    if (text == nullptr || element.end - element.start < 1)
        return false;
    *text = copyOf(textOf(element)).release();
    return true;
} catch (...) {
    return false;
}

unsigned int SimpleXML::getNodeCount(char const* name) const noexcept try {
    if (name == nullptr || m_depth >= maxDepth)
        return 0;
    Element const parent = selected();
    return ask(name, 0U, [parent](auto const& elements) {
        // Looser than a descent on purpose: a tag that touches the parent's end still counts.
        unsigned int count = 0;
        Element found = elements.firstFrom(parent.start);
        while (found.exists() && found.end <= parent.end) {
            ++count;
            found = elements.firstFrom(found.end);
        }
        return count;
    });
} catch (...) {
    return 0;
}

int SimpleXML::getKey(char const* name, int from, int limit, bool closing) const noexcept try {
    if (name == nullptr || from < 0)
        return -1;
    std::string const tag = closing ? closingTag(name) : openingTag(name);
    int const hit = findTag(m_doc, tag, from);
    if (hit >= limit)
        return -1;
    return closing || hit < 0 ? hit : hit + static_cast<int>(tag.size());
} catch (...) {
    return -1;
}

template <class Number>
bool SimpleXML::getNumber(char const* name, Number* value,
                          int (*read)(char const*, Number*)) noexcept try {
    if (name == nullptr || value == nullptr)
        return false;
    auto const element = findFirst(name);
    if (!element.exists())
        return false;
    if (readPlain(textOf(element), value))
        return true;

    // Terminated where its closing tag begins, the text needs no copy. One that holds no number
    // leaves the value as it is, and the child exists all the same.
    char& closingBracket = m_text[static_cast<std::size_t>(element.end)];
    closingBracket = '\0';
    read(m_text.get() + element.start, value);
    closingBracket = '<';
    return true;
} catch (...) {
    return false;
}

bool SimpleXML::getInt(char const* name, int* value) noexcept {
    return getNumber(name, value, _tscanfi);
}

bool SimpleXML::getLong(char const* name, long* value) noexcept {
    return getNumber(name, value, _tscanfld);
}

bool SimpleXML::getFloat(char const* name, float* value) noexcept {
    return getNumber(name, value, _tscanff);
}

bool SimpleXML::getString(char const* name, char** text) noexcept try {
    if (text == nullptr)
        return false;
    *text = nullptr;
    auto const content = getText(name);
    if (!content)
        return false;
    *text = copyOf(*content).release();
    return true;
} catch (...) {
    return false;
}

std::optional<std::string_view> SimpleXML::getText(char const* name) const noexcept try {
    if (name == nullptr)
        return std::nullopt;
    auto const element = findFirst(name);
    if (!element.exists())
        return std::nullopt;
    return textOf(element);
} catch (...) {
    return std::nullopt;
}

} // namespace zel
