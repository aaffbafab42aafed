// Reads the archive that is its standard input, and tells its members on its standard output:
//
//   zentho-cali-unpack names       the names of descriptions
//   zentho-cali-unpack all         every camera's files
//   zentho-cali-unpack SERIAL      one camera's files

#include "tool/sources/unpack/Unpacker.h"

#include "sdk/set/FileKinds.h"

#include <charconv>
#include <clocale>
#include <optional>
#include <string_view>

#include <unistd.h>

namespace {

std::optional<unpack::Wanted> wantedFrom(std::string_view word) {
    if (word == "names")
        return unpack::Wanted{true, 0};
    if (word == "all")
        return unpack::Wanted{};
    unpack::Wanted wanted;
    char const* const end = word.data() + word.size();
    auto const [rest, error] = std::from_chars(word.data(), end, wanted.serial);
    if (error != std::errc() || rest != end || !zel::set::isSerial(wanted.serial))
        return std::nullopt;
    return wanted;
}

} // namespace

int main(int argc, char* argv[]) {
    constexpr int wrongUsage = 2;
    auto const wanted = argc == 2 ? wantedFrom(argv[1]) : std::nullopt;
    if (!wanted)
        return wrongUsage;
    // In the plain locale the archive library has no names for members whose names are not ASCII.
    if (std::setlocale(LC_CTYPE, "C.UTF-8") == nullptr)
        std::setlocale(LC_CTYPE, "");
    unpack::unpack(STDIN_FILENO, *wanted, zel::frames::FrameWriter(STDOUT_FILENO));
}
