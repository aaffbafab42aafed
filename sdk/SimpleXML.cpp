#include "sdk/SimpleXML.h"

#include "util/ConfigFilepath.h"
#include "util/FileDescriptor.h"
#include "util/Logger.h"
#include "util/StringHelpers.h"

#include <algorithm>
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

/// @return The file's bytes; nothing when it cannot be opened or its offsets would not fit an int.
///         What cannot be read to its end, like a directory, counts as far as it was read.
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
    std::size_t filled = 0;
    while (filled < bytes.size()) {
        ssize_t const count = read(file.get(), bytes.data() + filled, bytes.size() - filled);
        if (count <= 0)
            break;
        filled += static_cast<std::size_t>(count);
    }
    bytes.resize(filled);
    return bytes;
}

bool contains(std::string_view line, std::string_view searched) noexcept {
    return line.find(searched) != std::string_view::npos;
}

/// Reduces a file to the lines between those of the root's tags, joined without a separator. A
/// null character ends the text of its line, a line that is too long ends reading.
void keepRootContent(std::string& text, std::string_view rootname) {
    std::string const opening = std::string("<").append(rootname); // no '>': it may have attributes
    std::string const closing = std::string("</").append(rootname).append(">");

    std::size_t kept = 0;
    bool inside = false;
    std::size_t next = text.find('<'); // leading bytes, such as a byte order mark, are skipped
    while (next < text.size()) {
        std::size_t const lineEnd = std::min(text.find('\n', next), text.size());
        if (lineEnd - next > maxLineLength)
            break;
        std::string_view line(text.data() + next, lineEnd - next);
        line = line.substr(0, line.find('\0'));
        next = lineEnd + 1;

        if (!inside) {
            inside = contains(line, opening);
            continue;
        }
        if (contains(line, closing))
            break;
        std::memmove(text.data() + kept, line.data(), line.size());
        kept += line.size();
    }
    text.resize(kept);
}

std::string openingTag(std::string_view name) {
    return std::string("<").append(name).append(">");
}

std::string closingTag(std::string_view name) {
    return std::string("</").append(name).append(">");
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
    std::replace(text->begin(), text->end(), '\r', '\n');
    m_doc = std::move(*text);
    m_length = static_cast<int>(m_doc.size());
    m_depth = 0;

    if (removeComments(m_doc))
        return true;
    thalvo::report(0, sourceFile, __LINE__, m_doc);
    thalvo::report(0, sourceFile, __LINE__, "Format of file ", thalvo::W2C(filename),
                   " is wrong. Verify, that the XML document is well-formed!");
    return false;
} catch (...) {
    return false;
}

bool SimpleXML::open(char const* directory, char const* name, char const* rootname) noexcept {
    PathBuffer path{};
    if (!createConfigFilepath(path.data(), directory, pathCapacity, name, ".xml"))
        return false;
    return open(path.data(), rootname);
}

/// @return Offset of the first @p tag that begins in [from, limit), or -1.
int SimpleXML::find(std::string_view tag, int from, int limit) const noexcept {
    auto const textEnd = static_cast<int>(m_doc.size());
    if (from < 0 || from > textEnd || from >= limit)
        return -1;

    // A tag that begins before the limit may end behind it when its name holds a bracket.
    auto const begin = static_cast<std::size_t>(from);
    auto const window = static_cast<std::size_t>(limit - from) + tag.size() - 1;
    auto const hit = std::string_view(m_doc).substr(begin, window).find(tag);
    return hit == std::string_view::npos ? -1 : from + static_cast<int>(hit);
}

bool SimpleXML::setNode() noexcept {
    m_depth = 0;
    m_nodeStart[0] = 0;
    m_nodeEnd[0] = m_length;
    return true;
}

bool SimpleXML::descend(std::string_view name, int index) {
    if (index < 0 || m_depth >= maxDepth)
        return false;
    std::string const opening = openingTag(name);
    std::string const closing = closingTag(name);

    int const limit = m_nodeEnd[m_depth];
    int start = 0;
    int end = m_nodeStart[m_depth];
    for (int i = 0; i <= index; ++i) {
        int const hit = find(opening, end, limit);
        if (hit < 0)
            return false;
        start = hit + static_cast<int>(opening.size());
        end = find(closing, start, limit);
        if (end < 0)
            return false;
    }
    ++m_depth;
    m_nodeStart[m_depth] = start;
    m_nodeEnd[m_depth] = end;
    return true;
}

bool SimpleXML::setNode(char const* name) noexcept {
    return setNode(name, 0);
}

bool SimpleXML::setNode(char const* name, int index) noexcept try {
    return name != nullptr && descend(name, index);
} catch (...) {
    return false;
}

bool SimpleXML::resetNode() noexcept {
    if (m_depth == 0)
        return false;
    --m_depth;
    return true;
}

std::string_view SimpleXML::selectedText() const noexcept {
    auto const start = static_cast<std::size_t>(m_nodeStart[m_depth]);
    auto const length = static_cast<std::size_t>(m_nodeEnd[m_depth] - m_nodeStart[m_depth]);
    if (start > m_doc.size())
        return {};
    return std::string_view(m_doc).substr(start, length);
}

bool SimpleXML::getNode(char** text) const noexcept try {
    if (text == nullptr || m_nodeEnd[m_depth] - m_nodeStart[m_depth] < 1)
        return false;
    *text = copyOf(selectedText()).release();
    return true;
} catch (...) {
    return false;
}

unsigned int SimpleXML::getNodeCount(char const* name) const noexcept try {
    if (name == nullptr || m_depth >= maxDepth)
        return 0;
    std::string const opening = openingTag(name);
    std::string const closing = closingTag(name);

    // Looser than a descent on purpose: a tag that touches the element's end still counts.
    int const limit = m_nodeEnd[m_depth];
    unsigned int count = 0;
    int at = m_nodeStart[m_depth];
    while (true) {
        int const hit = find(opening, at, m_length);
        int const start = hit + static_cast<int>(opening.size());
        if (hit < 0 || start > limit)
            return count;
        int const end = find(closing, start, m_length);
        if (end < 0 || end > limit)
            return count;
        at = end;
        ++count;
    }
} catch (...) {
    return 0;
}

int SimpleXML::getKey(char const* name, int from, int limit, bool closing) const noexcept try {
    if (name == nullptr)
        return -1;
    std::string const tag = closing ? closingTag(name) : openingTag(name);
    int const hit = find(tag, from, limit);
    if (hit < 0 || closing)
        return hit;
    return hit + static_cast<int>(tag.size());
} catch (...) {
    return -1;
}

template <class Number>
bool SimpleXML::getNumber(char const* name, Number* value,
                          int (*read)(char const*, Number*)) noexcept try {
    if (value == nullptr || !setNode(name))
        return false;
    std::string_view const text = selectedText();
    resetNode();
    // A text that holds no number leaves the value as it is, and the child exists all the same.
    read(std::string(text).c_str(), value);
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
    if (!setNode(name))
        return false;
    std::string_view const content = selectedText();
    resetNode();
    *text = copyOf(content).release();
    return true;
} catch (...) {
    return false;
}

} // namespace zel
