/// @file
/// A description as the store accepts it.
#pragma once

#include "imgproc/Description.h"
#include "store/Names.h"
#include "util/FileDescriptor.h"

#include <optional>
#include <string>

namespace zel::store {

/// A description that can be trusted to say what its set consists of.
struct SetDescription {
    Names names; ///< the names of the set: the description, then what it asks for. Only the first
                 ///< when it cannot be followed.
    std::optional<Description> description; ///< nothing when it cannot be followed
    std::string whyNot;                     ///< why it cannot be followed, in a sentence
};

/// Reads a description strictly: it has to be whole, to name an optic, and to ask for names that
/// files can have.
/// @param file   The open description.
/// @param path   Its path, for messages.
/// @param serial Serial number of the camera.
/// @return The description, or why it cannot be followed.
/// @throws Stop when the system cannot read it; std::bad_alloc
SetDescription readSetDescription(FileDescriptor const& file, std::string const& path,
                                  unsigned long serial);

} // namespace zel::store
