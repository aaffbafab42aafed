#include "store/SetVerify.h"

#include "store/Copies.h"
#include "store/FileSum.h"
#include "store/SetCheck.h"
#include "store/Stop.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>

namespace zel::store {

namespace {

/// Other sizes than the recorded ones would take another look at each file.
/// @return How many bytes there are to compare; 0 when that is not known.
template <class Comparison>
std::uint64_t bytesToRead(std::optional<Record> const& record, std::set<std::string> const& names,
                          Comparison const& comparison) {
    if (!record)
        return 0;
    std::uint64_t bytes = 0;
    for (std::string const& name : names) {
        std::size_t const reads = comparison.readsOf(name);
        if (reads == 0)
            continue;
        RecordedFile const* const recorded = record->find(name);
        if (recorded == nullptr)
            return 0;
        bytes += recorded->size * reads;
    }
    return bytes;
}

/// Opens each file once, compares it, and judges those that the description asks for.
template <class Comparison>
VerifyOutcome compareAll(Target const& target, SetLook& look, std::set<std::string> const& others,
                         Comparison const& comparison, Reporter& reporter) {
    VerifyOutcome outcome;
    std::set<std::string> names = others;
    for (std::string& name : look.names.all())
        names.insert(std::move(name));
    std::string_view const description = look.names[0];
    auto const isAskedData = [&](std::string const& name) {
        return name != description && look.names.has(name);
    };
    reporter.begin(Phase::comparing, names.size(), bytesToRead(look.record, names, comparison));
    for (std::string const& name : names) {
        OpenedFile const here = openRegular(target.folder().get(), name.c_str());
        auto const recordedSize = look.recordedSize(name);
        if (isAskedData(name))
            judge(look, name, lookOf(here), recordedSize);
        else if (recordedSize && name != description)
            judgeOther(look, name, lookOf(here), *recordedSize);
        outcome.files.push_back(comparison.compare(name, here));
        reporter.fileDone();
    }
    // A file of the source that cannot be read says nothing about the set.
    auto const isUnreadable = [&](File const& file) {
        std::string const path = target.folder().pathOf(file.name);
        bool const isHere = file.paths.empty() || file.paths.front() == path;
        return isHere && file.state == FileState::unreadable && isAskedData(file.name);
    };
    outcome.complete = look.problems.empty() &&
                       std::none_of(outcome.files.begin(), outcome.files.end(), isUnreadable);
    outcome.remarks = look.remarks;
    outcome.same = std::all_of(outcome.files.begin(), outcome.files.end(),
                               [](File const& file) { return file.state == FileState::same; });
    return outcome;
}

VerifyOutcome interrupted(unsigned long serial) {
    VerifyOutcome outcome;
    outcome.files.push_back(interruption(serial));
    return outcome;
}

/// Compares installed files with what is recorded of them.
class RecordComparison {
public:
    RecordComparison(Target const& target, Record const& record, Reporter& reporter)
        : m_target(target), m_record(record), m_reporter(reporter) {}

    /// @return How often a file is read.
    std::size_t readsOf(std::string const& name) const { return m_record.names.has(name) ? 1 : 0; }

    File compare(std::string const& name, OpenedFile const& opened) const {
        if (opened.error == ENOENT)
            return {name, FileState::missing, 0, {}, ""};
        if (opened.error != 0)
            return {name, FileState::unreadable, 0, {}, std::strerror(opened.error)};
        RecordedFile const* const recorded = m_record.find(name);
        if (recorded == nullptr)
            return {name, FileState::differs, opened.size(), {}, "It is not recorded."};
        if (opened.size() != recorded->size)
            return {name, FileState::differs, opened.size(), {}, ""};
        try {
            auto const sum = readSum(opened, m_target.folder().pathOf(name), m_reporter);
            bool const same = sum.digest == recorded->digest;
            return {name, same ? FileState::same : FileState::differs, opened.size(), {}, ""};
        } catch (Stop const& stopped) {
            if (stopped.failure.kind != FailureKind::system)
                throw;
            return {name, FileState::unreadable, 0, {}, std::strerror(stopped.failure.error)};
        }
    }

private:
    Target const& m_target;
    Record const& m_record;
    Reporter& m_reporter;
};

/// Compares installed files with those of a source.
class SourceComparison {
public:
    SourceComparison(Target const& target, SourceTree const& tree, CopiesByName const& copies,
                     Reporter& reporter)
        : m_target(target), m_tree(tree), m_copies(copies), m_reporter(reporter) {}

    /// @return How often a file is read.
    std::size_t readsOf(std::string const& name) const {
        Copies const* const there = m_copies.find(name);
        return there != nullptr ? there->files.size() : 0;
    }

