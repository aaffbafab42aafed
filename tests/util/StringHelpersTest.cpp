#include "util/StringHelpers.h"

#include <gtest/gtest.h>

#include <array>
#include <clocale>
#include <cstring>
#include <cwchar>
#include <string>

namespace {

/// A buffer full of '#', so that every character a helper writes or leaves shows.
template <std::size_t Size>
std::array<char, Size> marked(char const* text = nullptr) {
    std::array<char, Size> buffer;
    buffer.fill('#');
    if (text != nullptr)
        std::memcpy(buffer.data(), text, std::strlen(text) + 1);
    return buffer;
}

template <std::size_t Size>
std::array<wchar_t, Size> markedWide(wchar_t const* text = nullptr) {
    std::array<wchar_t, Size> buffer;
    buffer.fill(L'#');
    if (text != nullptr)
        std::wmemcpy(buffer.data(), text, std::wcslen(text) + 1);
    return buffer;
}

template <std::size_t Size>
std::string bytesOf(std::array<char, Size> const& buffer) {
    return std::string(buffer.begin(), buffer.end());
}

template <std::size_t Size>
std::wstring charactersOf(std::array<wchar_t, Size> const& buffer) {
    return std::wstring(buffer.begin(), buffer.end());
}

/// Sets the locale of one category for the duration of a test.
class Locale {
public:
    Locale(int category, char const* name)
        : m_category(category), m_previous(std::setlocale(category, nullptr)),
          m_available(std::setlocale(category, name) != nullptr) {}
    ~Locale() { std::setlocale(m_category, m_previous.c_str()); }
    Locale(Locale const&) = delete;
    Locale& operator=(Locale const&) = delete;

    bool available() const { return m_available; }

private:
    int m_category;
    std::string m_previous;
    bool m_available;
};

// A non-literal format, so that the compiler does not object to a deliberate cut.
char const* const asText = "%s";
wchar_t const* const asWideText = L"%ls";

} // namespace

TEST(Tstrcmp, GivesZeroForEqualTexts) {
    EXPECT_EQ(tstrcmp("Range", "Range"), 0);
}

TEST(Tstrcmp, IsNegativeWhenTheFirstTextComesFirst) {
    EXPECT_LT(tstrcmp("Rang", "Range"), 0);
}

TEST(Tstrcmp, IsPositiveWhenTheSecondTextComesFirst) {
    EXPECT_GT(tstrcmp("b", "a"), 0);
}

TEST(Tstrcmp, TellsUpperFromLowerCase) {
    EXPECT_LT(tstrcmp("A", "a"), 0);
}

TEST(Tstrcmp, TakesCharactersAbove127AsTheLargerOnes) {
    EXPECT_GT(tstrcmp("\xff", "a"), 0);
}

TEST(TstrcmpWide, GivesZeroForEqualTexts) {
    EXPECT_EQ(tstrcmp(L"Range", L"Range"), 0);
}

TEST(TstrcmpWide, IsNegativeWhenTheFirstTextComesFirst) {
    EXPECT_LT(tstrcmp(L"a", L"b"), 0);
}

TEST(TstrcmpWide, IsPositiveWhenTheSecondTextComesFirst) {
    EXPECT_GT(tstrcmp(L"\x20ac", L"a"), 0);
}

TEST(Tstrcpy, LeavesTheBufferUnterminatedWhenTheTextIsLongerThanTheCapacity) {
    auto buffer = marked<6>();
    tstrcpy(buffer.data(), 4, "abcdef");
    EXPECT_EQ(bytesOf(buffer), "abcd##");
}

TEST(Tstrcpy, LeavesTheBufferUnterminatedWhenTheTextHasTheFullCapacity) {
    auto buffer = marked<6>();
    tstrcpy(buffer.data(), 4, "abcd");
    EXPECT_EQ(bytesOf(buffer), "abcd##");
}

TEST(Tstrcpy, FillsTheRestOfTheCapacityWithZeros) {
    auto buffer = marked<9>();
    tstrcpy(buffer.data(), 8, "ab");
    EXPECT_EQ(bytesOf(buffer), std::string("ab\0\0\0\0\0\0#", 9));
}

