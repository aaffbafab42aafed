#include "store/Record.h"

#include "sdk/set/FileKinds.h"
#include "store/Layout.h"
#include "store/Lines.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <map>

namespace zel::store {

namespace {

constexpr std::string_view sourceMark = "# source ";
constexpr std::string_view dateMark = "# date ";
constexpr std::string_view sizeMark = "# size ";

constexpr char const* dateForm = "%Y-%m-%dT%H:%M:%SZ";

/// Marks a file whose hash has not been read yet. No file has this hash.
constexpr Digest noSum{};

bool isOurs(std::string_view name, unsigned long serial) {
    return isPlainName(name) && set::belongsTo(name, serial);
}

} // namespace

void Record::add(std::string_view name, RecordedFile const& file) {
    std::size_t const number = names.add(name);
    if (number == files.size())
        files.push_back(file);
    else
        files[number] = file;
}

RecordedFile const* Record::find(std::string_view name) const noexcept {
    std::size_t const number = names.find(name);
    return number != names.size() ? &files[number] : nullptr;
}

std::string Record::text() const {
    std::map<std::string_view, RecordedFile> sorted;
    for (std::size_t number = 0; number < files.size(); ++number)
        sorted[names[number]] = files[number];
    std::string text;
    if (!source.empty())
        text.append(sourceMark).append(escaped(source)).append("\n");
    text.append(dateMark).append(date).append("\n");
    for (auto const& [name, file] : sorted)
        text.append(sizeMark)
            .append(std::to_string(file.size))
            .append(" ")
            .append(escaped(name))
            .append("\n");
    for (auto const& [name, file] : sorted)
        text += sumLine({file.digest, name});
    return text;
}

std::optional<Record> Record::from(std::string_view text, unsigned long serial) {
    Record record;
    std::string room;
    bool allSized = true;
    std::size_t next = 0; // the sums have the order of the sizes, in the records that text() makes
    forEachLine(text, [&](std::string_view line) {
        if (auto const size = after(sizeMark, line)) {
            if (auto const sized = readSized(*size, room); sized && isOurs(sized->name, serial))
                record.add(sized->name, {sized->size, noSum});
        } else if (auto const sum = readSumLine(line, room)) {
            if (next == record.files.size() || record.names[next] != sum->name)
                next = record.names.find(sum->name);
            if (next != record.files.size())
                record.files[next++].digest = sum->digest;
            else if (isOurs(sum->name, serial))
                allSized = false;
        } else if (auto const from = after(sourceMark, line)) {
            record.source = unescaped(*from, room).value_or("");
        } else if (auto const day = after(dateMark, line)) {
            record.date = *day;
        }
    });
    bool const allSummed =
        std::none_of(record.files.begin(), record.files.end(),
                     [](RecordedFile const& file) { return file.digest == noSum; });
    if (record.files.empty() || !allSized || !allSummed)
        return std::nullopt;
    return record;
}

std::string dateOf(std::time_t time) {
    std::tm utc{};
    gmtime_r(&time, &utc);
    std::array<char, 32> text{};
    std::strftime(text.data(), text.size(), dateForm, &utc);
    return text.data();
}

std::optional<std::time_t> timeOf(std::string const& date) {
    std::tm utc{};
    if (strptime(date.c_str(), dateForm, &utc) == nullptr)
        return std::nullopt;
    std::time_t const time = timegm(&utc);
    return dateOf(time) == date ? std::optional(time) : std::nullopt;
}

std::string now() {
    return dateOf(std::time(nullptr));
}

} // namespace zel::store
