#pragma once

#include "bench/Readers.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

#include <strings.h>

namespace bench {

inline std::unique_ptr<char[]> copyOf(char const* text) {
    std::size_t const size = std::strlen(text) + 1;
    std::unique_ptr<char[]> copy(new char[size]);
    std::memcpy(copy.get(), text, size);
    return copy;
}

/// Fills the records from a tree of elements, in the straightforward way.
/// @tparam Tree Provides `Node`, which is false for no element, and on nodes `child(node, name)`,
///              `next(node, name)`, `integer(node)`, `number(node)` and `text(node)`.
template <class Tree>
class Filler {
public:
    using Node = typename Tree::Node;

    static Records fill(Node root) {
        Records records;
        if (Node const main = Tree::child(root, "Main"))
            fillMain(main, records.mainSection);
        std::vector<OpticsDefinition> optics;
        if (Node const temperature = Tree::child(root, "Temperature")) {
            if (Node const list = Tree::child(temperature, "Optics")) {
                for (Node n = Tree::child(list, "OpticsDef"); n; n = Tree::next(n, "OpticsDef"))
                    fillOptic(n, optics.emplace_back());
            }
        }
        records.optics = OpticsTable(std::move(optics));
        return records;
    }

private:
    template <class Field>
    static void integer(Node node, char const* name, Field& field) {
        if (Node const child = Tree::child(node, name))
            field = static_cast<Field>(Tree::integer(child));
    }

    template <class Field>
    static bool number(Node node, char const* name, Field& field) {
        Node const child = Tree::child(node, name);
        if (!child)
            return false;
        field = Tree::number(child);
        return true;
    }

    static void fillMain(Node node, MainSection& main) {
        integer(node, "TecA", main.TecA);
        integer(node, "TecB", main.TecB);
        integer(node, "TecC", main.TecC);
        integer(node, "TecD", main.TecD);
        number(node, "TempTEC_Step", main.TempTEC_Step);
        number(node, "TempTECOffset", main.TempTECOffset);
        number(node, "TempTECGain", main.TempTECGain);
        number(node, "TempFlagOffset", main.TempFlagOffset);
        number(node, "TempChipFactor", main.TempChipFactor);
        number(node, "TempChipOffset", main.TempChipOffset);
        number(node, "TempBoxOffset", main.TempBoxOffset);
        number(node, "TempOpticsOffset", main.TempOpticsOffset);
        number(node, "TempProcOffset", main.TempProcOffset);
        number(node, "TempHouseOffset", main.TempHouseOffset);
        number(node, "PifInOffset", main.PifInOffset);
        number(node, "PifInGain", main.PifInGain);
        number(node, "PifOutOffset", main.PifOutOffset);
        number(node, "PifOutGain", main.PifOutGain);
        integer(node, "AddedOffset", main.AddedOffset);
        number(node, "BindTempChipToTempFlagOffset", main.BindTempChipToTempFlagOffset);
        integer(node, "FlagCycles", main.FlagCycles);
        integer(node, "FlagCycles_Ignore", main.FlagCycles_Ignore);
        number(node, "AlphaLowTemp", main.AlphaLowTemp);
        number(node, "AlphaLowFactor", main.AlphaLowFactor);
    }

    static void fillOptic(Node node, OpticsDefinition& optic) {
        integer(node, "FOV", optic.FOV);
        integer(node, "SerNo", optic.SerNo);
        if (Node const text = Tree::child(node, "Text"))
            optic.Text = copyOf(Tree::text(text));
        if (Node const flag = Tree::child(node, "SamplePointCali"))
            optic.SamplePointCali = strcasecmp(Tree::text(flag), "true") == 0;
        std::vector<TempRangeDefinition> ranges;
        if (Node const list = Tree::child(node, "TempRanges")) {
            for (Node n = Tree::child(list, "TemperatureRange"); n;
                 n = Tree::next(n, "TemperatureRange")) {
                fillRange(n, ranges.emplace_back());
            }
        }
        optic.tempRanges = TempRangeTable(std::move(ranges));
    }

    static void fillRange(Node node, TempRangeDefinition& range) {
        integer(node, "Fid", range.Fid);
        integer(node, "Skim", range.Skim);
        number(node, "TempLo", range.range.lo);
        number(node, "TempHi", range.range.hi);
        bool const low = number(node, "TempLoExt", range.extRange.lo);
        range.extRange.lo = low ? std::min(range.extRange.lo, range.range.lo) : range.range.lo;
        bool const high = number(node, "TempHiExt", range.extRange.hi);
        range.extRange.hi = high ? std::max(range.extRange.hi, range.range.hi) : range.range.hi;
        if (Node const list = Tree::child(node, "Framerates"))
            fillFramerates(list, range.framerates.emplace());
        integer(node, "Decimal", range.Decimal);
        if (Node const params = Tree::child(node, "TableParams"))
            fillTableParams(params, range.tableParams);
    }

    static void fillFramerates(Node node, std::vector<std::uint16_t>& framerates) {
        for (Node n = Tree::child(node, "Framerate"); n; n = Tree::next(n, "Framerate"))
            integer(n, "FR", framerates.emplace_back());
    }

    static void fillTableParams(Node node, TableParams& params) {
        integer(node, "Normalize", params.Normalize);
        integer(node, "T1", params.T1);
        integer(node, "T3", params.T3);
        integer(node, "E1", params.E1);
        integer(node, "E3", params.E3);
        number(node, "Lambda", params.Lambda);
    }
};

} // namespace bench
