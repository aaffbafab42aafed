/// @file
/// System calls that fail when a test says so.
///
/// An executable that links FailingCalls.cpp tells the linker to wrap the calls that the store
/// makes. They are real until a test says otherwise. Each fails with the errors that its manual
/// page lists and that the store tells apart, and a read or write also by doing half of its work.
#pragma once

#include <functional>

namespace reliability {

/// Runs a piece of an attempt while calls can fail.
using WithFailingCalls = std::function<void(std::function<void()> const&)>;

/// Makes an attempt again and again. The piece that it runs with failing calls first has its first
/// call fail in each way, then its second, and so on until it makes no more; then all over again
/// with all later calls failing as well, as after a medium was pulled out. After each attempt, the
/// open descriptors must be what they were before.
/// @return The number of failures, also printed.
long failEachCall(std::function<void(WithFailingCalls const&)> const& attempt);

/// Runs a piece in which all calls fail from one on, as when the medium is pulled out.
/// @param name The name of a call, such as "renameat".
/// @param at   Which call of this name is the first that fails: 1 for the first.
/// @return Whether one failed.
bool failFrom(char const* name, long at, std::function<void()> const& piece);

/// From here on, listings tell no types of entries, as on some file systems.
void hideTypes() noexcept;

/// From here on, all files and folders count as immutable.
void makeImmutable() noexcept;

/// @return The error number that the first failing call of this attempt gave; 0 if none failed.
int errorGiven() noexcept;

} // namespace reliability
