#include "store/SetCheck.h"

#include "sdk/set/FileKinds.h"
#include "store/Layout.h"
#include "store/Stop.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <utility>

#include <fcntl.h>

namespace zel::store {

namespace {

void tell(SetLook& set, std::string_view name, FileState state, std::uint64_t size,
          std::string message) {
    set.problems.push_back({std::string(name), state, size, {}, std::move(message)});
}

void readRecord(SetLook& set, Target const& target, unsigned long serial) {
    std::string const name = recordName(serial);
    if (!target.hasHidden())
        return;
    auto const text = readWhole(target.hidden().get(), name.c_str(), largestRecord);
    if (!text && errno == ENOENT)
        return;
    std::string const shown = std::string(hiddenName) + "/" + name;
    if (!text) {
        set.recordError = errno;
        return tell(set, shown, FileState::unreadable, 0, std::strerror(set.recordError));
    }
    set.record = Record::from(*text, serial);
    if (!set.record)
        tell(set, shown, FileState::unreadable, text->size(), "The record is damaged.");
}

void readDescription(SetLook& set, OpenedFile const& opened, std::string const& path,
                     unsigned long serial) {
    std::string const name(set.names[0]);
    judge(set, name, lookOf(opened), set.recordedSize(name));
    if (opened.error != 0 || opened.size() == 0)
        return;
    try {
        auto read = readSetDescription(opened.file, path, serial);
        if (!read.description)
            return tell(set, name, FileState::unreadable, opened.size(), read.whyNot);
        set.names = std::move(read.names);
        set.description = std::move(read.description);
    } catch (Stop const& stopped) {
        tell(set, name, FileState::unreadable, opened.size(), std::strerror(stopped.failure.error));
    }
}

/// What is recorded of a set's files. All are looked up at once, since each look at a file drives
/// much out of the processor's cache.
struct RecordedSet {
    explicit RecordedSet(SetLook const& set) : asked(set.names.size()) {
        if (!set.record)
            return;
        Names const& recorded = set.record->names;
        for (std::size_t number = 0; number < recorded.size(); ++number) {
            std::size_t const place = set.names.find(recorded[number]);
            if (place != asked.size())
                asked[place] = set.record->files[number].size;
            else
                others.push_back(number);
        }
        std::sort(others.begin(), others.end(),
                  [&](std::size_t a, std::size_t b) { return recorded[a] < recorded[b]; });
    }

    /// Sizes of the files that the description asks for, in its order; nothing for unrecorded ones.
    std::vector<std::optional<std::uint64_t>> asked;
    /// Numbers of the other recorded files, sorted by name. Most sets have none.
    std::vector<std::size_t> others;
};

} // namespace

SetLook readSet(Target const& target, unsigned long serial, OpenedFile const& description) {
    SetLook set;
    set.names.add(set::descriptionName(serial).view());
    readRecord(set, target, serial);
    readDescription(set, description, target.folder().pathOf(set.names[0]), serial);
    return set;
}

SetLook lookAtSet(Target const& target, unsigned long serial, OpenedFile const& description) {
    SetLook set = readSet(target, serial, description);
    int const folder = target.folder().get();
    RecordedSet const recorded(set);
    for (std::size_t number = 1; number < set.names.size(); ++number)
        judge(set, set.names[number], lookAt(folder, set.names.c_str(number)),
              recorded.asked[number]);
    for (std::size_t const number : recorded.others)
        judgeOther(set, set.record->names[number], lookAt(folder, set.record->names.c_str(number)),
                   set.record->files[number].size);
    return set;
}

std::optional<std::uint64_t> SetLook::recordedSize(std::string_view name) const noexcept {
    RecordedFile const* const file = record ? record->find(name) : nullptr;
    return file != nullptr ? std::optional(file->size) : std::nullopt;
}

Look lookOf(OpenedFile const& opened) noexcept {
    bool const isFile = opened.error == 0;
    return {isFile, opened.error, isFile, opened.size()};
}

void judge(SetLook& set, std::string_view name, Look const& seen,
           std::optional<std::uint64_t> recordedSize) {
    if (!seen.there && (seen.error == ENOENT || seen.error == ENOTDIR))
        return tell(set, name, FileState::missing, 0, "");
    if (seen.error != 0)
        return tell(set, name, FileState::unreadable, seen.size, std::strerror(seen.error));
    if (!seen.regular)
        return tell(set, name, FileState::unreadable, 0, "It is no file.");
    if (seen.size == 0)
        return tell(set, name, FileState::empty, 0, "");
    if (!set.record)
        return;
    if (!recordedSize)
        tell(set, name, FileState::altered, seen.size, "It is not recorded.");
    else if (*recordedSize != seen.size)
        tell(set, name, FileState::altered, seen.size,
             "It has " + std::to_string(seen.size) + " bytes instead of " +
                 std::to_string(*recordedSize) + ".");
}

Steadiness::Steadiness(Target const& target, unsigned long serial)
    : m_target(target), m_serial(serial), m_open(target.isOpen(serial)),
      m_description(openRegular(target.folder().get(), set::descriptionName(serial).c_str())) {}

/// Every transaction that changes data replaces the description by a new file, so its inode
/// changes.
bool Steadiness::lasted() const {
    // By its path, since a transaction may have made the hidden folder meanwhile.
    struct stat status {};
    std::string const journal = std::string(hiddenName) + "/" + journalName(m_serial);
    if (fstatat(m_target.folder().get(), journal.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0)
        return false;
    auto const name = set::descriptionName(m_serial);
    bool const isThere =
        retried([&] { return fstatat(m_target.folder().get(), name.c_str(), &status, 0); }) == 0;
    if (m_description.error != 0)
        return isThere == (m_description.error != ENOENT);
    return isThere && status.st_ino == m_description.status.st_ino &&
           status.st_dev == m_description.status.st_dev;
}

void judgeOther(SetLook& set, std::string_view name, Look const& seen, std::uint64_t recordedSize) {
    bool const isEmptyAsRecorded =
        seen.error == 0 && seen.regular && seen.size == 0 && recordedSize == 0;
    if (!isEmptyAsRecorded)
        judge(set, name, seen, recordedSize);
}

File interruption(unsigned long serial) {
    return {std::string(set::descriptionName(serial).view()), FileState::interrupted, 0, {}, ""};
}

} // namespace zel::store
