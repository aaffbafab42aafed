#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

namespace bench {

/// Median and quartiles over the rounds.
struct Spread {
    double lower;
    double median;
    double upper;
};

Spread spreadOf(std::vector<double> values);

/// @return The time of a clock that only goes forward, in seconds.
double clockSeconds();

/// @return The processor time of this process and of its children that have ended, in seconds.
double processorSeconds();

/// One of the candidates that are compared.
struct Subject {
    std::string name;
    /// Does the work once. @return A sum over what was found, the same for all subjects.
    std::function<std::uint64_t()> work;
    /// What has to be done before each time and is not measured; may be empty.
    std::function<void()> prepare = {};
};

/// The same work done by several subjects, the product first.
struct Race {
    std::vector<Subject> subjects;
    int repetitions;      ///< of the work, in each round
    bool byClock = false; ///< measure by the clock, for work that waits for a disk
};

/// Seconds of each subject's work, round by round.
class Timings {
public:
    explicit Timings(std::size_t subjects) : m_seconds(subjects) {}

    void add(std::size_t subject, double seconds) { m_seconds[subject].push_back(seconds); }

    double medianSeconds(std::size_t subject) const;
    /// @return The product's time divided by a peer's, each within one round.
    Spread ratioTo(std::size_t peer) const;
    std::size_t subjects() const { return m_seconds.size(); }

private:
    std::vector<std::vector<double>> m_seconds;
};

/// Runs the subjects in turn, one round per iteration, every other round in reverse order.
/// @return Their times. Throws std::runtime_error when their sums differ.
Timings runInterleaved(Race const& race, benchmark::State& state);

} // namespace bench
