#include "bench/Results.h"

#include "bench/Readers.h"

#include <algorithm>
#include <iomanip>
#include <ostream>
#include <sstream>

namespace bench {

namespace {

std::string figure(double value) {
    std::ostringstream text;
    text << std::fixed << std::setprecision(2) << value;
    return text.str();
}

std::string quartiles(Spread const& spread) {
    if (spread.lower == spread.upper)
        return "";
    return figure(spread.lower) + " to " + figure(spread.upper);
}

char const* verdict(Row const& row) {
    if (!row.goal)
        return "";
    if (row.measured.median > row.goal->limit)
        return "missed";
    return row.measured.median > row.goal->stretch ? "goal" : "stretch";
}

std::string limit(Row const& row) {
    return row.goal ? figure(row.goal->limit) : "";
}

std::string stretch(Row const& row) {
    return row.goal ? figure(row.goal->stretch) : "";
}

int columns(std::string const& text) {
    return static_cast<int>(std::count_if(text.begin(), text.end(), [](char c) {
        return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U; // not inside a UTF-8 character
    }));
}

} // namespace

void Results::add(std::string what, std::optional<Goal> goal, Spread const& measured) {
    m_rows.push_back({std::move(what), goal, measured});
}

void Results::add(std::string what, std::optional<Goal> goal, double measured) {
    add(std::move(what), goal, Spread{measured, measured, measured});
}

int Results::missed() const {
    return static_cast<int>(std::count_if(m_rows.begin(), m_rows.end(), [](Row const& row) {
        return row.goal && row.measured.median > row.goal->limit;
    }));
}

void Results::printTable(std::ostream& out) const {
    int width = 0;
    for (Row const& row : m_rows)
        width = std::max(width, columns(row.what));
    auto const line = [&](std::string const& what, std::string const& goal,
                          std::string const& better, std::string const& measured,
                          std::string const& spread, std::string const& reached) {
        out << what << std::string(static_cast<std::size_t>(width - columns(what)), ' ')
            << std::setw(8) << goal << std::setw(9) << better << std::setw(10) << measured
            << std::setw(18) << spread << "  " << reached << "\n";
    };
    line("", "goal", "stretch", "measured", "quartiles", "reached");
    for (Row const& row : m_rows) {
        line(row.what, limit(row), stretch(row), figure(row.measured.median),
             quartiles(row.measured), verdict(row));
    }
}

void Results::printCsv(std::ostream& out) const {
    out << "what,goal,stretch,lower quartile,median,upper quartile,reached\n";
    for (Row const& row : m_rows) {
        out << '"' << row.what << "\"," << limit(row) << "," << stretch(row) << ","
            << row.measured.lower << "," << row.measured.median << "," << row.measured.upper << ","
            << verdict(row) << "\n";
    }
}

void Results::printMarkdown(std::ostream& out) const {
    out << "| what | goal | stretch | measured | quartiles | reached |\n";
    out << "|---|---|---|---|---|---|\n";
    for (Row const& row : m_rows) {
        out << "| " << row.what << " | " << (row.goal ? "≤ " + limit(row) : "") << " | "
            << (row.goal ? "≤ " + stretch(row) : "") << " | " << figure(row.measured.median)
            << " | " << quartiles(row.measured) << " | " << verdict(row) << " |\n";
    }
}

void Results::printPoints(std::ostream& out) const {
    out << "bytes";
    for (Reader const& reader : readers())
        out << "," << reader.name;
    out << "\n";
    for (Point const& point : m_points) {
        out << point.bytes;
        for (double const seconds : point.seconds)
            out << "," << seconds * 1e3;
        out << "\n";
    }
}

} // namespace bench
