#include "store/Reporter.h"

#include "store/Stop.h"

namespace zel::store {

namespace {

constexpr std::uint64_t bytesPerReport = 1048576;

bool goesOn(ProgressCallback const& callback, Progress const& progress) noexcept try {
    return !callback || callback(progress);
} catch (...) {
    return false;
}

} // namespace

void Reporter::begin(Phase phase, std::uint64_t allFiles, std::uint64_t allBytes) {
    m_progress = Progress{phase, 0, allFiles, 0, allBytes, 0};
    m_reportedBytes = 0;
    call();
}

void Reporter::fileDone() {
    ++m_progress.files;
    call();
}

void Reporter::bytesDone(std::uint64_t bytes) {
    m_progress.bytes += bytes;
    if (m_progress.bytes - m_reportedBytes < bytesPerReport)
        return;
    m_reportedBytes = m_progress.bytes;
    call();
}

void Reporter::waitFor(long holder) {
    m_progress = Progress();
    m_progress.phase = Phase::waiting;
    m_progress.holder = holder;
    call();
}

void Reporter::call() {
    if (goesOn(m_callback, m_progress))
        return;
    if (m_committed)
        m_cancelledTooLate = true;
    else
        stop(FailureKind::cancelled, "Cancelled", "");
}

} // namespace zel::store