TEST(Tstrcpy, WritesNothingForACapacityOfZero) {
    auto buffer = marked<2>();
    tstrcpy(buffer.data(), 0, "ab");
    EXPECT_EQ(bytesOf(buffer), "##");
}

TEST(Tstrcpy, ReturnsTheBuffer) {
    auto buffer = marked<4>();
    EXPECT_EQ(tstrcpy(buffer.data(), 4, "a"), buffer.data());
}

TEST(TstrcpyWide, CopiesTheWholeTextWhateverTheCapacity) {
    auto buffer = markedWide<8>();
    tstrcpy(buffer.data(), 2, L"abcdef");
    EXPECT_EQ(charactersOf(buffer), std::wstring(L"abcdef\0#", 8));
}

TEST(TstrcpyWide, DoesNotFillTheRestOfTheCapacity) {
    auto buffer = markedWide<6>();
    tstrcpy(buffer.data(), 6, L"ab");
    EXPECT_EQ(charactersOf(buffer), std::wstring(L"ab\0###", 6));
}

TEST(TstrcpyWide, ReturnsTheBuffer) {
    auto buffer = markedWide<4>();
    EXPECT_EQ(tstrcpy(buffer.data(), 4, L"a"), buffer.data());
}

TEST(Tstrcat, LimitsTheAppendedPieceAndNotTheWholeText) {
    auto buffer = marked<8>("ab");
    tstrcat(buffer.data(), 3, "xyz12");
    EXPECT_EQ(bytesOf(buffer), std::string("abxyz\0##", 8));
}

TEST(Tstrcat, AppendsAShorterTextWholeAndDoesNotFillUp) {
    auto buffer = marked<8>("ab");
    tstrcat(buffer.data(), 5, "x");
    EXPECT_EQ(bytesOf(buffer), std::string("abx\0####", 8));
}

TEST(Tstrcat, AppendsNothingForACapacityOfZero) {
    auto buffer = marked<4>("ab");
    tstrcat(buffer.data(), 0, "x");
    EXPECT_EQ(bytesOf(buffer), std::string("ab\0#", 4));
}

TEST(Tstrcat, ReturnsTheBuffer) {
    auto buffer = marked<8>("ab");
    EXPECT_EQ(tstrcat(buffer.data(), 3, "x"), buffer.data());
}

TEST(TstrcatWide, AppendsTheWholeTextWhateverTheCapacity) {
    auto buffer = markedWide<9>(L"ab");
    tstrcat(buffer.data(), 3, L"xyz12");
    EXPECT_EQ(charactersOf(buffer), std::wstring(L"abxyz12\0#", 9));
}

TEST(TstrcatWide, ReturnsTheBuffer) {
    auto buffer = markedWide<8>(L"ab");
    EXPECT_EQ(tstrcat(buffer.data(), 3, L"x"), buffer.data());
}

TEST(Tstrlen, CountsTheCharactersBeforeTheTerminator) {
    EXPECT_EQ(tstrlen("abc\0def"), 3U);
}

TEST(Tstrlen, IsZeroForAnEmptyText) {
    EXPECT_EQ(tstrlen(""), 0U);
}

TEST(Tstrlen, CountsBytesNotLetters) {
    EXPECT_EQ(tstrlen("\xc3\xa9"), 2U);
}

TEST(TstrlenWide, CountsTheCharactersBeforeTheTerminator) {
    EXPECT_EQ(tstrlen(L"a\x20ac"), 2U);
}

TEST(TstrlenWide, IsZeroForAnEmptyText) {
    EXPECT_EQ(tstrlen(L""), 0U);
}

TEST(Tsnprintf, FormatsItsArguments) {
    auto buffer = marked<32>();
    tsnprintf(buffer.data(), 32, "Cali-%i%s", 14080045, ".xml");
    EXPECT_STREQ(buffer.data(), "Cali-14080045.xml");
}

TEST(Tsnprintf, CutsTheTextAndTerminatesIt) {
    auto buffer = marked<6>();
    tsnprintf(buffer.data(), 5, asText, "abcdefgh");
    EXPECT_EQ(bytesOf(buffer), std::string("abcd\0#", 6));
}

