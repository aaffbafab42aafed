#include "tool/companion/CommandOptions.h"
#include "tool/companion/Commands.h"
#include "tool/companion/InstalledSet.h"
#include "tool/companion/Table.h"

#include "imgproc/Description.h"

#include <algorithm>
#include <limits>
#include <optional>

namespace companion {

namespace {

using FrameRates = std::optional<std::vector<std::uint16_t>>;

/// JSON knows neither infinity nor NaN; nlohmann writes null for them.
double number(float value) {
    return std::stod(decimal(value));
}

std::string frameRatesText(FrameRates const& rates) {
    if (!rates)
        return "any";
    std::string text;
    for (auto const rate : *rates)
        text += (text.empty() ? "" : ", ") + std::to_string(rate);
    if (text.empty())
        return "none";
    return text + " Hz";
}

Json rangeMembers(TempRangeDefinition const& range) {
    Json members;
    members["low"] = number(range.range.lo);
    members["high"] = number(range.range.hi);
    members["frameRates"] = range.framerates ? Json(*range.framerates) : Json(nullptr);
    return members;
}

Json opticMembers(OpticsDefinition const& optic, TempRangeTable const& ranges) {
    Json members;
    members["fieldOfView"] = optic.FOV;
    members["text"] = optic.Text != nullptr ? optic.Text.get() : "";
    members["samplePointCalibrated"] = optic.SamplePointCali;
    Json& listed = members["ranges"] = Json::array();
    for (auto const& range : ranges)
        listed.push_back(rangeMembers(range));
    return members;
}

/// Adds a row for each range. Only the first one names the optic.
void addRows(Table& table, OpticsDefinition const& optic, TempRangeTable const& ranges) {
    std::string name = opticText(optic);
    for (auto const& [fid, skim, range, extended, rates, decimals, parameters] : ranges) {
        table.add({name, decimal(range.lo) + " to " + decimal(range.hi), frameRatesText(rates)},
                  {range.lo, range.hi});
        name.clear();
    }
    if (!name.empty())
        table.add({name, "none", ""}, {1, 0});
}

/// @return The span from the lowest to the highest limit; an empty one without ranges.
Span spanOf(OpticsTable const& optics) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    Span span{infinity, -infinity};
    for (OpticsDefinition const& optic : optics) {
        for (TempRangeDefinition const& definition : optic.tempRanges) {
            span.low = std::min<double>(span.low, definition.range.lo);
            span.high = std::max<double>(span.high, definition.range.hi);
        }
    }
    return span;
}

void addOpticsOptions(CLI::App& parser, Options& options) {
    addSerial(parser, options);
    addDirectory(parser, options);
}

Result runOptics(Options const& options, Terminal const& terminal) {
    InstalledSet const set(options.directory, options.serial);
    Result result = answerAbout(options.serial, options.directory);
    result.members["optics"] = Json::array();
    result.members["problems"] = Json::array();
    Description const* const description = set.description();
    if (description == nullptr) {
        set.tellNoDescription(options, result);
        return result;
    }
    Table table({"OPTIC", "RANGE", "FRAME RATES"}, spanOf(description->optics));
    for (OpticsDefinition const& optic : description->optics) {
        // The first optic of that field of view and text answers for all that share them.
        auto const& ranges = description->optics.find(OpticIdentity::of(optic))->tempRanges;
        addRows(table, optic, ranges);
        result.members["optics"].push_back(opticMembers(optic, ranges));
    }
    result.text = table.render(terminal);
    return result;
}

} // namespace

Command const optics{
    "optics",
    "Show a camera's optics, temperature ranges and frame rates",
    "0 shown, 1 no description",
    "zentho-cali optics 14080045",
    addOpticsOptions,
    runOptics,
};

} // namespace companion
