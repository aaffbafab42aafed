#include "tests/support/Camera.h"

#include "tests/support/Elements.h"
#include "tests/support/TemporaryDirectory.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <stdexcept>

namespace support {

namespace {

constexpr char const* mainSectionText = R"(  <Main>
    <TecA>3410</TecA>
    <TecB>410</TecB>
    <TecC>405</TecC>
    <TecD>118</TecD>
    <TempTEC_Step>5.0</TempTEC_Step>
    <TempTECOffset>294.25</TempTECOffset>
    <TempTECGain>13.055</TempTECGain>
    <TempFlagOffset>0.5</TempFlagOffset>
    <TempChipFactor>1.0</TempChipFactor>
    <TempChipOffset>-0.25</TempChipOffset>
    <TempBoxOffset>0.0</TempBoxOffset>
    <TempOpticsOffset>0.0</TempOpticsOffset>
    <TempProcOffset>0.0</TempProcOffset>
    <TempHouseOffset>0.0</TempHouseOffset>
    <PifInOffset>0.0</PifInOffset>
    <PifInGain>1.0</PifInGain>
    <PifOutOffset>0.0</PifOutOffset>
    <PifOutGain>1.0</PifOutGain>
    <AddedOffset>-12</AddedOffset>
    <BindTempChipToTempFlagOffset>0.8</BindTempChipToTempFlagOffset>
    <FlagCycles>12</FlagCycles>
    <FlagCycles_Ignore>3</FlagCycles_Ignore>
    <AlphaLowTemp>23.0</AlphaLowTemp>
    <AlphaLowFactor>1.0</AlphaLowFactor>
  </Main>
)";

/// The shortest decimal number that means the value, without an exponent.
std::string decimalText(double value) {
    std::array<char, 400> digits{};
    auto const end = std::to_chars(digits.data(), digits.data() + digits.size(), value,
                                   std::chars_format::fixed);
    return {digits.data(), end.ptr};
}

/// A limit as in file names: the digits before the point, with an M for a minus sign.
std::string limitInName(double limit) {
    auto text = decimalText(limit);
    text.resize(std::min(text.find('.'), text.size()));
    if (text.front() != '-')
        return text;
    return (limit == 0.0 ? "" : "M") + text.substr(1);
}

bool saysTrue(std::string const& answer) {
    std::string const yes = "true";
    std::string const upperCaseYes = "TRUE";
    if (answer.size() != yes.size())
        return false;
    for (std::size_t i = 0; i < yes.size(); ++i) {
        if (answer[i] != yes[i] && answer[i] != upperCaseYes[i])
            return false;
    }
    return true;
}

std::string dataFile(std::string const& stem) {
    std::string content = "; calibration data " + stem + "\n; rows 4, columns 4\n";
    for (int row = 0; row < 4; ++row) {
        for (int column = 0; column < 4; ++column)
            content += " " + std::to_string(8144 + (row * 37 + column * 11) % 97);
        content += "\n";
    }
    return content;
}

std::string curveFile(double low, double high) {
    std::string content;
    for (int step = 0; step <= 10; ++step) {
        double const degrees = low + (high - low) * step / 10;
        content += std::to_string(degrees) + " " +
                   std::to_string(6000 + static_cast<int>(degrees * 12) + step * step) + "\n";
    }
    return content;
}

} // namespace

Camera& Camera::mainSection() {
    m_mainSection = true;
    return *this;
}

Camera& Camera::optic(int fieldOfView) {
    m_optics.push_back({fieldOfView, {}, {}, {}});
    return *this;
}

Camera& Camera::text(std::string const& text) {
    lastOptic().text = text;
    return *this;
}

Camera& Camera::samplePointCalibrated(std::string const& answer) {
    lastOptic().samplePointCalibrated = answer;
    return *this;
}

Camera& Camera::withoutRanges() {
    lastOptic().ranges.emplace();
    return *this;
}

Camera& Camera::range(double low, double high) {
    auto& ranges = lastOptic().ranges;
    if (!ranges)
        ranges.emplace();
    ranges->push_back({{low, high}, {}, {}, {}});
    return *this;
}

Camera& Camera::extendedTo(double low, double high) {
    lastRange().extended = {low, high};
    return *this;
}

Camera& Camera::frameRate(int hertz) {
    auto& frameRates = lastRange().frameRates;
    if (!frameRates)
        frameRates.emplace();
    frameRates->push_back(hertz);
    return *this;
}

Camera& Camera::withoutFrameRates() {
    lastRange().frameRates.emplace();
    return *this;
}

Camera& Camera::decimal(int decimal) {
    lastRange().decimal = decimal;
    return *this;
}

