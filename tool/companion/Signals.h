/// @file
/// Ending by SIGINT and SIGTERM without breaking off in the middle.
#pragma once

namespace companion {

/// From now on SIGINT and SIGTERM only ask to stop, unless the caller of the program ignores them.
void catchSignals();

/// From now on they end the process again.
void releaseSignals();

/// @return Whether one of them asked to stop.
bool shouldStop();

/// Ends the process by the signal that asked to stop; returns when none did. So whoever started it
/// sees what happened.
void endByCaughtSignal();

} // namespace companion
