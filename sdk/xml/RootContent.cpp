#include "sdk/xml/RootContent.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <string>

namespace zel::xml {

namespace {

constexpr std::size_t maxLineLength = 4095;

bool contains(std::string_view text, std::string_view searched) noexcept {
    return text.find(searched) != std::string_view::npos;
}

/// Searches with strstr, since string_view::find stops at each occurrence of the first character.
/// @param text A text without null characters, followed by one.
/// @return Offset of the first occurrence at or after @p from, or npos.
std::size_t findText(std::string_view text, std::string const& searched,
                     std::size_t from) noexcept {
    if (from >= text.size())
        return std::string_view::npos;
    char const* const hit = std::strstr(text.data() + from, searched.c_str());
    return hit != nullptr ? static_cast<std::size_t>(hit - text.data()) : std::string_view::npos;
}

/// The lines of a text from its first '<' on.
class Lines {
public:
    explicit Lines(FileText const& text) noexcept
        : m_text(text.view()), m_hasNulls(text.hasNulls), m_next(m_text.find('<')) {}

    /// @return The next line, up to a null character in it; nothing after the last one and from a
    ///         line on that is too long.
    std::optional<std::string_view> next() noexcept {
        if (m_next >= m_text.size())
            return std::nullopt;
        std::size_t const end = std::min(m_text.find('\n', m_next), m_text.size());
        if (end - m_next > maxLineLength)
            return std::nullopt;
        auto const line = m_text.substr(m_next, end - m_next);
        m_next = end + 1;
        return m_hasNulls ? line.substr(0, line.find('\0')) : line;
    }

    /// @return Offset of the next line.
    std::size_t nextOffset() const noexcept { return m_next; }

private:
    std::string_view m_text;
    bool m_hasNulls;
    std::size_t m_next;
};

/// Finds the line with the root's closing tag. Remembers up to where there is no such tag: to
/// search every line would cost more than to copy it.
class RootEnd {
public:
    RootEnd(FileText const& text, std::string_view rootname)
        : m_text(text.view()), m_hasNulls(text.hasNulls),
          m_tag(std::string("</").append(rootname).append(">")) {}

    /// @param line       A line.
    /// @param nextOffset Offset of the line after it.
    /// @return Whether the line ends the root.
    bool isIn(std::string_view line, std::size_t nextOffset) noexcept {
        if (m_noneBefore >= nextOffset)
            return false;
        if (contains(line, m_tag))
            return true;
        m_noneBefore = m_hasNulls ? nextOffset : findText(m_text, m_tag, nextOffset);
        return false;
    }

private:
    std::string_view m_text;
    bool m_hasNulls;
    std::string m_tag;
    std::size_t m_noneBefore = 0; // no closing tag begins before this offset
};

void replaceCarriageReturns(FileText& text) noexcept {
    if (!text.hasReturns)
        return;
    char* const begin = text.characters.get();
    std::replace(begin, begin + text.size, '\r', '\n');
}

} // namespace

bool keepRootContent(FileText& text, std::string_view rootname) {
    std::string const opening = std::string("<").append(rootname); // no '>': it may have attributes
    Lines lines(text);
    auto line = lines.next();
    while (line && !contains(*line, opening))
        line = lines.next();

    RootEnd rootEnd(text, rootname);
    std::size_t kept = 0;
    for (line = lines.next(); line && !rootEnd.isIn(*line, lines.nextOffset());
         line = lines.next()) {
        std::memmove(text.characters.get() + kept, line->data(), line->size());
        kept += line->size();
    }
    text.size = kept;
    replaceCarriageReturns(text);
    return line.has_value();
}

} // namespace zel::xml
