/// @file
/// Telling people how far an operation of the store is.
#pragma once

#include "tool/companion/Terminal.h"

#include "store/Results.h"

#include <chrono>
#include <string>

namespace companion {

/// Follows operations of the store on the standard error stream. A terminal shows a line that goes
/// on, after half a second; it is gone when this object is. Anything else gets no such line.
class ProgressLine {
public:
    /// @param directory The calibration directory.
    explicit ProgressLine(std::string directory);
    ~ProgressLine();
    ProgressLine(ProgressLine const&) = delete;
    ProgressLine& operator=(ProgressLine const&) = delete;

    /// @return What to give to the store; must not outlive this object. It cancels the operation
    ///         after SIGINT and SIGTERM, which it catches.
    zel::store::ProgressCallback callback();

    /// Takes the line away, for somebody else who writes.
    void clear();

    /// Another operation needs the source after the next one, so nobody may unplug it.
    /// @param needed Whether that is so.
    void setSourceNeeded(bool needed) { m_sourceNeeded = needed; }

private:
    using Clock = std::chrono::steady_clock;

    void follow(zel::store::Progress const& progress);
    void tell(zel::store::Progress const& progress);
    std::string line(zel::store::Progress const& progress, Clock::time_point now) const;
    void show(std::string const& text);

    Terminal const m_terminal;
    std::string const m_directory;
    Clock::time_point const m_start = Clock::now();
    zel::store::Phase m_phase = zel::store::Phase::searching;
    Clock::time_point m_phaseStart = m_start;
    Clock::time_point m_lastShown{};
    bool m_sourceNeeded = false;
    bool m_toldToUnplug = false;
    bool m_toldToWait = false;
    bool m_shown = false;
};

} // namespace companion
