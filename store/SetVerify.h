/// @file
/// Comparing every byte of an installed set.
#pragma once

#include "store/Reporter.h"
#include "store/Results.h"
#include "store/SourceTree.h"
#include "store/Target.h"

namespace zel::store {

/// Compares a camera's set with its record. @throws Stop
VerifyOutcome verifyAgainstRecord(Target const& target, unsigned long serial, Reporter& reporter);

/// Compares a camera's set with a source. @throws Stop
VerifyOutcome verifyAgainstSource(Target const& target, unsigned long serial,
                                  SourceTree const& tree, Reporter& reporter);

} // namespace zel::store
