#pragma once

#include <cstddef>
#include <string>

namespace bench {

/// What a generated description consists of.
struct Shape {
    int rangesPerOptic = 3;
    int framerates = 2;           ///< of each range
    bool optionalElements = true; ///< without them, each range has its limits, `Fid` and `Skim`
    bool comments = false;        ///< two thirds as many comments as lines
};

/// A description with this many optics, each with a different field of view.
std::string describeOptics(Shape const& shape, int optics);

/// A description with just enough optics to reach this size.
std::string describeBytes(Shape const& shape, std::size_t bytes);

} // namespace bench
