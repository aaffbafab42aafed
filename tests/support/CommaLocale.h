/// @file
/// A locale that writes numbers with a comma.
#pragma once

#include "tests/support/TemporaryDirectory.h"

namespace support {

/// Makes de_DE.UTF-8 with `localedef(1)`, whatever is installed, and sets it as the process's
/// numeric locale. Throws std::runtime_error when that fails. Make it at most once in a process:
/// the C library remembers where it found its locales.
class CommaLocale {
public:
    CommaLocale();
    ~CommaLocale();
    CommaLocale(CommaLocale const&) = delete;
    CommaLocale& operator=(CommaLocale const&) = delete;

private:
    TemporaryDirectory m_locales;
};

} // namespace support
