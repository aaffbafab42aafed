#include "store/FileSum.h"

#include "store/Stop.h"

#include <cerrno>

namespace zel::store {

RecordedFile readSum(OpenedFile const& file, std::string const& path, Reporter& reporter) {
    RecordedFile result{0, {}};
    Sha256 sum;
    Pieces pieces(file.file.get(), file.size());
    for (;;) {
        auto const piece = pieces.next();
        if (!piece)
            stop("Cannot read", path, errno);
        if (piece->empty())
            break;
        sum.add(*piece);
        result.size += piece->size();
        reporter.bytesDone(piece->size());
    }
    result.digest = sum.finish();
    return result;
}

} // namespace zel::store
