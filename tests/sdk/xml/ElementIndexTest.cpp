#include "sdk/xml/ElementIndex.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

using zel::xml::Element;
using zel::xml::ElementIndex;
using zel::xml::NamedElements;

namespace {

using Texts = std::vector<std::string>;

/// A document with its index.
class Document {
public:
    explicit Document(std::string text) : m_text(std::move(text)) { m_index.build(m_text); }

    ElementIndex const& index() const { return m_index; }
    std::string const& text() const { return m_text; }

    std::string textOf(Element element) const {
        if (!element.exists())
            return "none";
        auto const start = static_cast<std::size_t>(element.start);
        return m_text.substr(start, static_cast<std::size_t>(element.end) - start);
    }

    /// Texts of all elements of a name, in the order of their opening tags.
    Texts all(std::string_view name) const {
        NamedElements const* const elements = m_index.find(name);
        Texts texts;
        Element found = elements != nullptr ? elements->firstFrom(0) : Element{};
        while (found.exists()) {
            texts.push_back(textOf(found));
            found = elements->firstFrom(found.start);
        }
        return texts;
    }

private:
    std::string m_text;
    ElementIndex m_index;
};

/// What the index stands for: a search for the tags themselves.
class LiteralSearch {
public:
    LiteralSearch(std::string_view document, std::string const& name)
        : m_document(document), m_opening("<" + name + ">"), m_closing("</" + name + ">") {}

    Element firstFrom(int from) const {
        int const opening = find(m_opening, from);
        if (opening < 0)
            return {};
        int const start = opening + static_cast<int>(m_opening.size());
        int const end = find(m_closing, start);
        return end < 0 ? Element{} : Element{start, end};
    }

    Element inside(Element parent, int index) const {
        Element found = firstFrom(parent.start);
        for (int i = 0; i < index && found.exists(); ++i)
            found = firstFrom(found.end);
        return found.end < parent.end ? found : Element{};
    }

    unsigned int countInside(Element parent) const {
        unsigned int count = 0;
        for (Element found = firstFrom(parent.start); found.exists() && found.end <= parent.end;
             found = firstFrom(found.end))
            ++count;
        return count;
    }

private:
    int find(std::string const& tag, int from) const {
        auto const hit = m_document.find(tag, static_cast<std::size_t>(from));
        return hit == std::string_view::npos ? -1 : static_cast<int>(hit);
    }

    std::string_view m_document;
    std::string m_opening;
    std::string m_closing;
};

} // namespace

// Names

struct NameCase {
    char const* name;
    bool covered;
};

class Names : public ::testing::TestWithParam<NameCase> {};

TEST_P(Names, AreCoveredWithoutABracketAndALeadingSlash) {
    EXPECT_EQ(ElementIndex::covers(GetParam().name), GetParam().covered);
}

TEST_P(Names, AreFoundOnlyWhenTheyAreCovered) {
    std::string const name = GetParam().name;
    Document const document("<" + name + ">text</" + name + ">");
    EXPECT_EQ(document.all(name), GetParam().covered ? Texts{"text"} : Texts{});
    EXPECT_EQ(document.index().find(name) != nullptr, GetParam().covered);
}

INSTANTIATE_TEST_SUITE_P(ElementIndex, Names,
                         ::testing::Values(NameCase{"Range", true}, NameCase{"", true},
                                           NameCase{"a b", true}, NameCase{"a/", true},
                                           NameCase{"!--", true}, NameCase{"\xc3\xa9", true},
                                           NameCase{"/", false}, NameCase{"/a", false},
                                           NameCase{"<", false}, NameCase{">", false},
                                           NameCase{"a>", false}, NameCase{"a><b", false}));

// Documents

struct DocumentCase {
    char const* what;
    char const* text;
    Texts elements; ///< of the name "a"
};

class Documents : public ::testing::TestWithParam<DocumentCase> {};

TEST_P(Documents, HaveTheElementsThatTheirTagsMake) {
    EXPECT_EQ(Document(GetParam().text).all("a"), GetParam().elements);
}

