#include "store/Recovery.h"

#include "store/InstalledFiles.h"
#include "store/Lock.h"
#include "store/Publication.h"
#include "store/Stage.h"
#include "store/Stop.h"

#include <string>

namespace zel::store {

namespace {

void removeLeftovers(Target const& target) {
    removeStage(target);
    for (std::string const& name : target.unfinishedJournals())
        removeFile(target.hidden(), name.c_str());
}

} // namespace

bool hasLeftovers(Target const& target) {
    return hasStage(target) || !target.unfinishedJournals().empty();
}

void recover(Target const& target, RecoverOutcome& outcome) {
    bool const hadLeftovers = hasLeftovers(target);
    for (unsigned long const serial : target.openTransactions()) {
        outcome.cameras.push_back(complete(target, serial));
        outcome.changed = true;
    }
    removeLeftovers(target);
    outcome.changed = outcome.changed || hadLeftovers;
}

void tidyUp(Target& target) {
    try {
        if (!hasLeftovers(target))
            return;
        ProgressCallback const nobody;
        Reporter reporter(nobody);
        withLock(target, false, reporter, [&] {
            if (target.openTransactions().empty())
                removeLeftovers(target);
        });
    } catch (Stop const&) {
        // Another process holds the lock, or the directory cannot be written. A later run will do
        // it.
    }
}

std::vector<Remark> remarksOnOpen(Target const& target) {
    std::vector<Remark> remarks;
    for (unsigned long const serial : target.openTransactions()) {
        bool const isWhole = InstalledFiles(target, serial).canBeCompleted();
        remarks.push_back({"", "An interrupted change of camera " + std::to_string(serial) +
                                   (isWhole ? " would be completed first."
                                            : " could not be completed; its description would be"
                                              " taken out first.")});
    }
    return remarks;
}

std::vector<Remark> remarksOn(RecoverOutcome const& recovered) {
    std::vector<Remark> remarks;
    for (auto const& camera : recovered.cameras) {
        remarks.insert(remarks.end(), camera.remarks.begin(), camera.remarks.end());
        std::string message =
            "An interrupted change of camera " + std::to_string(camera.serial) + " was completed.";
        if (!camera.complete)
            message = "An interrupted change of camera " + std::to_string(camera.serial) +
                      " could not be completed; its description was taken out.";
        remarks.push_back({"", std::move(message)});
    }
    return remarks;
}

} // namespace zel::store
