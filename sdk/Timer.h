/// @file
/// A stopwatch on the wall clock.
#pragma once

#include "util/Export.h"

namespace zel {

/// Runs from its construction on; there is no stopped state. All results are milliseconds.
///
/// The clock is `gettimeofday(2)`, so a wall clock set back or forth shows in the readings. All
/// timers of a process share one time value: not for use from several threads at once.
class ZENTHO_API Timer {
public:
    /// Starts the timer now.
    Timer() noexcept;

    /// Restarts the timer.
    /// @return The lap that just ended: milliseconds since the previous start.
    long double reset() noexcept;

    /// @return Milliseconds since the start, which stays as it is.
    long double getTime() const noexcept;

    /// @return Milliseconds since the Unix epoch; the start stays as it is.
    long double getTimeNow() const noexcept;

private:
    long double m_start;
};

} // namespace zel
