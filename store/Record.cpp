#include "store/Record.h"

#include "sdk/set/FileKinds.h"
#include "store/Layout.h"
#include "store/Lines.h"

#include <array>
#include <charconv>
#include <ctime>
#include <map>

namespace zel::store {

namespace {

constexpr std::string_view sourceMark = "# source ";
constexpr std::string_view dateMark = "# date ";
constexpr std::string_view sizeMark = "# size ";

bool isOurs(std::string const& name, unsigned long serial) {
    return isPlainName(name) && set::belongsTo(name, serial);
}

} // namespace

std::string Record::text() const {
    std::string text;
    text.append(sourceMark).append(escaped(source)).append("\n");
    text.append(dateMark).append(date).append("\n");
    for (auto const& [name, file] : files)
        text.append(sizeMark)
            .append(std::to_string(file.size))
            .append(" ")
            .append(escaped(name))
            .append("\n");
    for (auto const& [name, file] : files)
        text += sumLine({file.digest, name});
    return text;
}

std::optional<Record> Record::from(std::string_view text, unsigned long serial) {
    Record record;
    std::map<std::string, std::uint64_t> sizes;
    forEachLine(text, [&](std::string_view line) {
        if (auto const from = after(sourceMark, line)) {
            record.source = unescaped(*from).value_or("");
        } else if (auto const date = after(dateMark, line)) {
            record.date = *date;
        } else if (auto const size = after(sizeMark, line)) {
            if (auto sized = readSized(*size); sized && isOurs(sized->name, serial))
                sizes[sized->name] = sized->size;
        } else if (auto const sum = readSumLine(line)) {
            if (isOurs(sum->name, serial))
                record.files[sum->name] = {0, sum->digest};
        }
    });
    if (record.files.empty() || sizes.size() != record.files.size())
        return std::nullopt;
    for (auto& [name, file] : record.files) {
        auto const size = sizes.find(name);
        if (size == sizes.end())
            return std::nullopt;
        file.size = size->second;
    }
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
