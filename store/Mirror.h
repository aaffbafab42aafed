/// @file
/// Makes and updates a mirror of cameras' sets that any web server can serve.
#pragma once

#include "store/Results.h"
#include "store/Source.h"
#include "util/Export.h"

#include <optional>
#include <string>
#include <vector>

namespace zel::store {

/// What a mirror is to be.
struct MirrorOptions {
    std::string url;     ///< address at which it is served, for the links file; empty: none is made
    std::string signKey; ///< what `gpg` knows the signing key by; empty: nothing is signed
    bool dryRun = false; ///< only say what would be done; writes nothing
    bool wait = true;    ///< wait for another process, up to 60 seconds
};

/// What became of one camera's set.
struct MirroredCamera {
    unsigned long serial = 0;       ///< its serial number
    std::optional<Failure> failure; ///< what stood in the way of this set; nothing otherwise
    bool changed = false;           ///< the set was written, or would be in a dry run
    bool complete = false;          ///< the mirror holds the set as the source does, or would
    std::vector<File> files;        ///< the files, by name; none when it failed
    std::vector<Remark> remarks;    ///< what else to know
};

/// Outcome of making or updating a mirror.
struct MirrorOutcome {
    std::optional<Failure> failure;      ///< what stood in the way of all that is not in `cameras`
    bool changed = false;                ///< something was changed, or would be in a dry run
    bool complete = false;               ///< every set that was asked for is complete
    std::vector<MirroredCamera> cameras; ///< all that were asked for, by serial number
    std::optional<File> links;           ///< the links file; nothing without an address
};

/// Makes a mirror, or updates one. The files of camera 12345678 go into its folder
/// `12/1234/Califiles SN12345678`, with the modification times of the source, and beside them
/// `SHA256SUMS`, which lists their sums, sizes and the date, and `SHA256SUMS.asc`, the same signed
/// inline by `gpg`, if a key is named.
///
/// A set is made ready in a hidden folder beside the mirror, read back from the medium, and then
/// takes the place of the old one in a single step; where the file system has no such step, it
/// fails before anything is changed. So nobody ever finds a folder with files of two versions. What
/// a killed process left is removed by the next one. Sets that the source lacks, or does not hold
/// whole, stay. A set is not written when its files and its index are as they should be: a file of
/// the same size and modification time as the source's counts as the same, another is read.
///
/// It does not throw, and keeps the other promises of CalibrationStore; but it starts `gpg`, found
/// along PATH, and waits for it, if a key is named. A second thread helps it to look at many sets.
/// @param directory Path of the mirror; made when it is missing.
/// @param serials   Serial numbers of the cameras, in any order.
/// @param source    Where their files are.
/// @param options   What the mirror is to be.
/// @param progress  Called from this thread while it goes on.
/// @return What became of each set.
ZENTHO_API MirrorOutcome mirror(std::string const& directory,
                                std::vector<unsigned long> const& serials, Source const& source,
                                MirrorOptions const& options,
                                ProgressCallback const& progress) noexcept;

} // namespace zel::store
