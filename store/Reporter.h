/// @file
/// Tells the caller how far an operation is.
#pragma once

#include "store/Results.h"

#include <cstdint>

namespace zel::store {

/// Calls the caller's callback, and stops the operation when the caller cancels it.
class Reporter {
public:
    /// @param callback The caller's; may be empty. Must outlive this.
    explicit Reporter(ProgressCallback const& callback) noexcept : m_callback(callback) {}

    /// Begins a phase.
    /// @param phase    The phase.
    /// @param allFiles Its files; 0 when not known.
    /// @param allBytes Its bytes; 0 when not known.
    /// @throws Stop when the caller cancels.
    void begin(Phase phase, std::uint64_t allFiles = 0, std::uint64_t allBytes = 0);
    /// Reports that a file is done. @throws Stop when the caller cancels.
    void fileDone();
    /// Reports that bytes are done. @throws Stop when the caller cancels.
    void bytesDone(std::uint64_t bytes);
    /// Reports nothing new. @throws Stop when the caller cancels.
    void askWhetherToGoOn() { call(); }
    /// Reports that another process is waited for. @throws Stop when the caller cancels.
    void waitFor(long holder);

    /// From here on a cancel is recorded, but no longer stops the operation.
    void commit() noexcept { m_committed = true; }
    /// @return Whether commit() was called.
    bool isCommitted() const noexcept { return m_committed; }
    /// @return Whether the caller asked to stop after commit().
    bool cancelledTooLate() const noexcept { return m_cancelledTooLate; }

private:
    void call();

    ProgressCallback const& m_callback;
    Progress m_progress;
    std::uint64_t m_reportedBytes = 0;
    bool m_committed = false;
    bool m_cancelledTooLate = false;
};

} // namespace zel::store
