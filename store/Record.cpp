#include "store/Record.h"

#include "sdk/set/FileKinds.h"
#include "store/Layout.h"
#include "store/Lines.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <map>
#include <utility>

namespace zel::store {

namespace {

constexpr std::string_view sourceMark = "# source ";
constexpr std::string_view dateMark = "# date ";
constexpr std::string_view sizeMark = "# size ";

/// Estimated characters per recorded file.
constexpr std::size_t usualLines = 128;

/// Marks a file whose hash has not been read yet. No file has this hash.
constexpr Digest noSum{};

bool isOurs(std::string const& name, unsigned long serial) {
    return isPlainName(name) && set::belongsTo(name, serial);
}

} // namespace

std::string Record::text() const {
    std::map<std::string_view, RecordedFile> const sorted(files.begin(), files.end());
    std::string text;
    text.append(sourceMark).append(escaped(source)).append("\n");
    text.append(dateMark).append(date).append("\n");
    for (auto const& [name, file] : sorted)
        text.append(sizeMark)
            .append(std::to_string(file.size))
            .append(" ")
            .append(escaped(name))
            .append("\n");
    for (auto const& [name, file] : sorted)
        text += sumLine({file.digest, std::string(name)});
    return text;
}

std::optional<Record> Record::from(std::string_view text, unsigned long serial) {
    Record record;
    bool allSized = true;
    record.files.reserve(text.size() / usualLines);
    forEachLine(text, [&](std::string_view line) {
        if (auto const from = after(sourceMark, line)) {
            record.source = unescaped(*from).value_or("");
        } else if (auto const day = after(dateMark, line)) {
            record.date = *day;
        } else if (auto const size = after(sizeMark, line)) {
            if (auto sized = readSized(*size); sized && isOurs(sized->name, serial))
                record.files[std::move(sized->name)] = {sized->size, noSum};
        } else if (auto const sum = readSumLine(line); sum && isOurs(sum->name, serial)) {
            auto const file = record.files.find(sum->name);
            if (file != record.files.end())
                file->second.digest = sum->digest;
            else
                allSized = false;
        }
    });
    bool const allSummed =
        std::none_of(record.files.begin(), record.files.end(),
                     [](auto const& file) { return file.second.digest == noSum; });
    if (record.files.empty() || !allSized || !allSummed)
        return std::nullopt;
    return record;
}

std::string now() {
    std::time_t const seconds = std::time(nullptr);
    std::tm utc{};
    gmtime_r(&seconds, &utc);
    std::array<char, 32> text{};
    std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &utc);
    return text.data();
}

} // namespace zel::store