TEST(Tsnprintf, ReturnsTheLengthOfTheFullTextWhenItCuts) {
    auto buffer = marked<6>();
    EXPECT_EQ(tsnprintf(buffer.data(), 5, asText, "abcdefgh"), 8);
}

TEST(Tsnprintf, ReturnsTheLengthOfATextThatFits) {
    auto buffer = marked<6>();
    EXPECT_EQ(tsnprintf(buffer.data(), 6, asText, "abc"), 3);
}

TEST(Tsnprintf, WritesNothingForACapacityOfZero) {
    auto buffer = marked<2>();
    tsnprintf(buffer.data(), 0, asText, "abc");
    EXPECT_EQ(bytesOf(buffer), "##");
}

TEST(TsnprintfWide, FormatsItsArguments) {
    auto buffer = markedWide<32>();
    tsnprintf(buffer.data(), 32, L"Cali-%i%ls", 7, L".xml");
    EXPECT_STREQ(buffer.data(), L"Cali-7.xml");
}

TEST(TsnprintfWide, ReturnsTheLengthOfATextThatFits) {
    auto buffer = markedWide<8>();
    EXPECT_EQ(tsnprintf(buffer.data(), 8, asWideText, L"abc"), 3);
}

TEST(TsnprintfWide, IsNegativeWhenTheTextDoesNotFit) {
    auto buffer = markedWide<8>();
    EXPECT_LT(tsnprintf(buffer.data(), 5, asWideText, L"abcdefgh"), 0);
}

TEST(Tstrlwr, LowersLettersInPlaceAndKeepsTheRest) {
    auto buffer = marked<16>("Cali-14 ABC_z");
    tstrlwr(buffer.data());
    EXPECT_STREQ(buffer.data(), "cali-14 abc_z");
}

TEST(Tstrlwr, StopsBehindTheTerminator) {
    auto buffer = marked<4>();
    std::memcpy(buffer.data(), "A\0BC", 4);
    tstrlwr(buffer.data());
    EXPECT_EQ(bytesOf(buffer), std::string("a\0BC", 4));
}

TEST(Tstrlwr, KeepsAnEmptyTextEmpty) {
    auto buffer = marked<2>("");
    tstrlwr(buffer.data());
    EXPECT_EQ(bytesOf(buffer), std::string("\0#", 2));
}

TEST(Tstrlwr, KeepsCharactersAbove127InThePlainLocale) {
    Locale const locale(LC_CTYPE, "C");
    auto buffer = marked<4>("\xc4\xff");
    tstrlwr(buffer.data());
    EXPECT_STREQ(buffer.data(), "\xc4\xff");
}

TEST(Tstrlwr, ReturnsTheText) {
    auto buffer = marked<4>("A");
    EXPECT_EQ(tstrlwr(buffer.data()), buffer.data());
}

TEST(TstrlwrWide, LowersLettersInPlaceAndKeepsTheRest) {
    auto buffer = markedWide<16>(L"Cali-14 ABC_z");
    tstrlwr(buffer.data());
    EXPECT_STREQ(buffer.data(), L"cali-14 abc_z");
}

TEST(TstrlwrWide, LowersLettersOfTheCurrentLocale) {
    Locale const locale(LC_CTYPE, "C.UTF-8");
    ASSERT_TRUE(locale.available());
    auto buffer = markedWide<4>(L"\u00c4");
    tstrlwr(buffer.data());
    EXPECT_STREQ(buffer.data(), L"\u00e4");
}

TEST(TstrlwrWide, StopsBehindTheTerminator) {
    auto buffer = markedWide<4>();
    std::wmemcpy(buffer.data(), L"A\0BC", 4);
    tstrlwr(buffer.data());
    EXPECT_EQ(charactersOf(buffer), std::wstring(L"a\0BC", 4));
}

TEST(TstrlwrWide, ReturnsTheText) {
    auto buffer = markedWide<4>(L"A");
    EXPECT_EQ(tstrlwr(buffer.data()), buffer.data());
}

