// How binary numbers are read with a C library that supports them. The linker replaces that of this
// system, which may not.

#include "sdk/SimpleXML.h"
#include "util/StringHelpers.h"

#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

/// Reads an integer as the C library of C23 does: 0b11 with "%i" is 3.
int scanWithBinaryNumbers(char const* text, char const* format, std::va_list arguments) {
    char const* const sign = text + std::strspn(text, " \t\n\v\f\r");
    char const* const prefix = sign + (*sign == '-' || *sign == '+' ? 1 : 0);
    bool const binary = std::strncmp(prefix, "0b", 2) == 0 || std::strncmp(prefix, "0B", 2) == 0;
    if (std::strcmp(format, "%i") != 0 || !binary)
        return std::vsscanf(text, format, arguments);
    char* end = nullptr;
    long const number = std::strtol(prefix + 2, &end, 2);
    if (end == prefix + 2)
        return 0; // the digits are missing
    *va_arg(arguments, int*) = static_cast<int>(*sign == '-' ? -number : number);
    return 1;
}

} // namespace

// The names that headers of the C library give to sscanf, by its version and the language's.
#define REPLACE_SCANF(name)                                                                        \
    extern "C" int __wrap_##name(char const* text, char const* format, ...);                       \
    extern "C" int __wrap_##name(char const* text, char const* format, ...) {                      \
        std::va_list arguments;                                                                    \
        va_start(arguments, format);                                                               \
        int const fields = scanWithBinaryNumbers(text, format, arguments);                         \
        va_end(arguments);                                                                         \
        return fields;                                                                             \
    }
REPLACE_SCANF(sscanf)
REPLACE_SCANF(__isoc99_sscanf)
REPLACE_SCANF(__isoc23_sscanf)

namespace {

struct Case {
    char const* text;
    int value;
};

class Integers : public ::testing::TestWithParam<Case> {};

} // namespace

TEST(BinaryNumbers, AreKnownToTheCLibraryOfThisTest) {
    int value = 0;
    EXPECT_EQ(tscanf("0b11", "%i", &value), 1);
    EXPECT_EQ(value, 3);
    EXPECT_EQ(tscanf(" -0B101", "%i", &value), 1);
    EXPECT_EQ(value, -5);
}

TEST_P(Integers, AreReadAsIfThereWereNoBinaryNumbers) {
    int value = 12345;
    EXPECT_EQ(zel::_tscanfi(GetParam().text, &value), 1);
    EXPECT_EQ(value, GetParam().value);
}

TEST_P(Integers, OfElementsAreReadAsIfThereWereNoBinaryNumbers) {
    support::TemporaryDirectory const directory;
    std::string const path = directory.path() + "/file.xml";
    support::writeFile(path, std::string("<root>\n<a>") + GetParam().text + "</a>\n</root>\n");
    zel::SimpleXML reader;
    ASSERT_TRUE(reader.open(path.c_str(), "root"));
    reader.setNode();
    int value = 12345;
    EXPECT_TRUE(reader.getInt("a", &value));
    EXPECT_EQ(value, GetParam().value);
}

INSTANTIATE_TEST_SUITE_P(BinaryNumbers, Integers,
                         ::testing::Values(Case{"0b11", 0}, Case{"0B11", 0}, Case{"-0b1", 0},
                                           Case{"+0B1", 0}, Case{" \t\r0b1", 0}, Case{"0b", 0},
                                           Case{"0bx", 0}, Case{"0x0b11", 0x0b11}, Case{"0x1b", 27},
                                           Case{"00b1", 0}, Case{"10b1", 10}, Case{"-20", -20},
                                           Case{"010", 8}));

TEST(BinaryNumbers, NeedTheirLeadingZero) {
    int value = 12345;
    EXPECT_EQ(zel::_tscanfi("b11", &value), 0);
    EXPECT_EQ(zel::_tscanfi("--0b11", &value), 0);
    EXPECT_EQ(zel::_tscanfi("", &value), -1);
    EXPECT_EQ(value, 12345);
}
