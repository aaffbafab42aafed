/// @file
/// Reads that go wrong when a test wants them to.
///
/// An executable that links FakeRead.cpp tells the linker to wrap `read`. Until a test says
/// otherwise, the real call answers.
#pragma once

#include <vector>

namespace support {

/// What a `read` does in place of reading: it fails with this `errno`, or finds the end for 0.
using FakeAnswer = int;

/// Lets @p calls of `read` read, the next ones answer so, in order, and those behind them read.
void answerReadsAfter(int calls, std::vector<FakeAnswer> answers);

} // namespace support
