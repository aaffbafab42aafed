/// @file
/// What the companion says on the standard error stream.
#pragma once

#include "tool/companion/Result.h"

#include <string>

namespace companion {

/// Says a sentence, on a line of its own.
void say(std::string const& sentence);

/// Says what to do next. Each command stands on a line of its own, so that it can be pasted.
void sayHint(Hint const& hint);

} // namespace companion
