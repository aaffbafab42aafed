#include "store/Layout.h"

#include "sdk/set/FileKinds.h"

#include <charconv>
#include <system_error>

namespace zel::store {

namespace {

constexpr std::string_view recordSuffix = ".sha256";
constexpr std::string_view journalSuffix = ".journal";

std::optional<unsigned long> serialBefore(std::string_view suffix, std::string_view name) noexcept {
    if (name.size() <= suffix.size() || name.substr(name.size() - suffix.size()) != suffix)
        return std::nullopt;
    return serialFrom(name.substr(0, name.size() - suffix.size()));
}

} // namespace

std::string recordName(unsigned long serial) {
    return std::to_string(serial).append(recordSuffix);
}

std::string journalName(unsigned long serial) {
    return std::to_string(serial).append(journalSuffix);
}

std::optional<unsigned long> serialOfRecord(std::string_view name) noexcept {
    return serialBefore(recordSuffix, name);
}

std::optional<unsigned long> serialOfJournal(std::string_view name) noexcept {
    return serialBefore(journalSuffix, name);
}

std::optional<unsigned long> serialFrom(std::string_view digits) noexcept {
    unsigned long serial = 0;
    char const* const end = digits.data() + digits.size();
    auto const [rest, error] = std::from_chars(digits.data(), end, serial);
    if (error != std::errc() || rest != end || digits.front() == '0' || !set::isSerial(serial))
        return std::nullopt;
    return serial;
}

bool isOurFolder(std::string_view name) noexcept {
    std::string_view const end = hiddenName;
    return name.size() >= end.size() && name.front() == '.' &&
           name.substr(name.size() - end.size()) == end;
}

bool isPlainName(std::string_view name) noexcept {
    return !name.empty() && name.size() <= longestName &&
           name.find('/') == std::string_view::npos && name.find('\0') == std::string_view::npos;
}

} // namespace zel::store
