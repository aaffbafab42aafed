/// @file
/// Brings whole sets of calibration files in and out of a calibration directory.
#pragma once

#include "store/Results.h"
#include "store/Source.h"
#include "util/Export.h"

#include <memory>
#include <string>

namespace zel::store {

/// The sets in one calibration directory.
///
/// install() brings a set in whole or not at all: the files are copied into the hidden folder
/// `.zentho-cali` of the directory, written through to the medium, and read back from it; then a
/// journal is written, and from there on the set is completed after any interruption, without its
/// source, by the next install(), remove(), lockForOthers() or recover(). The description is taken
/// out first and put in last, so nobody finds a complete set of two versions. What is installed is
/// recorded in `.zentho-cali/SERIAL.sha256`, which `sha256sum -c` can read.
///
/// No operation throws. None installs a signal handler or changes the signal mask, the working
/// directory, the umask or the locale. Operations that change the directory
/// lock it for other processes and other objects. Constant operations change nothing, take no lock
/// and are safe from several threads; they see no state between two versions. An operation with an
/// archive as its source runs a program of `zentho-cali-sources`, and waits for it by its process
/// id.
class ZENTHO_API CalibrationStore {
public:
    /// Names a calibration directory; does not look at it.
    /// @param directory Path of the directory, of any length that the system takes, in the file
    ///                  system's encoding.
    /// @param programs  The programs that read archives.
    explicit CalibrationStore(std::string directory, Programs programs = {}) noexcept
        : m_directory(std::move(directory)), m_programs(std::move(programs)) {}

    /// @return Path of the directory, as given.
    std::string const& directory() const noexcept { return m_directory; }

    /// Installs one camera's set. Without anything to do, nothing is written. Otherwise the
    /// directory is made when it is missing, with its parents, an interrupted transaction is
    /// completed first, and the files get mode 0644 and the modification times of the source.
    /// @param serial   Serial number of the camera, 1 to 2147483647.
    /// @param source   Where its files are; not needed from Phase::sourceNotNeeded on.
    /// @param options  What to do.
    /// @param progress Called from this thread while it goes on.
    /// @return What became of each file. Nothing is installed when a file of the set is missing,
    ///         damaged or ambiguous, except that `options.partial` forgives missing ones.
    InstallOutcome install(unsigned long serial, Source const& source,
                           InstallOptions const& options,
                           ProgressCallback const& progress) noexcept;

    /// Removes one camera's files and their record, after an interrupted transaction is completed.
    /// @param serial   Serial number of the camera.
    /// @param options  What to do; of the others, only `dryRun` and `wait` count.
    /// @param progress Called from this thread while it goes on.
    /// @return What became of each file; no files and nothing changed when nothing was there.
    InstallOutcome remove(unsigned long serial, InstallOptions const& options,
                          ProgressCallback const& progress) noexcept;

    /// Completes every interrupted transaction, and removes what a dead process staged.
    /// @param wait     Whether to wait for another process that changes the directory.
    /// @param progress Called from this thread while it goes on.
    /// @return The cameras whose transactions were open.
    RecoverOutcome recover(bool wait, ProgressCallback const& progress) noexcept;

    /// Locks the directory for a change that this store does not make, after interrupted
    /// transactions are completed.
    /// @param wait     Whether to wait for another process that changes the directory.
    /// @param progress Called from this thread while it goes on.
    /// @return The lock, held until it is destroyed.
    LockOutcome lockForOthers(bool wait, ProgressCallback const& progress) noexcept;

    /// @return Whether recover() cannot help, since a later version of this program began one of
    ///         the interrupted transactions.
    bool needsLaterVersion() const noexcept;

    /// Checks one camera's set by names and sizes. It is complete when its description can be
    /// followed and names an optic, every file that it asks for is there, can be read and is not
    /// empty, sizes agree with the record when there is one, and no transaction is open.
    /// @param serial Serial number of the camera.
    /// @return What keeps the set from being complete.
    CheckOutcome check(unsigned long serial) const noexcept;

    /// Compares every byte of one camera's set with its record.
    /// @param serial   Serial number of the camera.
    /// @param progress Called from this thread while it goes on.
    /// @return The state of each file; FailureKind::noRecord when there is no record.
    VerifyOutcome verify(unsigned long serial, ProgressCallback const& progress) const noexcept;

    /// Compares every byte of one camera's set with a source.
    /// @param serial   Serial number of the camera.
    /// @param source   What to compare with.
    /// @param progress Called from this thread while it goes on.
    /// @return The state of each file that the description asks for, or that belongs to the camera
    ///         on either side.
    VerifyOutcome verify(unsigned long serial, Source const& source,
                         ProgressCallback const& progress) const noexcept;

    /// Lists the installed cameras: those with a description, a record or an open transaction.
    /// @return The cameras, by serial number.
    ListOutcome list() const noexcept;

private:
    std::string m_directory;
    Programs m_programs;
};

/// Finds the cameras that a source holds a description of.
/// @param source   The source.
/// @param progress Called from this thread while it goes on.
/// @param programs The programs that read archives.
/// @return The cameras, by serial number.
ZENTHO_API CamerasOutcome camerasOf(Source const& source, ProgressCallback const& progress,
                                    Programs const& programs = {}) noexcept;

/// Lists the cameras that a source holds a description of.
/// @param source   The source.
/// @param progress Called from this thread while it goes on.
/// @param programs The programs that read archives.
/// @return The cameras, by serial number; complete are those that install() would install
///         whole into an empty directory. A failure when none was found and a folder could not be
///         searched.
ZENTHO_API ListOutcome listSource(Source const& source, ProgressCallback const& progress,
                                  Programs const& programs = {}) noexcept;

} // namespace zel::store
