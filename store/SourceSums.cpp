#include "store/SourceSums.h"

#include "sdk/set/FileKinds.h"
#include "store/Layout.h"
#include "store/Lines.h"
#include "store/Stop.h"
#include "store/Sums.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace zel::store {

namespace {

/// The largest such file that is read, in bytes: half a million lines.
constexpr std::size_t largestSums = std::size_t{64} * 1024 * 1024;

} // namespace

std::vector<Digest> const* SourceSums::of(SourceFile const& file) {
    auto sums = m_sums.find(file.folder);
    if (sums == m_sums.end())
        sums = m_sums.emplace(file.folder, read(file.folder)).first;
    auto const listed = sums->second.find(set::inLowerCase(file.name));
    return listed != sums->second.end() ? &listed->second : nullptr;
}

bool SourceSums::contradict(std::vector<Digest> const& listed, Digest const& digest) noexcept {
    return std::any_of(listed.begin(), listed.end(),
                       [&](Digest const& sum) { return sum != digest; });
}

SourceSums::Sums SourceSums::read(std::string const& folder) const {
    Sums sums;
    if (!m_tree.hasSumsFor(folder, m_serial))
        return sums;
    std::string const path = SourceFile{folder, sumsName, {}}.path();
    OpenedFile const opened = m_tree.open(path);
    if (opened.error == ENOENT || opened.error == EISDIR || opened.error == EINVAL)
        return sums;
    if (opened.error != 0)
        stop("Cannot read", m_tree.shownPath(path), opened.error);
    if (opened.size() > largestSums)
        stop("Cannot use", m_tree.shownPath(path), EFBIG);
    auto const text = readWhole(opened, largestSums);
    if (!text)
        stop("Cannot read", m_tree.shownPath(path), errno);
    m_reporter.bytesDone(text->size());
    std::string room;
    forEachLine(*text, [&](std::string_view line) {
        auto const sum = readSumLine(line, room);
        if (!sum)
            return;
        std::string_view name = sum->name;
        name = after("./", name).value_or(name);
        if (set::ownerOf(name) == m_serial)
            sums[set::inLowerCase(name)].push_back(sum->digest);
    });
    return sums;
}

} // namespace zel::store
