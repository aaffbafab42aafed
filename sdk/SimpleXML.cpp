#include "sdk/SimpleXML.h"

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

constexpr char const* sourceFile = "sdk/SimpleXML";
constexpr std::size_t maxLineLength = 4095;

/// Reads until the bytes end or nothing more comes. @return false for an error, like a bad disk's.
bool readAll(FileDescriptor const& file, std::string& bytes) {
    std::size_t filled = 0;
    while (filled < bytes.size()) {
        ssize_t const count = read(file.get(), bytes.data() + filled, bytes.size() - filled);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return false;
        if (count == 0)
            break;
        filled += static_cast<std::size_t>(count);
    }
    bytes.resize(filled);
    return true;
}

/// @return The file's bytes; nothing when it cannot be opened or read, or when its offsets would
///         not fit an int. What is no regular file, like a directory, holds nothing.
std::optional<std::string> readFile(char const* filename) {
    auto const file = FileDescriptor::openForReading(filename);
    struct stat status {};
    if (!file.valid() || fstat(file.get(), &status) != 0)
        return std::nullopt;
    if (!S_ISREG(status.st_mode))
        return std::string();
    if (status.st_size >= std::numeric_limits<int>::max())
        return std::nullopt;

    std::string bytes(static_cast<std::size_t>(status.st_size), '\0');
    if (!readAll(file, bytes))
        return std::nullopt;
    return bytes;
}

/// @return Offset of the first occurrence at or behind @p from, or npos.
std::size_t findText(std::string_view text, std::string_view searched, std::size_t from) noexcept {
    if (from >= text.size())
        return std::string_view::npos;
    void const* const hit =
        memmem(text.data() + from, text.size() - from, searched.data(), searched.size());
    if (hit == nullptr)
        return std::string_view::npos;
    return static_cast<std::size_t>(static_cast<char const*>(hit) - text.data());
}

bool contains(std::string_view line, std::string_view searched) noexcept {
    return line.find(searched) != std::string_view::npos;
}

/// Reduces a file to the lines between those of the root's tags, joined without a separator. A
/// null character ends the text of its line, a line that is too long ends reading.
void keepRootContent(std::string& text, std::string_view rootname) {
    std::string const opening = std::string("<").append(rootname); // no '>': it may have attributes
    std::string const closing = std::string("</").append(rootname).append(">");
    bool const hasNulls = contains(text, std::string_view("\0", 1));

    std::size_t kept = 0;
    bool inside = false;
    std::size_t closingAt = 0;         // no closing tag of the root begins before here
    std::size_t next = text.find('<'); // leading bytes, such as a byte order mark, are skipped
    while (next < text.size()) {
        std::size_t const lineEnd = std::min(text.find('\n', next), text.size());
        if (lineEnd - next > maxLineLength)
            break;
        std::string_view line(text.data() + next, lineEnd - next);
        if (hasNulls)
            line = line.substr(0, line.find('\0'));
        next = lineEnd + 1;

        if (!inside) {
            inside = contains(line, opening);
            closingAt = next;
            continue;
        }
        if (closingAt < next) {
            if (contains(line, closing))
                break;
            closingAt = findText(text, closing, next);
        }
        std::memmove(text.data() + kept, line.data(), line.size());
        kept += line.size();
    }
    text.resize(kept);
}

/// Turns carriage returns into line feeds.
void replaceCarriageReturns(std::string& text) noexcept {
    if (!contains(text, "\r"))
        return;
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c == '\r' ? '\n' : c; });
}

/// Searches the tags of one name in a document. The index answers for ordinary names. A name with
/// a bracket makes tags that overlap others, so those are searched for as they stand.
class TagSearch {
public:
    TagSearch(std::string const& document, TagIndex const& index, std::string_view name) noexcept
        : m_document(document), m_name(name), m_element(index.find(name)) {
        if (m_element != nullptr) {
            m_openings = &m_element->openings;
            m_closings = &m_element->closings;
        } else {
            m_literal = contains(name, "<") || contains(name, ">");
        }
        if (name.empty() || name.front() != '/')
            return;
        // The opening tag of "/x" is the closing tag of "x".
        ElementTags const* const unslashed = index.find(name.substr(1));
        m_openings = unslashed != nullptr ? &unslashed->closings : nullptr;
    }

    int openingLength() const noexcept { return static_cast<int>(m_name.size()) + 2; }

    /// @return Offset of the first opening tag that begins in [from, limit), or -1.
    int opening(int from, int limit) const {
        return within(m_literal ? literal("<", from) : indexed(m_openings, from), limit);
    }

    /// @return Offset of the first closing tag that begins in [from, limit), or -1.
    int closing(int from, int limit) const {
        return within(m_literal ? literal("</", from) : indexed(m_closings, from), limit);
    }

