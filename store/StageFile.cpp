#include "store/StageFile.h"

#include "store/Stop.h"

#include <cerrno>

namespace zel::store {

StagedFile stageFile(Stage& stage, SourceTree const& tree, FileToStage const& file,
                     Reporter& reporter) {
    if (file.held && file.held->staged) {
        reporter.fileDone();
        return stage.adopt(*file.held->staged, file.held->size, file.held->digest, file.name);
    }
    OpenedFile const opened = tree.open(file.source);
    std::string const path = tree.shownPath(file.source);
    if (opened.error != 0)
        stop("Cannot read", path, opened.error);
    StagedFile staged = stage.add(opened, path, file.name, reporter);
    if (staged.size != file.size || (file.digest && *file.digest != staged.digest))
        stop("The file changed while it was copied:", path, EIO);
    reporter.fileDone();
    return staged;
}

} // namespace zel::store
