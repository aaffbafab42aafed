/// @file
/// Ending what an interruption left.
#pragma once

#include "store/Results.h"
#include "store/Target.h"

#include <vector>

namespace zel::store {

/// @return Whether an interruption left something, apart from open transactions. @throws Stop
bool hasLeftovers(Target const& target);

/// Completes the transactions that are open, and removes what a dead process staged.
/// @param target  The directory, locked.
/// @param outcome Receives what was done, also up to a failure. @throws Stop
void recover(Target const& target, RecoverOutcome& outcome);

/// Removes what a dead process left, for an operation that has nothing else to do: so without
/// waiting, and only where that can be done. Completes no transaction, since nobody would hear of
/// it.
void tidyUp(Target& target);

/// @return What a person who asked for something else should know of it. @throws std::bad_alloc
std::vector<Remark> remarksOn(RecoverOutcome const& recovered);

} // namespace zel::store
