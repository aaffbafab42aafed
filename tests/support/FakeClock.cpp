#include "tests/support/FakeClock.h"

#include <ctime>
#include <optional>
#include <sys/time.h>

namespace {

constexpr std::time_t madeMoment = 424242;

std::optional<timeval> clockReading;
std::optional<std::tm> date;
support::ClockCall clockCall{};

} // namespace

extern "C" {

int __real_gettimeofday(timeval* target, void* zone);
std::time_t __real_time(std::time_t* target);
std::tm* __real_localtime(std::time_t const* moment);

int __wrap_gettimeofday(timeval* target, void* zone);
std::time_t __wrap_time(std::time_t* target);
std::tm* __wrap_localtime(std::time_t const* moment);

int __wrap_gettimeofday(timeval* target, void* zone) {
    clockCall = {target, zone};
    if (!clockReading)
        return __real_gettimeofday(target, zone);
    *target = *clockReading;
    return 0;
}

std::time_t __wrap_time(std::time_t* target) {
    if (!date)
        return __real_time(target);
    if (target != nullptr)
        *target = madeMoment;
    return madeMoment;
}

std::tm* __wrap_localtime(std::time_t const* moment) {
    if (!date || *moment != madeMoment)
        return __real_localtime(moment);
    return &*date;
}
}

namespace support {

void setClock(long seconds, long microseconds) {
    clockReading = timeval{seconds, microseconds};
}

ClockCall lastClockCall() {
    return clockCall;
}

void setDate(int day, int month, int year, int hour, int minute, int second) {
    date.emplace();
    date->tm_mday = day;
    date->tm_mon = month - 1;
    date->tm_year = year - 1900;
    date->tm_hour = hour;
    date->tm_min = minute;
    date->tm_sec = second;
}

void useRealClockAndDate() {
    clockReading.reset();
    date.reset();
}

} // namespace support
