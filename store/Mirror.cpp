#include "store/Mirror.h"

#include "sdk/set/FileKinds.h"
#include "store/Layout.h"
#include "store/LinksFile.h"
#include "store/Lock.h"
#include "store/MirrorPlan.h"
#include "store/Obstacles.h"
#include "store/Record.h"
#include "store/Reporter.h"
#include "store/Signature.h"
#include "store/Stage.h"
#include "store/StageFile.h"
#include "store/Stop.h"
#include "store/WebRoot.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <ctime>
#include <system_error>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>

namespace zel::store {

namespace {

/// The largest links file that is compared, in bytes.
constexpr std::size_t largestLinks = 65536;

/// From so many sets on, another thread saves more time than it takes to start.
constexpr std::size_t worthAThread = 16;

/// @return Whether the next camera would meet the same.
bool concernsAll(Failure const& failure) noexcept {
    return failure.kind == FailureKind::cancelled || failure.kind == FailureKind::noMemory ||
           failure.kind == FailureKind::noRoom;
}

/// @return The time of a new index. It must not be earlier than that of the old one, which clients
///         would refuse: a clock may have been set back.
std::time_t timeAfter(std::string const& oldDate) {
    return std::max(std::time(nullptr), timeOf(oldDate).value_or(0));
}

/// Makes or updates one mirror.
class Mirroring {
public:
    Mirroring(std::string const& directory, SourceTree const& tree, MirrorOptions const& options,
              Reporter& reporter, MirrorOutcome& outcome)
        : m_directory(directory), m_tree(tree), m_options(options), m_reporter(reporter),
          m_outcome(outcome), m_root(directory) {}

    void run(std::vector<unsigned long> const& serials) {
        for (unsigned long const serial : serials) {
            m_outcome.cameras.emplace_back();
            m_outcome.cameras.back().serial = serial;
        }
        m_isPending.resize(serials.size());
        lookAtAll();
        bool const areSetsPending =
            std::find(m_isPending.begin(), m_isPending.end(), 1) != m_isPending.end();
        FileState const links = lookAtLinks();
        bool const linksDiffer = !m_options.url.empty() && links != FileState::unchanged;
        if (m_options.dryRun)
            m_outcome.changed = areSetsPending || linksDiffer;
        else if (!areSetsPending && !linksDiffer)
            tidyUp();
        else
            lockAnd([&] { writeAll(linksDiffer); });
        if (!m_options.url.empty())
            m_outcome.links = File{linksName, links, 0, {}, ""};
    }

private:
    /// Does something for one camera, and goes on with the next unless that would meet the same.
    template <class Body>
    void tryTo(MirroredCamera& camera, Body const& body) {
        try {
            body(camera);
        } catch (Stop const& stopped) {
            forget(camera);
            if (concernsAll(stopped.failure))
                throw;
            camera.failure = stopped.failure;
        }
    }

    /// What was planned became of no file.
    static void forget(MirroredCamera& camera) noexcept {
        camera.complete = false;
        camera.files.clear();
        camera.remarks.clear();
    }

    /// Looks at every set. Most runs do nothing else, so another thread takes half of many sets.
    void lookAtAll() {
        if (m_outcome.cameras.size() < worthAThread)
            return lookAtEach(0, 1, m_reporter);
        std::atomic<bool> goesOn{true};
        MirrorOutcome others; // only to hold a failure
        auto const lookAtOthers = [&] {
            ProgressCallback const askWhether = [&](Progress const&) {
                return goesOn.load();
            };
            guarded(others, [&] {
                Reporter reporter(askWhether);
                lookAtEach(1, 2, reporter);
            });
        };
        auto helper = startThread(lookAtOthers);
        try {
            lookAtEach(0, 2, m_reporter);
        } catch (...) {
            goesOn = false;
            if (helper.joinable())
                helper.join();
            throw;
        }
        if (helper.joinable())
            helper.join();
        else
            lookAtEach(1, 2, m_reporter);
        if (others.failure)
            throw Stop{std::move(*others.failure)};
    }

    /// @return A thread that runs the body; none where the system gives none.
    template <class Body>
    static std::thread startThread(Body const& body) {
        try {
            return std::thread(body);
        } catch (std::system_error const&) {
            return {};
        }
    }

    void lookAtEach(std::size_t first, std::size_t step, Reporter& reporter) {
        for (std::size_t i = first; i < m_outcome.cameras.size(); i += step)
            tryTo(m_outcome.cameras[i], [&](MirroredCamera& camera) {
                m_isPending[i] = lookAt(camera, reporter) ? 1 : 0;
            });
    }

    /// @return Whether the set has to be written.
    bool lookAt(MirroredCamera& camera, Reporter& reporter) {
        MirrorPlan const plan = makePlanFor(camera, reporter);
        if (!plan.changes)
            return false;
        m_root.requireOneDisk(camera.serial);
        if (!m_options.dryRun)
            forget(camera);                    // until it is written
        else if (!m_root.beside().hasHidden()) // removing what is left makes room
            requireRoom(m_directory, plan.source);
        camera.changed = m_options.dryRun;
        return true;
    }

    MirrorPlan makePlanFor(MirroredCamera& camera, Reporter& reporter) const {
        MirrorPlan plan = planMirror(m_tree, camera.serial, m_root, m_options, reporter);
        camera.complete = !plan.source.refused;
        camera.files = std::move(plan.files);
        camera.remarks = std::move(plan.remarks);
        return plan;
    }

