/// @file
/// Bringing the files of a plan into a stage.
#pragma once

#include "store/InstallPlan.h"
#include "store/Reporter.h"
#include "store/SourceTree.h"
#include "store/Stage.h"

namespace zel::store {

/// Copies a file of the source into the stage, where a member of an archive may be already.
/// @param stage    The stage.
/// @param tree     The source.
/// @param file     The file as planned.
/// @param reporter Told of the bytes, and that the file is done.
/// @return The staged file. @throws Stop also if the file changed since it was planned
StagedFile stageFile(Stage& stage, SourceTree const& tree, FileToStage const& file,
                     Reporter& reporter);

} // namespace zel::store
