#include "tool/companion/ProgressLine.h"

#include "tool/companion/Messages.h"
#include "tool/companion/Signals.h"

#include "store/Files.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <utility>

#include <unistd.h>

namespace companion {

namespace {

using zel::store::Phase;
using zel::store::Progress;

constexpr std::chrono::milliseconds patience(500);
constexpr std::chrono::milliseconds pause(100);

char const* wordFor(Phase phase) {
    constexpr std::array<char const*, 7> words{"Searching",    "Comparing",  "Waiting",   "Copying",
                                               "Reading back", "Publishing", "Publishing"};
    static_assert(words.size() == static_cast<std::size_t>(Phase::publishing) + 1);
    return words.at(static_cast<std::size_t>(phase));
}

std::string megabytes(double bytes) {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.1f", bytes / 1e6);
    return text.data();
}

/// @param all Empty when it is not known.
std::string counted(std::string const& done, std::string const& all, std::string const& unit) {
    std::string text = done;
    if (!all.empty())
        text += " of " + all;
    return text + " " + unit;
}

/// @return What a phase counts.
std::string unitOf(Progress const& progress) {
    std::string const one = progress.phase == Phase::searching ? "folder" : "file";
    auto const counted = progress.allFiles != 0 ? progress.allFiles : progress.files;
    return counted == 1 ? one : one + "s";
}

} // namespace

ProgressLine::ProgressLine(std::string directory)
    : m_terminal(Terminal::of(STDERR_FILENO)), m_directory(std::move(directory)) {
    catchSignals();
}

ProgressLine::~ProgressLine() {
    clear();
}

zel::store::ProgressCallback ProgressLine::callback() {
    return [this](Progress const& progress) {
        follow(progress);
        return !shouldStop();
    };
}

void ProgressLine::follow(Progress const& progress) {
    auto const now = Clock::now();
    if (progress.phase != m_phase) {
        m_phase = progress.phase;
        m_phaseStart = now;
    }
    tell(progress);
    if (!m_terminal.drawing || now - m_start < patience || now - m_lastShown < pause)
        return;
    m_lastShown = now;
    show(line(progress, now));
}

void ProgressLine::tell(Progress const& progress) {
    if (progress.phase == Phase::waiting && !m_toldToWait) {
        m_toldToWait = true;
        clear();
        std::string who = "another process";
        if (progress.holder != 0)
            who = "process " + std::to_string(progress.holder);
        say("Waiting for " + who + ", which changes " + m_directory + ".");
    }
    if (progress.phase == Phase::sourceNotNeeded && !m_sourceNeeded && !m_toldToUnplug) {
        m_toldToUnplug = true;
        clear();
        say("From here on the source may be unplugged.");
    }
}

std::string ProgressLine::line(Progress const& progress, Clock::time_point now) const {
    std::string text = wordFor(progress.phase);
    if (progress.phase == Phase::waiting || progress.phase == Phase::publishing)
        return text;
    auto const files = std::to_string(progress.files);
    std::string allFiles;
    if (progress.allFiles != 0)
        allFiles = std::to_string(progress.allFiles);
    text += ": " + counted(files, allFiles, unitOf(progress));
    if (progress.bytes == 0)
        return text;
    auto const done = static_cast<double>(progress.bytes);
    auto const all = static_cast<double>(progress.allBytes);
    std::string allBytes;
    if (progress.allBytes != 0)
        allBytes = megabytes(all);
    text += ", " + counted(megabytes(done), allBytes, "MB");
    std::chrono::duration<double> const spent = now - m_phaseStart;
    double const seconds = std::max(spent.count(), 1e-3);
    text += ", " + megabytes(done / seconds) + " MB/s";
    if (all > done)
        text += ", " + std::to_string(std::lround(seconds * (all - done) / done)) + " s left";
    return text;
}

void ProgressLine::show(std::string const& text) {
    m_shown = true;
    // One that is longer than the terminal is wide would stay behind.
    zel::store::writeAll(STDERR_FILENO, "\r" + text.substr(0, m_terminal.width - 1) + "\033[K");
}

void ProgressLine::clear() {
    if (m_shown)
        zel::store::writeAll(STDERR_FILENO, "\r\033[K");
    m_shown = false;
}

} // namespace companion
