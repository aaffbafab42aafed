/// @file
/// How an operation of the store ends early.
#pragma once

#include "store/Results.h"

#include <cerrno>
#include <new>
#include <string>
#include <utility>

namespace zel::store {

/// Thrown inside the store, and caught at the boundary of each operation.
struct Stop {
    Failure failure; ///< what stands in the way
};

/// Stops because the system refused something.
/// @param message What could not be done, such as "Cannot write".
/// @param path    The file or directory.
/// @param error   The system's error number.
[[noreturn]] inline void stop(char const* message, std::string path, int error) {
    Failure failure;
    failure.message = message;
    failure.path = std::move(path);
    failure.error = error;
    throw Stop{std::move(failure)};
}

/// Stops because something stands in the way, as @p kind says.
[[noreturn]] inline void stop(FailureKind kind, char const* message, std::string path) {
    Failure failure;
    failure.kind = kind;
    failure.message = message;
    failure.path = std::move(path);
    throw Stop{std::move(failure)};
}

/// Runs the body of an operation and turns what it throws into the outcome's failure.
/// @param outcome Outcome of the operation, with a member `failure`.
/// @param body    What the operation does.
template <class Outcome, class Body>
void guarded(Outcome& outcome, Body const& body) noexcept {
    try {
        body();
    } catch (Stop& stopped) {
        outcome.failure = std::move(stopped.failure);
    } catch (...) { // only std::bad_alloc is left
        outcome.failure.emplace();
        outcome.failure->kind = FailureKind::noMemory;
    }
}

} // namespace zel::store