    /// @return What becomes of the links file. @throws Stop
    FileState lookAtLinks() const {
        Folder const& folder = m_root.folder();
        struct stat status {};
        if (m_options.url.empty() || !folder.descriptor.valid() ||
            retried([&] {
                return fstatat(folder.get(), linksName, &status, AT_SYMLINK_NOFOLLOW);
            }) != 0)
            return FileState::installed;
        if (S_ISDIR(status.st_mode))
            stop(FailureKind::inTheWay,
                 "A folder stands in a file's place:", folder.pathOf(linksName));
        if (!S_ISREG(status.st_mode))
            return FileState::replaced;
        auto const text = readWhole(folder.get(), linksName, largestLinks);
        return text == linksText(m_options.url) ? FileState::unchanged : FileState::replaced;
    }

    template <class Body>
    void lockAnd(Body const& body) {
        try {
            withLock(m_root.beside(), m_options.wait, m_reporter, body);
        } catch (Stop& stopped) {
            if (stopped.failure.kind == FailureKind::locked)
                stopped.failure.path = m_directory;
            throw;
        }
    }

    /// Removes what a dead process left, if that is possible without waiting.
    void tidyUp() {
        if (!m_root.beside().hasHidden())
            return;
        try {
            ProgressCallback const nobody;
            Reporter reporter(nobody);
            withLock(m_root.beside(), false, reporter, [&] { m_root.removeLeftovers(); });
        } catch (Stop const&) {
            // Another process holds the lock, or the folder cannot be written. A later run will do
            // it.
        }
    }

    void writeAll(bool linksDiffer) {
        m_root.lookAgain();
        m_root.removeLeftovers();
        m_root.requireExchange();
        for (std::size_t i = 0; i < m_isPending.size(); ++i) {
            if (m_isPending[i] == 1)
                tryTo(m_outcome.cameras[i], [&](MirroredCamera& camera) { write(camera); });
        }
        if (linksDiffer)
            writeLinks();
    }

    /// Nobody else writes here now, so the plan is made anew.
    void write(MirroredCamera& camera) {
        MirrorPlan const plan = makePlanFor(camera, m_reporter);
        if (!plan.changes)
            return;
        m_root.requireOneDisk(camera.serial);
        requireRoom(m_directory, plan.source);
        Stage stage(m_root.beside());
        stageAll(stage, plan);
        stage.flushAll();
        stage.readBack(m_reporter);
        stage.giveNames();
        m_root.takeOver(camera.serial, [&] { camera.changed = m_outcome.changed = true; });
    }

    void stageAll(Stage& stage, MirrorPlan const& plan) {
        m_reporter.begin(Phase::copying, plan.source.data.size() + 1, plan.source.bytes);
        Record index;
        auto const add = [&](FileToStage const& file) {
            StagedFile const staged = stageFile(stage, m_tree, file, m_reporter);
            index.add(staged.name, {staged.size, staged.digest});
        };
        for (FileToStage const& file : plan.source.data)
            add(file);
        add(*plan.source.description);
        std::time_t const time = timeAfter(plan.oldDate);
        index.date = dateOf(time);
        std::string const text = index.text();
        stage.setTime(stage.add(text, sumsName), time);
        if (!m_options.signKey.empty())
            stage.setTime(
                stage.add(signedInline(text, m_options.signKey, m_reporter), signedSumsName), time);
    }

    /// Comes last, so that who follows it finds the sets.
    void writeLinks() {
        Stage stage(m_root.beside());
        StagedFile const staged = stage.add(linksText(m_options.url), linksName);
        stage.flushAll();
        stage.readBack(m_reporter);
        m_root.make();
        moveFile(stage.folder(), std::to_string(staged.number), m_root.folder(), linksName);
        m_outcome.changed = true;
        flush(m_root.folder());
    }

    std::string const& m_directory;
    SourceTree const& m_tree;
    MirrorOptions const& m_options;
    Reporter& m_reporter;
    MirrorOutcome& m_outcome;
    WebRoot m_root;
    std::vector<int> m_isPending; // which of the outcome's cameras have to be written; not of
                                  // bool, since two threads write it
};

void requireSound(std::vector<unsigned long> const& serials, MirrorOptions const& options) {
    for (unsigned long const serial : serials) {
        if (!set::isSerial(serial))
            stop("There is no camera of this serial number:", std::to_string(serial), EINVAL);
    }
    if (options.url.empty())
        return;
    if (!whyNotLinked(options.url).empty())
        stop("Cannot use the address", options.url, EINVAL);
}

std::vector<unsigned long> inOrder(std::vector<unsigned long> serials) {
    std::sort(serials.begin(), serials.end());
    serials.erase(std::unique(serials.begin(), serials.end()), serials.end());
    return serials;
}

} // namespace

MirrorOutcome mirror(std::string const& directory, std::vector<unsigned long> const& serials,
                     Source const& source, MirrorOptions const& options,
                     ProgressCallback const& progress) noexcept {
    MirrorOutcome outcome;
    guarded(outcome, [&] {
        Reporter reporter(progress);
        requireSound(serials, options);
        if (source.archive() != nullptr)
            stop(FailureKind::unusableSource, "A mirror is made from a directory, not from",
                 source.path());
        Mirroring(directory, source.tree(), options, reporter, outcome).run(inOrder(serials));
    });
    auto const& cameras = outcome.cameras;
    outcome.complete =
        !outcome.failure &&
        std::all_of(cameras.begin(), cameras.end(), [](auto const& one) { return one.complete; });
    outcome.changed = outcome.changed && !(options.dryRun && outcome.failure);
    return outcome;
}

} // namespace zel::store
