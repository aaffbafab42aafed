/// @file
/// Carrying out transactions.
#pragma once

#include "store/Journal.h"
#include "store/Reporter.h"
#include "store/Results.h"
#include "store/Target.h"

#include <functional>

namespace zel::store {

/// Writes a journal durably and carries it out.
/// @param target    The directory, locked.
/// @param journal   The journal; everything that it names is staged durably.
/// @param committed Called once the journal is in its place. From then on the stage must be kept,
///                  even on failure, because complete() needs it.
/// @throws Stop
void publish(Target const& target, Journal const& journal, std::function<void()> const& committed);

/// Carries out a transaction without writing its journal to disk. @throws Stop
void carryOut(Target const& target, Journal const& journal);

/// Completes a camera's open transaction from what is staged. When a staged file is gone or has
/// other bytes, or the journal is damaged, the set cannot be completed: its description is
/// taken out, so that nobody takes it for complete, and the transaction is closed.
/// @param target The directory, locked.
/// @param serial Serial number of the camera.
/// @return What became of it. @throws Stop
RecoverOutcome::Camera complete(Target const& target, unsigned long serial);

/// @return A camera's journal.
/// @throws Stop when it cannot be read or a later version wrote it.
JournalReading readJournalOf(Target const& target, unsigned long serial);

} // namespace zel::store
