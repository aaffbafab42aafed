#include "sdk/manager/OpticsList.h"

#include "imgproc/Cali.h"

#include <cmath>
#include <limits>

namespace zel {

namespace {

int truncated(float limit) noexcept {
    constexpr auto largest = std::numeric_limits<int>::max();
    constexpr auto smallest = std::numeric_limits<int>::min();
    if (std::isnan(limit))
        return 0;
    if (limit >= static_cast<float>(largest))
        return largest;
    if (limit <= static_cast<float>(smallest))
        return smallest;
    return static_cast<int>(limit);
}

IROptics listed(OpticsDefinition const& definition, ConfigCali const& description) {
    char const* const text = definition.Text.get();
    IROptics entry{definition.FOV, {}, text != nullptr ? text : ""};
    // The first optic of that field of view and text answers for all that share them.
    for (auto const& range : description.findOptic(definition.FOV, text)->tempRanges) {
        entry.tempRanges.push_back({truncated(range.range.lo), truncated(range.range.hi)});
    }
    return entry;
}

} // namespace

void listOptics(char const* dir, unsigned long serial, std::vector<IROptics>& optics) {
    ConfigCali* const description = ConfigCali::getInstance();
    if (description == nullptr)
        return;
    auto const descriptionSerial = static_cast<int>(serial);
    if (!description->isLoaded(descriptionSerial))
        description->load(dir, descriptionSerial);
    optics.clear();
    for (OpticsDefinition const& definition : *description->optics)
        optics.push_back(listed(definition, *description));
}

} // namespace zel
