/// @file
/// A stopwatch on the wall clock.
#pragma once

#include "util/Export.h"

namespace zel {

/// Runs from its construction on and cannot be stopped. All results are in milliseconds.
///
/// The clock is `gettimeofday(2)`, so setting the wall clock changes the readings. All timers of
/// a process share one time value: not for use from several threads at once.
class ZENTHO_API Timer {
public:
    /// Starts the timer now.
    Timer() noexcept;

    /// Restarts the timer.
    /// @return The lap that just ended: milliseconds since the previous start.
    long double reset() noexcept;

    /// @return Milliseconds since the start; the timer runs on.
    long double getTime() const noexcept;

    /// @return Milliseconds since the Unix epoch; the timer runs on.
    long double getTimeNow() const noexcept;

private:
    long double m_start;
};

} // namespace zel
