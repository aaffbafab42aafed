#include "sdk/xml/Reader.h"

#include "sdk/xml/Comments.h"
#include "sdk/xml/FileText.h"
#include "sdk/xml/Numbers.h"
#include "sdk/xml/RootContent.h"

#include <algorithm>
#include <utility>

namespace zel::xml {

namespace {

std::string tagOf(std::string_view name, char const* start) {
    std::string tag;
    tag.reserve(name.size() + 3);
    tag.append(start).append(name).append(">");
    return tag;
}

int find(std::string_view document, std::string_view tag, int from) noexcept {
    auto const hit = document.find(tag, static_cast<std::size_t>(from));
    return hit != std::string_view::npos ? static_cast<int>(hit) : -1;
}

/// The elements of a name that the index does not cover, found by searching for their tags.
class LiteralElements {
public:
    LiteralElements(std::string_view document, std::string_view name)
        : m_document(document), m_opening(openingTag(name)), m_closing(closingTag(name)) {}

    Element firstFrom(int from) const noexcept {
        int const opening = find(m_document, m_opening, from);
        if (opening < 0)
            return {};
        int const start = opening + static_cast<int>(m_opening.size());
        return {start, find(m_document, m_closing, start)};
    }

    Element inside(Element parent, int index) const noexcept {
        return insideOneByOne(*this, parent, index);
    }

    unsigned int countInside(Element parent) const noexcept { return countOneByOne(*this, parent); }

private:
    std::string_view m_document;
    std::string m_opening;
    std::string m_closing;
};

} // namespace

std::string openingTag(std::string_view name) {
    return tagOf(name, "<");
}

std::string closingTag(std::string_view name) {
    return tagOf(name, "</");
}

Loading Reader::load(FileDescriptor const& file, std::string_view rootname,
                     std::size_t sizeLimit) try {
    auto text = readText(file, std::min(sizeLimit, largestFile));
    if (!text)
        return Loading::unreadable;
    m_isRootClosed = keepRootContent(*text, rootname);
    auto const left = removeComments(text->characters.get(), text->size);
    m_characters = std::move(text->characters);
    m_length = static_cast<int>(text->size);
    m_document = {m_characters.get(), left.value_or(text->size)};
    m_depth = 0;
    m_index.build(m_document);
    return left ? Loading::loaded : Loading::malformed;
} catch (...) {
    m_index.clear();
    m_document = {};
    m_length = 0;
    selectRoot(); // what was selected is gone
    throw;
}

void Reader::selectRoot() noexcept {
    m_depth = 0;
    m_starts[0] = 0;
    m_ends[0] = m_length;
}

/// Puts a question about the elements of a name, to the index or to the text itself.
/// @return The answer; @p none when the document has no tag of the name.
template <class Answer, class Question>
Answer Reader::ask(std::string_view name, Answer none, Question const& question) const {
    NamedElements const* const elements = m_index.find(name);
    if (elements != nullptr)
        return question(*elements);
    return ElementIndex::covers(name) ? none : question(LiteralElements(m_document, name));
}

Element Reader::findFirst(std::string_view name) const {
    if (m_depth >= maxDepth)
        return {};
    Element const parent = selected();
    return ask(name, Element{}, [parent](auto const& elements) {
        Element const found = elements.firstFrom(parent.start);
        return found.end < parent.end ? found : Element{};
    });
}

Element Reader::findByIndex(std::string_view name, int index) const {
    if (index < 0 || m_depth >= maxDepth)
        return {};
    Element const parent = selected();
    return ask(name, Element{},
               [parent, index](auto const& elements) { return elements.inside(parent, index); });
}

/// Leaves the selected element and enters the next one of the same name.
/// @return false after the last one, which leaves the parent selected.
bool Reader::moveToNext(std::string_view name) {
    int const end = selected().end;
    leave();
    Element const parent = selected();
    return select(ask(name, Element{}, [parent, end](auto const& elements) {
        Element const found = elements.firstFrom(end);
        return found.end < parent.end ? found : Element{};
    }));
}

bool Reader::select(Element element) noexcept {
    if (!element.exists())
        return false;
    ++m_depth;
    m_starts[m_depth] = element.start;
    m_ends[m_depth] = element.end;
    return true;
}

bool Reader::leave() noexcept {
    if (m_depth == 0)
        return false;
    --m_depth;
    return true;
}

unsigned int Reader::count(std::string_view name) const {
    if (m_depth >= maxDepth)
        return 0;
    Element const parent = selected();
    // Looser than a descent on purpose: an element that ends where its parent ends still counts.
    return ask(name, 0U, [parent](auto const& elements) { return elements.countInside(parent); });
}

std::string_view Reader::textOf(Element element) const noexcept {
    auto const start = static_cast<std::size_t>(element.start);
    auto const length = static_cast<std::size_t>(element.end - element.start);
    return m_document.substr(start, length); // the root's text ends where the document does
}

std::optional<std::string_view> Reader::childText(std::string_view name) const {
    Element const element = findFirst(name);
    if (!element.exists())
        return std::nullopt;
    return textOf(element);
}

template <class Number>
bool Reader::readNumber(std::string_view name, Number* value) {
    Element const element = findFirst(name);
    if (!element.exists())
        return false;
    if (readPlainNumber(textOf(element), value))
        return true;

    // Terminated where its closing tag begins, the text needs no copy.
    char& closingBracket = m_characters[static_cast<std::size_t>(element.end)];
    closingBracket = '\0';
    scanNumber(m_characters.get() + element.start, value);
    closingBracket = '<';
    return true;
}

template bool Reader::readNumber(std::string_view name, int* value);
template bool Reader::readNumber(std::string_view name, long* value);
template bool Reader::readNumber(std::string_view name, float* value);

int Reader::findTag(std::string_view tag, int from) const noexcept {
    return find(m_document, tag, from);
}

} // namespace zel::xml
