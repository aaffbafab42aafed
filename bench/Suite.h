#pragma once

#include "bench/Results.h"
#include "bench/Rounds.h"

#include "tests/support/TemporaryDirectory.h"

#include <functional>
#include <string>

namespace bench {

/// What the rows share: how to run, where to write, what came out.
class Suite {
public:
    /// @param quick Run everything once, without measuring time.
    explicit Suite(bool quick) : m_quick(quick) {}

    bool quick() const { return m_quick; }
    /// @return A directory for data, which is deleted with the suite.
    std::string const& directory() const { return m_directory.path(); }
    Results& results() { return m_results; }
    bool failed() const { return m_failed; }

    /// Registers a race, which is made when its turn comes, and a report on its timings.
    void addRace(std::string const& name, int rounds, std::function<Race()> make,
                 std::function<void(Timings const&)> report);

    /// Registers any other measurement.
    void addOther(std::string const& name, std::function<void()> measure);

private:
    void guard(benchmark::State& state, std::function<void()> const& body);

    bool m_quick;
    bool m_failed = false;
    Results m_results;
    support::TemporaryDirectory m_directory;
};

// Each registers the rows of one topic.
void addLoadRows(Suite& suite);
void addCheckRows(Suite& suite);
void addDiscoveryRows(Suite& suite);
void addRunRows(Suite& suite);
void addLogRows(Suite& suite);
void addStoreRows(Suite& suite);

/// The exponent with which a time grows with a size.
double growthExponent(double smallSize, double smallTime, double largeSize, double largeTime);

} // namespace bench
