#include "bench/Suite.h"

#include <cmath>
#include <exception>
#include <iostream>
#include <utility>

namespace bench {

void Suite::guard(benchmark::State& state, std::function<void()> const& body) {
    try {
        body();
    } catch (std::exception const& failure) {
        m_failed = true;
        std::cerr << failure.what() << "\n";
        state.SkipWithError(failure.what());
    }
}

void Suite::addRace(std::string const& name, int rounds, std::function<Race()> make,
                    std::function<void(Timings const&)> report) {
    auto const run = [this, make = std::move(make),
                      report = std::move(report)](benchmark::State& state) {
        guard(state, [&] {
            Race race = make();
            if (m_quick)
                race.repetitions = 1;
            Timings const timings = runInterleaved(race, state);
            if (!m_quick)
                report(timings);
        });
    };
    benchmark::RegisterBenchmark(name.c_str(), run)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond)
        ->Iterations(m_quick ? 1 : rounds);
}

void Suite::addOther(std::string const& name, std::function<void()> measure) {
    auto const run = [this, measure = std::move(measure)](benchmark::State& state) {
        guard(state, [&] {
            for (auto once : state) {
                static_cast<void>(once);
                measure();
            }
        });
    };
    benchmark::RegisterBenchmark(name.c_str(), run)->Unit(benchmark::kMillisecond)->Iterations(1);
}

double growthExponent(double smallSize, double smallTime, double largeSize, double largeTime) {
    return std::log(largeTime / smallTime) / std::log(largeSize / smallSize);
}

} // namespace bench
