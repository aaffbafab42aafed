#include "store/Journal.h"

#include "sdk/set/FileKinds.h"
#include "store/Layout.h"
#include "store/Lines.h"
#include "store/Sums.h"

#include <algorithm>
#include <climits>
#include <set>
#include <utility>

namespace zel::store {

namespace {

// To be incremented with every change of the format that older versions cannot handle.
constexpr std::string_view versionMark = "zentho-cali journal ";
constexpr std::string_view version = "1";
constexpr std::string_view serialMark = "serial ";
constexpr std::string_view descriptionMark = "description ";
constexpr std::string_view dataMark = "data ";
constexpr std::string_view recordMark = "record ";
constexpr std::string_view removeBeforeMark = "remove ";
constexpr std::string_view removeAfterMark = "prune ";
constexpr std::string_view removeRecordLine = "remove-record";
constexpr std::string_view endMark = "end ";

void appendStaged(std::string& text, std::string_view mark, StagedFile const& file) {
    text.append(mark)
        .append(std::to_string(file.number))
        .append(" ")
        .append(std::to_string(file.size))
        .append(" ")
        .append(hexadecimal(file.digest))
        .append(" ")
        .append(escaped(file.name))
        .append("\n");
}

void appendNames(std::string& text, std::string_view mark, std::vector<std::string> const& names) {
    for (std::string const& name : names)
        text.append(mark).append(escaped(name)).append("\n");
}

std::optional<StagedFile> readStaged(std::string_view text) {
    auto const number = takeNumber(text);
    auto const size = takeNumber(text);
    if (!number || *number > UINT_MAX || !size)
        return std::nullopt;
    auto const digestEnd = text.find(' ');
    auto const digest = digestFrom(text.substr(0, digestEnd));
    if (!digest || digestEnd == std::string_view::npos)
        return std::nullopt;
    std::string room;
    auto const name = unescaped(text.substr(digestEnd + 1), room);
    if (!name)
        return std::nullopt;
    return StagedFile{static_cast<unsigned int>(*number), *size, *digest, std::string(*name)};
}

/// Reads the lines of a journal and rejects it if one of them is invalid.
class JournalReader {
public:
    explicit JournalReader(unsigned long serial)
        : m_description(set::descriptionName(serial).view()) {
        m_journal.serial = serial;
    }

    void read(std::string_view line) {
        if (auto const staged = after(descriptionMark, line))
            readOnce(m_journal.description, *staged, m_description);
        else if (auto const record = after(recordMark, line))
            readOnce(m_journal.record, *record, recordName(m_journal.serial));
        else if (auto const data = after(dataMark, line))
            readData(*data);
        else if (line == removeRecordLine)
            m_journal.removesRecord = true;
        else if (auto const before = after(removeBeforeMark, line))
            readRemoval(m_journal.removedBefore, *before);
        else if (auto const removed = after(removeAfterMark, line))
            readRemoval(m_journal.removedAfter, *removed);
        else
            m_sound = false;
    }

    std::optional<Journal> result() && {
        return m_sound ? std::optional<Journal>(std::move(m_journal)) : std::nullopt;
    }

private:
    void readOnce(std::optional<StagedFile>& file, std::string_view text, std::string const& name) {
        auto staged = readStaged(text);
        m_sound = m_sound && !file && staged && staged->name == name && isNew(*staged);
        file = std::move(staged);
    }

    void readData(std::string_view text) {
        auto staged = readStaged(text);
        m_sound = m_sound && staged && staged->name != m_description && isOurs(staged->name) &&
                  isNew(*staged);
        if (m_sound)
            m_journal.data.push_back(std::move(*staged));
    }

    void readRemoval(std::vector<std::string>& names, std::string_view text) {
        std::string room;
        auto const name = unescaped(text, room);
        m_sound = m_sound && name && isOurs(*name) && m_names.emplace(*name).second;
        if (m_sound)
            names.emplace_back(*name);
    }

    bool isOurs(std::string_view name) const {
        return isPlainName(name) && set::belongsTo(name, m_journal.serial);
    }

    bool isNew(StagedFile const& file) {
        return m_numbers.insert(file.number).second && m_names.insert(file.name).second;
    }

    Journal m_journal;
    std::string m_description;
    std::set<unsigned int> m_numbers;
    std::set<std::string> m_names;
    bool m_sound = true;
};

/// @return The text without its last line, if that line holds the right checksum, otherwise
/// nothing.
std::optional<std::string_view> withoutEnd(std::string_view text) {
    if (text.empty() || text.back() != '\n')
        return std::nullopt;
    auto const lineBreak = text.substr(0, text.size() - 1).rfind('\n');
    if (lineBreak == std::string_view::npos)
        return std::nullopt;
    std::string_view const body = text.substr(0, lineBreak + 1);
    auto const end = after(endMark, text.substr(lineBreak + 1, text.size() - lineBreak - 2));
    Sha256 sum;
    sum.add(body);
    if (!end || digestFrom(*end) != sum.finish())
        return std::nullopt;
    return body;
}

/// @return Whether a first line is that of a later version.
bool isLater(std::string_view line) {
    auto const number = after(versionMark, line);
    return number && !number->empty() && *number != version &&
           std::all_of(number->begin(), number->end(), [](char c) { return c >= '0' && c <= '9'; });
}

std::string_view takeLine(std::string_view& text) noexcept {
    auto const end = text.find('\n');
    std::string_view const line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return line;
}

} // namespace

std::string Journal::text() const {
    std::string text;
    text.append(versionMark).append(version).append("\n");
    text.append(serialMark).append(std::to_string(serial)).append("\n");
    if (description)
        appendStaged(text, descriptionMark, *description);
    for (StagedFile const& file : data)
        appendStaged(text, dataMark, file);
    if (record)
        appendStaged(text, recordMark, *record);
    appendNames(text, removeBeforeMark, removedBefore);
    appendNames(text, removeAfterMark, removedAfter);
    if (removesRecord)
        text.append(removeRecordLine).append("\n");
    Sha256 sum;
    sum.add(text);
    return text.append(endMark).append(hexadecimal(sum.finish())).append("\n");
}

bool Journal::takesDescriptionOut() const {
    std::string const name(set::descriptionName(serial).view());
    return description ||
           std::find(removedBefore.begin(), removedBefore.end(), name) != removedBefore.end();
}

StagedFile const* Journal::stagedAs(std::string const& name) const noexcept {
    if (description && description->name == name)
        return &*description;
    auto const found = std::find_if(data.begin(), data.end(),
                                    [&](StagedFile const& file) { return file.name == name; });
    return found != data.end() ? &*found : nullptr;
}

JournalReading readJournal(std::string_view text, unsigned long serial) {
    std::string_view const firstLine = text.substr(0, text.find('\n'));
    if (isLater(firstLine))
        return {std::nullopt, true};
    auto body = withoutEnd(text);
    if (!body)
        return {};
    std::string_view rest = *body;
    if (after(versionMark, takeLine(rest)) != version)
        return {};
    if (after(serialMark, takeLine(rest)) != std::to_string(serial))
        return {};
    JournalReader reader(serial);
    forEachLine(rest, [&](std::string_view line) { reader.read(line); });
    return {std::move(reader).result(), false};
}

} // namespace zel::store
