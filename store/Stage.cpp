#include "store/Stage.h"

#include "store/Layout.h"
#include "store/Stop.h"

#include <array>
#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace zel::store {

namespace {

constexpr mode_t stageMode = 0700;

void removeFolder(Folder const& outer, char const* name);

/// We never make subfolders there, but one that somebody else made must not block every
/// installation.
void removeEntries(Folder const& folder) {
    std::vector<std::string> names;
    int const error = forEachEntry(
        folder.get(), [&](char const* name, unsigned char) { names.emplace_back(name); });
    if (error != 0)
        stop("Cannot list", folder.path, error);
    for (std::string const& name : names) {
        if (isFolder(folder, name.c_str()))
            removeFolder(folder, name.c_str());
        else
            removeFile(folder, name.c_str());
    }
}

void removeFolder(Folder const& outer, char const* name) {
    Folder const folder = openInside(outer, name);
    if (!folder.descriptor.valid())
        return;
    removeEntries(folder);
    if (retried([&] { return unlinkat(outer.get(), name, AT_REMOVEDIR); }) != 0 && errno != ENOENT)
        stop("Cannot remove", folder.path, errno);
}

/// Starts writing a file's pages to disk without waiting, so that the disk is busy while the next
/// file is read.
void startWriting(int file) noexcept {
    sync_file_range(file, 0, 0, SYNC_FILE_RANGE_WRITE);
}

/// Drops a file's pages from the cache, so that the next read comes from the disk. They were
/// flushed.
void forgetCached(int file) noexcept {
    posix_fadvise(file, 0, 0, POSIX_FADV_DONTNEED);
}

} // namespace

Folder openStage(Target const& target) {
    return openInside(target.hidden(), stageName);
}

bool hasStage(Target const& target) {
    return target.hasHidden() && openStage(target).descriptor.valid();
}

void removeStage(Target const& target) {
    removeFolder(target.hidden(), stageName);
}

Stage::Stage(Target const& target) : m_target(target) {
    removeStage(target);
    if (retried([&] { return mkdirat(target.hidden().get(), stageName, stageMode); }) != 0)
        stop("Cannot make the directory", target.hidden().pathOf(stageName), errno);
    try {
        m_folder = openStage(target);
    } catch (...) {
        unlinkat(target.hidden().get(), stageName, AT_REMOVEDIR);
        throw;
    }
    if (!m_folder.descriptor.valid())
        stop("Cannot open", m_folder.path, ENOENT);
}

Stage::~Stage() {
    if (m_kept)
        return;
    try {
        removeStage(m_target);
    } catch (...) {
        // What is left is removed by the next operation.
    }
}

Stage::Incoming::Incoming(Folder const& stage, unsigned int number)
    : m_path(stage.pathOf(std::to_string(number))),
      m_file(createFile(stage, std::to_string(number))), m_number(number) {}

void Stage::Incoming::add(std::string_view piece) {
    m_sum.add(piece);
    if (!writeAll(m_file.get(), piece))
        stop("Cannot write", m_path, errno);
    m_size += piece.size();
}

void Stage::Incoming::finish(std::optional<timespec> time) {
    if (time) {
        std::array<timespec, 2> const times{*time, *time};
        if (retried([&] { return futimens(m_file.get(), times.data()); }) != 0)
            stop("Cannot set the time of", m_path, errno);
    }
    startWriting(m_file.get());
}

Stage::Incoming Stage::begin() {
    Incoming incoming(m_folder, m_next);
    m_made.insert(m_next++);
    return incoming;
}

OpenedFile Stage::open(unsigned int number) const {
    return openRegular(m_folder.get(), std::to_string(number).c_str());
}

StagedFile Stage::adopt(unsigned int number, std::uint64_t size, Digest const& digest,
                        std::string name) {
    m_copies.push_back({number, size, digest, std::move(name)});
    m_made.erase(number);
    return m_copies.back();
}

void Stage::dropRest() {
    for (unsigned int const number : m_made)
        removeFile(m_folder, std::to_string(number).c_str());
    m_made.clear();
}

