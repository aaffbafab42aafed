/// @file
/// A camera's calibration description as a value.
#pragma once

#include "imgproc/Records.h"
#include "util/FileDescriptor.h"

#include <cstddef>
#include <optional>

namespace zel::xml {
class Reader;
}

/// What a calibration description says. Constant operations are safe from several threads.
struct Description {
    MainSection main;   ///< scalar constants
    OpticsTable optics; ///< the optics
};

/// Why there is no description.
enum class DescriptionFailure {
    unreadable, ///< the file cannot be read, or is larger than allowed
    malformed,  ///< its comments do not pair up
    noMemory,   ///< memory ran out
};

/// Outcome of reading a description.
struct DescriptionOutcome {
    std::optional<Description> description;    ///< nothing on failure
    std::optional<DescriptionFailure> failure; ///< nothing when there is a description
    int error = 0; ///< the system's error number of an unreadable file; EFBIG for one too large
    bool isClosed = false; ///< the root element's closing tag is there: the file was not cut off
};

/// The largest description that a program should read from outside, in bytes: a thousand times the
/// usual size. A hostile one can take 30 times its size in memory.
constexpr std::size_t largestDescription = std::size_t{64} * 1024 * 1024;

/// Reads a description. Changes nothing outside: no log, no locale, no directory. Safe from several
/// threads, each with a descriptor of its own.
/// @param file      The open description, read from its current offset. What is not a regular file
///                  counts as empty.
/// @param sizeLimit The largest size accepted, in bytes; beyond 2^31 - 1 nothing is accepted.
/// @return The description; an empty file gives one without optics.
DescriptionOutcome readDescription(zel::FileDescriptor const& file, std::size_t sizeLimit) noexcept;

/// Collects a description from a document that is already loaded.
/// @param xml  The document; its selection changes.
/// @param main Values for the constants that the document does not have.
/// @return The description. @throws std::bad_alloc
Description collectDescription(zel::xml::Reader& xml, MainSection const& main);

/// Name of the root element of a description.
constexpr char const* descriptionRoot = "CaliData";
