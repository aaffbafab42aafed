#include "tool/companion/FileState.h"

#include <algorithm>
#include <array>

namespace companion {

namespace {

using Colour = std::string (Terminal::*)(std::string const&) const;

/// The words for a state.
struct Words {
    FileState state;
    char const* forPeople;
    Colour colour;
    char const* forPrograms; ///< as a value or as the name of a list
};

constexpr std::array<Words, 7> table{{
    {FileState::same, "same", &Terminal::green, "same"},
    {FileState::differs, "differs", &Terminal::red, "differs"},
    {FileState::missingHere, "missing here", &Terminal::yellow, "missing here"},
    {FileState::missingThere, "missing there", &Terminal::yellow, "missing there"},
    {FileState::missingHereAndThere, "missing here and there", &Terminal::yellow,
     "missing here and there"},
    {FileState::installed, "installed", &Terminal::green, "installed"},
    {FileState::stillMissing, "still missing", &Terminal::yellow, "missing"},
}};

Words const& wordsOf(FileState state) {
    return *std::find_if(table.begin(), table.end(),
                         [&](Words const& words) { return words.state == state; });
}

} // namespace

char const* jsonName(FileState state) {
    return wordsOf(state).forPrograms;
}

std::string stateLine(std::string const& fileName, FileState state, Terminal const& terminal) {
    Words const& words = wordsOf(state);
    return terminal.sanitized(fileName) + ": " + (terminal.*words.colour)(words.forPeople) + "\n";
}

} // namespace companion