StagedFile Stage::add(OpenedFile const& file, std::string const& path, std::string name,
                      Reporter& reporter) {
    Incoming copy = begin();
    Pieces pieces(file.file.get(), file.size());
    for (;;) {
        auto const piece = pieces.next();
        if (!piece)
            stop("Cannot read", path, errno);
        if (piece->empty())
            break;
        copy.add(*piece);
        reporter.bytesDone(piece->size());
    }
    copy.finish(file.status.st_mtim);
    return adopt(copy.number(), copy.size(), copy.sum(), std::move(name));
}

StagedFile Stage::add(std::string_view text, std::string name) {
    Incoming file = begin();
    file.add(text);
    file.finish(std::nullopt);
    m_made.erase(file.number());
    m_texts.push_back({file.number(), file.size(), file.sum(), std::move(name)});
    return m_texts.back();
}

void Stage::flushAll() const {
    // One call for all files takes a fraction of the time of one call each. Kernels before 5.8 do
    // not report write errors here, but reading back finds them.
    if (retried([&] { return syncfs(m_folder.get()); }) != 0)
        stop("Cannot write through to the medium", m_folder.path, errno);
    flush(m_folder);
    flush(m_target.hidden());
}

void Stage::readBack(Reporter& reporter) const {
    std::uint64_t bytes = 0;
    for (StagedFile const& file : m_copies)
        bytes += file.size;
    reporter.begin(Phase::readingBack, m_copies.size(), bytes);
    for (StagedFile const& file : m_copies) {
        requireSame(file, &reporter);
        reporter.fileDone();
    }
    for (StagedFile const& file : m_texts)
        requireSame(file, nullptr);
}

void Stage::requireSame(StagedFile const& file, Reporter* reporter) const {
    std::string const number = std::to_string(file.number);
    if (sumOf(m_folder, number, file.size, reporter) != file.digest)
        stop("The medium does not give back what was written to", m_folder.pathOf(number), EIO);
}

void Stage::setTime(StagedFile const& file, std::time_t time) const {
    std::string const number = std::to_string(file.number);
    std::array<timespec, 2> const times{timespec{time, 0}, timespec{time, 0}};
    if (retried([&] {
            return utimensat(m_folder.get(), number.c_str(), times.data(), AT_SYMLINK_NOFOLLOW);
        }) != 0)
        stop("Cannot set the time of", m_folder.pathOf(number), errno);
}

void Stage::giveNames() const {
    for (auto const* const files : {&m_copies, &m_texts}) {
        for (StagedFile const& file : *files)
            moveFile(m_folder, std::to_string(file.number), m_folder, file.name);
    }
    giveMode(m_folder.get(), publicFolder, m_folder.path);
    flush(m_folder);
}

std::optional<Digest> sumOf(Folder const& folder, std::string const& name, std::uint64_t size,
                            Reporter* reporter) {
    OpenedFile const opened = openRegular(folder.get(), name.c_str());
    if (opened.error == ENOENT || opened.error == EISDIR || opened.error == EINVAL)
        return std::nullopt;
    if (opened.error != 0)
        stop("Cannot read", folder.pathOf(name), opened.error);
    if (opened.size() != size)
        return std::nullopt;
    forgetCached(opened.file.get());
    Sha256 sum;
    Pieces pieces(opened.file.get(), size);
    for (;;) {
        auto const piece = pieces.next();
        if (!piece)
            stop("Cannot read", folder.pathOf(name), errno);
        if (piece->empty())
            return sum.finish();
        sum.add(*piece);
        if (reporter != nullptr)
            reporter->bytesDone(piece->size());
    }
}

bool isAt(Folder const& folder, std::string const& name, StagedFile const& file) {
    try {
        return sumOf(folder, name, file.size, nullptr) == file.digest;
    } catch (Stop const& stopped) {
        if (stopped.failure.error == EIO)
            return false;
        throw;
    }
}

} // namespace zel::store
