/// @file
/// What the operations of the calibration store answer, and what they are asked.
#pragma once

#include "util/Export.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace zel::store {

/// State of a file of a set. "Here" is the calibration directory, "there" the source.
enum class FileState {
    installed,           ///< was not there before
    replaced,            ///< was there with other bytes, or as something else than a file
    unchanged,           ///< was there with the same bytes
    removed,             ///< is no longer there
    missing,             ///< is not there
    damaged,             ///< there is a file, but it cannot be the right one
    ambiguous,           ///< there are several, which differ
    empty,               ///< has no bytes
    unreadable,          ///< cannot be read, or not be followed
    altered,             ///< has another size than recorded, or is not recorded
    interrupted,         ///< a transaction is open
    same,                ///< has the same bytes
    differs,             ///< has other bytes
    missingHere,         ///< is only there
    missingThere,        ///< is only here
    missingHereAndThere, ///< is in neither place, though the description asks for it
};

/// @return The word for a state, as the commands print it: "missing here and there".
ZENTHO_API char const* word(FileState state) noexcept;

/// A file of a set.
struct File {
    std::string name;               ///< its name, without a directory
    FileState state;                ///< what became of it, or what it is like
    std::uint64_t bytes = 0;        ///< its size; 0 when it is not there
    std::vector<std::string> paths; ///< where its different or damaged copies are
    std::string message;            ///< what is wrong, in a sentence; empty when the state says all
};

/// What stood in the way of an operation.
enum class FailureKind {
    system,         ///< the system refused something: `error` tells why
    noRoom,         ///< the disk is too full: `needed` and `available`
    locked,         ///< another process changes the directory: `holder`
    inTheWay,       ///< a folder or a link stands where it must not
    laterVersion,   ///< a later version of this program began a transaction here
    noRecord,       ///< there is nothing to compare with
    cancelled,      ///< the callback asked to stop
    noMemory,       ///< memory ran out
    noProgram,      ///< a program of the package zentho-cali-sources is not installed
    noSandbox,      ///< a program cannot be confined as it has to be
    unusableSource, ///< the source is no archive that can be read, or not to its end
    notListable,    ///< nobody can say what else the source holds
};

/// The programs that read archives and speak to servers, each in a process of its own that can do
/// nothing else.
struct Programs {
    std::string folder;          ///< where they are; empty: where this library was installed to
    bool requireSandbox = false; ///< fail where the kernel cannot confine them
};

/// Why an operation did not run to its end.
struct Failure {
    FailureKind kind = FailureKind::system; ///< what kind of obstacle
    std::string message;                    ///< what could not be done, such as "Cannot write"
    std::string path;                       ///< the file or directory concerned; may be empty
    int error = 0;                          ///< the system's error number, or 0
    std::uint64_t needed = 0;               ///< bytes that are needed on the disk
    std::uint64_t available = 0;            ///< bytes that are available there
    long holder = 0; ///< process id of the other process; 0 when it is not known
};

/// Something that a person should know although it decides nothing.
struct Remark {
    std::string path;    ///< the file or directory concerned; may be empty
    std::string message; ///< a sentence that the path completes when it is followed by it
    int error = 0;       ///< the system's error number, or 0
};

/// What an operation is doing.
enum class Phase {
    searching,       ///< searches the source
    comparing,       ///< reads what is installed and what the source holds
    waiting,         ///< waits for another process: `holder`
    copying,         ///< copies into the stage
    readingBack,     ///< reads the stage back from the medium
    sourceNotNeeded, ///< reported once: from now on the source may be unplugged
    publishing,      ///< moves the files to their places; it is too late to cancel
};

/// How far an operation is.
struct Progress {
    Phase phase = Phase::searching; ///< what it is doing
    std::uint64_t files = 0;        ///< files done in this phase; while searching, folders
    std::uint64_t allFiles = 0;     ///< files of this phase; 0 when not known
    std::uint64_t bytes = 0;        ///< bytes done in this phase
    std::uint64_t allBytes = 0;     ///< bytes of this phase; 0 when not known
    long holder = 0;                ///< process id of who is waited for; 0 when it is not known
};

/// Called at least once for each file and each MiB, and every tenth of a second while waiting. It
/// returns false to cancel. What it throws counts as a cancel. May be empty.
using ProgressCallback = std::function<bool(Progress const&)>;

