#include "tests/support/DescriptionDump.h"

#include "imgproc/Cali.h"

#include <cmath>
#include <cstdio>
#include <optional>
#include <vector>

namespace support {

namespace {

/// Every value of a description, floats to their last bit.
class Dump {
public:
    void add(double value) {
        char text[64];
        std::snprintf(text, sizeof text, std::isnan(value) ? "nan " : "%a ", value);
        m_text += text;
    }
    void add(std::string const& word) { m_text += word + " "; }
    std::string const& text() const { return m_text; }

private:
    std::string m_text;
};

std::vector<double> constantsOf(MainSection const& main) {
    std::vector<double> values{static_cast<double>(main.TecA), static_cast<double>(main.TecB),
                               static_cast<double>(main.TecC), static_cast<double>(main.TecD)};
    for (float const value :
         {main.TempTEC_Step, main.TempTECOffset, main.TempTECGain, main.TempFlagOffset,
          main.TempChipFactor, main.TempChipOffset, main.TempBoxOffset, main.TempOpticsOffset,
          main.TempProcOffset, main.TempHouseOffset, main.PifInOffset, main.PifInGain,
          main.PifOutOffset, main.PifOutGain})
        values.push_back(static_cast<double>(value));
    values.push_back(main.AddedOffset);
    values.push_back(static_cast<double>(main.BindTempChipToTempFlagOffset));
    values.push_back(main.FlagCycles);
    values.push_back(main.FlagCycles_Ignore);
    values.push_back(static_cast<double>(main.AlphaLowTemp));
    values.push_back(static_cast<double>(main.AlphaLowFactor));
    return values;
}

} // namespace

std::string dump(ModelDescription const& model) {
    Dump out;
    for (double const constant : model.constants)
        out.add(constant);
    for (auto const& optic : model.optics) {
        out.add("\noptic");
        out.add(optic.fieldOfView);
        out.add(optic.serial);
        out.add("'" + optic.text + "'");
        out.add(optic.samplePointCalibrated);
        for (auto const& range : optic.ranges) {
            out.add("\n  range");
            out.add(range.fid);
            out.add(range.skim);
            out.add(static_cast<double>(range.low));
            out.add(static_cast<double>(range.high));
            out.add(static_cast<double>(range.extendedLow));
            out.add(static_cast<double>(range.extendedHigh));
            out.add(range.decimal);
            out.add(range.normalize);
            out.add(range.t1);
            out.add(range.t3);
            out.add(range.e1);
            out.add(range.e3);
            out.add(range.lambda);
            out.add(range.frameRates ? "rates" : "unsplit");
            for (unsigned short const rate :
                 range.frameRates.value_or(std::vector<unsigned short>{}))
                out.add(rate);
        }
    }
    return out.text();
}

ModelDescription inModelWords(ConfigCali const& description) {
    ModelDescription model;
    model.constants = constantsOf(*description.mainSection);
    for (auto const& optic : *description.optics) {
        model.optics.push_back({optic.FOV,
                                optic.SerNo,
                                optic.Text ? optic.Text.get() : "",
                                optic.SamplePointCali,
                                {}});
        for (auto const& range : optic.tempRanges) {
            auto const& table = range.tableParams;
            std::optional<std::vector<unsigned short>> rates;
            if (range.framerates)
                rates.emplace(range.framerates->begin(), range.framerates->end());
            model.optics.back().ranges.push_back(
                {range.Fid, range.Skim, range.range.lo, range.range.hi, range.extRange.lo,
                 range.extRange.hi, rates, range.Decimal, table.Normalize, table.T1, table.T3,
                 table.E1, table.E3, table.Lambda});
        }
    }
    return model;
}

} // namespace support
