// Gives texts to the string helpers and compares what they make of whole buffers with the model. An
// input is a text, a line break, and a second text. Each is tried as bytes and as wide characters.

#include "fuzz/MemoryFile.h"
#include "fuzz/ModelStrings.h"

#include "util/ConfigFilepath.h"
#include "util/StringHelpers.h"

#include <algorithm>
#include <cmath>
#include <locale.h>

namespace {

using fuzz::require;
using model::Text;

/// Full of '#', so that every character that a helper writes or leaves shows. Two more than a
/// helper may write to: what it writes beyond that, the sanitizer sees.
template <class Character>
Text<Character> buffer(std::size_t room) {
    return Text<Character>(room + 2, '#');
}

template <class Character>
Text<Character> holding(Text<Character> const& text, std::size_t room) {
    auto out = buffer<Character>(room);
    std::copy_n(text.c_str(), text.size() + 1, out.begin());
    return out;
}

/// Below 0xc0 a byte stands for itself, above for a character that no locale of single bytes has,
/// and from 0xf0 on partly for none at all.
std::wstring widened(std::string const& text) {
    std::wstring wide;
    for (char const c : text) {
        auto const byte = static_cast<unsigned char>(c);
        int const factor = byte < 0xc0 ? 1 : byte < 0xf0 ? 0x40 : 0x1234;
        wide += static_cast<wchar_t>(byte * factor);
    }
    return wide;
}

template <class Character>
void compare(Text<Character> const& first, Text<Character> const& second) {
    auto const sign = [](int number) {
        return (number > 0) - (number < 0);
    };
    require(sign(tstrcmp(first.c_str(), second.c_str())) == model::compare(first, second),
            "a comparison has the model's sign");
    require(tstrlen(first.c_str()) == model::length(first + Character()),
            "a length is the model's");
}

template <class Character>
void copyAndAppend(Text<Character> const& first, Text<Character> const& second,
                   std::size_t capacity) {
    auto const limit = static_cast<unsigned int>(capacity);
    std::size_t const room = std::max(capacity, second.size() + 1);
    auto copied = buffer<Character>(room);
    auto expected = copied;
    require(tstrcpy(copied.data(), limit, second.c_str()) == copied.data(), "a copy is its target");
    model::copy(expected, capacity, second);
    require(copied == expected, "a copy is the model's");

    auto joined = holding(first, first.size() + room + 1);
    expected = joined;
    require(tstrcat(joined.data(), limit, second.c_str()) == joined.data(),
            "an appended text is its target");
    model::append(expected, capacity, second);
    require(joined == expected, "an appended text is the model's");
}

template <class Character>
void changeCase(Text<Character> const& first, Text<Character> const& second) {
    // The second text follows the terminator of the first.
    auto text = first + Character() + second;
    auto expected = text;
    require(tstrupr(text.data()) == text.data(), "upper case is where the text was");
    model::changeCase(expected, 'a', 'A');
    require(text == expected, "upper case is the model's");
    text = first + Character() + second;
    expected = text;
    require(tstrlwr(text.data()) == text.data(), "lower case is where the text was");
    model::changeCase(expected, 'A', 'a');
    require(text == expected, "lower case is the model's");
}

template <class Character>
void search(Text<Character> haystack, Text<Character> needle) {
    Character const* const hit = tstrstr(haystack.data(), needle.data());
    int const found = hit == nullptr ? -1 : static_cast<int>(hit - haystack.data());
    require(found == model::find(haystack, needle), "a search finds what the model does");
}

void format(std::string const& text, std::size_t capacity) {
    auto formatted = buffer<char>(capacity);
    auto expected = formatted;
    int const length =
        tsnprintf(formatted.data(), static_cast<unsigned int>(capacity), "%s-%i", text.c_str(), 7);
    require(length == model::format(expected, capacity, text + "-7"), "a length is the full one");
    require(formatted == expected, "a formatted text is the model's");
}

void format(std::wstring const& text, std::size_t capacity) {
    auto formatted = buffer<wchar_t>(capacity);
    int const length = tsnprintf(formatted.data(), static_cast<unsigned int>(capacity), L"%ls-%i",
                                 text.c_str(), 7);
    std::wstring const whole = text + L"-7";
    require(formatted.substr(capacity) == L"##", "the capacity is kept");
    if (whole.size() >= capacity) {
        require(length < 0, "a wide text that does not fit is told");
        return;
    }
    auto const expected = holding(whole, capacity);
    require(length == static_cast<int>(whole.size()), "a wide length is the model's");
    require(formatted == expected, "a formatted wide text is the model's");
}

template <class Number>
bool same(Number left, Number right) {
    return left == right;
}

bool same(float left, float right) {
    if (std::isnan(left) || std::isnan(right))
        return std::isnan(left) && std::isnan(right);
    return left == right && std::signbit(left) == std::signbit(right);
}

/// @param product, model Take a pointer to a number, and return what they read.
template <class Number, class Product, class Model>
void readNumber(Product const& product, Model const& model) {
    Number value = 12345;
    Number expected = 12345;
    require(product(&value) == model(&expected), "product and model read a number or none");
    require(same(value, expected), "product and model read the same number");
}

void readNumbers(std::string const& text) {
    readNumber<int>([&](int* value) { return zel::_tscanfi(text.c_str(), value); },
                    [&](int* value) { return model::readInteger(text, true, value); });
    readNumber<long>([&](long* value) { return zel::_tscanfld(text.c_str(), value); },
                     [&](long* value) { return model::readInteger(text, false, value); });
    readNumber<float>([&](float* value) { return zel::_tscanff(text.c_str(), value); },
                      [&](float* value) { return model::readFloat(text, value); });
}

// Not "%i": whether that reads binary numbers, each C library decides for itself.
void readNumbers(std::wstring const& text) {
    readNumber<int>([&](int* value) { return tscanf(text.c_str(), L"%d", value); },
                    [&](int* value) { return model::readInteger(text, false, value); });
    readNumber<long>([&](long* value) { return tscanf(text.c_str(), L"%ld", value); },
                     [&](long* value) { return model::readInteger(text, false, value); });
    readNumber<float>([&](float* value) { return tscanf(text.c_str(), L"%f", value); },
                      [&](float* value) { return model::readFloat(text, value); });
}

/// Converts texts, some of them longer than the buffer, for single bytes and for UTF-8.
void convert(std::string const& text, std::wstring const& wide) {
    static model::Converted expected;
    static locale_t const utf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    require(utf8 != nullptr, "there is a locale with wide characters");

    require(thalvo::W2C(text.c_str()) == text.c_str(), "a narrow text is itself");
    std::wstring all = wide;
    // Trying this with every text would take most of the time.
    while (text[0] == '*' && all.size() < 1100)
        all += wide;
    for (locale_t const locale : {LC_GLOBAL_LOCALE, utf8}) {
        uselocale(locale);
        bool const agree = expected.convert(all) == thalvo::W2C(all.c_str());
        uselocale(LC_GLOBAL_LOCALE);
        require(agree, "a converted text is the model's");
    }
}

void formPath(std::string const& directory, std::string const& name) {
    constexpr short capacity = 40;
    // "Below" a device nothing can be created, whatever the input says.
    std::string const harmless = "/dev/null/" + directory;
    auto path = buffer<char>(zel::pathRoom(capacity));
    bool const formed =
        zel::createConfigFilepath(path.data(), harmless.c_str(), capacity, name.c_str(), ".xml");
    require(formed, "a path is formed");
    std::string const expected =
        harmless.substr(0, capacity) + "/" + name.substr(0, capacity) + ".xml";
    require(expected == path.c_str(), "each piece is cut to the capacity");
}

template <class Character>
void tryAll(Text<Character> const& first, Text<Character> const& second) {
    compare(first, second);
    std::size_t const ends = second.size();
    for (std::size_t const capacity : {ends / 2, ends, ends + 1, ends + 7})
        copyAndAppend(first, second, capacity);
    for (std::size_t const capacity : {ends, first.size() + 2, first.size() + 3})
        format(first, capacity);
    changeCase(first, second);
    search(first, second);
    readNumbers(first);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::string input(fuzz::text(data, size));
    std::replace(input.begin(), input.end(), '\0', '0');
    auto const lineBreak = std::min(input.find('\n'), input.size());
    std::string const first = input.substr(0, lineBreak);
    std::string const second = input.substr(std::min(lineBreak + 1, input.size()));
    tryAll(first, second);
    tryAll(widened(first), widened(second));
    convert(first, widened(first));
    formPath(first, second);
    return 0;
}