    /// @return Where the search of an index can go on; null for a name that is not indexed.
    LastFound* lastFound() const noexcept {
        return m_element != nullptr ? &m_element->lastFound : nullptr;
    }

private:
    static int within(int hit, int limit) noexcept { return hit < limit ? hit : -1; }

    static int indexed(TagPositions const* positions, int from) noexcept {
        return positions != nullptr ? positions->firstFrom(from) : -1;
    }

    int literal(char const* start, int from) const {
        auto const hit = m_document.find(std::string(start).append(m_name).append(">"),
                                         static_cast<std::size_t>(from));
        return hit != std::string::npos ? static_cast<int>(hit) : -1;
    }

    std::string const& m_document;
    std::string_view m_name;
    ElementTags const* m_element;
    TagPositions const* m_openings = nullptr;
    TagPositions const* m_closings = nullptr;
    bool m_literal = false;
};

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
        thalvo::report(3, sourceFile, __LINE__, "Failed to open file ", thalvo::W2C(filename));
        return false;
    }
    keepRootContent(*text, rootname);
    replaceCarriageReturns(*text);
    m_tags.clear();
    m_doc = std::move(*text);
    m_length = static_cast<int>(m_doc.size());
    m_depth = 0;

    bool const wellFormed = removeComments(m_doc);
    m_tags.build(m_doc);
    if (wellFormed)
        return true;
    thalvo::report(0, sourceFile, __LINE__, m_doc);
    thalvo::report(0, sourceFile, __LINE__, "Format of file ", thalvo::W2C(filename),
                   " is wrong. Verify, that the XML document is well-formed!");
    return false;
} catch (...) {
    m_tags.clear();
    m_doc.clear();
    m_length = 0;
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

/// @return The first element of a name inside the selected one.
SimpleXML::Element SimpleXML::findFirst(std::string_view name) const {
    if (m_depth >= maxDepth)
        return {};
    TagSearch const tags(m_doc, m_tags, name);
    int const limit = m_nodeEnd[m_depth];
    int const opening = tags.opening(m_nodeStart[m_depth], limit);
    if (opening < 0)
        return {};
    int const start = opening + tags.openingLength();
    int const end = tags.closing(start, limit);
    if (end < 0)
        return {};
    return {start, end};
}

/// @return The element of a name and an index inside the selected one. Going through the indexes
///         in ascending order takes constant time each.
SimpleXML::Element SimpleXML::findByIndex(std::string_view name, int index) const {
    if (index < 0 || m_depth >= maxDepth)
        return {};
    TagSearch const tags(m_doc, m_tags, name);
    int const limit = m_nodeEnd[m_depth];
    Element found{0, m_nodeStart[m_depth]};
    int i = 0;
    LastFound* const last = tags.lastFound();
    if (last != nullptr && last->parentStart == m_nodeStart[m_depth] && last->parentEnd == limit &&
        last->index < index) {
        found.end = last->end;
        i = last->index + 1;
    }
    for (; i <= index; ++i) {
        int const opening = tags.opening(found.end, limit);
        if (opening < 0)
            return {};
        found.start = opening + tags.openingLength();
        found.end = tags.closing(found.start, limit);
        if (found.end < 0)
            return {};
    }
    if (last != nullptr)
        *last = {m_nodeStart[m_depth], limit, index, found.end};
    return found;
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
    return std::string_view(m_doc).substr(start, length);
}

bool SimpleXML::getNode(char** text) const noexcept try {
    Element const selected{m_nodeStart[m_depth], m_nodeEnd[m_depth]};
    if (text == nullptr || selected.end - selected.start < 1)
        return false;
    *text = copyOf(textOf(selected)).release();
    return true;
} catch (...) {
    return false;
}

unsigned int SimpleXML::getNodeCount(char const* name) const noexcept try {
    if (name == nullptr || m_depth >= maxDepth)
        return 0;
    TagSearch const tags(m_doc, m_tags, name);

    // Looser than a descent on purpose: a tag that touches the element's end still counts.
    int const limit = m_nodeEnd[m_depth];
    unsigned int count = 0;
    int at = m_nodeStart[m_depth];
    while (true) {
        int const opening = tags.opening(at, m_length);
        int const start = opening + tags.openingLength();
        if (opening < 0 || start > limit)
            return count;
        at = tags.closing(start, m_length);
        if (at < 0 || at > limit)
            return count;
        ++count;
    }
} catch (...) {
    return 0;
}

int SimpleXML::getKey(char const* name, int from, int limit, bool closing) const noexcept try {
    if (name == nullptr || from < 0 || static_cast<std::size_t>(from) > m_doc.size())
        return -1;
    TagSearch const tags(m_doc, m_tags, name);
    if (closing)
        return tags.closing(from, limit);
    int const hit = tags.opening(from, limit);
    return hit < 0 ? -1 : hit + tags.openingLength();
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
    char& closingBracket = m_doc[static_cast<std::size_t>(element.end)];
    closingBracket = '\0';
    read(m_doc.data() + element.start, value);
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