TEST(Tstrupr, RaisesLettersInPlaceAndKeepsTheRest) {
    auto buffer = marked<16>("Cali-14 abc_Z");
    tstrupr(buffer.data());
    EXPECT_STREQ(buffer.data(), "CALI-14 ABC_Z");
}

TEST(Tstrupr, StopsBehindTheTerminator) {
    auto buffer = marked<4>();
    std::memcpy(buffer.data(), "a\0bc", 4);
    tstrupr(buffer.data());
    EXPECT_EQ(bytesOf(buffer), std::string("A\0bc", 4));
}

TEST(Tstrupr, KeepsCharactersAbove127InThePlainLocale) {
    Locale const locale(LC_CTYPE, "C");
    auto buffer = marked<4>("\xe4\xff");
    tstrupr(buffer.data());
    EXPECT_STREQ(buffer.data(), "\xe4\xff");
}

TEST(Tstrupr, ReturnsTheText) {
    auto buffer = marked<4>("a");
    EXPECT_EQ(tstrupr(buffer.data()), buffer.data());
}

TEST(TstruprWide, RaisesLettersInPlaceAndKeepsTheRest) {
    auto buffer = markedWide<16>(L"Cali-14 abc_Z");
    tstrupr(buffer.data());
    EXPECT_STREQ(buffer.data(), L"CALI-14 ABC_Z");
}

TEST(TstruprWide, RaisesLettersOfTheCurrentLocale) {
    Locale const locale(LC_CTYPE, "C.UTF-8");
    ASSERT_TRUE(locale.available());
    auto buffer = markedWide<4>(L"\u00e4");
    tstrupr(buffer.data());
    EXPECT_STREQ(buffer.data(), L"\u00c4");
}

TEST(TstruprWide, StopsBehindTheTerminator) {
    auto buffer = markedWide<4>();
    std::wmemcpy(buffer.data(), L"a\0bc", 4);
    tstrupr(buffer.data());
    EXPECT_EQ(charactersOf(buffer), std::wstring(L"A\0bc", 4));
}

TEST(TstruprWide, ReturnsTheText) {
    auto buffer = markedWide<4>(L"a");
    EXPECT_EQ(tstrupr(buffer.data()), buffer.data());
}

TEST(Tstrstr, PointsAtTheFirstOccurrence) {
    auto haystack = marked<16>("abcabc");
    auto needle = marked<4>("bc");
    EXPECT_EQ(tstrstr(haystack.data(), needle.data()), haystack.data() + 1);
}

TEST(Tstrstr, IsNullWhenThereIsNone) {
    auto haystack = marked<16>("abcabc");
    auto needle = marked<4>("cb");
    EXPECT_EQ(tstrstr(haystack.data(), needle.data()), nullptr);
}

TEST(Tstrstr, FindsAnEmptyTextAtTheStart) {
    auto haystack = marked<16>("abc");
    auto needle = marked<4>("");
    EXPECT_EQ(tstrstr(haystack.data(), needle.data()), haystack.data());
}

TEST(TstrstrWide, PointsAtTheFirstOccurrence) {
    auto haystack = markedWide<16>(L"abcabc");
    auto needle = markedWide<4>(L"bc");
    EXPECT_EQ(tstrstr(haystack.data(), needle.data()), haystack.data() + 1);
}

TEST(TstrstrWide, IsNullWhenThereIsNone) {
    auto haystack = markedWide<16>(L"abcabc");
    auto needle = markedWide<4>(L"cb");
    EXPECT_EQ(tstrstr(haystack.data(), needle.data()), nullptr);
}

TEST(Tscanf, ReadsAnIntWithTheGivenFormat) {
    int value = 0;
    EXPECT_EQ(tscanf("ff", "%x", &value), 1);
    EXPECT_EQ(value, 255);
}

TEST(Tscanf, ReadsALongWithTheGivenFormat) {
    long value = 0;
    EXPECT_EQ(tscanf("n=-5000000000", "n=%ld", &value), 1);
    EXPECT_EQ(value, -5000000000L);
}

TEST(Tscanf, ReadsAFloatWithTheGivenFormat) {
    Locale const locale(LC_NUMERIC, "C");
    float value = 0.0F;
    EXPECT_EQ(tscanf("-0.25x", "%f", &value), 1);
    EXPECT_EQ(value, -0.25F);
}

