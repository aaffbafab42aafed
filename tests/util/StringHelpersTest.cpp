#include "util/StringHelpers.h"

#include <gtest/gtest.h>

#include <clocale>
#include <string>

namespace {

using namespace std::string_literals;

/// A text and its terminator in a buffer otherwise full of '#', so that every character that a
/// helper writes or leaves shows.
template <class Text>
Text marked(std::size_t size, Text text) {
    text.push_back(0);
    text.resize(size, '#');
    return text;
}

/// Sets the locale of one category for the duration of a test.
class Locale {
public:
    Locale(int category, char const* name)
        : m_category(category), m_previous(std::setlocale(category, nullptr)) {
        EXPECT_NE(std::setlocale(category, name), nullptr) << name;
    }
    ~Locale() { std::setlocale(m_category, m_previous.c_str()); }
    Locale(Locale const&) = delete;
    Locale& operator=(Locale const&) = delete;

private:
    int m_category;
    std::string m_previous;
};

int sign(int value) {
    return (value > 0) - (value < 0);
}

template <class Text>
struct Comparison {
    Text left;
    Text right;
    int sign;
};

template <class Text, std::size_t Count>
void expectSigns(Comparison<Text> const (&comparisons)[Count]) {
    for (auto const& [left, right, expected] : comparisons)
        EXPECT_EQ(sign(tstrcmp(left, right)), expected) << left << " and " << right;
}

/// What a helper made of a buffer of '#', or of one that began with a text.
template <class Text>
struct Copy {
    Text before;
    unsigned int capacity;
    Text source;
    Text after;
};

/// @param helper tstrcpy or tstrcat.
template <class Text, std::size_t Count, class Helper>
void expectBuffers(Copy<Text> const (&copies)[Count], Helper const& helper) {
    for (Copy<Text> const& copy : copies) {
        Text buffer = copy.before;
        EXPECT_EQ(helper(buffer.data(), copy.capacity, copy.source.c_str()), buffer.data());
        EXPECT_EQ(buffer, copy.after);
    }
}

/// @param helper tstrlwr or tstrupr.
template <class Text, class Helper>
void expectChange(Text before, Text const& after, Helper const& helper) {
    EXPECT_EQ(helper(before.data()), before.data());
    EXPECT_EQ(before, after);
}

auto const lower = [](auto* text) {
    return tstrlwr(text);
};
auto const upper = [](auto* text) {
    return tstrupr(text);
};

/// Expects the occurrence at an offset; a negative offset means none.
template <class Text>
void expectOccurrence(Text haystack, Text needle, int offset) {
    EXPECT_EQ(tstrstr(haystack.data(), needle.data()),
              offset < 0 ? nullptr : haystack.data() + offset);
}

// A non-literal format, so that the compiler does not object to a deliberate cut.
char const* const asText = "%s";

struct Formatted {
    unsigned int capacity;
    char const* text;
    int length;
    std::string buffer;
};

/// What is read into a variable that held 7 before.
template <class Number>
struct Reading {
    char const* text;
    int result;
    Number value;
};

/// @param read Takes a text and a pointer to a number.
template <class Number, std::size_t Count, class Read>
void expectReadings(Reading<Number> const (&readings)[Count], Read const& read) {
    for (auto const& [text, result, expected] : readings) {
        Number value = 7;
        EXPECT_EQ(read(text, &value), result) << '"' << text << '"';
        EXPECT_EQ(value, expected) << '"' << text << '"';
    }
}

/// @param text, format narrow or wide.
template <class Number, class Character>
void expectScan(Character const* text, Character const* format, int result, Number expected) {
    Number value = 7;
    EXPECT_EQ(tscanf(text, format, &value), result) << text;
    EXPECT_EQ(value, expected) << text;
}

} // namespace

TEST(Tstrcmp, TellsWhichTextComesFirst) {
    expectSigns<char const*>({{"Range", "Range", 0},
                              {"Rang", "Range", -1},
                              {"b", "a", 1},
                              {"A", "a", -1},
                              {"\xff", "a", 1}});
    expectSigns<wchar_t const*>({{L"Range", L"Range", 0}, {L"a", L"b", -1}, {L"\x20ac", L"a", 1}});
}

TEST(Tstrcpy, FillsTheCapacityAndDoesNotTerminateATextOfFullLength) {
    expectBuffers<std::string>({{"######", 4, "abcdef", "abcd##"},
                                {"######", 4, "abcd", "abcd##"},
                                {"#########", 8, "ab", "ab\0\0\0\0\0\0#"s},
                                {"##", 0, "ab", "##"}},
                               [](auto... arguments) { return tstrcpy(arguments...); });
}

