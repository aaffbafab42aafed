#include "store/Results.h"

#include <algorithm>
#include <array>

namespace zel::store {

namespace {

struct Word {
    FileState state;
    char const* word;
};

constexpr std::array<Word, 16> words{{
    {FileState::installed, "installed"},
    {FileState::replaced, "replaced"},
    {FileState::unchanged, "unchanged"},
    {FileState::removed, "removed"},
    {FileState::missing, "missing"},
    {FileState::damaged, "damaged"},
    {FileState::ambiguous, "ambiguous"},
    {FileState::empty, "empty"},
    {FileState::unreadable, "unreadable"},
    {FileState::altered, "altered"},
    {FileState::interrupted, "interrupted"},
    {FileState::same, "same"},
    {FileState::differs, "differs"},
    {FileState::missingHere, "missing here"},
    {FileState::missingThere, "missing there"},
    {FileState::missingHereAndThere, "missing here and there"},
}};

} // namespace

char const* word(FileState state) noexcept {
    return std::find_if(words.begin(), words.end(),
                        [&](Word const& entry) { return entry.state == state; })
        ->word;
}

} // namespace zel::store
