/// @file
/// What an installation is going to do.
#pragma once

#include "store/InstalledFiles.h"
#include "store/Reporter.h"
#include "store/Results.h"
#include "store/SetDescription.h"
#include "store/SourceTree.h"

#include <cstdint>
#include <ctime>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace zel::store {

/// A file that is going to be staged, or was staged when it passed by.
struct FileToStage {
    std::string name;             ///< the name that it is going to have
    std::string source;           ///< its path, from the source on
    std::uint64_t size;           ///< its size when the plan was made
    std::optional<Digest> digest; ///< sum of its bytes when the plan was made, if they were read
    timespec modified;            ///< its modification time when the plan was made
    std::shared_ptr<Held const> held; ///< of a member of an archive; null for a file
};

/// What an installation is going to do, and say. The same plan is made for a dry run.
struct InstallPlan {
    std::vector<File> files;                ///< what becomes of each file, by name
    std::vector<Remark> remarks;            ///< what else to know
    bool refused = false;                   ///< the source is not good enough
    bool complete = false;                  ///< the set is complete afterwards
    std::vector<FileToStage> data;          ///< files to stage, without the description
    std::optional<FileToStage> description; ///< the description, when it has to be staged
    std::unordered_map<std::string, RecordedFile> unchanged; ///< files of the set that stay
    std::vector<std::string> removedBefore;       ///< old files that must not complete the new set
    std::vector<std::string> removedAfter;        ///< files that are pruned
    std::uint64_t bytes = 0;                      ///< bytes to stage; the largest number if more
    bool recordDiffers = false;                   ///< the record has to be written
    std::optional<SetDescription> newDescription; ///< the source's description, when it is readable

    /// @return Whether files have to be changed.
    bool changesFiles() const noexcept {
        return !data.empty() || description || !removedBefore.empty() || !removedAfter.empty();
    }
};

/// Makes the plan for one camera. Files are read only to compare them: with installed files of the
/// same size, with other copies, or with SHA256SUMS.
/// @param tree      The source.
/// @param serial    Serial number of the camera.
/// @param installed What is installed.
/// @param options   What to do.
/// @param reporter  Told of the files.
/// @return The plan. @throws Stop if something cannot be read, or a folder has a file's name
InstallPlan makePlan(SourceTree const& tree, unsigned long serial, InstalledFiles const& installed,
                     InstallOptions const& options, Reporter& reporter);

} // namespace zel::store