TEST(Tstrcpy, CopiesAWholeWideTextWhateverTheCapacity) {
    expectBuffers<std::wstring>(
        {{L"########", 2, L"abcdef", L"abcdef\0#"s}, {L"######", 6, L"ab", L"ab\0###"s}},
        [](auto... arguments) { return tstrcpy(arguments...); });
}

TEST(Tstrcat, LimitsTheAppendedPieceAndNotTheWholeText) {
    expectBuffers<std::string>({{"ab\0#####"s, 3, "xyz12", "abxyz\0##"s},
                                {"ab\0#####"s, 5, "x", "abx\0####"s},
                                {"ab\0#"s, 0, "x", "ab\0#"s}},
                               [](auto... arguments) { return tstrcat(arguments...); });
}

TEST(Tstrcat, AppendsAWholeWideTextWhateverTheCapacity) {
    expectBuffers<std::wstring>({{L"ab\0######"s, 3, L"xyz12", L"abxyz12\0#"s}},
                                [](auto... arguments) { return tstrcat(arguments...); });
}

TEST(Tstrlen, CountsWhatStandsBeforeTheTerminator) {
    EXPECT_EQ(tstrlen("abc\0def"), 3U);
    EXPECT_EQ(tstrlen(""), 0U);
    EXPECT_EQ(tstrlen("\xc3\xa9"), 2U) << "bytes, not letters";
    EXPECT_EQ(tstrlen(L"a\x20ac"), 2U);
    EXPECT_EQ(tstrlen(L""), 0U);
}

TEST(Tsnprintf, FormatsItsArguments) {
    std::string buffer(32, '#');
    tsnprintf(buffer.data(), 32, "Cali-%i%s", 14080045, ".xml");
    EXPECT_STREQ(buffer.c_str(), "Cali-14080045.xml");
    std::wstring wide(32, L'#');
    tsnprintf(wide.data(), 32, L"Cali-%i%ls", 7, L".xml");
    EXPECT_STREQ(wide.c_str(), L"Cali-7.xml");
}

TEST(Tsnprintf, CutsTheTextAndReturnsItsFullLength) {
    Formatted const cases[] = {{5, "abcdefgh", 8, "abcd\0#"s}, // terminated all the same
                               {6, "abc", 3, "abc\0##"s},
                               {0, "abc", 3, "######"}};
    for (Formatted const& each : cases) {
        std::string buffer(6, '#');
        EXPECT_EQ(tsnprintf(buffer.data(), each.capacity, asText, each.text), each.length);
        EXPECT_EQ(buffer, each.buffer);
    }
}

TEST(Tsnprintf, IsNegativeWhenAWideTextDoesNotFit) {
    std::wstring buffer(8, L'#');
    EXPECT_EQ(tsnprintf(buffer.data(), 8, L"%ls", L"abc"), 3);
    EXPECT_LT(tsnprintf(buffer.data(), 5, L"%ls", L"abcdefgh"), 0);
}

TEST(Tstrlwr, LowersLettersInPlaceUpToTheTerminator) {
    expectChange(marked(16, "Cali-14 ABC_z"s), marked(16, "cali-14 abc_z"s), lower);
    expectChange("A\0BC"s, "a\0BC"s, lower);
    expectChange(marked(2, ""s), marked(2, ""s), lower);
    expectChange(marked(16, L"Cali-14 ABC_z"s), marked(16, L"cali-14 abc_z"s), lower);
    expectChange(L"A\0BC"s, L"a\0BC"s, lower);
}

TEST(Tstrupr, RaisesLettersInPlaceUpToTheTerminator) {
    expectChange(marked(16, "Cali-14 abc_Z"s), marked(16, "CALI-14 ABC_Z"s), upper);
    expectChange("a\0bc"s, "A\0bc"s, upper);
    expectChange(marked(2, ""s), marked(2, ""s), upper);
    expectChange(marked(16, L"Cali-14 abc_Z"s), marked(16, L"CALI-14 ABC_Z"s), upper);
    expectChange(L"a\0bc"s, L"A\0bc"s, upper);
}

