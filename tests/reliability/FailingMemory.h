/// @file
/// Memory that runs out when a test says so.
///
/// An executable that links FailingMemory.cpp gets its memory from there: what `operator new` gives
/// in all its forms, and what `malloc`, `calloc` and `realloc` give, also inside the C and C++
/// libraries.
#pragma once

#include <functional>

namespace reliability {

/// Runs a piece of an attempt with memory that runs out.
using WithScarceMemory = std::function<void(std::function<void()> const&)>;

/// Makes an attempt again and again. The piece that it runs with scarce memory first has its first
/// allocation refused, then its second, and so on until it needs no more; then all over again with
/// all later allocations refused as well. After each attempt, the memory in use and the open
/// descriptors must be what they were before.
/// @return The number of allocations refused, also printed.
long refuseEachAllocation(std::function<void(WithScarceMemory const&)> const& attempt);

/// Refuses an allocation of this process from here on, for a program without tests of its own.
/// @param at      Which one, 1 for the next; 0 for none.
/// @param forever Whether all later ones are refused, too.
void refuseAllocation(long at, bool forever) noexcept;

/// @return The allocations asked for since then.
long allocationsAskedFor() noexcept;

/// @return Whether an allocation of this attempt was refused, also in a child process.
bool wasRefused() noexcept;

} // namespace reliability
