/// @file
/// The records of a calibration description.
#pragma once

#include "imgproc/LookupTable.h"
#include "util/Export.h"

#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <vector>

/// Handle of one optic of a description; field of view and text together identify it.
struct OPTICS {
    int fov;    ///< field of view
    char* text; ///< distinguishing text, in the description's encoding; may be null. A text handed
                ///< out belongs to the description, must not be changed and is valid until the
                ///< description is reloaded.
};

/// A temperature interval.
struct Range {
    float lo; ///< low limit
    float hi; ///< high limit
};

/// Scalar calibration constants. Each field but `spare` is read from the element of its name, as an
/// integer or a floating-point number depending on its type; an integer is truncated to the field's
/// width.
struct MainSection {
    /// The value of the element of this name.
    /// @{
    std::uint16_t TecA = 3400;
    std::uint16_t TecB = 400;
    std::uint16_t TecC = 400;
    std::uint16_t TecD = 120;
    float TempTEC_Step = 5.0F;
    float spare = 10.0F; ///< not in the file
    float TempTECOffset = 294.5F;
    float TempTECGain = 13.055F;
    float TempFlagOffset = 0.0F;
    float TempChipFactor = 1.0F;
    float TempChipOffset = 0.0F;
    float TempBoxOffset = 0.0F;
    float TempOpticsOffset = 0.0F;
    float TempProcOffset = 0.0F;
    float TempHouseOffset = 0.0F;
    float PifInOffset = 0.0F;
    float PifInGain = 1.0F;
    float PifOutOffset = 0.0F;
    float PifOutGain = 1.0F;
    std::int16_t AddedOffset = 0;
    float BindTempChipToTempFlagOffset = 0.8F;
    std::uint16_t FlagCycles = 10;
    std::uint16_t FlagCycles_Ignore = 2;
    float AlphaLowTemp = 23.0F;
    float AlphaLowFactor = 1.0F;
    /// @}
};

/// Parameters of a range's temperature table. `T1` and `T3` are integers in the file.
struct TableParams {
    /// The value of the element of this name.
    /// @{
    double T1 = 0.0;
    double T3 = 0.0;
    std::uint16_t E1 = 0;
    std::uint16_t E3 = 0;
    double Lambda = 0.0;
    /// @}
    double spare1 = 0.0;      ///< not in the file
    double spare2 = -100.0;   ///< not in the file
    std::uint16_t spare3 = 0; ///< not in the file
    bool Normalize = false;   ///< an integer in the file, true when not 0
};

/// One temperature range of an optic.
struct TempRangeDefinition {
    /// The value of the element of this name.
    /// @{
    std::uint16_t Fid = 0;
    std::uint16_t Skim = 0;
    /// @}
    Range range{0.0F, 0.0F};          ///< the limits
    Range extRange{-100.0F, -100.0F}; ///< the extended limits; always contains `range` once loaded
    /// Frame rates in the file's order. No list and an empty list differ: without a list the range
    /// is not split by frame rate; an empty list accepts no frame rate.
    std::optional<std::vector<std::uint16_t>> framerates;
    std::uint16_t Decimal = 1; ///< value of the element of this name
    TableParams tableParams;   ///< parameters of the temperature table
};

/// A range is identified by both limits, compared for exact equality.
struct RangeIdentity {
    using Key = Range; ///< the limits
    /// @return What identifies a range.
    static Key of(TempRangeDefinition const& definition) noexcept { return definition.range; }
    /// @return Whether two identities are the same.
    static bool equal(Key const& a, Key const& b) noexcept { return a.lo == b.lo && a.hi == b.hi; }
    /// @return Whether one identity comes before another in a sorted order.
    static bool less(Key const& a, Key const& b) noexcept {
        return a.lo < b.lo || (a.lo == b.lo && a.hi < b.hi);
    }
};

/// The ranges of an optic, in the file's order.
using TempRangeTable = LookupTable<TempRangeDefinition, RangeIdentity>;

/// @return The ranges of an optic without others: -20 to 100, 0 to 250 and 150 to 900.
/// @throws std::bad_alloc
ZENTHO_API TempRangeTable defaultTempRanges();

/// One optic.
struct OpticsDefinition {
    int FOV = 0;                                     ///< field of view
    int SerNo = 0;                                   ///< serial number of the optic
    std::unique_ptr<char[]> Text;                    ///< distinguishing text, or null
    double spare = -1.0;                             ///< not in the file
    bool SamplePointCali = false;                    ///< needs no characteristic-curve files
    TempRangeTable tempRanges = defaultTempRanges(); ///< the ranges
};

/// Field of view and text identify an optic; a null and an empty text are the same.
struct OpticIdentity {
    /// What identifies an optic.
    struct Key {
        int fov;          ///< field of view
        char const* text; ///< distinguishing text, may be null
    };
    /// @return What identifies an optic.
    static Key of(OpticsDefinition const& definition) noexcept {
        return {definition.FOV, definition.Text.get()};
    }
    /// @return Whether two identities are the same.
    static bool equal(Key const& a, Key const& b) noexcept {
        return a.fov == b.fov && std::strcmp(orEmpty(a.text), orEmpty(b.text)) == 0;
    }
    /// @return Whether one identity comes before another in a sorted order.
    static bool less(Key const& a, Key const& b) noexcept {
        return a.fov < b.fov ||
               (a.fov == b.fov && std::strcmp(orEmpty(a.text), orEmpty(b.text)) < 0);
    }

private:
    static char const* orEmpty(char const* text) noexcept { return text != nullptr ? text : ""; }
};

/// The optics of a description, in the file's order.
using OpticsTable = LookupTable<OpticsDefinition, OpticIdentity>;
