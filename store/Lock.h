/// @file
/// The lock of a calibration directory.
#pragma once

#include "store/Reporter.h"
#include "store/Target.h"
#include "util/FileDescriptor.h"

namespace zel::store {

/// Makes what is missing of a calibration directory, and locks it for all others that take this
/// lock: other processes, and other threads of this one. It is an open file description lock
/// (`fcntl(2)`), so the system unlocks the directory when the process ends, however that happens.
/// @param target   The directory.
/// @param wait     Whether to wait for another holder, up to 60 seconds.
/// @param reporter Told while waiting.
/// @return The open lock file; the directory is locked until it is closed.
/// @throws Stop
FileDescriptor takeLock(Target& target, bool wait, Reporter& reporter);

/// Does something with the lock, and leaves no folders behind that nobody uses.
/// @param body Called while the directory is locked.
/// @throws Stop, and what @p body throws. The other parameters are those of takeLock().
template <class Body>
void withLock(Target& target, bool wait, Reporter& reporter, Body const& body) {
    FileDescriptor lock;
    try {
        lock = takeLock(target, wait, reporter);
    } catch (...) {
        target.removeEmpty();
        throw;
    }
    try {
        body();
    } catch (...) {
        target.removeIfUnused();
        throw;
    }
    target.removeIfUnused();
}

} // namespace zel::store
