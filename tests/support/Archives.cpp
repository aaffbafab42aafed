#include "tests/support/Archives.h"

#include "tests/support/Command.h"

#include <algorithm>
#include <cstdio>
#include <stdexcept>

namespace support {

namespace {

void runOrThrow(std::vector<std::string> const& words, std::string const& folder) {
    Outcome const outcome = run(words, folder);
    if (outcome.exitStatus != 0)
        throw std::runtime_error(words.front() + " failed: " + outcome.standardOutput +
                                 outcome.standardError);
}

bool endsWith(std::string const& text, std::string const& end) {
    return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

} // namespace

std::vector<std::string> const& archiveFormats() {
    static std::vector<std::string> const formats{"zip",    "7z",     "tar",
                                                  "tar.gz", "tar.xz", "tar.zst"};
    return formats;
}

void pack(std::string const& folder, std::string const& archive) {
    std::remove(archive.c_str()); // these programs would add to it
    if (endsWith(archive, ".zip"))
        return runOrThrow({"zip", "-qry", archive, "."}, folder);
    if (endsWith(archive, ".7z"))
        return runOrThrow({"7z", "a", "-bd", "-y", archive, "."}, folder);
    runOrThrow({"bsdtar", "-caf", archive, "."}, folder);
}

void packByPython(std::string const& script, std::string const& archive) {
    runOrThrow({"python3", "-c", "archive = '" + archive + "'\n" + script}, "");
}

std::string corrupted(std::string content, std::mt19937& engine) {
    auto const below = [&](std::size_t most) {
        return std::uniform_int_distribution<std::size_t>(0, most - 1)(engine);
    };
    std::size_t const place = below(content.size());
    std::size_t const length = 1 + below(std::min<std::size_t>(content.size() - place, 64));
    switch (below(6)) {
    case 0:
        return content.substr(0, place);
    case 1:
        return content.erase(place, length);
    case 2:
        return content.insert(place, content.substr(place, length));
    case 3:
        content.replace(place, length, std::string(length, '\0'));
        return content;
    default:
        content[place] = static_cast<char>(content[place] ^ static_cast<char>(1U << below(8)));
        return content;
    }
}

} // namespace support
