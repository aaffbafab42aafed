// Spoils good descriptions in many ways and compares what the product makes of them with a plain
// model. ZENTHO_CORRUPTIONS in the environment says how many; the default takes seconds.

#include "imgproc/Cali.h"
#include "sdk/IRCalibrationManager.h"
#include "sdk/SimpleXML.h"

#include "tests/support/Camera.h"
#include "tests/support/DescriptionDump.h"
#include "tests/support/ModelDescription.h"
#include "tests/support/ModelReader.h"
#include "tests/support/Random.h"
#include "tests/support/TemporaryDirectory.h"
#include "util/Logger.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <unistd.h>

using support::dump;
using support::inModelWords;
using support::ModelDescription;
using support::ModelReader;
using support::Random;
using support::writeFile;
using zel::SimpleXML;

namespace {

constexpr int serialNumber = 14080045;

void addRange(Random& random, support::Camera& camera) {
    int const low = random.between(-40, 200);
    camera.range(low + random.below(4) / 4.0, low + random.between(1, 900));
    if (random.chance(40))
        camera.extendedTo(low - random.between(-5, 20), low + random.between(1, 950));
    if (random.chance(10))
        camera.withoutFrameRates();
    for (int rates = random.chance(50) ? random.between(1, 3) : 0; rates > 0; --rates) {
        camera.frameRate(random.between(0, 200));
    }
    if (random.chance(30))
        camera.decimal(random.below(4));
}

support::Camera anyCamera(Random& random) {
    auto camera = support::camera(serialNumber);
    if (random.chance(50))
        camera.mainSection();
    for (int optics = random.between(1, 4); optics > 0; --optics) {
        camera.optic(random.between(1, 60));
        if (random.chance(40))
            camera.text(random.oneOf({"T", "X", "wide", "a b", "-", ""}));
        if (random.chance(40))
            camera.samplePointCalibrated(random.oneOf({"true", "TRUE", "yes"}));
        if (random.chance(10)) {
            camera.withoutRanges();
            continue;
        }
        // Now and then so many that they are found by another way of searching.
        int const most = random.chance(5) ? 40 : 4;
        for (int ranges = random.below(most); ranges > 0; --ranges) {
            addRange(random, camera);
        }
    }
    return camera;
}

std::vector<std::string> linesOf(std::string const& text) {
    std::vector<std::string> lines(1);
    for (char const c : text) {
        lines.back() += c;
        if (c == '\n')
            lines.emplace_back();
    }
    return lines;
}

/// Drops, doubles or swaps lines.
void spoilLines(Random& random, std::string& text) {
    auto lines = linesOf(text);
    auto const count = static_cast<int>(lines.size());
    auto const first = static_cast<std::size_t>(random.below(count));
    auto const second = static_cast<std::size_t>(random.below(count));
    switch (random.below(3)) {
    case 0:
        lines[first].clear();
        break;
    case 1:
        lines[first] += lines[first];
        break;
    default:
        std::swap(lines[first], lines[second]);
        break;
    }
    text.clear();
    for (std::string const& line : lines) {
        text += line;
    }
}

/// Takes a piece out of the next tag.
void cutTag(Random& random, std::string& text) {
    auto const tag = text.find('<', random.placeIn(text));
    if (tag == std::string::npos)
        return;
    auto const offset = static_cast<std::size_t>(random.below(10));
    text.erase(std::min(tag + offset, text.size()),
               static_cast<std::size_t>(random.between(1, 12)));
}

/// Flips bits of one byte, or makes it any byte.
void spoilByte(Random& random, std::string& text) {
    if (text.empty())
        return;
    char& byte = text[static_cast<std::size_t>(random.below(static_cast<int>(text.size())))];
    int const value = random.chance(50) ? byte ^ (1 << random.below(8)) : random.below(256);
    byte = static_cast<char>(static_cast<unsigned char>(value & 0xff));
}

void spoilNumber(Random& random, std::string& text) {
    auto const digit = text.find_first_of("0123456789", random.placeIn(text));
    if (digit == std::string::npos)
        return;
    text.replace(digit, 1,
                 random.oneOf({"0x1", "-", "99999999999", "nan", "-inf", "1e39", "", " ", "0",
                               "2147483648", "1e-50", "65536", ".", "08"}));
}

void spoil(Random& random, std::string& text) {
    switch (random.below(8)) {
    case 0:
    case 1:
        return spoilByte(random, text);
    case 2:
    case 3:
        return spoilLines(random, text);
    case 4:
        return cutTag(random, text);
    case 5:
        text.insert(random.placeIn(text), random.oneOf({"<!--", "-->", "<!-- x -->", "<!-->"}));
        return;
    case 6:
        return spoilNumber(random, text);
    default:
        if (random.chance(20))
            text.resize(random.placeIn(text));
        text.insert(random.placeIn(text),
                    random.oneOf({"\n", "\r", "<", ">", "</", "TempRanges>"}));
        return;
    }
}

/// A random walk through the elements of a description, and what it meets.
template <class Reader>
std::string walk(Reader& reader, std::string const& path, unsigned int seed) {
    static std::vector<std::string> const names{
        "Main", "TecA",   "Temperature",      "Optics",     "OpticsDef",   "FOV",
        "Text", "TempLo", "TempHi",           "TempRanges", "Framerates",  "Framerate",
        "FR",   "SerNo",  "TemperatureRange", "Decimal",    "TableParams", "SamplePointCali"};
    if (!reader.open(path.c_str(), "CaliData"))
        return "refused";
    Random random(seed);
    std::string met;
    reader.setNode();
    for (int step = 0; step < 60; ++step) {
        std::string const name = random.oneOf(names);
        int const index = random.below(3);
        char* text = nullptr;
        int integer = 12345;
        float number = 12345.0F;
        switch (random.below(7)) {
        case 0:
        case 1:
            met += std::to_string(reader.setNode(name.c_str(), index));
            break;
        case 2:
            met += std::to_string(reader.resetNode());
            break;
        case 3:
            met += std::to_string(reader.getNodeCount(name.c_str()));
            break;
        case 4:
            met += std::to_string(reader.getInt(name.c_str(), &integer)) + std::to_string(integer);
            break;
        case 5:
            met += std::to_string(reader.getFloat(name.c_str(), &number)) + std::to_string(number);
            break;
        default:
            met += std::to_string(reader.getString(name.c_str(), &text));
            met += text != nullptr ? text : "null";
            break;
        }
        std::unique_ptr<char[]> const owned(text);
        met += ' ';
    }
    return met;
}

int corruptionsWanted() {
    char const* const wanted = std::getenv("ZENTHO_CORRUPTIONS");
    return wanted != nullptr ? std::atoi(wanted) : 2000;
}

void keepTheLogQuiet() {
    using thalvo::Logger;
    Logger::getInstance()->configure(
        "", static_cast<Logger::loggerConf_>(Logger::LOGFILE_OFF | Logger::CONSOLE_OFF), 0, 0);
}

/// On a disk, the files would take most of the time.
void useMemoryForFiles() {
    char const* const inMemory = "/dev/shm";
    if (access(inMemory, W_OK) == 0)
        setenv("TMPDIR", inMemory, 0);
}

/// How much the corruptions exercised.
struct Tally {
    int refused = 0;
    int withMissingFiles = 0;
    int complete = 0;
};

class Comparison {
public:
    explicit Comparison(unsigned int seed) : m_random(seed), m_seed(seed) {}

