// Compares the description that ConfigCali reads with what a common XML library finds in the same
// document, on many made documents inside the accepted subset.

#include "imgproc/Cali.h"

#include "tests/support/Random.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <pugixml.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

using support::Random;

namespace {

using Texts = std::vector<std::string>;

constexpr int serial = 14080045;

Texts const opticTexts{"",
                       " ",
                       "X",
                       "X ",
                       "Macro",
                       "50 mm",
                       "a-b",
                       "a/b",
                       "%s%n",
                       "&amp;",
                       "Gr\xC3\xB6\xC3\x9F",
                       "1 > 0",
                       "TEXT",
                       "x"};
Texts const answers{"true", "TRUE", "True", "tRuE", "false", "yes", "1", "", " true"};
Texts const commonLimits{"-20", "100", "0", "250", "150", "900", "-20.0", "-0.5", "99.9"};
Texts const oddLimits{"-0.0",        "-0",         "1e2",   "+1.5",   ".5",
                      "5.",          "1e20",       "-1e20", "1e-20",  "0.125",
                      "-2147483648", "2147483520", "-40.9", "1500.5", "-273.15"};
Texts const commentWords{"checked",
                         "2014-08-21",
                         "withdrawn:",
                         "a < b",
                         ">",
                         "<OpticsDef> <FOV>1</FOV> </OpticsDef>",
                         "<TempRanges>",
                         "</TemperatureRange>",
                         "</Framerates>",
                         "<Text>"};

/// One document in two forms: for the product, and for the peer, which supports neither nested
/// comments nor comments inside a value.
class Document {
public:
    explicit Document(unsigned int seed) : m_random(seed) { write(); }

    std::string const& text() const { return m_text; }
    std::string const& forPeer() const { return m_forPeer; }
    bool hasWindowsLineEnds() const { return m_windows; }
    /// What occurs in the document, in words.
    std::set<std::string> const& traits() const { return m_traits; }

private:
    void write() {
        m_windows = trait(30, "Windows line ends");
        m_commentChance = trait(70, "comments") ? 10 : 0;
        if (trait(20, "byte order mark"))
            put("\xEF\xBB\xBF");
        if (m_random.chance(70))
            put("<?xml version=\"1.0\" encoding=\"utf-8\"?>" + lineEnd());
        if (m_random.chance(20))
            put("<!-- before the root -->" + lineEnd());
        put(trait(20, "attributes of the root") ? "  <CaliData version=\"2\">" : "<CaliData>");
        put(lineEnd());
        inAnyOrder({[this] { sometimes(60, "main section", [this] { main(); }); },
                    [this] { sometimes(98, "optics", [this] { temperature(); }); },
                    [this] {
                        remark();
                    }});
        put(lineEnd() + "</CaliData>");
        if (!trait(20, "no newline at the end"))
            put(lineEnd());
    }

    void main() {
        element("Main", [this] {
            Texts const integers{"TecA", "TecB", "TecC", "TecD", "AddedOffset", "FlagCycles"};
            for (auto const& name : integers)
                optional(name, integer());
            for (auto const* name : {"TempTEC_Step", "TempTECGain", "FlagCycles_Ignore"})
                optional(name, std::to_string(m_random.between(-9, 99)));
        });
    }

    void temperature() {
        element("Temperature", [this] {
            remark();
            element("Optics", [this] {
                int const count =
                    trait(3, "many optics") ? m_random.between(17, 40) : m_random.between(0, 4);
                for (int i = 0; i < count; ++i)
                    element("OpticsDef", [this] { optic(); });
            });
        });
    }

    void optic() {
        inAnyOrder({[this] {
                        optional("FOV", m_random.oneOf({"23", "30", "-54", "0x20", "+80"}));
                    },
                    [this] { optional("SerNo", integer()); },
                    [this] { sometimes(50, "text", [this] { opticText(); }); },
                    [this] {
                        sometimes(40, "sample-point answer",
                                  [this] { leaf("SamplePointCali", m_random.oneOf(answers)); });
                    },
                    [this] { sometimes(80, "ranges", [this] { ranges(); }); },
                    [this] {
                        remark();
                    }});
    }