std::string Camera::description() const {
    std::string out = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<CaliData>\n";
    if (m_mainSection)
        out += mainSectionText;
    out += "  <Temperature>\n    <Optics>\n";
    for (auto const& optic : m_optics)
        describe(out, optic);
    return out + "    </Optics>\n  </Temperature>\n</CaliData>\n";
}

void Camera::describe(std::string& out, OpticWords const& optic) {
    std::string const indent(8, ' ');
    out += "      <OpticsDef>\n";
    out += indent + element("FOV", std::to_string(optic.fieldOfView)) + "\n";
    if (optic.text)
        out += indent + element("Text", *optic.text) + "\n";
    if (optic.samplePointCalibrated)
        out += indent + element("SamplePointCali", *optic.samplePointCalibrated) + "\n";
    if (optic.ranges) {
        out += indent + "<TempRanges>\n";
        for (auto const& range : *optic.ranges)
            describe(out, range);
        out += indent + "</TempRanges>\n";
    }
    out += "      </OpticsDef>\n";
}

void Camera::describe(std::string& out, RangeWords const& range) {
    std::string const indent(12, ' ');
    out += "          <TemperatureRange>\n";
    out += indent + element("Fid", "1") + "\n";
    out += indent + element("Skim", "3") + "\n";
    out += indent + element("TempLo", decimalText(range.limits.first)) + "\n";
    out += indent + element("TempHi", decimalText(range.limits.second)) + "\n";
    if (range.extended) {
        out += indent + element("TempLoExt", decimalText(range.extended->first)) + "\n";
        out += indent + element("TempHiExt", decimalText(range.extended->second)) + "\n";
    }
    if (range.frameRates) {
        out += indent + "<Framerates>\n";
        for (int const hertz : *range.frameRates) {
            out +=
                indent + "  " + element("Framerate", element("FR", std::to_string(hertz))) + "\n";
        }
        out += indent + "</Framerates>\n";
    }
    if (range.decimal)
        out += indent + element("Decimal", std::to_string(*range.decimal)) + "\n";
    out += "          </TemperatureRange>\n";
}

std::string Camera::descriptionName() const {
    return "Cali-" + std::to_string(m_serial) + ".xml";
}

std::vector<Camera::DataSet> Camera::dataSets() const {
    std::vector<RangeWords> const customaryRanges{
        {{-20, 100}, {}, {}, {}}, {{0, 250}, {}, {}, {}}, {{150, 900}, {}, {}, {}}};
    std::vector<DataSet> sets;
    for (auto const& optic : m_optics) {
        bool const hasCurves = !saysTrue(optic.samplePointCalibrated.value_or("no"));
        std::string const text = optic.text.value_or("");
        std::string const opticStem = std::to_string(m_serial) + "-" +
                                      std::to_string(optic.fieldOfView) +
                                      (text.empty() ? "" : "-" + text) + "-";
        for (auto const& range : optic.ranges ? *optic.ranges : customaryRanges) {
            auto const [low, high] = range.limits;
            std::string const stem = opticStem + limitInName(low) + "-" + limitInName(high);
            auto const rates = range.frameRates.value_or(std::vector<int>{});
            if (rates.empty())
                sets.push_back({stem, range.limits, hasCurves});
            for (int const hertz : rates) {
                std::string const suffix = hertz != 0 ? "-" + std::to_string(hertz) : "";
                sets.push_back({stem + suffix, range.limits, hasCurves});
            }
        }
    }
    return sets;
}

std::vector<std::string> Camera::stems() const {
    std::vector<std::string> stems;
    for (auto const& set : dataSets())
        stems.push_back(set.stem);
    return stems;
}

std::vector<std::string> Camera::fileNames() const {
    std::vector<std::string> names{descriptionName()};
    for (auto const& set : dataSets()) {
        names.push_back("Cali-" + set.stem + ".dat");
        if (set.hasCurve)
            names.push_back("Kennlinie-" + set.stem + ".prn");
    }
    return names;
}

void Camera::writeInto(std::string const& directory, std::set<std::string> const& except) const {
    auto const write = [&](std::string const& name, std::string const& content) {
        if (except.count(name) == 0)
            writeFile(directory + "/" + name, content);
    };
    write(descriptionName(), description());
    for (auto const& set : dataSets()) {
        write("Cali-" + set.stem + ".dat", dataFile(set.stem));
        if (set.hasCurve)
            write("Kennlinie-" + set.stem + ".prn", curveFile(set.limits.first, set.limits.second));
    }
}

Camera::OpticWords& Camera::lastOptic() {
    if (m_optics.empty())
        throw std::logic_error("no optic yet");
    return m_optics.back();
}

Camera::RangeWords& Camera::lastRange() {
    auto& optic = lastOptic();
    if (!optic.ranges || optic.ranges->empty())
        throw std::logic_error("no range yet");
    return optic.ranges->back();
}

Camera camera(int serial) {
    return Camera(serial);
}

} // namespace support
