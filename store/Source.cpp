#include "store/Source.h"

#include "store/Archive.h"
#include "store/Files.h"
#include "store/Media.h"
#include "store/SourceTree.h"
#include "store/Stop.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include <fcntl.h>

namespace zel::store {

/// Makes sources of searched trees.
struct SourceAccess {
    static Source from(std::unique_ptr<SourceTree const> tree) noexcept {
        return Source(std::move(tree));
    }
    static Source from(std::unique_ptr<Archive const> archive) noexcept {
        return Source(std::move(archive));
    }
};

Source::Source(std::unique_ptr<SourceTree const> tree) noexcept : m_tree(std::move(tree)) {}
Source::Source(std::unique_ptr<Archive const> archive) noexcept : m_archive(std::move(archive)) {}
Source::Source(Source&& other) noexcept = default;
Source& Source::operator=(Source&& other) noexcept = default;
Source::~Source() = default;

SourceOutcome Source::open(std::string const& path, ProgressCallback const& progress,
                           std::string const& target) noexcept {
    SourceOutcome outcome;
    guarded(outcome, [&] {
        Reporter reporter(progress);
        OpenedFile file = openRegular(AT_FDCWD, path.c_str());
        if (file.error == 0) {
            outcome.source =
                SourceAccess::from(std::make_unique<Archive const>(path, std::move(file.file)));
            return;
        }
        outcome.source = SourceAccess::from(
            std::make_unique<SourceTree const>(path, std::set<std::string>(), target, reporter));
    });
    return outcome;
}

std::string const& Source::path() const noexcept {
    return m_archive != nullptr ? m_archive->path() : m_tree->path();
}

std::vector<unsigned long> const& Source::cameras() const noexcept {
    static std::vector<unsigned long> const none;
    return m_tree != nullptr ? m_tree->cameras() : none;
}

MediaOutcome findMedia(unsigned long serial, ProgressCallback const& progress,
                       std::string const& target) noexcept {
    MediaOutcome outcome;
    guarded(outcome, [&] {
        Reporter reporter(progress);
        auto const media = mountedMedia();
        auto const installed = folderAt(target);
        for (std::string const& medium : media) {
            if (installed && installed == folderAt(medium))
                continue;
            try {
                auto tree = std::make_unique<SourceTree const>(medium, media, target, reporter);
                auto const& cameras = tree->cameras();
                if (tree->gap())
                    outcome.remarks.push_back(remarkOn(*tree->gap()));
                if (serial == 0 ? !cameras.empty()
                                : std::binary_search(cameras.begin(), cameras.end(), serial))
                    outcome.sources.push_back(SourceAccess::from(std::move(tree)));
            } catch (Stop const& stopped) {
                if (stopped.failure.kind == FailureKind::cancelled)
                    throw;
                // Another medium is mounted over it.
                if (stopped.failure.error == ENOENT || stopped.failure.error == ENOTDIR)
                    continue;
                outcome.remarks.push_back(remarkOn(stopped.failure));
            }
        }
    });
    return outcome;
}

} // namespace zel::store
