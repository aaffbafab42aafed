#pragma once

#include "bench/Rounds.h"

#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

namespace bench {

/// The limit that a figure should not exceed, and a better value to aim for.
struct Goal {
    double limit;
    double stretch;
};

/// One line of the table.
struct Row {
    std::string what;
    std::optional<Goal> goal; ///< none for a figure that is only there for comparison
    Spread measured;
};

/// One point of the plot.
struct Point {
    std::uint64_t bytes;
    std::vector<double> seconds; ///< of each reader
};

/// What the rows found.
class Results {
public:
    void add(std::string what, std::optional<Goal> goal, Spread const& measured);
    void add(std::string what, std::optional<Goal> goal, double measured);
    void addPoint(Point point) { m_points.push_back(std::move(point)); }

    std::vector<Point> const& points() const { return m_points; }
    /// @return How many rows miss their goal.
    int missed() const;

    void printTable(std::ostream& out) const;
    void printCsv(std::ostream& out) const;
    void printMarkdown(std::ostream& out) const;
    /// Bytes and milliseconds of each reader, one line per size.
    void printPoints(std::ostream& out) const;

private:
    std::vector<Row> m_rows;
    std::vector<Point> m_points;
};

} // namespace bench
