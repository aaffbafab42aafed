#include "store/SetCheck.h"

#include "sdk/set/FileKinds.h"
#include "store/Layout.h"
#include "store/Stop.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <set>
#include <string_view>
#include <unordered_set>
#include <utility>

#include <fcntl.h>

namespace zel::store {

namespace {

void tell(SetLook& set, std::string const& name, FileState state, std::uint64_t size,
          std::string message) {
    set.problems.push_back({name, state, size, {}, std::move(message)});
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
    std::string const name = set.names.front();
    judge(set, name, lookOf(opened));
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

/// Looks at the recorded files that the description does not ask for. Most sets have none.
void lookAtOthers(SetLook& set, Target const& target) {
    auto const& recorded = set.record->files;
    auto const isRecorded = [&](std::string const& name) {
        return recorded.count(name) != 0;
    };
    auto const known = std::count_if(set.names.begin(), set.names.end(), isRecorded);
    if (static_cast<std::size_t>(known) == recorded.size())
        return;
    std::unordered_set<std::string_view> const asked(set.names.begin(), set.names.end());
    std::set<std::string> others;
    for (auto const& [name, file] : recorded) {
        if (asked.count(name) == 0)
            others.insert(name);
    }
    for (std::string const& name : others)
        judgeRecorded(set, name, lookAt(target.folder().get(), name.c_str()));
}

} // namespace

SetLook readSet(Target const& target, unsigned long serial, OpenedFile const& description) {
    SetLook set;
    set.names.emplace_back(set::descriptionName(serial).view());
    readRecord(set, target, serial);
    readDescription(set, description, target.folder().pathOf(set.names.front()), serial);
    return set;
}

SetLook lookAtSet(Target const& target, unsigned long serial, OpenedFile const& description) {
    SetLook set = readSet(target, serial, description);
    for (auto name = set.names.begin() + 1; name != set.names.end(); ++name)
        judge(set, *name, lookAt(target.folder().get(), name->c_str()));
    if (set.record)
        lookAtOthers(set, target);
    return set;
}

Look lookOf(OpenedFile const& opened) noexcept {
    bool const isFile = opened.error == 0;
    return {isFile, opened.error, isFile, opened.size()};
}

void judge(SetLook& set, std::string const& name, Look const& seen) {
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
    auto const recorded = set.record->files.find(name);
    if (recorded == set.record->files.end())
        tell(set, name, FileState::altered, seen.size, "It is not recorded.");
    else if (recorded->second.size != seen.size)
        tell(set, name, FileState::altered, seen.size,
             "It has " + std::to_string(seen.size) + " bytes instead of " +
                 std::to_string(recorded->second.size) + ".");
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

void judgeRecorded(SetLook& set, std::string const& name, Look const& seen) {
    bool const isEmptyAsRecorded =
        seen.error == 0 && seen.regular && seen.size == 0 && set.record->files.at(name).size == 0;
    if (!isEmptyAsRecorded)
        judge(set, name, seen);
}

File interruption(unsigned long serial) {
    return {std::string(set::descriptionName(serial).view()), FileState::interrupted, 0, {}, ""};
}

} // namespace zel::store
