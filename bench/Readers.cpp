#include "bench/Readers.h"

#include <cstring>
#include <memory>
#include <stdexcept>
#include <utility>

namespace bench {

namespace {

/// A sum over what was found that depends on the order.
class Sum {
public:
    void add(std::uint64_t value) { m_value = (m_value ^ value) * 1099511628211U; }
    void add(float value) {
        std::uint32_t bits = 0;
        std::memcpy(&bits, &value, sizeof bits);
        add(std::uint64_t{bits});
    }
    void add(double value) { add(static_cast<float>(value)); }
    void add(int value) { add(static_cast<std::uint64_t>(value)); }
    void add(char const* text) { add(text != nullptr ? std::uint64_t{std::strlen(text)} : 0U); }
    std::uint64_t value() const { return m_value; }

private:
    std::uint64_t m_value = 14695981039346656037U;
};

void load(ConfigCali& description, std::string const& directory, int serial) {
    if (description.load(directory.c_str(), serial) != 0)
        throw std::runtime_error("cannot load " + descriptionPath(directory, serial));
}

// Uses the public queries, as a caller's own completeness check would.
std::uint64_t walk(ConfigCali const& description) {
    Sum sum;
    int const optics = description.getOpticsCount();
    for (int i = 0; i < optics; ++i) {
        std::unique_ptr<OPTICS> const optic(description.getOptics(i));
        sum.add(optic->fov);
        sum.add(optic->text);
        int const ranges = description.getTempRangeCount(optic.get());
        for (int r = 0; r < ranges; ++r) {
            std::unique_ptr<Range> const range(description.getTempRange(optic.get(), r));
            sum.add(range->lo);
            sum.add(range->hi);
            int const framerates = description.getFramerateCount(optic.get(), range.get());
            for (int f = 0; f < framerates; ++f)
                sum.add(int{description.getFramerate(optic.get(), range.get(), f)});
        }
    }
    return sum.value();
}

std::uint64_t walk(Records const& records) {
    Sum sum;
    for (auto const& optic : records.optics) {
        sum.add(optic.FOV);
        sum.add(optic.Text.get());
        for (auto const& range : optic.tempRanges) {
            sum.add(range.range.lo);
            sum.add(range.range.hi);
            if (!range.framerates)
                continue;
            for (auto const framerate : *range.framerates)
                sum.add(int{framerate});
        }
    }
    return sum.value();
}

std::uint64_t loadAndWalkProduct(std::string const& directory, int serial) {
    ConfigCali description;
    load(description, directory, serial);
    return walk(description);
}

Records loadProduct(std::string const& directory, int serial) {
    ConfigCali description;
    load(description, directory, serial);
    return {*description.mainSection, std::move(*description.optics)};
}

template <Load loadRecords>
std::uint64_t loadAndWalk(std::string const& directory, int serial) {
    return walk(loadRecords(directory, serial));
}

void addRange(Sum& sum, TempRangeDefinition const& range) {
    for (int const value :
         {int{range.Fid}, int{range.Skim}, int{range.Decimal}, int{range.tableParams.E1},
          int{range.tableParams.E3}, int{range.tableParams.Normalize}}) {
        sum.add(value);
    }
    for (float const value : {range.range.lo, range.range.hi, range.extRange.lo, range.extRange.hi})
        sum.add(value);
    for (double const value :
         {range.tableParams.T1, range.tableParams.T3, range.tableParams.Lambda}) {
        sum.add(value);
    }
    sum.add(range.framerates ? static_cast<int>(range.framerates->size()) : -1);
}

} // namespace

std::array<Reader, 5> const& readers() {
    static constexpr std::array<Reader, 5> all{{
        {"zentho-cali", loadAndWalkProduct, loadProduct},
        {"pugixml", loadAndWalk<loadWithPugixml>, loadWithPugixml},
        {"tinyxml2", loadAndWalk<loadWithTinyxml2>, loadWithTinyxml2},
        {"libxml2", loadAndWalk<loadWithLibxml2>, loadWithLibxml2},
        {"expat", loadAndWalk<loadWithExpat>, loadWithExpat},
    }};
    return all;
}

std::uint64_t digest(Records const& records) {
    auto const& main = records.mainSection;
    Sum sum;
    for (int const value :
         {int{main.TecA}, int{main.TecB}, int{main.TecC}, int{main.TecD}, int{main.AddedOffset},
          int{main.FlagCycles}, int{main.FlagCycles_Ignore}}) {
        sum.add(value);
    }
    for (float const value :
         {main.TempTEC_Step, main.TempTECOffset, main.TempTECGain, main.TempFlagOffset,
          main.TempChipFactor, main.TempChipOffset, main.TempBoxOffset, main.TempOpticsOffset,
          main.TempProcOffset, main.TempHouseOffset, main.PifInOffset, main.PifInGain,
          main.PifOutOffset, main.PifOutGain, main.BindTempChipToTempFlagOffset, main.AlphaLowTemp,
          main.AlphaLowFactor}) {
        sum.add(value);
    }
    for (auto const& optic : records.optics) {
        sum.add(optic.SerNo);
        sum.add(int{optic.SamplePointCali});
        for (auto const& range : optic.tempRanges)
            addRange(sum, range);
    }
    sum.add(walk(records));
    return sum.value();
}

std::string descriptionPath(std::string const& directory, int serial) {
    return directory + "/Cali-" + std::to_string(serial) + ".xml";
}

} // namespace bench
