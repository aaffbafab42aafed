/// @file
/// What is wrong with an installed set.
#pragma once

#include "store/Record.h"
#include "store/Results.h"
#include "store/SetDescription.h"
#include "store/Target.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zel::store {

/// What is known of an installed set without reading its data files.
struct SetLook {
    std::vector<File> problems;   ///< what keeps it from being complete
    std::vector<Remark> remarks;  ///< what else to know
    Names names;                  ///< the names that the description asks for, itself first
    std::optional<Record> record; ///< the record, when there is one that can be followed
    int recordError = 0;          ///< why the record cannot be read; 0 for no error
    std::optional<Description> description; ///< the description, when it can be followed

    /// @return The recorded size of a file; nothing when it is not recorded.
    std::optional<std::uint64_t> recordedSize(std::string_view name) const noexcept;
};

/// Reads a camera's record and description, and looks at no other file.
/// @param target      The directory.
/// @param serial      Serial number of the camera.
/// @param description Its description, as openRegular() opened it.
/// @return What is seen; only problems of these two. @throws Stop
SetLook readSet(Target const& target, unsigned long serial, OpenedFile const& description);

/// Judges a file that the description asks for, and adds what is wrong to the problems.
/// @param set  The set.
/// @param name Name of the file.
/// @param seen What a look at it shows.
/// @param recordedSize Its recorded size; nothing when it is not recorded. @throws std::bad_alloc
void judge(SetLook& set, std::string_view name, Look const& seen,
           std::optional<std::uint64_t> recordedSize);

/// Does the same for a file that the description does not ask for, but that is recorded. It may be
/// empty.
void judgeOther(SetLook& set, std::string_view name, Look const& seen, std::uint64_t recordedSize);

/// @return An opened file as a look at it would show it.
Look lookOf(OpenedFile const& opened) noexcept;

/// Does the same as readSet(), and looks once at each file that the description asks for.
SetLook lookAtSet(Target const& target, unsigned long serial, OpenedFile const& description);

/// Notices a transaction that begins, goes on or ends while a set is looked at: what is seen then
/// may be of two versions.
class Steadiness {
public:
    /// @throws Stop
    Steadiness(Target const& target, unsigned long serial);

    /// @return Whether a transaction was open from the start.
    bool isInterrupted() const noexcept { return m_open; }
    /// @return The description, open from the start, so that no other file gets its inode number.
    OpenedFile const& description() const noexcept { return m_description; }
    /// @return Whether no transaction came between.
    bool lasted() const;

private:
    Target const& m_target;
    unsigned long m_serial;
    bool m_open;
    OpenedFile m_description;
};

/// Runs a look until no transaction comes between.
/// @param target Calibration directory.
/// @param serial Serial number of the camera.
/// @param look   Called with the description, as openRegular() opened it; repeated when something
///               changed meanwhile.
/// @return Whether a transaction is open, so that nothing can be said.
template <class Look>
bool lookSteadily(Target const& target, unsigned long serial, Look const& look) {
    // A directory that changes all the time is as good as one with an open transaction.
    constexpr int mostLooks = 20;
    for (int i = 0; i < mostLooks; ++i) {
        Steadiness const steadiness(target, serial);
        if (steadiness.isInterrupted())
            return true;
        look(steadiness.description());
        if (steadiness.lasted())
            return false;
    }
    return true;
}

/// @return The problem of a set whose transaction is open. @throws std::bad_alloc
File interruption(unsigned long serial);

} // namespace zel::store