INSTANTIATE_TEST_SUITE_P(
    ElementIndex, Documents,
    ::testing::Values(
        DocumentCase{"Empty", "", {}}, DocumentCase{"WithoutATag", "a > a", {}},
        DocumentCase{"OfOneElement", "<a>1</a>", {"1"}},
        DocumentCase{"OfAnEmptyElement", "<a></a>", {""}},
        DocumentCase{"OfOneElementAfterAnother", "<a>1</a><a>2</a>", {"1", "2"}},
        DocumentCase{"OfElementsAtSeveralDepths", "<b><a>1</a></b><a>2</a>", {"1", "2"}},
        DocumentCase{"OfAnElementInOneOfItsName", "<a>1<a>2</a>3</a>", {"1<a>2", "2"}},
        DocumentCase{"OfElementsThatOverlap", "<a>1<b>2</a>3</b>", {"1<b>2"}},
        DocumentCase{"OfAnElementLeftOpen", "<a>1", {}},
        DocumentCase{"OfAnElementLeftOpenAfterOthers", "<a>1</a><a>2", {"1"}},
        DocumentCase{"OfAnElementLeftOpenBeforeOthers", "<a>1<b>2</b>", {}},
        DocumentCase{"OfTwoOpeningTagsForOneClosingTag", "<a><a>1</a>", {"<a>1", "1"}},
        DocumentCase{"OfAClosingTagAlone", "1</a>", {}},
        DocumentCase{"OfAClosingTagBeforeItsOpeningTag", "</a>1<a>", {}},
        DocumentCase{"OfAnOpeningTagWithAnAttribute", "<a b>1</a>", {}},
        DocumentCase{"OfAClosingTagWithABlank", "<a>1</a >", {}},
        DocumentCase{"OfATagThatAnotherOneInterrupts", "<a<a>1</a</a>", {"1</a"}},
        DocumentCase{"OfALongerName", "<aa>1</aa><A>2</A>", {}},
        DocumentCase{"ThatEndsInsideATag", "<a>1</a><a", {"1"}},
        DocumentCase{"OfBracketsAlone", "<<<>>>", {}}),
    [](auto const& parameter) { return std::string(parameter.param.what); });

TEST(AnIndex, FindsNothingBeforeADocumentIsBuilt) {
    EXPECT_EQ(ElementIndex().find("a"), nullptr);
}

TEST(AnIndex, FindsNothingOfAClearedDocument) {
    ElementIndex index;
    index.build("<a>1</a>");
    ASSERT_NE(index.find("a"), nullptr);
    index.clear();
    EXPECT_EQ(index.find("a"), nullptr);
    index.build("<b>1</b>");
    EXPECT_EQ(index.find("a"), nullptr);
}

TEST(AnIndex, HasTheElementsOfItsNewestDocumentOnly) {
    ElementIndex index;
    index.build("<a>1</a><b>2</b>");
    index.find("a");
    index.find("b");
    index.build("<b>12</b><c></c>");
    EXPECT_EQ(index.find("a"), nullptr);
    ASSERT_NE(index.find("b"), nullptr);
    EXPECT_EQ(index.find("b")->firstFrom(0).end, 5);
    EXPECT_FALSE(index.find("b")->firstFrom(1).exists());
}

TEST(AnIndex, FindsNamesInWhateverOrderTheyAreAskedFor) {
    Document const document("<a>1</a><b>2</b><c>3</c><d>4</d>");
    std::mt19937 random(1);
    for (int i = 0; i < 1000; ++i) {
        auto const which = random() % 6; // two names more than there are
        Texts const expected = which < 4 ? Texts{std::to_string(which + 1)} : Texts{};
        ASSERT_EQ(document.all(std::string(1, static_cast<char>('a' + which))), expected);
    }
}

TEST(AnIndex, TellsNamesOfOneLengthWithTheSameEnds) {
    Document const document("<a1z>1</a1z><a2z>2</a2z>");
    EXPECT_EQ(document.all("a1z"), Texts{"1"});
    EXPECT_EQ(document.all("a2z"), Texts{"2"});
    EXPECT_EQ(document.index().find("a3z"), nullptr);
}

