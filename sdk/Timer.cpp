#include "sdk/Timer.h"

#include <sys/time.h>

namespace zel {

namespace {

timeval currentTime{};

long double now() noexcept {
    gettimeofday(&currentTime, nullptr);
    return static_cast<long double>(currentTime.tv_sec) * 1000.0L +
           static_cast<long double>(currentTime.tv_usec) / 1000.0L;
}

} // namespace

Timer::Timer() noexcept : m_start(now()) {}

long double Timer::reset() noexcept {
    long double const previousStart = m_start;
    m_start = now();
    return m_start - previousStart;
}

long double Timer::getTime() const noexcept {
    return now() - m_start;
}

long double Timer::getTimeNow() const noexcept {
    return now();
}

} // namespace zel
