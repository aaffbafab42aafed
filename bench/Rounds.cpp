#include "bench/Rounds.h"

#include <algorithm>
#include <ctime>
#include <stdexcept>

#include <sys/resource.h>
#include <sys/time.h>

namespace bench {

namespace {

double seconds(timeval const& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

double quantile(std::vector<double> const& sorted, double share) {
    double const position = share * static_cast<double>(sorted.size() - 1);
    auto const below = static_cast<std::size_t>(position);
    auto const above = std::min(below + 1, sorted.size() - 1);
    double const part = position - static_cast<double>(below);
    return sorted[below] + part * (sorted[above] - sorted[below]);
}

/// @return Seconds of one repetition.
/// @param now Tells the seconds.
double timeWork(Subject const& subject, int repetitions, double (*now)(), std::uint64_t& sum) {
    double spent = 0;
    for (int left = repetitions; left > 0;) {
        int const batch = subject.prepare ? 1 : left;
        if (subject.prepare)
            subject.prepare();
        double const start = now();
        for (int i = 0; i < batch; ++i)
            sum = subject.work();
        spent += now() - start;
        left -= batch;
    }
    return spent / repetitions;
}

} // namespace

Spread spreadOf(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return {quantile(values, 0.25), quantile(values, 0.5), quantile(values, 0.75)};
}

double processorSeconds() {
    timespec self{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &self);
    rusage children{};
    getrusage(RUSAGE_CHILDREN, &children);
    return static_cast<double>(self.tv_sec) + static_cast<double>(self.tv_nsec) * 1e-9 +
           seconds(children.ru_utime) + seconds(children.ru_stime);
}

double clockSeconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

double Timings::medianSeconds(std::size_t subject) const {
    return spreadOf(m_seconds[subject]).median;
}

Spread Timings::ratioTo(std::size_t peer) const {
    std::vector<double> ratios;
    for (std::size_t round = 0; round < m_seconds[peer].size(); ++round)
        ratios.push_back(m_seconds[0][round] / m_seconds[peer][round]);
    return spreadOf(std::move(ratios));
}

Timings runInterleaved(Race const& race, benchmark::State& state) {
    std::size_t const count = race.subjects.size();
    Timings timings(count);
    std::vector<std::uint64_t> sums(count);
    bool reverse = false;
    for (auto round : state) {
        static_cast<void>(round);
        for (std::size_t turn = 0; turn < count; ++turn) {
            std::size_t const subject = reverse ? count - 1 - turn : turn;
            double const seconds =
                timeWork(race.subjects[subject], race.repetitions,
                         race.byClock ? clockSeconds : processorSeconds, sums[subject]);
            timings.add(subject, seconds);
            if (subject == 0)
                state.SetIterationTime(seconds);
        }
        reverse = !reverse;
    }
    for (std::size_t subject = 1; subject < count; ++subject) {
        if (sums[subject] != sums[0]) {
            throw std::runtime_error(race.subjects[subject].name + " found something else than " +
                                     race.subjects[0].name);
        }
        state.counters["/" + race.subjects[subject].name] = timings.ratioTo(subject).median;
    }
    return timings;
}

} // namespace bench
