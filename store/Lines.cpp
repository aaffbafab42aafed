#include "store/Lines.h"

#include "store/Sums.h"

#include <charconv>
#include <system_error>

namespace zel::store {

std::optional<std::string_view> after(std::string_view mark, std::string_view line) noexcept {
    if (line.substr(0, mark.size()) != mark)
        return std::nullopt;
    return line.substr(mark.size());
}

std::optional<std::uint64_t> takeNumber(std::string_view& text) noexcept {
    std::uint64_t number = 0;
    char const* const end = text.data() + text.size();
    auto const [rest, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || rest == end || *rest != ' ')
        return std::nullopt;
    text.remove_prefix(static_cast<std::size_t>(rest - text.data()) + 1);
    return number;
}

std::optional<SizedName> readSized(std::string_view text, std::string& room) {
    auto const size = takeNumber(text);
    auto const name = unescaped(text, room);
    if (!size || !name || name->empty())
        return std::nullopt;
    return SizedName{*size, *name};
}

} // namespace zel::store