    /// @return Where product and model differ; empty when they agree.
    std::string run(std::string const& directory, Tally& tally) {
        auto const camera = anyCamera(m_random);
        m_good = camera.description();
        std::string spoilt = m_good;
        for (int changes = m_random.between(1, 4); changes > 0; --changes) {
            spoil(m_random, spoilt);
        }
        m_path = directory + "/" + camera.descriptionName();
        writeFile(m_path, spoilt);
        if (m_random.chance(70))
            writeSomeFiles(camera, directory);
        std::string const difference = compare(directory, tally);
        for (std::string const& path : m_written) {
            std::remove(path.c_str());
        }
        return difference.empty() ? "" : difference + "\ndescription:\n" + spoilt;
    }

private:
    /// Files that the good description asks for: all or most of them.
    void writeSomeFiles(support::Camera const& camera, std::string const& directory) {
        int const kept = m_random.chance(50) ? 100 : 70;
        auto const names = camera.fileNames();
        for (std::size_t i = 1; i < names.size(); ++i) {
            if (!m_random.chance(kept))
                continue;
            m_written.push_back(directory + "/" + names[i]);
            writeFile(m_written.back(), "");
        }
    }

    std::string compare(std::string const& directory, Tally& tally) {
        SimpleXML product;
        ModelReader modelReader;
        std::string const met = walk(product, m_path, m_seed);
        std::string const expected = walk(modelReader, m_path, m_seed);
        if (met != expected)
            return "walk: " + met + "\nmodel: " + expected;

        ConfigCali& description = *ConfigCali::getInstance();
        description.load("/missing", serialNumber + 1); // forgets the description before
        ModelDescription model;
        bool const readable = model.load(directory, serialNumber);
        if (readable != (description.load(directory.c_str(), serialNumber) == 0))
            return "load differs";
        if (readable && dump(inModelWords(description)) != dump(model))
            return "loaded: " + dump(inModelWords(description)) + "\nmodel: " + dump(model);
        return compareMissing(directory, readable, model, tally);
    }

    static std::string compareMissing(std::string const& directory, bool readable,
                                      ModelDescription const& model, Tally& tally) {
        auto& manager = *zel::IRCalibrationManager::getInstance();
        manager.setCalibrationDir(directory.c_str());
        std::unique_ptr<char[]> const list(manager.checkCalibration(serialNumber));
        std::string const missing = list != nullptr ? list.get() : "";
        std::string const expected =
            readable ? model.missingFiles(directory, serialNumber) : "Cali-14080045.xml;";
        if (!readable) {
            ++tally.refused;
        } else {
            ++(expected.empty() ? tally.complete : tally.withMissingFiles);
        }
        if ((list == nullptr) != expected.empty())
            return list == nullptr ? "complete, model: " + expected : "not complete";
        return missing == expected ? "" : "missing: " + missing + "\nmodel: " + expected;
    }

    Random m_random;
    unsigned int m_seed;
    std::string m_good;
    std::string m_path;
    std::vector<std::string> m_written;
};

} // namespace

TEST(CorruptedDescription, AsksForTheFilesThatThePlainModelAsksFor) {
    keepTheLogQuiet();
    useMemoryForFiles();
    support::TemporaryDirectory const directory;
    int const wanted = corruptionsWanted();
    ASSERT_GE(wanted, 1000);
    Tally tally;
    for (int i = 1; i <= wanted; ++i) {
        auto const seed = static_cast<unsigned int>(i);
        ASSERT_EQ(Comparison(seed).run(directory.path(), tally), "") << "seed " << seed;
    }
    std::printf("%d corruptions: %d refused, %d with missing files, %d complete\n", wanted,
                tally.refused, tally.withMissingFiles, tally.complete);
    EXPECT_GT(tally.refused, wanted / 20);
    EXPECT_GT(tally.withMissingFiles, wanted / 4);
    EXPECT_GT(tally.complete, wanted / 20);
}