TEST(Tscanf, GivesZeroAndKeepsTheValueWhenTheTextDoesNotMatch) {
    int value = 7;
    EXPECT_EQ(tscanf("abc", "%d", &value), 0);
    EXPECT_EQ(value, 7);
}

TEST(Tscanf, GivesMinusOneAtTheEndOfInput) {
    int value = 7;
    EXPECT_EQ(tscanf("", "%d", &value), -1);
}

TEST(TscanfWide, ReadsAnIntWithTheGivenFormat) {
    int value = 0;
    EXPECT_EQ(tscanf(L"ff", L"%x", &value), 1);
    EXPECT_EQ(value, 255);
}

TEST(TscanfWide, ReadsALongWithTheGivenFormat) {
    long value = 0;
    EXPECT_EQ(tscanf(L"-5000000000", L"%ld", &value), 1);
    EXPECT_EQ(value, -5000000000L);
}

TEST(TscanfWide, ReadsAFloatWithTheGivenFormat) {
    Locale const locale(LC_NUMERIC, "C");
    float value = 0.0F;
    EXPECT_EQ(tscanf(L"-0.25", L"%f", &value), 1);
    EXPECT_EQ(value, -0.25F);
}

TEST(TscanfWide, GivesZeroAndKeepsTheValueWhenTheTextDoesNotMatch) {
    int value = 7;
    EXPECT_EQ(tscanf(L"abc", L"%d", &value), 0);
    EXPECT_EQ(value, 7);
}

TEST(TscanfWide, GivesMinusOneAtTheEndOfInput) {
    float value = 7.0F;
    EXPECT_EQ(tscanf(L"", L"%f", &value), -1);
}

TEST(Tscanfi, ReadsAHexadecimalNumber) {
    int value = 0;
    EXPECT_EQ(zel::_tscanfi("0x1A", &value), 1);
    EXPECT_EQ(value, 26);
}

TEST(Tscanfi, ReadsAHexadecimalNumberBehindACapitalX) {
    int value = 0;
    zel::_tscanfi("0X1a", &value);
    EXPECT_EQ(value, 26);
}

TEST(Tscanfi, ReadsALeadingZeroAsOctal) {
    int value = 0;
    EXPECT_EQ(zel::_tscanfi("012", &value), 1);
    EXPECT_EQ(value, 10);
}

TEST(Tscanfi, ReadsOctal010AsEight) {
    int value = 0;
    zel::_tscanfi("010", &value);
    EXPECT_EQ(value, 8);
}

TEST(Tscanfi, ReadsANegativeDecimalNumber) {
    int value = 0;
    EXPECT_EQ(zel::_tscanfi("-20", &value), 1);
    EXPECT_EQ(value, -20);
}

TEST(Tscanfi, SkipsLeadingWhiteSpace) {
    int value = 0;
    EXPECT_EQ(zel::_tscanfi(" \t\n 23", &value), 1);
    EXPECT_EQ(value, 23);
}

TEST(Tscanfi, StopsAtTheFirstCharacterThatIsNoDigit) {
    int value = 0;
    EXPECT_EQ(zel::_tscanfi("12abc", &value), 1);
    EXPECT_EQ(value, 12);
}

TEST(Tscanfi, GivesZeroAndKeepsTheValueForAWord) {
    int value = 7;
    EXPECT_EQ(zel::_tscanfi("abc", &value), 0);
    EXPECT_EQ(value, 7);
}

TEST(Tscanfi, GivesMinusOneAndKeepsTheValueForAnEmptyText) {
    int value = 7;
    EXPECT_EQ(zel::_tscanfi("", &value), -1);
    EXPECT_EQ(value, 7);
}

TEST(Tscanfld, ReadsADecimalNumber) {
    long value = 0;
    EXPECT_EQ(zel::_tscanfld("5000000000", &value), 1);
    EXPECT_EQ(value, 5000000000L);
}

TEST(Tscanfld, ReadsALeadingZeroAsDecimal) {
    long value = 0;
    zel::_tscanfld("010", &value);
    EXPECT_EQ(value, 10L);
}

