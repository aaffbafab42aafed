#include "bench/Descriptions.h"

#include <array>
#include <string_view>

namespace bench {

namespace {

constexpr int firstFieldOfView = 10;

class Writer {
public:
    explicit Writer(bool comments) : m_comments(comments) {}

    void open(std::string_view name) {
        indent();
        m_text.append("<").append(name).append(">\n");
        ++m_depth;
        if (m_comments) {
            indent();
            m_text += "<!-- measured on the bench, see the report of that day -->\n";
        }
    }

    void close(std::string_view name) {
        --m_depth;
        indent();
        m_text.append("</").append(name).append(">\n");
    }

    void value(std::string_view name, std::string const& content) {
        indent();
        m_text.append("<").append(name).append(">").append(content);
        m_text.append("</").append(name).append(">");
        m_text += m_comments ? " <!-- checked -->\n" : "\n";
    }

    void value(std::string_view name, int content) { value(name, std::to_string(content)); }

    void line(std::string_view content) { m_text.append(content).append("\n"); }

    std::size_t size() const { return m_text.size(); }
    std::string take() { return std::move(m_text); }

private:
    void indent() { m_text.append(m_depth * 2, ' '); }

    bool m_comments;
    std::size_t m_depth = 1;
    std::string m_text;
};

std::string degrees(int whole, int tenths) {
    return std::to_string(whole) + "." + std::to_string(tenths);
}

void writeMainSection(Writer& out) {
    for (auto const* name :
         {"TecA", "TecB", "TecC", "TecD", "AddedOffset", "FlagCycles", "FlagCycles_Ignore"}) {
        out.value(name, 100);
    }
    for (auto const* name :
         {"TempTEC_Step", "TempTECOffset", "TempTECGain", "TempFlagOffset", "TempChipFactor",
          "TempChipOffset", "TempBoxOffset", "TempOpticsOffset", "TempProcOffset",
          "TempHouseOffset", "PifInOffset", "PifInGain", "PifOutOffset", "PifOutGain",
          "BindTempChipToTempFlagOffset", "AlphaLowTemp", "AlphaLowFactor"}) {
        out.value(name, "1.25");
    }
}

void writeFramerates(Writer& out, int count) {
    constexpr std::array<int, 4> rates{27, 80, 125, 1000};
    out.open("Framerates");
    for (int f = 0; f < count; ++f) {
        out.open("Framerate");
        out.value("FR", rates[static_cast<std::size_t>(f) % rates.size()] + f / 4);
        out.close("Framerate");
    }
    out.close("Framerates");
}

void writeTableParams(Writer& out, int optic) {
    out.open("TableParams");
    out.value("Normalize", 1);
    out.value("T1", 1000 + optic % 100);
    out.value("T3", 2000);
    out.value("E1", 10);
    out.value("E3", 20);
    out.value("Lambda", "9.5");
    out.close("TableParams");
}

void writeRange(Writer& out, Shape const& shape, int optic, int index) {
    constexpr std::array<std::array<int, 2>, 4> limits{
        {{-20, 100}, {0, 250}, {150, 900}, {200, 1500}}};
    auto const [low, high] = limits[static_cast<std::size_t>(index) % limits.size()];
    int const shift = index / static_cast<int>(limits.size());
    out.open("TemperatureRange");
    out.value("Fid", index);
    out.value("Skim", 2);
    out.value("TempLo", degrees(low + shift, 0));
    out.value("TempHi", degrees(high + shift, optic % 10));
    if (shape.optionalElements) {
        out.value("TempLoExt", degrees(low + shift - 5, 5));
        out.value("TempHiExt", degrees(high + shift + 5, 5));
        writeFramerates(out, shape.framerates);
        out.value("Decimal", 1);
        writeTableParams(out, optic);
    }
    out.close("TemperatureRange");
}

void writeOptic(Writer& out, Shape const& shape, int optic) {
    out.open("OpticsDef");
    out.value("FOV", firstFieldOfView + optic);
    if (shape.optionalElements) {
        out.value("SerNo", 1000 + optic);
        out.value("Text", "T" + std::to_string(optic));
        out.value("SamplePointCali", "false");
    }
    out.open("TempRanges");
    for (int r = 0; r < shape.rangesPerOptic; ++r)
        writeRange(out, shape, optic, r);
    out.close("TempRanges");
    out.close("OpticsDef");
}

template <class Enough>
std::string describe(Shape const& shape, Enough enough) {
    Writer out(shape.comments);
    out.line(R"(<?xml version="1.0" encoding="utf-8"?>)");
    out.line("<CaliData>");
    out.open("Main");
    if (shape.optionalElements)
        writeMainSection(out);
    out.close("Main");
    out.open("Temperature");
    out.open("Optics");
    for (int optic = 0; !enough(optic, out.size()); ++optic)
        writeOptic(out, shape, optic);
    out.close("Optics");
    out.close("Temperature");
    out.line("</CaliData>");
    return out.take();
}

} // namespace

std::string describeOptics(Shape const& shape, int optics) {
    return describe(shape, [=](int written, std::size_t) { return written >= optics; });
}

std::string describeBytes(Shape const& shape, std::size_t bytes) {
    return describe(shape, [=](int, std::size_t size) { return size >= bytes; });
}

} // namespace bench
