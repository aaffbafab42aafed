#include "store/SourceSums.h"

#include "sdk/set/FileKinds.h"
#include "store/Lines.h"
#include "store/Stop.h"
#include "store/Sums.h"

#include <algorithm>
#include <utility>

namespace zel::store {

namespace {

constexpr char const* sumsName = "SHA256SUMS";

/// A million lines of a thousand characters do no harm to memory: only one line is kept at a time,
/// and a longer one names no file of ours.
constexpr std::size_t longestLine = 4096;

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
    std::string const path = SourceFile{folder, sumsName}.path();
    OpenedFile const opened = m_tree.open(path);
    if (opened.error == ENOENT || opened.error == EISDIR || opened.error == EINVAL)
        return sums;
    if (opened.error != 0)
        stop("Cannot read", m_tree.shownPath(path), opened.error);
    auto const take = [&](std::string_view line) {
        auto sum = readSumLine(line);
        if (!sum)
            return;
        std::string_view name = sum->name;
        name = after("./", name).value_or(name);
        if (set::ownerOf(name) == m_serial)
            sums[set::inLowerCase(name)].push_back(sum->digest);
    };
    std::string rest;
    Pieces pieces(opened.file.get(), opened.size());
    for (;;) {
        auto const piece = pieces.next();
        if (!piece)
            stop("Cannot read", m_tree.shownPath(path), errno);
        rest.append(*piece);
        auto const lastBreak = rest.rfind('\n');
        if (piece->empty()) {
            take(rest);
            return sums;
        }
        if (lastBreak != std::string::npos) {
            forEachLine(std::string_view(rest).substr(0, lastBreak + 1), take);
            rest.erase(0, lastBreak + 1);
        }
        if (rest.size() > longestLine)
            rest.resize(longestLine);
    }
}

} // namespace zel::store