    void opticText() {
        auto text = m_random.oneOf(opticTexts);
        if (trait(10, "line break in a text"))
            text += lineEnd() + m_random.oneOf(opticTexts);
        leaf("Text", text);
    }

    void ranges() {
        element("TempRanges", [this] {
            int const count =
                trait(3, "many ranges") ? m_random.between(17, 40) : m_random.between(0, 4);
            for (int i = 0; i < count; ++i)
                element("TemperatureRange", [this] { range(); });
        });
    }

    void range() {
        inAnyOrder(
            {[this] { optional("Fid", integer()); }, [this] { optional("Skim", integer()); },
             [this] { optional("TempLo", limit()); }, [this] { optional("TempHi", limit()); },
             [this] { sometimes(40, "extended low", [this] { number("TempLoExt", limit()); }); },
             [this] { sometimes(40, "extended high", [this] { number("TempHiExt", limit()); }); },
             [this] { sometimes(60, "frame rates", [this] { frameRates(); }); },
             [this] { sometimes(60, "decimal", [this] { number("Decimal", integer()); }); },
             [this] { sometimes(50, "table", [this] { tableParams(); }); },
             [this] {
                 remark();
             }});
    }

    void frameRates() {
        element("Framerates", [this] {
            int const count = m_random.between(0, 4);
            m_traits.insert(count == 0 ? "empty frame-rate list" : "frame-rate list");
            for (int i = 0; i < count; ++i) {
                element("Framerate", [this] {
                    sometimes(95, "frame rate", [this] {
                        number("FR",
                               m_random.oneOf({"9", "27", "50", "80", "0x20", "65563", "-1"}));
                    });
                });
            }
        });
    }

    void tableParams() {
        element("TableParams", [this] {
            optional("Normalize", m_random.oneOf({"0", "1", "2", "-1"}));
            for (auto const* name : {"T1", "T3", "E1", "E3"})
                optional(name, integer());
            optional("Lambda", limit());
        });
    }

    std::string integer() {
        if (trait(5, "hexadecimal number"))
            return "0x" + std::to_string(m_random.between(1, 9)) + "F";
        return std::to_string(m_random.chance(80) ? m_random.between(-99, 999)
                                                  : m_random.between(-99999999, 99999999));
    }

    std::string limit() {
        if (m_random.chance(60))
            return m_random.oneOf(commonLimits);
        if (trait(20, "odd limit"))
            return m_random.oneOf(oddLimits);
        return std::to_string(m_random.between(-300, 2000)) + "." +
               std::to_string(m_random.between(0, 999));
    }

    // Elements

    void element(std::string const& name, std::function<void()> const& content) {
        gap();
        put("<" + name + ">");
        gap();
        content();
        gap();
        put("</" + name + ">");
        gap();
    }

    void leaf(std::string const& name, std::string const& content) {
        gap();
        put("<" + name + ">");
        auto const half = content.size() / 2;
        put(content.substr(0, half));
        if (m_random.chance(m_commentChance)) {
            m_traits.insert("comment inside a value");
            m_text += comment(1);
        }
        put(content.substr(half) + "</" + name + ">");
        gap();
    }

    /// White space around a number does not matter.
    void number(std::string const& name, std::string const& digits) {
        leaf(name, trait(10, "number on a line of its own")
                       ? lineEnd() + "\t " + digits + " " + lineEnd()
                       : digits);
    }

    void optional(std::string const& name, std::string const& digits) {
        if (trait(10, "missing element"))
            return;
        number(name, digits);
        if (trait(3, "element given twice"))
            number(name, "77");
    }

    void remark() {
        if (trait(10, "unknown element"))
            element("Remark", [this] { leaf("By", "nobody"); });
    }

    void sometimes(int percent, std::string const& what, std::function<void()> const& write) {
        if (m_random.chance(percent)) {
            m_traits.insert(what);
            write();
        } else {
            m_traits.insert("no " + what);
        }
    }

