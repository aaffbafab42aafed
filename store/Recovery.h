/// @file
/// Cleaning up after interruptions.
#pragma once

#include "store/Results.h"
#include "store/Target.h"

#include <vector>

namespace zel::store {

/// @return Whether an interrupted process left a stage or an unfinished journal. @throws Stop
bool hasLeftovers(Target const& target);

/// Completes the transactions that are open, and removes what a dead process staged.
/// @param target  The directory, locked.
/// @param outcome Receives what was done, also up to a failure. @throws Stop
void recover(Target const& target, RecoverOutcome& outcome);

/// Removes what a dead process left, if that is possible without waiting. For operations that have
/// nothing else to do. Completes no transaction, because the caller would not report it.
void tidyUp(Target& target);

/// @return Remarks about a recovery that came before another operation. @throws std::bad_alloc
std::vector<Remark> remarksOn(RecoverOutcome const& recovered);

/// Looks at the transactions that would be completed before another operation. Fails like it when
/// one of their journals cannot be read or a later version wrote it.
/// @return A remark on each. @throws Stop
std::vector<Remark> remarksOnOpen(Target const& target);

} // namespace zel::store
