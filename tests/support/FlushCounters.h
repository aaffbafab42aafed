/// @file
/// Included before everything else by a build that counts what the tests reach: a process that ends
/// itself in another way than by an exit writes its counters first. They then start from zero, in
/// case it continues.
#pragma once

#ifdef __cplusplus
#include <csignal>
#include <cstdlib>

#include <unistd.h>

extern "C" void __gcov_dump();
extern "C" void __gcov_reset();
// Of the tests that refuse memory; writing the counters needs some.
extern "C" __attribute__((weak)) void allowAllocations();

inline void writeCounters() {
    if (allowAllocations != nullptr)
        allowAllocations();
    __gcov_dump();
    __gcov_reset();
}

namespace std {
inline int raiseWithCountersWritten(int signal) {
    writeCounters();
    return raise(signal);
}
[[noreturn]] inline void abortWithCountersWritten() {
    writeCounters();
    abort();
}
} // namespace std
using std::abortWithCountersWritten;
using std::raiseWithCountersWritten;

[[noreturn]] inline void exitAtOnceWithCountersWritten(int status) {
    writeCounters();
    _exit(status);
}

#define raise raiseWithCountersWritten
#define abort abortWithCountersWritten
#define _exit exitAtOnceWithCountersWritten
#endif