TEST(AnIndex, TellsTagsThatRepeatInAnotherOrder) {
    Document const document("<a>1</a><b>2</b><a>3</a><c>4</c><b>5</b><a>6</a><b>7</b><c>8</c>");
    EXPECT_EQ(document.all("a"), (Texts{"1", "3", "6"}));
    EXPECT_EQ(document.all("b"), (Texts{"2", "5", "7"}));
    EXPECT_EQ(document.all("c"), (Texts{"4", "8"}));
}

// Elements inside another one

struct InsideCase {
    char const* what;
    std::string marked; ///< a document, with the parent's text between '[' and ']'
    Texts inside;       ///< the elements of the name "a" in it
    unsigned int count; ///< of those and one that ends where the parent ends
};

class Parents : public ::testing::TestWithParam<InsideCase> {
protected:
    static std::string withoutMarks(std::string text) {
        text.erase(text.find(']'), 1);
        text.erase(text.find('['), 1);
        return text;
    }

    std::string const& m_marked = GetParam().marked;
    Document m_document{withoutMarks(m_marked)};
    Element m_parent{static_cast<int>(m_marked.find('[')),
                     static_cast<int>(m_marked.find(']')) - 1};
    NamedElements const& m_elements = *m_document.index().find("a");

    std::string textInside(int index) const {
        return m_document.textOf(m_elements.inside(m_parent, index));
    }
};

TEST_P(Parents, HoldElementsByAscendingIndex) {
    auto const count = static_cast<int>(GetParam().inside.size());
    for (int i = 0; i < count; ++i)
        EXPECT_EQ(textInside(i), GetParam().inside[static_cast<std::size_t>(i)]) << i;
}

TEST_P(Parents, HoldElementsByDescendingIndex) {
    for (auto i = static_cast<int>(GetParam().inside.size()); i-- > 0;)
        EXPECT_EQ(textInside(i), GetParam().inside[static_cast<std::size_t>(i)]) << i;
}

TEST_P(Parents, HoldNoElementAfterTheLast) {
    auto const count = static_cast<int>(GetParam().inside.size());
    EXPECT_EQ(textInside(count), "none");
    EXPECT_EQ(textInside(count + 1), "none");
    EXPECT_EQ(textInside(std::numeric_limits<int>::max()), "none");
}

TEST_P(Parents, CountAnElementThatEndsWhereTheyEnd) {
    EXPECT_EQ(m_elements.countInside(m_parent), GetParam().count);
}

INSTANTIATE_TEST_SUITE_P(
    Disjoint, Parents,
    ::testing::Values(
        InsideCase{"WithoutElements", "<a>1</a>[x]<a>2</a>", {}, 0},
        InsideCase{"ThatAreEmpty", "<a>1</a>[]<a>2</a>", {}, 0},
        InsideCase{"OfElementsInARow", "<a>0</a>[<a>1</a><a>2</a>x]<a>3</a>", {"1", "2"}, 2},
        InsideCase{"OfElementsAtSeveralDepths", "[<b><a>1</a></b><a>2</a>]", {"1", "2"}, 2},
        InsideCase{"AfterAnElementsFirstBracket", "<[a>0</a><a>1</a>]", {"1"}, 1},
        InsideCase{"WithinAnOpeningTag", "<a[>0</a><a>1</a>]", {"1"}, 1},
        InsideCase{"AfterAnOpeningTag", "<a>[0</a><a>1</a>]", {"1"}, 1},
        InsideCase{"ThatEndWithAnElement", "[<a>1</a><a>2]</a>", {"1"}, 2},
        InsideCase{"ThatEndWithAnEmptyElement", "[<a>1</a><a>]</a>", {"1"}, 2},
        InsideCase{"ThatEndJustAfterAnElement", "[<a>1</a><a>2<]/a>", {"1", "2"}, 2},
        InsideCase{"ThatEndBeforeAnElementDoes", "[<a>1</a><a>]2</a>", {"1"}, 1},
        InsideCase{"ThatEndWithinAnOpeningTag", "[<a>1</a><a]>2</a>", {"1"}, 1},
        InsideCase{"WithAnElementLeftOpen", "[<a>1</a><a>2]", {"1"}, 1}),
    [](auto const& parameter) { return std::string(parameter.param.what); });

