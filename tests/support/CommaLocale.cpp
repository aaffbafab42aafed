#include "tests/support/CommaLocale.h"

#include <clocale>
#include <cstdlib>
#include <stdexcept>
#include <string>

namespace support {

CommaLocale::CommaLocale() {
    std::string const name = "de_DE.UTF-8";
    std::string const command =
        "localedef -i de_DE -f UTF-8 " + m_locales.path() + "/" + name + " >/dev/null 2>&1";
    bool const made = std::system(command.c_str()) == 0;
    if (!made || setenv("LOCPATH", m_locales.path().c_str(), 1) != 0 ||
        std::setlocale(LC_NUMERIC, name.c_str()) == nullptr)
        throw std::runtime_error("cannot make the locale " + name);
}

CommaLocale::~CommaLocale() {
    std::setlocale(LC_NUMERIC, "C");
}

} // namespace support
