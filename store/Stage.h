/// @file
/// The folder in which a set is made ready.
#pragma once

#include "store/Files.h"
#include "store/Journal.h"
#include "store/Reporter.h"
#include "store/Target.h"

#include <cstdint>
#include <ctime>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace zel::store {

/// Opens the stage of a calibration directory.
/// @return The folder, not valid when there is none. @throws Stop
Folder openStage(Target const& target);

/// @return Whether there is a stage. @throws Stop
bool hasStage(Target const& target);

/// Removes the stage with everything in it. @throws Stop
void removeStage(Target const& target);

/// A new stage. It is removed with everything in it on destruction, unless keep() was called.
class Stage {
public:
    /// Makes the stage, and removes one that a dead process left. For the holder of the lock.
    /// @throws Stop
    explicit Stage(Target const& target);
    ~Stage();
    Stage(Stage const&) = delete;
    Stage& operator=(Stage const&) = delete;

    /// A file that is on its way into the stage.
    class Incoming {
    public:
        /// Adds bytes. @throws Stop
        void add(std::string_view piece);
        /// Gives it a modification time and starts writing it to disk.
        /// @param time The time; that of its making without one. @throws Stop
        void finish(std::optional<timespec> time);

        /// @return Its name in the stage.
        unsigned int number() const noexcept { return m_number; }
        /// @return The bytes so far.
        std::uint64_t size() const noexcept { return m_size; }
        /// @return The sum of its bytes so far.
        Digest sum() const noexcept { return Sha256(m_sum).finish(); }

    private:
        friend class Stage;
        Incoming(Folder const& stage, unsigned int number);

        std::string m_path;
        FileDescriptor m_file;
        unsigned int m_number;
        std::uint64_t m_size = 0;
        Sha256 m_sum;
    };

    /// Makes a file that bytes can be added to. It is removed by dropRest() unless it is adopted.
    /// @throws Stop
    Incoming begin();

    /// Opens a file that begin() made.
    OpenedFile open(unsigned int number) const;

    /// Takes a file that begin() made into the set. It counts where people see how far this is.
    /// @throws std::bad_alloc
    StagedFile adopt(unsigned int number, std::uint64_t size, Digest const& digest,
                     std::string name);

    /// Removes what begin() made and nobody adopted. @throws Stop
    void dropRest();

    /// Copies a file, with its modification time, and adds up its bytes.
    /// @param file     The open file.
    /// @param path     Its path, for messages.
    /// @param name     The name that it is going to have.
    /// @param reporter Told of the bytes.
    /// @return The staged file. @throws Stop
    StagedFile add(OpenedFile const& file, std::string const& path, std::string name,
                   Reporter& reporter);

    /// Adds a file with a text, which does not count where people see how far this is. @throws Stop
    StagedFile add(std::string_view text, std::string name);

    /// Writes everything through to the medium. @throws Stop
    void flushAll() const;

    /// Reads everything back from the medium. @throws Stop when that gives other bytes.
    void readBack(Reporter& reporter) const;

    /// Sets the modification time of a staged file. @throws Stop
    void setTime(StagedFile const& file, std::time_t time) const;

    /// Gives all files their names, and everybody the right to read them, so that the stage can
    /// become a folder of a mirror. @throws Stop
    void giveNames() const;

    /// Leaves the stage where it is, for a journal that names its files.
    void keep() noexcept { m_kept = true; }

    /// @return The folder.
    Folder const& folder() const noexcept { return m_folder; }

private:
    void requireSame(StagedFile const& file, Reporter* reporter) const;

    Target const& m_target;
    Folder m_folder;
    std::set<unsigned int> m_made;    // by begin(), and not adopted
    std::vector<StagedFile> m_copies; // what people see how far this is with
    std::vector<StagedFile> m_texts;
    unsigned int m_next = 0; // the next file's number
    bool m_kept = false;
};

/// Adds up the bytes of a file of the stage or at its place.
/// @param reporter Told of the bytes; may be null.
/// @return The sum; nothing when there is no regular file of that size. @throws Stop
std::optional<Digest> sumOf(Folder const& folder, std::string const& name, std::uint64_t size,
                            Reporter* reporter);

/// @return Whether a staged file's bytes are at a name. A file that the medium does not give back
///         is as good as lost: to fail there would keep every later operation from its end, too.
/// @throws Stop
bool isAt(Folder const& folder, std::string const& name, StagedFile const& file);

} // namespace zel::store