/// What an installation is to do.
struct InstallOptions {
    bool partial = false; ///< install what there is although files are missing
    bool prune = false;   ///< remove the camera's files that neither source nor description names
    bool dryRun = false;  ///< only say what would be done; writes nothing
    bool wait = true;     ///< wait for another process, up to 60 seconds
};

/// Outcome of installing or removing one camera's set.
struct InstallOutcome {
    std::optional<Failure> failure;     ///< what stood in the way; nothing when it ran to its end
    bool changed = false;               ///< something was changed, or would be in a dry run
    bool complete = false;              ///< the set is complete now, or would be
    bool interrupted = false;           ///< failed after the journal: recover() completes it
    bool cancelledTooLate = false;      ///< the callback asked to stop after the journal
    std::vector<File> files;            ///< the files, by name; none when it failed
    std::vector<Remark> remarks;        ///< what else to know
    std::vector<unsigned long> cameras; ///< cameras that the source holds, when files are missing
};

/// Outcome of completing interrupted transactions.
struct RecoverOutcome {
    std::optional<Failure> failure; ///< what stood in the way; nothing when it ran to its end
    bool changed = false;           ///< there was something to complete
    /// The cameras whose transactions were open, each with what became of its files. One that could
    /// not be completed, because its staged files are gone or damaged, is not complete: its
    /// description was taken out.
    struct Camera {
        unsigned long serial = 0;    ///< its serial number
        bool complete = false;       ///< the transaction was completed
        std::vector<File> files;     ///< its files
        std::vector<Remark> remarks; ///< what else to know
    };
    std::vector<Camera> cameras; ///< by serial number
};

/// Outcome of checking a set.
struct CheckOutcome {
    std::optional<Failure> failure; ///< why nothing could be said
    bool complete = false;          ///< whether the set is complete
    std::vector<File> problems;     ///< the files that keep it from being complete
    std::vector<Remark> remarks;    ///< what else to know
};

/// Outcome of comparing a set.
struct VerifyOutcome {
    std::optional<Failure> failure; ///< why nothing could be said
    bool complete = false;          ///< whether the set is complete as check() means it
    bool same = false;              ///< whether every file is the same
    std::vector<File> files;        ///< the files, by name
    std::vector<Remark> remarks;    ///< what else to know
};

/// An optic that a description names.
struct Optic {
    int fieldOfView = 0; ///< field of view
    std::string text;    ///< distinguishing text, in the description's encoding; may be empty
};

/// A camera's set in a list.
struct ListedCamera {
    unsigned long serial = 0;        ///< its serial number
    bool complete = false;           ///< whether its set is complete
    std::vector<File> problems;      ///< the files that keep it from being complete
    std::vector<Optic> optics;       ///< the optics of its description
    std::uint64_t files = 0;         ///< how many files belong to it; copies count once
    std::uint64_t bytes = 0;         ///< their size
    std::optional<std::string> date; ///< when it was installed, in ISO 8601; from the record
};

/// Outcome of listing cameras.
struct ListOutcome {
    std::optional<Failure> failure;    ///< why nothing could be said
    std::vector<ListedCamera> cameras; ///< by serial number
    std::vector<Remark> remarks;       ///< what else to know of a source
};

/// Outcome of finding the cameras of a source.
struct CamerasOutcome {
    std::optional<Failure> failure;     ///< why nothing could be said
    std::vector<unsigned long> cameras; ///< by serial number
    std::vector<Remark> remarks;        ///< what else to know of the source
};

/// A calibration directory that is locked for other processes. Can be moved, not copied.
class ZENTHO_API DirectoryLock {
public:
    DirectoryLock() noexcept;
    /// Takes over what @p other holds.
    DirectoryLock(DirectoryLock&& other) noexcept;
    /// Gives up what it holds and takes over what @p other holds. @return This lock.
    DirectoryLock& operator=(DirectoryLock&& other) noexcept;
    /// Unlocks the directory.
    ~DirectoryLock();

    /// Removes a camera's record, for a caller that changed its files.
    /// @param serial Serial number of the camera.
    /// @return What stood in the way; nothing when there is no record any more.
    std::optional<Failure> dropRecord(unsigned long serial) noexcept;

private:
    friend class CalibrationStore;
    class Held;
    std::unique_ptr<Held> m_held;
};

/// Outcome of locking a directory.
struct LockOutcome {
    std::optional<Failure> failure; ///< what stood in the way
    DirectoryLock lock;             ///< holds the directory, unless that failed
    RecoverOutcome recovered;       ///< the transactions that were completed first
};

} // namespace zel::store
