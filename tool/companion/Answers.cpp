#include "tool/companion/Answers.h"

#include "tool/companion/FileState.h"
#include "tool/companion/Files.h"
#include "tool/companion/Hints.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace companion {

using zel::store::FailureKind;
using zel::store::File;
using zel::store::FileState;
using zel::store::Remark;

namespace {

Json problem(Json name, Json state, std::string const& path, std::string const& message) {
    return {{"name", std::move(name)},
            {"state", std::move(state)},
            {"path", path},
            {"message", message}};
}

std::string sentenceOf(Remark const& remark) {
    std::string text = remark.message;
    if (!remark.path.empty())
        text += " " + remark.path;
    if (remark.error != 0)
        text += std::string(": ") + std::strerror(remark.error);
    return text;
}

bool hasMoreToSay(File const& file) {
    return !file.message.empty() || !file.paths.empty();
}

std::string messageOn(File const& file) {
    if (file.message.empty())
        return zel::store::word(file.state);
    return file.message;
}

bool beginsWith(std::string const& text, std::string const& start) {
    return text.compare(0, start.size(), start) == 0;
}

/// @return Whether a path is that of the directory, of something in it, or of something above.
bool concerns(std::string const& path, std::string const& directory) {
    return beginsWith(path, directory) || beginsWith(directory, path);
}

Hint hintFor(zel::store::Failure const& store, Options const& options) {
    switch (store.kind) {
    case FailureKind::locked:
        return {options.noWait ? "Without --no-wait, this waits for up to a minute."
                               : "Try again when it has ended."};
    case FailureKind::noProgram:
        return howToGetPrograms();
    case FailureKind::noRecord:
        return {"-s names a stick to compare with."};
    case FailureKind::system:
        break;
    default:
        return {};
    }
    if (store.error == ENOENT && store.path == options.directory)
        return howToMakeDirectory(options.directory);
    bool const rightsAreMissing = store.error == EACCES || store.error == EPERM;
    return rightsAreMissing && concerns(store.path, options.directory) ? asRoot(options) : Hint();
}

std::string reasonOf(zel::store::Failure const& store) {
    if (store.kind == FailureKind::noRoom) {
        return std::to_string(store.needed) + " bytes are needed, " +
               std::to_string(store.available) + " are available";
    }
    return store.error != 0 ? std::strerror(store.error) : "";
}

std::string messageOf(zel::store::Failure const& store) {
    switch (store.kind) {
    case FailureKind::locked:
        if (store.holder != 0)
            return "Process " + std::to_string(store.holder) + " changes";
        break;
    case FailureKind::cancelled:
        return "Interrupted";
    case FailureKind::noMemory:  // GCOVR_EXCL_LINE: no test lets the memory of this
        return "Memory ran out"; // GCOVR_EXCL_LINE: program run out
    default:
        break;
    }
    return store.message;
}

bool holds(std::vector<File> const& problems, FileState state) {
    return std::any_of(problems.begin(), problems.end(),
                       [&](File const& file) { return file.state == state; });
}

/// @return Whether somebody else may read one of the files.
bool rightsAreMissing(std::vector<File> const& problems, Options const& options) {
    return std::any_of(problems.begin(), problems.end(), [&](File const& file) {
        std::string const path = pathIn(options.directory, file.name);
        return file.state == FileState::unreadable &&
               faccessat(AT_FDCWD, path.c_str(), R_OK, AT_EACCESS) != 0 && errno == EACCES;
    });
}

} // namespace

Json fileMembers(std::vector<File> const& files) {
    Json members = Json::array();
    for (File const& file : files)
        members.push_back({{"name", file.name}, {"state", zel::store::word(file.state)}});
    return members;
}

std::uint64_t newBytes(std::vector<File> const& files) {
    std::uint64_t bytes = 0;
    for (File const& file : files) {
        if (file.state == FileState::installed || file.state == FileState::replaced)
            bytes += file.bytes;
    }
    return bytes;
}

Json problemMembers(std::vector<File> const& files, std::string const& directory) {
    Json members = Json::array();
    for (File const& file : files) {
        if (!isProblem(file.state) && !hasMoreToSay(file))
            continue;
        auto paths = file.paths;
        if (paths.empty())
            paths.push_back(pathIn(directory, file.name));
        for (std::string const& path : paths)
            members.push_back(
                problem(file.name, zel::store::word(file.state), path, messageOn(file)));
    }
    return members;
}

void addRemarks(std::vector<Remark> const& remarks, Json& problems, Result& result) {
    for (Remark const& remark : remarks) {
        problems.push_back(problem(nullptr, nullptr, remark.path, sentenceOf(remark)));
        result.notes.push_back(sentenceOf(remark));
    }
}

void addProblem(std::string const& sentence, std::string const& path, Json& problems,
                Result& result) {
    problems.push_back(problem(nullptr, nullptr, path, sentence));
    result.closing.push_back(sentence);
}

void addHeldCameras(std::vector<unsigned long> const& cameras, std::string const& source,
                    Json& problems, Result& result) {
    std::string const number = cameras.size() > 1 ? "s " : " ";
    addProblem("The source holds camera" + number + listed(cameras) + ".", source, problems,
               result);
}

void addNotes(std::vector<File> const& files, Result& result) {
    for (File const& file : files) {
        if (!hasMoreToSay(file))
            continue;
        std::string subject;
        for (std::string const& path : file.paths)
            subject += (subject.empty() ? "" : ", ") + path;
        result.notes.push_back((subject.empty() ? file.name : subject) + ": " + messageOn(file));
    }
}

Failure failureOf(zel::store::Failure const& store, Options const& options) {
    return {messageOf(store), store.path, reasonOf(store), hintFor(store, options), Status::notRun};
}

void requireSuccess(std::optional<zel::store::Failure> const& failure, Options const& options) {
    if (failure)
        throw failureOf(*failure, options);
}

void addFailure(Result& result, Failure failure) {
    if (!result.failure)
        result.failure = std::move(failure);
}

std::string listed(std::vector<unsigned long> const& serials) {
    std::string text;
    for (std::size_t i = 0; i < serials.size(); ++i) {
        bool const last = i + 1 == serials.size();
        text += i == 0 ? "" : (last ? " and " : ", ");
        text += std::to_string(serials[i]);
    }
    return text;
}

Hint whatHelps(unsigned long serial, std::vector<File> const& problems, Options const& options) {
    if (holds(problems, FileState::interrupted))
        return howToRecover(options.directory);
    if (rightsAreMissing(problems, options))
        return asRoot(options);
    return howToFetch(serial, options.directory);
}

Failure failureBeforeChange(zel::store::Failure const& store, Options const& options) {
    Failure failure = failureOf(store, options);
    if (store.kind == FailureKind::cancelled)
        failure.message += "; nothing was changed";
    return failure;
}

Failure failureOfChange(unsigned long serial, zel::store::InstallOutcome const& outcome,
                        Options const& options) {
    Failure failure = failureOf(*outcome.failure, options);
    if (outcome.failure->kind == FailureKind::cancelled && !outcome.changed) // others may be
        failure.message += options.all ? "; camera " + std::to_string(serial) + " was not changed"
                                       : "; nothing was changed";
    auto const kind = outcome.failure->kind;
    bool const canBeCompleted = kind == FailureKind::system || kind == FailureKind::noMemory;
    if (outcome.interrupted && canBeCompleted)
        failure.hint = howToRecover(options.directory);
    return failure;
}

} // namespace companion