    void inAnyOrder(std::vector<std::function<void()>> parts) {
        while (!parts.empty()) {
            auto const next = parts.begin() + m_random.below(static_cast<int>(parts.size()));
            (*next)();
            parts.erase(next);
        }
    }

    // Between elements

    /// Something or nothing between two tags. Lines stay far shorter than the reader's limit.
    void gap() {
        if (m_random.chance(m_commentChance))
            commentBetweenElements();
        if (m_random.chance(50) || m_text.size() - m_text.rfind('\n') > 500)
            put(lineEnd() + std::string(static_cast<std::size_t>(m_random.below(9)), ' '));
        else if (m_random.chance(30))
            put(m_random.oneOf({" ", "\t", "   "}));
    }

    void commentBetweenElements() {
        if (m_random.chance(60)) {
            put(comment(0));
            return;
        }
        m_traits.insert("nested comments");
        m_text += comment(m_random.between(1, 3));
    }

    /// A comment with others inside. Words separate its delimiters from theirs.
    std::string comment(int depth) {
        std::string content = words();
        for (int i = 0; i < depth; ++i)
            content += comment(depth - 1 - i) + words();
        return "<!--" + content + "-->";
    }

    std::string words() {
        std::string all = " ";
        for (int i = m_random.between(0, 2); i > 0; --i)
            all += m_random.oneOf(commentWords) + " ";
        if (trait(20, "comment over several lines"))
            all += lineEnd() + " ";
        return all;
    }

    std::string lineEnd() const { return m_windows ? "\r\n" : "\n"; }

    void put(std::string const& text) {
        m_text += text;
        m_forPeer += text;
    }

    bool trait(int percent, std::string const& what) {
        bool const has = m_random.chance(percent);
        if (has)
            m_traits.insert(what);
        return has;
    }

