#include "tool/companion/FileState.h"

#include <map>

namespace companion {

using zel::store::File;
using zel::store::FileState;

bool isProblem(FileState state) {
    switch (state) {
    case FileState::installed:
    case FileState::replaced:
    case FileState::unchanged:
    case FileState::removed:
    case FileState::same:
        return false;
    default:
        return true;
    }
}

namespace {

/// What cannot be right is red, what is not there is yellow.
std::string coloured(FileState state, Terminal const& terminal) {
    char const* const text = zel::store::word(state);
    switch (state) {
    case FileState::damaged:
    case FileState::ambiguous:
    case FileState::empty:
    case FileState::unreadable:
    case FileState::altered:
    case FileState::differs:
        return terminal.red(text);
    default:
        break;
    }
    if (isProblem(state))
        return terminal.yellow(text);
    return terminal.green(text);
}

} // namespace

std::string stateLine(std::string const& fileName, FileState state, Terminal const& terminal) {
    return terminal.sanitized(fileName) + ": " + coloured(state, terminal) + "\n";
}

std::string stateLines(std::vector<File> const& files, Terminal const& terminal) {
    std::string lines;
    for (File const& file : files)
        lines += stateLine(file.name, file.state, terminal);
    return lines;
}

std::string countsOf(std::vector<File> const& files) {
    std::map<FileState, std::size_t> counts;
    for (File const& file : files)
        ++counts[file.state];
    std::string text;
    for (auto const& [state, count] : counts)
        text += (text.empty() ? "" : ", ") + std::to_string(count) + " " + zel::store::word(state);
    return text;
}

} // namespace companion
