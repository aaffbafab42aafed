/// @file
/// The lock of a calibration directory.
#pragma once

#include "store/Reporter.h"
#include "store/Target.h"
#include "util/FileDescriptor.h"

namespace zel::store {

/// Locks a calibration directory, which is made if it is missing. The lock excludes other processes
/// and other threads of this one. It is an open file description lock (`fcntl(2)`): the kernel
/// releases it when the process ends, however that happens.
/// @param target   The directory.
/// @param wait     Whether to wait for another holder, up to 60 seconds.
/// @param reporter Told while waiting.
/// @return The open lock file; the directory is locked until it is closed.
/// @throws Stop
FileDescriptor takeLock(Target& target, bool wait, Reporter& reporter);

/// Runs @p body while the directory is locked. Afterwards it removes the folders that were made for
/// the lock, if they are still empty.
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
