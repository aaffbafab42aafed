/// @file
/// What is going to become of one camera's set in a mirror.
#pragma once

#include "store/InstallPlan.h"
#include "store/Mirror.h"
#include "store/Reporter.h"
#include "store/ServedSet.h"
#include "store/SourceTree.h"
#include "store/WebRoot.h"

#include <optional>
#include <string>
#include <vector>

namespace zel::store {

/// What is going to become of one camera's set. The same plan is made for a dry run.
struct MirrorPlan {
    InstallPlan source;          ///< what the source holds, as for an empty directory
    std::vector<File> files;     ///< what becomes of each file, by name
    std::vector<Remark> remarks; ///< what else to know
    bool changes = false;        ///< the set has to be written
    std::string oldDate;         ///< date of the index that is there; empty without one
};

/// Makes the plan for one camera.
/// @param tree     The source.
/// @param serial   Serial number of the camera.
/// @param root     The mirror.
/// @param options  What the mirror is to be.
/// @param reporter Told of the files.
/// @return The plan. @throws Stop also if the set has to be written and cannot take its place
MirrorPlan planMirror(SourceTree const& tree, unsigned long serial, WebRoot const& root,
                      MirrorOptions const& options, Reporter& reporter);

} // namespace zel::store
