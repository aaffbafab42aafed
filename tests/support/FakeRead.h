/// @file
/// Reads that fail on demand.
///
/// An executable that links FakeRead.cpp tells the linker to wrap `read`. Until a test says
/// otherwise, the real call answers.
#pragma once

#include <vector>

namespace support {

/// What a `read` does instead of reading: it fails with this `errno`, or for 0 finds the end.
using FakeAnswer = int;

/// Lets @p calls of `read` pass, then gives the next ones these answers in order, and lets all
/// later ones pass.
void answerReadsAfter(int calls, std::vector<FakeAnswer> answers);

} // namespace support
