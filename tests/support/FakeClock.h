/// @file
/// The wall clock and the date under a test's control.
///
/// An executable that links FakeClock.cpp tells the linker to wrap `gettimeofday`, `time` and
/// `localtime`. Until a test sets them, the real calls answer.
#pragma once

namespace support {

/// Stops the clock of `gettimeofday` at this time after the epoch.
void setClock(long seconds, long microseconds);

/// What the last `gettimeofday` was called with.
struct ClockCall {
    void const* target;
    void const* zone;
};
ClockCall lastClockCall();

/// Stops the date: `time` gives a made-up time, and `localtime` gives this date for that time only.
/// @param month 1 to 12.
/// @param year  With four digits.
void setDate(int day, int month, int year, int hour, int minute, int second);

/// Lets the real clock and date answer again.
void useRealClockAndDate();

} // namespace support
