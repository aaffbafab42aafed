#include "tool/companion/Table.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

namespace companion {

namespace {

constexpr std::size_t gap = 2;
constexpr std::size_t narrowestBar = 10;
constexpr std::size_t widestBar = 60;

std::string padded(std::string const& text, std::size_t width) {
    return text + std::string(width - displayWidth(text), ' ');
}

} // namespace

std::string Table::render(Terminal const& terminal) const {
    auto const columns = widths(terminal);
    std::size_t used = 0;
    for (std::size_t const width : columns)
        used += width + gap;
    bool const measurable = std::isfinite(m_scale.low) && m_scale.low < m_scale.high &&
                            std::isfinite(m_scale.high - m_scale.low);
    bool const bars = terminal.drawing && measurable && used + narrowestBar <= terminal.width;
    std::size_t const barWidth = bars ? std::min(terminal.width - used, widestBar) : 0;

    std::string text;
    for (Row const& row : m_rows) {
        std::string cells;
        for (std::size_t i = 0; i < columns.size(); ++i)
            cells += padded(terminal.sanitized(row.cells[i]), columns[i] + gap);
        bool const heading = &row == &m_rows.front();
        if (bars)
            cells += heading ? scaleMarks(barWidth) : bar(row.bar, barWidth, terminal.utf8);
        cells.erase(cells.find_last_not_of(' ') + 1);
        text += (heading ? terminal.bold(cells) : cells) + "\n";
    }
    return text;
}

std::vector<std::size_t> Table::widths(Terminal const& terminal) const {
    std::vector<std::size_t> widths(m_rows.front().cells.size(), 0);
    for (Row const& row : m_rows) {
        for (std::size_t i = 0; i < widths.size(); ++i)
            widths[i] = std::max(widths[i], displayWidth(terminal.sanitized(row.cells[i])));
    }
    return widths;
}

std::string Table::bar(Span span, std::size_t width, bool utf8) const {
    auto const position = [&](double value) {
        double const share = (value - m_scale.low) / (m_scale.high - m_scale.low);
        return static_cast<std::size_t>(
            std::lround(std::clamp(share, 0.0, 1.0) * static_cast<double>(width)));
    };
    if (!(span.low <= span.high)) // also when one of them is not a number
        return "";
    std::size_t const begin = std::min(position(span.low), width - 1);
    std::size_t const end = std::max(position(span.high), begin + 1); // even the shortest bar shows
    std::string text(begin, ' ');
    for (std::size_t i = begin; i < end; ++i)
        text += utf8 ? "\u2588" : "#";
    return text;
}

std::string Table::scaleMarks(std::size_t width) const {
    std::string const low = decimal(static_cast<float>(m_scale.low));
    std::string const high = decimal(static_cast<float>(m_scale.high));
    std::size_t const used = low.size() + high.size();
    return low + std::string(used < width ? width - used : 1, ' ') + high;
}

std::string decimal(float value) {
    std::array<char, 64> digits{};
    char* const end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
    return {digits.data(), end};
}

} // namespace companion
