// A program that calls every public operation of the store. It only has to compile and to link.
#include "store/CalibrationStore.h"
#include "store/Mirror.h"
#include "store/Results.h"
#include "store/Source.h"

#include <utility>

namespace {

namespace store = zel::store;

bool callTheSource() {
    store::SourceOutcome opened = store::Source::open("source", nullptr);
    store::MediaOutcome const media = store::findMedia(12, nullptr);
    if (!opened.source)
        return media.failure.has_value();
    store::Source taken(std::move(*opened.source));
    taken = std::move(*store::Source::open(taken.path(), nullptr).source);
    return taken.cameras().empty() && store::listSource(taken, nullptr).cameras.empty();
}

bool callTheStore(store::Source const& source) {
    store::CalibrationStore sets("target");
    store::InstallOptions options;
    options.dryRun = true;
    store::ProgressCallback const progress = [](store::Progress const&) {
        return true;
    };
    bool const changed = sets.install(12, source, options, progress).changed ||
                         sets.remove(12, options, progress).changed ||
                         sets.recover(true, progress).changed;
    store::LockOutcome locked = sets.lockForOthers(false, progress);
    store::DirectoryLock lock(std::move(locked.lock));
    store::DirectoryLock other;
    other = std::move(lock);
    if (other.dropRecord(12))
        return false;
    return changed && !sets.needsLaterVersion() && sets.check(12).complete &&
           sets.verify(12, progress).same && sets.verify(12, source, progress).same &&
           sets.list().cameras.empty() && sets.directory().empty() &&
           store::word(store::FileState::same) != nullptr;
}

bool callTheMirror(store::Source const& source) {
    store::MirrorOptions options;
    options.dryRun = true;
    return store::mirror("directory", source.cameras(), source, options, nullptr).complete;
}

} // namespace

int main(int argc, char** /*argv*/) {
    if (argc < 1000)
        return 0;
    auto const opened = store::Source::open("source", nullptr);
    bool const answers =
        callTheSource() && callTheStore(*opened.source) && callTheMirror(*opened.source);
    return answers ? 0 : 1;
}
