#include "tests/support/Archives.h"

#include "tests/support/Command.h"

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

} // namespace support
