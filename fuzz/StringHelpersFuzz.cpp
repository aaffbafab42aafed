// Gives texts to the string helpers, in heap buffers of exactly the room they ask for. An input is
// a text, a line break, and a second text.

#include "fuzz/MemoryFile.h"

#include "util/ConfigFilepath.h"
#include "util/StringHelpers.h"

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <memory>

namespace {

using fuzz::require;

std::unique_ptr<char[]> buffer(std::size_t room) {
    auto bytes = std::make_unique<char[]>(room);
    std::memset(bytes.get(), '#', room);
    return bytes;
}

void copyAndAppend(std::string const& first, std::string const& second) {
    auto const capacity = static_cast<unsigned int>(second.size() + 1);
    auto const copy = buffer(capacity);
    require(tstrcpy(copy.get(), capacity, first.c_str()) == copy.get(), "a copy is its target");
    bool const fits = first.size() < capacity;
    require(!fits || first == copy.get(), "a text that fits is copied");
    copy[capacity - 1] = '\0';

    std::size_t const length = std::strlen(copy.get());
    auto const joined = buffer(length + capacity + 1);
    std::memcpy(joined.get(), copy.get(), length + 1);
    tstrcat(joined.get(), capacity, second.c_str());
    require(tstrlen(joined.get()) == length + second.size(), "a piece that fits is appended");
    tstrcmp(joined.get(), copy.get());
}

void changeCase(std::string text) {
    std::string const original = text;
    tstrlwr(tstrupr(text.data()));
    require(text.size() == original.size(), "the length stays");
    require(tstrcmp(tstrlwr(text.data()), text.c_str()) == 0, "lower case is lower already");
    std::wstring wide(original.begin(), original.end());
    tstrupr(tstrlwr(wide.data()));
    require(tstrlen(wide.c_str()) <= wide.size(), "a wide text stays terminated");
    thalvo::W2C(wide.c_str());
}

void searchAndFormat(std::string haystack, std::string needle) {
    char const* const hit = tstrstr(haystack.data(), needle.data());
    require((hit != nullptr) == (haystack.find(needle) != std::string::npos), "a search finds");
    auto const room = static_cast<unsigned int>(needle.size() + 1);
    auto const formatted = buffer(room);
    int const length = tsnprintf(formatted.get(), room, "%s-%i", haystack.c_str(), 7);
    require(length == static_cast<int>(haystack.size()) + 2, "the full length is told");
    require(std::strlen(formatted.get()) < room, "a formatted text is terminated");
}

void readNumbers(std::string const& text) {
    int integer = 12345;
    long longInteger = 12345;
    float number = 12345.0F;
    require(zel::_tscanfi(text.c_str(), &integer) == 1 || integer == 12345, "untouched");
    require(zel::_tscanfld(text.c_str(), &longInteger) == 1 || longInteger == 12345, "untouched");
    require(zel::_tscanff(text.c_str(), &number) == 1 || number == 12345.0F, "untouched");
    std::wstring const wide(text.begin(), text.end());
    tscanf(wide.c_str(), L"%i", &integer);
    tscanf(wide.c_str(), L"%ld", &longInteger);
    tscanf(wide.c_str(), L"%f", &number);
}

void formPath(std::string const& directory, std::string const& name) {
    constexpr short capacity = 40;
    // "Below" a device nothing can be created, whatever the input says.
    std::string const harmless = "/dev/null/" + directory;
    auto const path = buffer(zel::pathRoom(capacity));
    bool const formed =
        zel::createConfigFilepath(path.get(), harmless.c_str(), capacity, name.c_str(), ".xml");
    require(formed, "a path is formed");
    std::string const expected =
        harmless.substr(0, capacity) + "/" + name.substr(0, capacity) + ".xml";
    require(expected == path.get(), "each piece is cut to the capacity");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::string input(fuzz::text(data, size));
    std::replace(input.begin(), input.end(), '\0', '0');
    auto const lineBreak = std::min(input.find('\n'), input.size());
    std::string const first = input.substr(0, lineBreak);
    std::string const second = input.substr(std::min(lineBreak + 1, input.size()));
    copyAndAppend(first, second);
    changeCase(first);
    searchAndFormat(first, second);
    readNumbers(first);
    formPath(first, second);
    return 0;
}