    Random m_random;
    bool m_windows = false;
    int m_commentChance = 0;
    std::string m_text;
    std::string m_forPeer;
    std::set<std::string> m_traits;
};

// What is compared

struct RangeReading {
    std::uint16_t fid = 0;
    std::uint16_t skim = 0;
    float lo = 0.0F;
    float hi = 0.0F;
    float extendedLo = -100.0F;
    float extendedHi = -100.0F;
    std::optional<std::vector<std::uint16_t>> frameRates;
    std::uint16_t decimal = 1;
    std::vector<double> table{0.0, 0.0, 0.0, 0.0, 0.0, 0.0}; // Normalize T1 T3 E1 E3 Lambda
};

struct OpticReading {
    int fov = 0;
    int serial = 0;
    std::optional<std::string> text;
    bool samplePointCalibrated = false;
    std::vector<RangeReading> ranges;
};

struct Reading {
    std::vector<double> main; // TecA to TecD AddedOffset FlagCycles FlagCycles_Ignore Step Gain
    std::vector<OpticReading> optics;
    Texts fileNames;
};

void print(std::ostream& out, std::vector<double> const& numbers) {
    for (double const number : numbers)
        out << ' ' << number;
}

/// 0 and -0 are equal, so either may be the extended limit.
float withoutSignOfZero(float limit) {
    return limit + 0.0F;
}

void print(std::ostream& out, RangeReading const& range) {
    out << "  range " << range.lo << " to " << range.hi << " extended "
        << withoutSignOfZero(range.extendedLo) << " to " << withoutSignOfZero(range.extendedHi)
        << " fid " << range.fid << " skim " << range.skim << " decimal " << range.decimal
        << " table";
    print(out, range.table);
    out << (range.frameRates ? " rates" : " no rates");
    for (auto const rate : range.frameRates.value_or(std::vector<std::uint16_t>{}))
        out << ' ' << rate;
    out << '\n';
}

std::string inWords(Reading const& reading) {
    std::ostringstream out;
    out.precision(17);
    out << "main";
    print(out, reading.main);
    out << '\n';
    for (auto const& optic : reading.optics) {
        out << "optic " << optic.fov << " serial " << optic.serial << " text "
            << (optic.text ? "'" + *optic.text + "'" : "none")
            << (optic.samplePointCalibrated ? " sample-point calibrated\n" : "\n");
        for (auto const& range : optic.ranges)
            print(out, range);
    }
    for (auto const& name : reading.fileNames)
        out << name << '\n';
    return out.str();
}

// The peer

namespace peer {

int integer(pugi::xml_node node, char const* name, int missing = 0) {
    return node.child(name).text().as_int(missing);
}

std::uint16_t shortInteger(pugi::xml_node node, char const* name, int missing = 0) {
    return static_cast<std::uint16_t>(integer(node, name, missing));
}

float fraction(pugi::xml_node node, char const* name, float missing = 0.0F) {
    return node.child(name).text().as_float(missing);
}

std::vector<double> table(pugi::xml_node node) {
    return {integer(node, "Normalize") != 0 ? 1.0 : 0.0,
            static_cast<double>(integer(node, "T1")),
            static_cast<double>(integer(node, "T3")),
            static_cast<double>(shortInteger(node, "E1")),
            static_cast<double>(shortInteger(node, "E3")),
            static_cast<double>(fraction(node, "Lambda"))};
}

RangeReading range(pugi::xml_node node) {
    RangeReading reading;
    reading.fid = shortInteger(node, "Fid");
    reading.skim = shortInteger(node, "Skim");
    reading.lo = fraction(node, "TempLo");
    reading.hi = fraction(node, "TempHi");
    reading.extendedLo = std::fmin(reading.lo, fraction(node, "TempLoExt", reading.lo));
    reading.extendedHi = std::fmax(reading.hi, fraction(node, "TempHiExt", reading.hi));
    if (auto const list = node.child("Framerates")) {
        reading.frameRates.emplace();
        for (auto const rate : list.children("Framerate"))
            reading.frameRates->push_back(shortInteger(rate, "FR"));
    }
    reading.decimal = shortInteger(node, "Decimal", 1);
    reading.table = table(node.child("TableParams"));
    return reading;
}

std::vector<RangeReading> ranges(pugi::xml_node optic) {
    std::vector<RangeReading> all;
    if (auto const list = optic.child("TempRanges")) {
        for (auto const node : list.children("TemperatureRange"))
            all.push_back(range(node));
        return all;
    }
    all.resize(3);
    std::array<std::pair<float, float>, 3> const limits{
        {{-20.0F, 100.0F}, {0.0F, 250.0F}, {150.0F, 900.0F}}};
    for (std::size_t i = 0; i < limits.size(); ++i) {
        all[i].lo = limits[i].first;
        all[i].hi = limits[i].second;
    }
    return all;
}

OpticReading optic(pugi::xml_node node, bool windowsLineEnds) {
    OpticReading reading;
    reading.fov = integer(node, "FOV");
    reading.serial = integer(node, "SerNo");
    if (auto const text = node.child("Text")) {
        reading.text = text.text().get();
        // Lines are joined without a break; of a Windows line end the carriage return remains.
        if (!windowsLineEnds) {
            auto const end = std::remove(reading.text->begin(), reading.text->end(), '\n');
            reading.text->erase(end, reading.text->end());
        }
    }
    std::string answer = node.child("SamplePointCali").text().get();
    for (char& c : answer)
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    reading.samplePointCalibrated = answer == "true";
    reading.ranges = ranges(node);
    return reading;
}

std::vector<double> mainSection(pugi::xml_node node) {
    return {static_cast<double>(shortInteger(node, "TecA", 3400)),
            static_cast<double>(shortInteger(node, "TecB", 400)),
            static_cast<double>(shortInteger(node, "TecC", 400)),
            static_cast<double>(shortInteger(node, "TecD", 120)),
            static_cast<double>(static_cast<std::int16_t>(integer(node, "AddedOffset"))),
            static_cast<double>(shortInteger(node, "FlagCycles", 10)),
            static_cast<double>(shortInteger(node, "FlagCycles_Ignore", 2)),
            static_cast<double>(fraction(node, "TempTEC_Step", 5.0F)),
            static_cast<double>(fraction(node, "TempTECGain", 13.055F))};
}

std::string limitInName(float limit) {
    double const digits = std::fmin(std::floor(std::fabs(static_cast<double>(limit))), 2147483647);
    return (limit < 0.0F ? "M" : "") + std::to_string(static_cast<long long>(digits));
}

/// The frame rates by which a range is split; 0 alone when it is not.
std::vector<std::uint16_t> split(RangeReading const& range) {
    auto rates = range.frameRates.value_or(std::vector<std::uint16_t>{});
    if (rates.empty())
        rates.push_back(0);
    return rates;
}

template <class Records, class Same>
auto const& firstOf(Records const& records, Same const& same) {
    return *std::find_if(records.begin(), records.end(), same);
}

/// The names that an optic's files have. Of equal optics and equal ranges the first one answers.
void addFileNames(Texts& names, OpticReading const& optic, std::vector<OpticReading> const& all) {
    auto const& answering = firstOf(all, [&](OpticReading const& other) {
        return other.fov == optic.fov && other.text.value_or("") == optic.text.value_or("");
    });
    std::string const text = optic.text.value_or("");
    for (auto const& range : answering.ranges) {
        auto const& first = firstOf(answering.ranges, [&](RangeReading const& other) {
            return other.lo == range.lo && other.hi == range.hi;
        });
        for (auto const rate : split(first)) {
            std::string const stem = std::to_string(serial) + "-" + std::to_string(optic.fov) +
                                     (text.empty() ? "" : "-" + text) + "-" +
                                     limitInName(range.lo) + "-" + limitInName(range.hi) +
                                     (rate == 0 ? "" : "-" + std::to_string(rate));
            names.push_back("Cali-" + stem + ".dat");
            if (!optic.samplePointCalibrated)
                names.push_back("Kennlinie-" + stem + ".prn");
        }
    }
}

Reading read(Document const& document) {
    pugi::xml_document parsed;
    auto const result =
        parsed.load_buffer(document.forPeer().data(), document.forPeer().size(),
                           pugi::parse_eol | pugi::parse_ws_pcdata_single, pugi::encoding_utf8);
    EXPECT_TRUE(result) << result.description();
    auto const root = parsed.child("CaliData");
    EXPECT_TRUE(root);
    Reading reading;
    reading.main = mainSection(root.child("Main"));
    for (auto const node : root.child("Temperature").child("Optics").children("OpticsDef"))
        reading.optics.push_back(optic(node, document.hasWindowsLineEnds()));
    for (auto const& each : reading.optics)
        addFileNames(reading.fileNames, each, reading.optics);
    return reading;
}

} // namespace peer

// The product

namespace product {

RangeReading range(TempRangeDefinition const& definition) {
    auto const& table = definition.tableParams;
    return {definition.Fid,
            definition.Skim,
            definition.range.lo,
            definition.range.hi,
            definition.extRange.lo,
            definition.extRange.hi,
            definition.framerates,
            definition.Decimal,
            {table.Normalize ? 1.0 : 0.0, table.T1, table.T3, static_cast<double>(table.E1),
             static_cast<double>(table.E3), table.Lambda}};
}

OpticReading optic(OpticsDefinition const& definition) {
    OpticReading reading;
    reading.fov = definition.FOV;
    reading.serial = definition.SerNo;
    if (definition.Text)
        reading.text = definition.Text.get();
    reading.samplePointCalibrated = definition.SamplePointCali;
    for (auto const& each : definition.tempRanges)
        reading.ranges.push_back(range(each));
    return reading;
}

std::vector<double> mainSection(MainSection const& main) {
    return {static_cast<double>(main.TecA),
            static_cast<double>(main.TecB),
            static_cast<double>(main.TecC),
            static_cast<double>(main.TecD),
            static_cast<double>(main.AddedOffset),
            static_cast<double>(main.FlagCycles),
            static_cast<double>(main.FlagCycles_Ignore),
            static_cast<double>(main.TempTEC_Step),
            static_cast<double>(main.TempTECGain)};
}

std::string stem(OPTICS const& optic, Range const& range, unsigned short frameRate) {
    std::array<char, 260> buffer{};
    EXPECT_TRUE(ConfigCali::caliFilenameString(serial, optic.fov, optic.text, &range, frameRate,
                                               buffer.data(), static_cast<int>(buffer.size())));
    return buffer.data();
}

void addFileNames(Texts& names, ConfigCali const& cali, int opticIndex) {
    std::unique_ptr<OPTICS> const handle(cali.getOptics(opticIndex));
    bool const hasCurves = !(*cali.optics)[static_cast<std::size_t>(opticIndex)].SamplePointCali;
    for (int i = 0; i < cali.getTempRangeCount(handle.get()); ++i) {
        std::unique_ptr<Range> const range(cali.getTempRange(handle.get(), i));
        int const rates = cali.getFramerateCount(handle.get(), range.get());
        for (int k = 0; k < std::max(rates, 1); ++k) {
            auto const name =
                stem(*handle, *range, cali.getFramerate(handle.get(), range.get(), k));
            names.push_back("Cali-" + name + ".dat");
            if (hasCurves)
                names.push_back("Kennlinie-" + name + ".prn");
        }
    }
}

Reading read(Document const& document, support::TemporaryDirectory const& directory) {
    support::writeFile(directory.path() + "/Cali-" + std::to_string(serial) + ".xml",
                       document.text());
    ConfigCali cali;
    EXPECT_EQ(cali.load(directory.path().c_str(), serial), 0);
    Reading reading;
    reading.main = mainSection(*cali.mainSection);
    for (auto const& each : *cali.optics)
        reading.optics.push_back(optic(each));
    for (int i = 0; i < cali.getOpticsCount(); ++i)
        addFileNames(reading.fileNames, cali, i);
    return reading;
}

} // namespace product

constexpr unsigned int documentsPerBlock = 500;

class MadeDescriptions : public testing::TestWithParam<unsigned int> {};

} // namespace