    File compare(std::string const& name, OpenedFile const& here) const {
        Copies const* const there = m_copies.find(name);
        if (here.error == ENOENT)
            return {name,
                    there == nullptr ? FileState::missingHereAndThere : FileState::missingHere,
                    0,
                    {},
                    ""};
        if (there == nullptr)
            return {name, FileState::missingThere, here.size(), {}, ""};
        if (here.error != 0)
            return {name,
                    FileState::unreadable,
                    0,
                    {m_target.folder().pathOf(name)},
                    std::strerror(here.error)};
        try {
            return compareCopies(name, here, *there);
        } catch (Stop const& stopped) {
            if (stopped.failure.kind != FailureKind::system)
                throw;
            return {name,
                    FileState::unreadable,
                    here.size(),
                    {stopped.failure.path},
                    std::strerror(stopped.failure.error)};
        }
    }

private:
    static File same(std::string const& name, OpenedFile const& here) {
        return {name, FileState::same, here.size(), {}, ""};
    }

    File compareCopies(std::string const& name, OpenedFile const& here, Copies const& there) const {
        File file = same(name, here);
        if (there.files.front()->held)
            return compareMembers(name, here, there);
        for (SourceFile const* const copy : there.files) {
            std::string const path = copy->path();
            OpenedFile const opened = m_tree.open(path);
            if (opened.error != 0)
                stop("Cannot read", m_tree.shownPath(path), opened.error);
            if (!haveSameBytes(here, m_target.folder().pathOf(name), opened, m_tree.shownPath(path),
                               m_reporter))
                file.state = FileState::differs;
        }
        noteSeveral(file, there);
        return file;
    }

    /// Of members of an archive only their sums are left.
    File compareMembers(std::string const& name, OpenedFile const& here,
                        Copies const& there) const {
        File file = same(name, here);
        std::optional<Digest> digest;
        for (SourceFile const* const copy : there.files) {
            Held const& held = *copy->held;
            if (!held.damage.empty())
                return {
                    name, FileState::unreadable, 0, {m_tree.shownPath(copy->path())}, held.damage};
            if (!digest && held.size == here.size())
                digest = readSum(here, m_target.folder().pathOf(name), m_reporter).digest;
            if (held.size != here.size() || held.digest != digest)
                file.state = FileState::differs;
        }
        noteSeveral(file, there);
        return file;
    }

    void noteSeveral(File& file, Copies const& there) const {
        if (file.state != FileState::differs || there.files.size() < 2)
            return;
        file.paths = pathsOf(m_tree, there);
        file.message = "The source holds several files of this name.";
    }

    Target const& m_target;
    SourceTree const& m_tree;
    CopiesByName const& m_copies;
    Reporter& m_reporter;
};

Failure noRecord(Target const& target, unsigned long serial, int error) {
    std::string const camera = "camera " + std::to_string(serial);
    Failure failure;
    failure.kind = FailureKind::noRecord;
    failure.error = error;
    failure.message = "There is no record of " + camera + " in";
    if (error != 0)
        failure.message = "Cannot read the record of " + camera + " in";
    else if (target.hasRecord(serial))
        failure.message = "The record of " + camera + " is damaged in";
    failure.path = target.folder().path;
    return failure;
}

} // namespace

VerifyOutcome verifyAgainstRecord(Target const& target, unsigned long serial, Reporter& reporter) {
    VerifyOutcome outcome;
    bool const isOpen = lookSteadily(target, serial, [&](OpenedFile const& description) {
        SetLook look = readSet(target, serial, description);
        if (!look.record)
            throw Stop{noRecord(target, serial, look.recordError)};
        auto const names = look.record->names.all();
        std::set<std::string> const recorded(names.begin(), names.end());
        RecordComparison const comparison(target, *look.record, reporter);
        outcome = compareAll(target, look, recorded, comparison, reporter);
    });
    return isOpen ? interrupted(serial) : outcome;
}

VerifyOutcome verifyAgainstSource(Target const& target, unsigned long serial,
                                  SourceTree const& tree, Reporter& reporter) {
    VerifyOutcome outcome;
    bool const isOpen = lookSteadily(target, serial, [&](OpenedFile const& description) {
        SetLook look = readSet(target, serial, description);
        CopiesByName const copies(tree.filesOf(serial), look.names.all());
        auto const here = target.namesOf(serial);
        std::set<std::string> others(here.begin(), here.end());
        for (auto const& [name, found] : copies.all())
            others.insert(name);
        SourceComparison const comparison(target, tree, copies, reporter);
        outcome = compareAll(target, look, others, comparison, reporter);
    });
    if (isOpen)
        return interrupted(serial);
    bool const lacks = std::any_of(outcome.files.begin(), outcome.files.end(), [](File const& f) {
        return f.state == FileState::missingThere || f.state == FileState::missingHereAndThere;
    });
    if (lacks && tree.gap())
        throw Stop{*tree.gap()};
    auto const remarks = tree.remarksOn(serial);
    outcome.remarks.insert(outcome.remarks.end(), remarks.begin(), remarks.end());
    return outcome;
}

} // namespace zel::store
