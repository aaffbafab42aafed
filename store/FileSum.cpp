#include "store/FileSum.h"

#include "store/Stop.h"

#include <cerrno>
#include <string_view>

namespace zel::store {

namespace {

std::string_view nextOf(Pieces& pieces, std::string const& path) {
    auto const piece = pieces.next();
    if (!piece)
        stop("Cannot read", path, errno);
    return *piece;
}

/// @param visit Called with each piece that both files have.
template <class Visit>
bool compare(OpenedFile const& left, std::string const& leftPath, OpenedFile const& right,
             std::string const& rightPath, Visit const& visit) {
    if (left.size() != right.size())
        return false;
    Pieces leftPieces(left.file.get(), left.size());
    Pieces rightPieces(right.file.get(), right.size());
    for (;;) {
        std::string_view const piece = nextOf(leftPieces, leftPath);
        if (piece != nextOf(rightPieces, rightPath))
            return false;
        if (piece.empty())
            return true;
        visit(piece);
    }
}

} // namespace

RecordedFile readSum(OpenedFile const& file, std::string const& path, Reporter& reporter) {
    RecordedFile result{0, {}};
    Sha256 sum;
    Pieces pieces(file.file.get(), file.size());
    for (auto piece = nextOf(pieces, path); !piece.empty(); piece = nextOf(pieces, path)) {
        sum.add(piece);
        result.size += piece.size();
        reporter.bytesDone(piece.size());
    }
    result.digest = sum.finish();
    return result;
}

std::optional<Digest> sumIfSame(OpenedFile const& left, std::string const& leftPath,
                                OpenedFile const& right, std::string const& rightPath,
                                Reporter& reporter) {
    Sha256 sum;
    bool const same = compare(left, leftPath, right, rightPath, [&](std::string_view piece) {
        sum.add(piece);
        reporter.bytesDone(piece.size());
    });
    return same ? std::optional(sum.finish()) : std::nullopt;
}

bool haveSameBytes(OpenedFile const& left, std::string const& leftPath, OpenedFile const& right,
                   std::string const& rightPath, Reporter& reporter) {
    return compare(left, leftPath, right, rightPath,
                   [&](std::string_view piece) { reporter.bytesDone(piece.size()); });
}

} // namespace zel::store
