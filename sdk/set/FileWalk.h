/// @file
/// Visiting the files of a set.
#pragma once

#include "imgproc/Description.h"
#include "imgproc/NameStem.h"
#include "sdk/set/FileKinds.h"

#include <array>
#include <cstdint>

namespace zel::set {

/// A file that a description asks for.
struct SetFile {
    KindOfFile const& kind; ///< which kind it is
    char const* stem;       ///< stem of its name, terminated; valid during the visit

    /// @return Its name.
    FileName name() const noexcept { return {kind, stem}; }
};

/// Visits the files of one data set.
/// @param optic     The optic.
/// @param range     The temperature range.
/// @param framerate The frame rate in hertz; 0 for none.
/// @param serial    Serial number of the camera.
/// @param visit     Called with a SetFile for each file.
template <class Visit>
void visitDataSet(OpticsDefinition const& optic, Range range, std::uint16_t framerate, int serial,
                  Visit const& visit) {
    std::array<char, nameRoom> stem;
    formatNameStem(stem.data(), static_cast<unsigned int>(stem.size()), serial, optic.FOV,
                   optic.Text.get(), range, framerate);
    for (KindOfFile const& kind : kinds) {
        bool const needed =
            kind.need == Need::everyDataSet ||
            (kind.need == Need::unlessSamplePointCalibrated && !optic.SamplePointCali);
        if (needed)
            visit(SetFile{kind, stem.data()});
    }
}

/// Visits every file that a description asks for, except the description itself: optic by optic,
/// range by range, frame rate by frame rate. Allocates nothing.
///
/// An optic is identified by field of view and text, a range by its limits, and the first one with
/// an identity stands for all: an optic listed again is visited with the ranges of the first, but
/// with its own sample-point flag; a range listed again with the frame rates of the first. So a
/// name can be visited more than once.
/// @param optics The description's optics.
/// @param serial Serial number of the camera.
/// @param visit  Called with a SetFile for each file.
template <class Visit>
void forEachDescribedFile(OpticsTable const& optics, int serial, Visit const& visit) {
    for (OpticsDefinition const& listed : optics) {
        TempRangeTable const& ranges = optics.find(OpticIdentity::of(listed))->tempRanges;
        for (TempRangeDefinition const& definition : ranges) {
            // A limit that is not a number is not found: such a range has no frame rates.
            TempRangeDefinition const* const first = ranges.find(definition.range);
            if (first == nullptr || !first->framerates || first->framerates->empty()) {
                visitDataSet(listed, definition.range, 0, serial, visit);
                continue;
            }
            for (std::uint16_t const framerate : *first->framerates)
                visitDataSet(listed, definition.range, framerate, serial, visit);
        }
    }
}

/// Visits the names of a whole set: the description, then every file that it asks for, in the order
/// of forEachDescribedFile(). Allocates nothing.
/// @param description The description.
/// @param serial      Serial number of the camera.
/// @param visit       Called with the FileKind and the FileName of each file.
template <class Visit>
void forEachFile(Description const& description, int serial, Visit const& visit) {
    visit(FileKind::description, descriptionName(serial));
    forEachDescribedFile(description.optics, serial,
                         [&](SetFile const& file) { visit(file.kind.kind, file.name()); });
}

} // namespace zel::set
