/// @file
/// Tables for people.
#pragma once

#include "tool/companion/Terminal.h"

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace companion {

/// An interval.
struct Span {
    double low;  ///< its low end
    double high; ///< its high end
};

/// Columns of text under a heading. Each row ends in a bar where the terminal can show bars.
class Table {
public:
    using Cells = std::vector<std::string>;

    /// @param heading One cell a column.
    /// @param scale   What the whole width of a bar stands for.
    Table(Cells heading, Span scale) : m_scale(scale) { add(std::move(heading), {}); }

    /// Adds a row with as many cells as the heading.
    void add(Cells cells, Span bar) { m_rows.push_back({std::move(cells), bar}); }

    /// @return The lines, without bars where the terminal cannot show them or lacks the room.
    std::string render(Terminal const& terminal) const;

private:
    struct Row {
        Cells cells;
        Span bar;
    };

    std::vector<std::size_t> widths(Terminal const& terminal) const;
    std::string bar(Span span, std::size_t width, bool utf8) const;
    std::string scaleMarks(std::size_t width) const;

    Span m_scale;
    std::vector<Row> m_rows;
};

/// @return The shortest decimal text that reads back as the value.
std::string decimal(float value);

} // namespace companion