// The names of these elements hold elements of their own name.
INSTANTIATE_TEST_SUITE_P(
    NotDisjoint, Parents,
    ::testing::Values(
        InsideCase{"WithoutElements", "<a><a>0</a></a>[x]<a>1</a>", {}, 0},
        InsideCase{"OfAnElementInAnother", "[<a>1<a>2</a>3</a><a>4</a>]", {"1<a>2", "4"}, 2},
        InsideCase{"AfterTheOuterOpeningTag", "<a>[1<a>2</a>3</a><a>4</a>]", {"2", "4"}, 2},
        InsideCase{"AfterTheInnerOpeningTag", "<a>1<a>[2</a>3</a><a>4</a>]", {"4"}, 1},
        InsideCase{"ThatEndWithAnElement", "[<a>1<a>2</a><a>3]</a>", {"1<a>2"}, 2},
        InsideCase{"ThatEndWithTheInnerElement", "[<a>1<a>2]</a></a>", {}, 1},
        InsideCase{"ThatEndBeforeTheInnerElementDoes", "[<a>1<a>]2</a></a>", {}, 0},
        InsideCase{"OfTwoOpeningTagsForOneClosingTag", "[<a>1<a>2</a>]", {"1<a>2"}, 1},
        InsideCase{"WithAnElementLeftOpen", "[<a>1<a>2</a></a><a>3]", {"1<a>2"}, 1}),
    [](auto const& parameter) { return std::string(parameter.param.what); });

// Against a literal search

namespace {

std::string anyDocument(std::mt19937& random, bool nested) {
    static Texts const pieces{"<a>",   "</a>", "<a>", "</a>", "<b>", "</b>", "<ab>", "</ab>",
                              "x",     "<",    ">",   "/",    "<>",  "</>",  "<a ",  "</a",
                              "<//a>", "<a/>", "a",   "-",    "<b>", "</b>", "<a/>", "</a/>"};
    static Texts const elements{"<a>1</a>", "<b>2</b>", "<ab>3</ab>", "<b>", "</b>", "x"};
    Texts const& from = nested ? pieces : elements;
    std::string document;
    for (auto left = random() % 60; left > 0; --left)
        document += from[random() % from.size()];
    return document;
}

} // namespace

TEST(AnIndex, AgreesWithALiteralSearch) {
    Texts const names{"a", "b", "ab", "", "a/", "a ", "c"};
    std::mt19937 random(20); // the same numbers on every machine
    int found = 0;
    int missed = 0;
    for (int round = 0; round < 3000; ++round) {
        Document const document(anyDocument(random, round % 2 == 0));
        auto const offsets = static_cast<unsigned int>(document.text().size()) + 1;
        for (int question = 0; question < 60; ++question) {
            std::string const name = names[random() % names.size()];
            LiteralSearch const literal(document.text(), name);
            static NamedElements const none;
            NamedElements const* const hit = document.index().find(name);
            NamedElements const& elements = hit != nullptr ? *hit : none;

            int const start = static_cast<int>(random() % offsets);
            Element const parent{start, start + static_cast<int>(random() % offsets)};
            int const index = static_cast<int>(random() % 5);
            std::string const where = "round " + std::to_string(round) + ", " + document.text() +
                                      ", name '" + name + "' from " + std::to_string(start) +
                                      " to " + std::to_string(parent.end) + ", index " +
                                      std::to_string(index);
            auto const same = [](Element a, Element b) {
                return a.exists() == b.exists() &&
                       (!a.exists() || (a.start == b.start && a.end == b.end));
            };
            ASSERT_TRUE(same(elements.firstFrom(start), literal.firstFrom(start))) << where;
            Element const expected = literal.inside(parent, index);
            ASSERT_TRUE(same(elements.inside(parent, index), expected)) << where;
            ASSERT_EQ(elements.countInside(parent), literal.countInside(parent)) << where;
            ++(expected.exists() ? found : missed);
        }
    }
    EXPECT_GT(found, 10000);
    EXPECT_GT(missed, 10000);
}
