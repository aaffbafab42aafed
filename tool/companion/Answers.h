/// @file
/// What the store answers, for people and for programs.
#pragma once

#include "tool/companion/Options.h"
#include "tool/companion/Result.h"

#include "store/Results.h"

#include <string>
#include <vector>

namespace companion {

/// @return Name and state of each file.
Json fileMembers(std::vector<zel::store::File> const& files);

/// @return Bytes of the files that were installed and replaced.
std::uint64_t newBytes(std::vector<zel::store::File> const& files);

/// @return The files that are problems, one object for each path of theirs.
/// @param directory Where a file is, or should be, of which no path is known.
Json problemMembers(std::vector<zel::store::File> const& files, std::string const& directory);

/// Adds remarks to the problems that programs get, and to what people are told.
void addRemarks(std::vector<zel::store::Remark> const& remarks, Json& problems, Result& result);

/// Adds a closing sentence that is a problem to the problems that programs get, too.
/// @param path The file or directory concerned; may be empty.
void addProblem(std::string const& sentence, std::string const& path, Json& problems,
                Result& result);

/// Tells which cameras a source holds to a person who asked for one that it does not hold whole.
void addHeldCameras(std::vector<unsigned long> const& cameras, std::string const& source,
                    Json& problems, Result& result);

/// Adds to what people are told whatever a file's state does not say.
void addNotes(std::vector<zel::store::File> const& files, Result& result);

/// @param problems What keeps a camera's set from being complete.
/// @return What to do about it.
Hint whatHelps(unsigned long serial, std::vector<zel::store::File> const& problems,
               Options const& options);

/// @return What stood in the way, with a hint where there is one.
/// @param store What the store says.
Failure failureOf(zel::store::Failure const& store, Options const& options);

/// Throws what stood in the way, if anything did.
/// @throws Failure
void requireSuccess(std::optional<zel::store::Failure> const& failure, Options const& options);

/// Makes the answer that of a failure, unless there is one already.
void addFailure(Result& result, Failure failure);

/// @return Several serial numbers: "7, 8 and 9".
std::string listed(std::vector<unsigned long> const& serials);

/// @return What stood in the way before anything was changed, which it says of an interruption.
Failure failureBeforeChange(zel::store::Failure const& store, Options const& options);

/// @return Why a change of a camera's set failed. When it can be completed, the hint says how.
Failure failureOfChange(unsigned long serial, zel::store::InstallOutcome const& outcome,
                        Options const& options);

} // namespace companion