TEST(LetterCase, OfCharactersAbove127IsThatOfTheLocale) {
    {
        Locale const locale(LC_CTYPE, "C");
        expectChange("\xc4\xff"s, "\xc4\xff"s, lower);
        expectChange("\xe4\xff"s, "\xe4\xff"s, upper);
    }
    Locale const locale(LC_CTYPE, "C.UTF-8");
    expectChange(L"\u00c4"s, L"\u00e4"s, lower);
    expectChange(L"\u00e4"s, L"\u00c4"s, upper);
}

TEST(Tstrstr, PointsAtTheFirstOccurrence) {
    expectOccurrence("abcabc"s, "bc"s, 1);
    expectOccurrence("abcabc"s, "cb"s, -1);
    expectOccurrence("abc"s, ""s, 0);
    expectOccurrence(L"abcabc"s, L"bc"s, 1);
    expectOccurrence(L"abcabc"s, L"cb"s, -1);
}

TEST(Tscanf, ReadsANumberWithTheGivenFormat) {
    Locale const locale(LC_NUMERIC, "C");
    expectScan<int>("ff", "%x", 1, 255);
    expectScan<long>("n=-5000000000", "n=%ld", 1, -5000000000L);
    expectScan<float>("-0.25x", "%f", 1, -0.25F);
    expectScan<int>(L"ff", L"%x", 1, 255);
    expectScan<long>(L"-5000000000", L"%ld", 1, -5000000000L);
    expectScan<float>(L"-0.25", L"%f", 1, -0.25F);
}

TEST(Tscanf, KeepsTheValueWhenThereIsNoNumber) {
    expectScan<int>("abc", "%d", 0, 7);
    expectScan<int>("", "%d", -1, 7);
    expectScan<int>(L"abc", L"%d", 0, 7);
    expectScan<float>(L"", L"%f", -1, 7);
}

TEST(Tscanfi, ReadsDecimalOctalAndHexadecimalNumbers) {
    expectReadings<int>({{"0x1A", 1, 26},
                         {"0X1a", 1, 26},
                         {"012", 1, 10},
                         {"010", 1, 8},
                         {"-20", 1, -20},
                         {" \t\n 23", 1, 23},
                         {"12abc", 1, 12},
                         {"abc", 0, 7},
                         {"", -1, 7}},
                        zel::_tscanfi);
}

TEST(Tscanfld, ReadsDecimalNumbersOnly) {
    expectReadings<long>({{"5000000000", 1, 5000000000L},
                          {"010", 1, 10},
                          {"0x10", 1, 0},
                          {"abc", 0, 7},
                          {"", -1, 7}},
                         zel::_tscanfld);
}

TEST(Tscanff, ReadsNumbersWithAPointAndAnExponent) {
    Locale const locale(LC_NUMERIC, "C");
    expectReadings<float>({{"1.5", 1, 1.5F}, {"-25e-1", 1, -2.5F}, {"abc", 0, 7}, {"", -1, 7}},
                          zel::_tscanff);
}

TEST(W2C, ReturnsANarrowTextItselfAndLeavesTheSharedBufferAlone) {
    char const* const converted = thalvo::W2C(L"wide");
    char const* const text = "Cali-1.xml";
    EXPECT_EQ(thalvo::W2C(text), text);
    EXPECT_STREQ(converted, "wide");
}

TEST(W2C, ConvertsAtMost1023CharactersToTheEncodingOfTheLocale) {
    Locale const locale(LC_CTYPE, "C.UTF-8");
    std::string const most(1023, 'x');
    std::wstring const widest(1023, L'x');
    std::pair<std::wstring, std::string> const cases[] = {
        {L"Cali-1.xml", "Cali-1.xml"},
        {L"\u20ac", "\xe2\x82\xac"},
        {widest, most},
        {widest + L"yz", most},
        // A character of which only a part would fit is left out, although the text converted
        // before ends where it would begin.
        {widest.substr(1), most.substr(1)},
        {widest.substr(1) + L"\u00e9", most.substr(1)}};
    for (auto const& [wide, narrow] : cases)
        EXPECT_EQ(thalvo::W2C(wide.c_str()), narrow);
}

TEST(W2C, UsesOneBufferForAllWideTexts) {
    char const* const first = thalvo::W2C(L"first");
    thalvo::W2C(L"second");
    EXPECT_STREQ(first, "second");
}

TEST(W2C, EndsBeforeACharacterThatTheLocaleCannotRepresent) {
    Locale const locale(LC_CTYPE, "C");
    std::string const converted = thalvo::W2C(L"ab\u20accd");
    EXPECT_EQ(converted.substr(0, 2), "ab");
    EXPECT_EQ(converted.find("cd"), std::string::npos);
}