TEST(Tscanfld, StopsAtTheXOfAHexadecimalNumber) {
    long value = 7;
    zel::_tscanfld("0x10", &value);
    EXPECT_EQ(value, 0L);
}

TEST(Tscanfld, GivesZeroAndKeepsTheValueForAWord) {
    long value = 7;
    EXPECT_EQ(zel::_tscanfld("abc", &value), 0);
    EXPECT_EQ(value, 7L);
}

TEST(Tscanfld, GivesMinusOneForAnEmptyText) {
    long value = 7;
    EXPECT_EQ(zel::_tscanfld("", &value), -1);
}

TEST(Tscanff, ReadsADecimalPointInThePlainNumericLocale) {
    Locale const locale(LC_NUMERIC, "C");
    float value = 0.0F;
    EXPECT_EQ(zel::_tscanff("1.5", &value), 1);
    EXPECT_EQ(value, 1.5F);
}

TEST(Tscanff, ReadsAnExponent) {
    float value = 0.0F;
    zel::_tscanff("-25e-1", &value);
    EXPECT_EQ(value, -2.5F);
}

TEST(Tscanff, GivesZeroAndKeepsTheValueForAWord) {
    float value = 7.0F;
    EXPECT_EQ(zel::_tscanff("abc", &value), 0);
    EXPECT_EQ(value, 7.0F);
}

TEST(Tscanff, GivesMinusOneForAnEmptyText) {
    float value = 7.0F;
    EXPECT_EQ(zel::_tscanff("", &value), -1);
}

TEST(W2C, ReturnsANarrowTextItself) {
    char const* const text = "Cali-1.xml";
    EXPECT_EQ(thalvo::W2C(text), text);
}

TEST(W2C, LeavesTheSharedBufferAloneForANarrowText) {
    char const* const converted = thalvo::W2C(L"wide");
    thalvo::W2C("narrow");
    EXPECT_STREQ(converted, "wide");
}

TEST(W2C, ConvertsAWideText) {
    EXPECT_STREQ(thalvo::W2C(L"Cali-1.xml"), "Cali-1.xml");
}

TEST(W2C, ConvertsToTheEncodingOfTheLocale) {
    Locale const locale(LC_CTYPE, "C.UTF-8");
    ASSERT_TRUE(locale.available());
    EXPECT_STREQ(thalvo::W2C(L"\u20ac"), "\xe2\x82\xac");
}

TEST(W2C, UsesOneBufferForAllWideTexts) {
    char const* const first = thalvo::W2C(L"first");
    thalvo::W2C(L"second");
    EXPECT_STREQ(first, "second");
}

TEST(W2C, ConvertsATextOf1023CharactersWhole) {
    std::wstring const text(1023, L'x');
    EXPECT_EQ(thalvo::W2C(text.c_str()), std::string(1023, 'x'));
}

TEST(W2C, CutsALongerTextTo1023Characters) {
    std::wstring const text = std::wstring(1023, L'x') + L"yz";
    EXPECT_EQ(thalvo::W2C(text.c_str()), std::string(1023, 'x'));
}

TEST(W2C, LeavesOutACharacterOfWhichOnlyAPartWouldFit) {
    Locale const locale(LC_CTYPE, "C.UTF-8");
    ASSERT_TRUE(locale.available());
    std::wstring const whole(1022, L'x');
    thalvo::W2C(whole.c_str()); // ends where the character would begin
    std::wstring const text = whole + L"\u00e9";
    EXPECT_EQ(thalvo::W2C(text.c_str()), std::string(1022, 'x'));
}

TEST(W2C, KeepsWhatStandsBeforeACharacterTheLocaleCannotRepresent) {
    Locale const locale(LC_CTYPE, "C");
    std::string const converted = thalvo::W2C(L"ab\u20accd");
    EXPECT_EQ(converted.substr(0, 2), "ab");
}

TEST(W2C, DoesNotConvertWhatFollowsACharacterTheLocaleCannotRepresent) {
    Locale const locale(LC_CTYPE, "C");
    std::string const converted = thalvo::W2C(L"ab\u20accd");
    EXPECT_EQ(converted.find('c'), std::string::npos);
}
