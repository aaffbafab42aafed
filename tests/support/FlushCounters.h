/// @file
/// Included before everything else by the coverage build: a process that ends itself by a signal
/// writes its counters first, which otherwise only an exit does.
#pragma once

#ifdef __cplusplus
#include <csignal>

extern "C" void __gcov_dump();

namespace std {
inline int raiseWithCountersWritten(int signal) {
    __gcov_dump();
    return raise(signal);
}
} // namespace std
using std::raiseWithCountersWritten;

#define raise raiseWithCountersWritten
#endif
