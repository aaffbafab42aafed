// Input that nobody sends in good faith: far too long, far too deep, binary, or nothing at all.

#include "imgproc/Cali.h"
#include "sdk/IRCalibrationManager.h"
#include "sdk/SimpleXML.h"

#include "tests/support/Command.h"
#include "tests/support/Elements.h"
#include "tests/support/TemporaryDirectory.h"
#include "util/Logger.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <unistd.h>

namespace {

namespace fs = std::filesystem;

using support::block;
using support::Outcome;
using support::repeated;
using support::TemporaryDirectory;
using support::writeFile;

std::string const installer = ZENTHO_INSTALLER;
constexpr int failed = 255; // what a shell sees of -1
constexpr int serialNumber = 14080045;
std::string const notSuccessful = "Copying of calibration files was NOT successful\n";
std::string const noDirectory = "Option -s needs to be qualified with a valid directory\n";

bool endsWith(std::string const& text, std::string const& end) {
    return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

bool beginsWith(std::string const& text, std::string const& beginning) {
    return text.substr(0, beginning.size()) == beginning;
}

/// A directory without files and the arguments of a run that would find nothing there.
class Bench {
public:
    Bench() { fs::create_directory(source()); }

    std::string source() const { return m_directory.path() + "/stick"; }
    std::string target() const { return m_directory.path() + "/cali"; }
    Outcome run(std::vector<std::string> arguments, std::string const& where = "") const {
        arguments.insert(arguments.begin(), installer);
        return support::run(arguments, where.empty() ? m_directory.path() : where);
    }
    std::string const& path() const { return m_directory.path(); }

private:
    TemporaryDirectory m_directory;
};

/// A directory whose path has exactly this many characters, below @p root.
std::string directoryOfLength(std::string path, std::size_t length) {
    while (path.size() + 1 < length) {
        auto const room = length - path.size() - 1;
        // A last component needs a character, so one is left when the room is just too much.
        std::size_t const part = room > 200 ? std::min<std::size_t>(200, room - 2) : room;
        path += "/" + std::string(part, 'd');
        fs::create_directory(path);
    }
    return path;
}

/// A loaded description.
class Loaded {
public:
    explicit Loaded(std::string const& document) {
        using thalvo::Logger;
        Logger::getInstance()->configure(
            "", static_cast<Logger::loggerConf_>(Logger::LOGFILE_OFF | Logger::CONSOLE_OFF), 0, 0);
        writeFile(m_directory.path() + "/Cali-14080045.xml", document);
        description().load("/missing", serialNumber + 1); // forgets what a test before has loaded
        m_result = description().load(m_directory.path().c_str(), serialNumber);
    }

    int result() const { return m_result; }
    ConfigCali& description() const { return *ConfigCali::getInstance(); }

    OpticsDefinition const& optic(std::size_t index) const {
        return (*description().optics)[index];
    }

    std::optional<std::string> missingFiles() const {
        auto& manager = *zel::IRCalibrationManager::getInstance();
        manager.setCalibrationDir(m_directory.path().c_str());
        std::unique_ptr<char[]> const list(manager.checkCalibration(serialNumber));
        return list != nullptr ? std::optional<std::string>(list.get()) : std::nullopt;
    }

private:
    TemporaryDirectory m_directory;
    int m_result;
};

std::string document(std::string const& content) {
    return block("CaliData", content);
}

std::string opticWith(std::string const& content) {
    return block("OpticsDef", content);
}

std::string rangeWith(std::string const& content) {
    return opticWith(block("TempRanges", block("TemperatureRange", content)));
}

/// Every byte, many times over.
std::string binary() {
    std::string bytes;
    for (unsigned int i = 0; i < 100000; ++i) {
        bytes += static_cast<char>((i * 7919U + i / 256U) & 0xffU);
    }
    return bytes;
}

} // namespace

TEST(HostileOptions, ASourceOf100000CharactersIsNoDirectory) {
    Outcome const outcome = Bench().run({"-d1", "-s", "/" + std::string(100000, 's')});
    EXPECT_EQ(outcome.exitStatus, failed);
    EXPECT_TRUE(beginsWith(outcome.standardError, noDirectory));
}

TEST(HostileOptions, ATargetOf100000CharactersFails) {
    Bench const bench;
    std::string const target = bench.path() + "/" + std::string(100000, 't');
    Outcome const outcome = bench.run({"-d1", "-s", bench.source(), "-t", target});
    EXPECT_EQ(outcome.exitStatus, failed);
    EXPECT_TRUE(endsWith(outcome.standardOutput, notSuccessful));
}

TEST(HostileOptions, ASerialNumberOf100000DigitsIsTheLargest) {
    Bench const bench;
    Outcome const outcome =
        bench.run({"-d" + std::string(100000, '9'), "-s", bench.source(), "-t", bench.target()});
    EXPECT_EQ(outcome.exitStatus, failed);
    EXPECT_NE(outcome.standardOutput.find(" -name Cali-2147483647* "), std::string::npos);
}

TEST(HostileOptions, AnUnknownOptionOf100000CharactersIsIgnored) {
    Bench const bench;
    Outcome const outcome = bench.run({"-" + std::string(100000, 'x')});
    EXPECT_EQ(outcome.exitStatus, failed);
    EXPECT_TRUE(endsWith(outcome.standardError, noDirectory));
}

TEST(HostileOptions, AnArgumentOf100000CharactersIsIgnored) {
    Bench const bench;
    Outcome const outcome = bench.run({std::string(100000, 'a')});
    EXPECT_EQ(outcome.exitStatus, failed);
    EXPECT_EQ(outcome.standardError, noDirectory);
}

TEST(HostileOptions, TheLastOf10000RepeatedOptionsCounts) {
    Bench const bench;
    std::vector<std::string> arguments(10000, "-d1");
    arguments.insert(arguments.end(), {"-d2", "-s", bench.source(), "-t", bench.target()});
    Outcome const outcome = bench.run(arguments);
    EXPECT_EQ(outcome.exitStatus, failed);
    EXPECT_NE(outcome.standardOutput.find(" -name Cali-2* "), std::string::npos);
}

TEST(HostileWorkingDirectory, Of500CharactersHoldsTheDirectoryForTheTargetRoot) {
    Bench const bench;
    std::string const where = directoryOfLength(bench.path(), 500);
    ASSERT_EQ(where.size(), 500U);
    Outcome const outcome = bench.run({"-d1", "-s", bench.source(), "-t", "/"}, where);
    EXPECT_EQ(outcome.exitStatus, failed);
    EXPECT_TRUE(endsWith(outcome.standardOutput, notSuccessful));
    EXPECT_TRUE(fs::is_directory(where + "/Imager"));
}

TEST(HostileWorkingDirectory, Of520CharactersStillFits) {
    Bench const bench;
    std::string const where = directoryOfLength(bench.path(), 520);
    ASSERT_EQ(where.size(), 520U);
    bench.run({"-d1", "-s", bench.source(), "-t", "/"}, where);
    EXPECT_TRUE(fs::is_directory(where + "/Imager"));
}

TEST(HostileWorkingDirectory, Of521CharactersIsNotUsed) {
    Bench const bench;
    std::string const where = directoryOfLength(bench.path(), 521);
    ASSERT_EQ(where.size(), 521U);
    Outcome const outcome = bench.run({"-d1", "-s", bench.source(), "-t", "/"}, where);
    EXPECT_EQ(outcome.exitStatus, failed);
    EXPECT_TRUE(endsWith(outcome.standardOutput, notSuccessful));
    EXPECT_FALSE(fs::exists(where + "/Imager"));
}

TEST(HostileWorkingDirectory, ThatIsGoneIsNotUsed) {
    Bench const bench;
    fs::create_directory(bench.path() + "/gone");
    Outcome const outcome = support::run({"sh", "-c",
                                          "cd gone && rmdir ../gone && exec '" + installer +
                                              "' -d1 -s '" + bench.source() + "' -t /"},
                                         bench.path());
    EXPECT_EQ(outcome.exitStatus, failed);
    EXPECT_TRUE(endsWith(outcome.standardOutput, notSuccessful));
}

TEST(HostileDescription, ThatIsEmptyHasNoOptics) {
    Loaded const loaded("");
    EXPECT_EQ(loaded.result(), 0);
    EXPECT_EQ(loaded.description().getOpticsCount(), 0);
}

TEST(HostileDescription, OfOneByteHasNoOptics) {
    for (int byte = 0; byte < 256; ++byte) {
        Loaded const loaded(std::string(1, static_cast<char>(byte)));
        ASSERT_EQ(loaded.result(), 0) << byte;
        ASSERT_EQ(loaded.description().getOpticsCount(), 0) << byte;
    }
}

TEST(HostileDescription, OfBinaryBytesHasNoOptics) {
    Loaded const loaded(binary());
    EXPECT_EQ(loaded.result(), 0);
    EXPECT_EQ(loaded.description().getOpticsCount(), 0);
}

TEST(HostileDescription, WithBinaryBytesAroundItsElementsKeepsThem) {
    std::string const noise = binary().substr(0, 3000) + "\n";
    std::string clean;
    for (char const c : noise) {
        if (c != '<' && c != '>')
            clean += c;
    }
    Loaded const loaded(document(clean + opticWith("<FOV>45</FOV>\n" + clean) + clean));
    ASSERT_EQ(loaded.description().getOpticsCount(), 1);
    EXPECT_EQ(loaded.optic(0).FOV, 45);
}

TEST(HostileDescription, OfOneLineOf50MegabytesHasNoOptics) {
    Loaded const loaded(std::string(50000000, 'x'));
    EXPECT_EQ(loaded.result(), 0);
    EXPECT_EQ(loaded.description().getOpticsCount(), 0);
}

TEST(HostileDescription, EndsAtALineOf50Megabytes) {
    std::string const optic = opticWith("<FOV>45</FOV>\n");
    Loaded const loaded(document(optic + std::string(50000000, '<') + "\n" + optic));
    EXPECT_EQ(loaded.result(), 0);
    EXPECT_EQ(loaded.description().getOpticsCount(), 1);
}

TEST(HostileDescription, With10000NestedElementsIsSelectedAsDeepAsItGoes) {
    std::string opening;
    std::string closing;
    for (int i = 0; i < 10000; ++i) {
        opening += "<n" + std::to_string(i) + ">\n";
        closing.insert(0, "</n" + std::to_string(i) + ">\n");
    }
    TemporaryDirectory const directory;
    std::string const path = directory.path() + "/deep.xml";
    writeFile(path, "<root>\n" + opening + "7\n" + closing + "</root>\n");
    zel::SimpleXML xml;
    ASSERT_TRUE(xml.open(path.c_str(), "root"));
    xml.setNode();
    int depth = 0;
    while (xml.setNode(("n" + std::to_string(depth)).c_str())) {
        ++depth;
    }
    EXPECT_EQ(depth, 254);
}

TEST(HostileDescription, With10000NestedElementsOfOneNameEndsThemAtTheFirstClosingTag) {
    Loaded const loaded(document(repeated("<OpticsDef>\n", 10000) + "<FOV>45</FOV>\n" +
                                 repeated("</OpticsDef>\n", 10000)));
    ASSERT_EQ(loaded.description().getOpticsCount(), 1);
    EXPECT_EQ(loaded.optic(0).FOV, 45);
}

TEST(HostileDescription, With10000NestedCommentsLosesThemAll) {
    Loaded const loaded(document(repeated("<!-- a\n", 10000) + "<OpticsDef></OpticsDef>\n" +
                                 repeated("b -->\n", 10000) + opticWith("<FOV>45</FOV>\n")));
    ASSERT_EQ(loaded.description().getOpticsCount(), 1);
    EXPECT_EQ(loaded.optic(0).FOV, 45);
}

// Over several lines, since one of that length would end the reading.
TEST(HostileDescription, WithATextOf10000CharactersKeepsIt) {
    std::string const piece = std::string(1000, 'T') + "\n";
    Loaded const loaded(document(opticWith("<Text>\n" + repeated(piece, 10) + "</Text>\n")));
    ASSERT_EQ(loaded.description().getOpticsCount(), 1);
    EXPECT_EQ(loaded.optic(0).Text.get(), std::string(10000, 'T'));
}

TEST(HostileDescription, WithATextOf10000CharactersAsksForNamesOf259) {
    std::string const piece = std::string(1000, 'T') + "\n";
    std::string const text = "<FOV>45</FOV>\n<Text>\n" + repeated(piece, 10) + "</Text>\n";
    Loaded const loaded(document(
        opticWith(text + "<TempRanges><TemperatureRange></TemperatureRange></TempRanges>\n")));
    std::string const data = "Cali-14080045-45-" + std::string(259 - 17, 'T');
    std::string const curve = "Kennlinie-14080045-45-" + std::string(259 - 22, 'T');
    EXPECT_EQ(loaded.missingFiles(), data + ";" + curve + ";");
}

TEST(HostileDescription, WithAFieldOfViewOutsideEveryRangeLoads) {
    Loaded const loaded(document(opticWith("<FOV>99999999999999999999999999</FOV>\n")));
    EXPECT_EQ(loaded.result(), 0);
    EXPECT_EQ(loaded.description().getOpticsCount(), 1);
}

TEST(HostileDescription, WithLimitsOutsideEveryRangeAsksForTheLargestNumbers) {
    Loaded const loaded(document(rangeWith("<TempLo>-1e30</TempLo>\n<TempHi>1e39</TempHi>\n")));
    EXPECT_EQ(loaded.missingFiles(), "Cali-14080045-0-M2147483647-2147483647.dat;"
                                     "Kennlinie-14080045-0-M2147483647-2147483647.prn;");
}

TEST(HostileDescription, WithLimitsThatAreNoNumbersAsksForZeros) {
    Loaded const loaded(document(rangeWith("<TempLo>nan</TempLo>\n<TempHi>nan</TempHi>\n")));
    EXPECT_EQ(loaded.missingFiles(), "Cali-14080045-0-0-0.dat;Kennlinie-14080045-0-0-0.prn;");
}

TEST(HostileDescription, WithLimitsOutsideEveryRangeIsListedWithTheLargestNumbers) {
    Loaded const loaded(document(rangeWith("<TempLo>-1e30</TempLo>\n<TempHi>1e39</TempHi>\n")));
    auto const& optics = *zel::IRCalibrationManager::getInstance()->getAvailableOptics(14080045);
    ASSERT_EQ(optics.size(), 1U);
    EXPECT_EQ(optics[0].tempRanges[0].tMin, -2147483647 - 1);
    EXPECT_EQ(optics[0].tempRanges[0].tMax, 2147483647);
}

TEST(HostileDescription, WithAFrameRateOutsideItsWidthKeepsTheLowBits) {
    Loaded const loaded(
        document(rangeWith("<Framerates><Framerate><FR>-1</FR></Framerate></Framerates>\n")));
    ASSERT_EQ(loaded.description().getOpticsCount(), 1);
    EXPECT_EQ(loaded.optic(0).tempRanges[0].framerates, std::vector<std::uint16_t>{65535});
}

TEST(HostileDescription, WithConstantsOutsideTheirWidthsKeepsTheLowBits) {
    Loaded const loaded(document("<Main>\n<TecA>70000</TecA>\n<TecB>-1</TecB>\n"
                                 "<AddedOffset>40000</AddedOffset>\n</Main>\n"));
    MainSection const& main = *loaded.description().mainSection;
    EXPECT_EQ(main.TecA, 4464);
    EXPECT_EQ(main.TecB, 65535);
    EXPECT_EQ(main.AddedOffset, -25536);
}

TEST(HostileDescription, Of100000OpticsHasThemAll) {
    std::string optics;
    for (int i = 0; i < 100000; ++i) {
        optics += opticWith("<FOV>" + std::to_string(i) + "</FOV>\n<TempRanges></TempRanges>\n");
    }
    Loaded const loaded(document(optics));
    ASSERT_EQ(loaded.description().getOpticsCount(), 100000);
    EXPECT_EQ(loaded.optic(99999).FOV, 99999);
}

TEST(HostileDescription, Of100000OpticsAsksForTheFilesOfEach) {
    std::string optics;
    std::string expected;
    for (int i = 0; i < 100000; ++i) {
        std::string const fieldOfView = std::to_string(i);
        optics += opticWith("<FOV>" + fieldOfView +
                            "</FOV>\n<TempRanges><TemperatureRange></TemperatureRange>"
                            "</TempRanges>\n<SamplePointCali>true</SamplePointCali>\n");
        expected += "Cali-14080045-" + fieldOfView + "-0-0.dat;";
    }
    EXPECT_TRUE(Loaded(document(optics)).missingFiles() == expected);
}

TEST(HostileDescription, WithNullCharactersLosesTheRestOfTheirLines) {
    std::string const null(1, '\0');
    Loaded const loaded(document(opticWith("<FOV>4" + null + "9</FOV>\n5</FOV>\n")));
    ASSERT_EQ(loaded.description().getOpticsCount(), 1);
    EXPECT_EQ(loaded.optic(0).FOV, 45);
}

TEST(HostileDescription, OfNullCharactersHasNoOptics) {
    Loaded const loaded(std::string(100000, '\0'));
    EXPECT_EQ(loaded.result(), 0);
    EXPECT_EQ(loaded.description().getOpticsCount(), 0);
}

TEST(HostileDescription, MakesTheInstallerFailForTheFilesItAsksFor) {
    Bench const bench;
    fs::create_directory(bench.target());
    writeFile(bench.source() + "/Cali-14080045.xml",
              document(opticWith("<Text>" + std::string(4000, 'T') + "</Text>\n")));
    Outcome const outcome = bench.run({"-d14080045", "-s", bench.source(), "-t", bench.target()});
    EXPECT_EQ(outcome.exitStatus, failed);
    EXPECT_TRUE(endsWith(outcome.standardOutput, notSuccessful));
}