TEST_P(MadeDescriptions, AreReadAsAnXmlLibraryReadsThem) {
    support::TemporaryDirectory const directory;
    for (unsigned int i = 0; i < documentsPerBlock; ++i) {
        Document const document(GetParam() * documentsPerBlock + i);
        ASSERT_EQ(inWords(product::read(document, directory)), inWords(peer::read(document)))
            << "seed " << GetParam() * documentsPerBlock + i << ":\n"
            << document.text();
    }
}

INSTANTIATE_TEST_SUITE_P(Block, MadeDescriptions, testing::Range(0U, 6U));

TEST(MadeDescription, VariesInEveryWayWithinABlock) {
    std::set<std::string> traits;
    for (unsigned int i = 0; i < documentsPerBlock; ++i) {
        auto const more = Document(i).traits();
        traits.insert(more.begin(), more.end());
    }
    EXPECT_EQ(traits, (std::set<std::string>{"Windows line ends",
                                             "attributes of the root",
                                             "byte order mark",
                                             "comment inside a value",
                                             "comment over several lines",
                                             "comments",
                                             "decimal",
                                             "element given twice",
                                             "empty frame-rate list",
                                             "extended high",
                                             "extended low",
                                             "frame rate",
                                             "frame rates",
                                             "frame-rate list",
                                             "hexadecimal number",
                                             "line break in a text",
                                             "main section",
                                             "many optics",
                                             "many ranges",
                                             "missing element",
                                             "nested comments",
                                             "no decimal",
                                             "no extended high",
                                             "no extended low",
                                             "no frame rate",
                                             "no frame rates",
                                             "no main section",
                                             "no newline at the end",
                                             "no optics",
                                             "no ranges",
                                             "no sample-point answer",
                                             "no table",
                                             "no text",
                                             "number on a line of its own",
                                             "odd limit",
                                             "optics",
                                             "ranges",
                                             "sample-point answer",
                                             "table",
                                             "text",
                                             "unknown element"}));
}
