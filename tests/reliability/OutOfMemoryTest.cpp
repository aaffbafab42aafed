// Every allocation of every public operation is refused in turn. What follows is the right answer
// or the operation's own failure value, never a wrong answer, and afterwards the object answers as
// if nothing had happened.
#include "imgproc/Cali.h"
#include "imgproc/Description.h"
#include "sdk/IRCalibrationManager.h"
#include "sdk/IRLogger.h"
#include "sdk/SimpleXML.h"
#include "util/ConfigFilepath.h"
#include "util/Logger.h"

#include "tests/reliability/FailingMemory.h"
#include "tests/support/Camera.h"
#include "tests/support/Command.h"
#include "tests/support/EndChild.h"
#include "tests/support/Log.h"
#include "tests/support/LogLines.h"
#include "tests/support/Namespace.h"
#include "tests/support/SmallSet.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/UsbTree.h"

#include <gtest/gtest.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <iostream>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

using reliability::refuseEachAllocation;
using reliability::wasRefused;
using reliability::WithScarceMemory;
using support::TemporaryDirectory;
using support::writeFile;
using zel::IRCalibrationManager;
using zel::SimpleXML;

using Text = std::unique_ptr<char[]>;

constexpr int serial = 14080045;
constexpr int otherSerial = 15110023;

/// Two optics, with all that a description can hold. Their names do not fit a string without memory
/// of its own.
support::Camera exampleCamera() {
    return support::camera(serial)
        .mainSection()
        .optic(23)
        .text("a text of more than fifteen characters")
        .samplePointCalibrated()
        .range(-20, 100)
        .extendedTo(-30, 120)
        .frameRate(27)
        .frameRate(80)
        .range(0, 250)
        .optic(54);
}

support::Camera otherCamera() {
    return support::camera(otherSerial).optic(9).range(1, 2);
}

/// Runs the body with the whole log written where nobody reads it.
void quietly(std::function<void()> const& body) {
    support::debugLogOf(body);
}

std::string listOf(std::vector<std::string> const& names) {
    std::string list;
    for (auto const& name : names)
        list += name + ";";
    return list;
}

/// The missing files of the example camera when only its description is there.
std::string allButTheDescription() {
    auto names = exampleCamera().fileNames();
    names.erase(names.begin());
    return listOf(names);
}

/// Unloads what an earlier test left, since nothing is there to be loaded.
void unload() {
    ConfigCali::getInstance()->load("/nowhere/at/all", -1);
}

// ---- what a wrapped `system` does, without any memory

std::string servedLinks;
int commandsRun = 0;

} // namespace

// Takes the place of the C library's: each first command fetches the links file.
extern "C" int system(char const* command) {
    ++commandsRun;
    if (std::strstr(command, "downloadlinks.xml -O") == nullptr)
        return 0;
    int const file = open("/tmp/downloadlinks.xml", O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    bool const written = write(file, servedLinks.data(), servedLinks.size()) >= 0;
    close(file);
    return written ? 0 : -1;
}

namespace {

class Document : public testing::Test {
protected:
    Document() {
        writeFile(path, "<Root>\n<A>\n<Number>17</Number>\n<Odd> 0x11 </Odd>\n<!-- a <!-- b --> -->"
                        "<Half>0.5</Half>\n<a<rather long name>odd</a<rather long name>\n"
                        "<a<rather long name>even</a<rather long name>\n<Text>a "
                        "text of more than fifteen "
                        "characters</Text>\n<A1>x</A1>\n<A1>y</A1>\n</A>\n</Root>\n");
        writeFile(malformed, "<Root>\n<!-- a\n</Root>\n");
    }

    TemporaryDirectory const directory;
    std::string const path = directory.path() + "/document.xml";
    std::string const malformed = directory.path() + "/malformed.xml";
};

/// Selects the element that holds everything.
void openAt(SimpleXML& xml, std::string const& path) {
    ASSERT_TRUE(xml.open(path.c_str(), "Root"));
    ASSERT_TRUE(xml.setNode());
    ASSERT_TRUE(xml.setNode("A"));
}

std::string wholeText(SimpleXML& xml) {
    char* text = nullptr;
    xml.setNode();
    if (!xml.getNode(&text))
        return {};
    return Text(text).get();
}

void expectReadable(SimpleXML& xml, std::string const& path) {
    openAt(xml, path);
    int number = 0;
    EXPECT_TRUE(xml.getInt("Number", &number));
    EXPECT_EQ(number, 17);
}

} // namespace

TEST_F(Document, OpensWholeOrNotAtAll) {
    quietly([&] {
        SimpleXML reference;
        ASSERT_TRUE(reference.open(path.c_str(), "Root"));
        auto const expected = wholeText(reference);
        refuseEachAllocation([&](WithScarceMemory const& withScarceMemory) {
            SimpleXML xml;
            bool opened = false;
            withScarceMemory([&] { opened = xml.open(path.c_str(), "Root"); });
            EXPECT_TRUE(opened || wasRefused());
            EXPECT_EQ(wholeText(xml), opened ? expected : "");
            EXPECT_EQ(xml.getNodeCount("A1"), opened ? 2U : 0U);
            expectReadable(xml, path);
        });
    });
}

TEST_F(Document, OpensAgainWholeOrNotAtAll) {
    quietly([&] {
        refuseEachAllocation([&](WithScarceMemory const& withScarceMemory) {
            SimpleXML xml;
            openAt(xml, path);
            bool opened = false;
            withScarceMemory([&] { opened = xml.open(path.c_str(), "Root"); });
            EXPECT_TRUE(opened || wasRefused());
            xml.setNode();
            EXPECT_EQ(xml.getNodeCount("A1"), opened ? 2U : 0U);
            expectReadable(xml, path);
        });
    });
}

TEST_F(Document, ThatOpensAgainWithAChildSelectedForgetsTheSelection) {
    quietly([&] {
        refuseEachAllocation([&](WithScarceMemory const& withScarceMemory) {
            SimpleXML xml;
            openAt(xml, path);
            ASSERT_TRUE(xml.setNode("Text"));
            bool opened = false;
            withScarceMemory([&] { opened = xml.open(path.c_str(), "Root"); });
            EXPECT_TRUE(opened || wasRefused());
            EXPECT_FALSE(xml.resetNode());
            char* text = nullptr;
            EXPECT_EQ(xml.getNode(&text), opened);
            Text const owned(text);
            expectReadable(xml, path);
        });
    });
}

TEST_F(Document, OpensByDirectoryAndName) {
    quietly([&] {
        refuseEachAllocation([&](WithScarceMemory const& withScarceMemory) {
            SimpleXML xml;
            bool opened = false;
            withScarceMemory(
                [&] { opened = xml.open(directory.path().c_str(), "document", "Root"); });
            EXPECT_TRUE(opened || wasRefused());
            xml.setNode();
            EXPECT_EQ(xml.getNodeCount("A1"), opened ? 2U : 0U);
            expectReadable(xml, path);
        });
    });
}

TEST_F(Document, ThatIsMalformedOrMissingNeverOpens) {
    quietly([&] {
        for (auto const& bad : {malformed, directory.path() + "/a/file/that/is/not/there"}) {
            refuseEachAllocation([&](WithScarceMemory const& withScarceMemory) {
                SimpleXML xml;
                bool opened = true;
                withScarceMemory([&] { opened = xml.open(bad.c_str(), "Root"); });
                EXPECT_FALSE(opened);
                expectReadable(xml, path);
            });
        }
    });
}

TEST_F(Document, IsMade) {
    refuseEachAllocation([&](WithScarceMemory const& withScarceMemory) {
        std::optional<SimpleXML> xml;
        withScarceMemory([&] { xml.emplace(); });
        expectReadable(*xml, path);
    });
}

TEST_F(Document, IsNavigated) {
    // The name with a bracket is searched for as it stands, which takes memory.
    for (std::string const name :
         {"A1", "a<rather long name", "an element of a long name that is not there"}) {
        refuseEachAllocation([&](WithScarceMemory const& withScarceMemory) {
            SimpleXML xml;
            openAt(xml, path);
            SimpleXML reference;
            openAt(reference, path);
            bool first = false;
            bool second = false;
            unsigned int count = 0;
            int opening = 0;
            int closing = 0;
            bool climbed = false;
            withScarceMemory([&] {
                count = xml.getNodeCount(name.c_str());
                opening = xml.getKey(name.c_str(), 0, 1000, false);
                closing = xml.getKey(name.c_str(), 0, 1000, true);
                first = xml.setNode(name.c_str());
                climbed = first && xml.resetNode();
                second = xml.setNode(name.c_str(), 0);
            });
            EXPECT_EQ(climbed, first);
            auto const either = [](auto value, auto right, auto failure) {
                return value == right || (wasRefused() && value == failure);
            };
            EXPECT_TRUE(either(count, reference.getNodeCount(name.c_str()), 0U));
            EXPECT_TRUE(either(opening, reference.getKey(name.c_str(), 0, 1000, false), -1));
            EXPECT_TRUE(either(closing, reference.getKey(name.c_str(), 0, 1000, true), -1));
            EXPECT_TRUE(either(first, reference.setNode(name.c_str()), false));
            openAt(reference, path);
            EXPECT_TRUE(either(second, reference.setNode(name.c_str(), 0), false));
            expectReadable(xml, path);
        });
    }
}

TEST_F(Document, GivesNumbers) {
    refuseEachAllocation([&](WithScarceMemory const& withScarceMemory) {
        SimpleXML xml;
        openAt(xml, path);
        int number = -1;
        int hexadecimal = -1;
        int bracketed = -1;
        long large = -1;
        float half = -1.0F;
        std::array<bool, 5> found{};
        withScarceMemory([&] {
            found = {xml.getInt("Number", &number), xml.getInt("Odd", &hexadecimal),
                     xml.getLong("Number", &large), xml.getFloat("Half", &half),
                     xml.getInt("a<rather long name", &bracketed)};
        });
        EXPECT_EQ(number, found[0] ? 17 : -1);
        EXPECT_EQ(hexadecimal, found[1] ? 17 : -1);
        EXPECT_EQ(large, found[2] ? 17 : -1);
        EXPECT_EQ(half, found[3] ? 0.5F : -1.0F);
        EXPECT_EQ(bracketed, -1);
        EXPECT_TRUE(wasRefused() || found == (std::array<bool, 5>{true, true, true, true, true}));
        expectReadable(xml, path);
    });
}

TEST_F(Document, GivesTexts) {
    refuseEachAllocation([&](WithScarceMemory const& withScarceMemory) {
        SimpleXML xml;
        openAt(xml, path);
        std::string untouched = "untouched";
        char* child = untouched.data();
        char* bracketed = untouched.data();
        std::array<bool, 3> found{};
        withScarceMemory([&] {
            found[0] = xml.getString("Text", &child);
            found[1] = xml.getString("a<rather long name", &bracketed);
        });
        char* selected = nullptr;
        Text const ownedChild(child);
        Text const ownedBracketed(bracketed);
        EXPECT_EQ(child != nullptr, found[0]);
        EXPECT_EQ(bracketed != nullptr, found[1]);
        EXPECT_TRUE(!found[0] || std::string(child) == "a text of more than fifteen characters");
        EXPECT_TRUE(!found[1] || std::string(bracketed) == "odd");
        EXPECT_TRUE(wasRefused() || (found[0] && found[1]));
        EXPECT_TRUE(xml.setNode("Text"));
        EXPECT_TRUE(xml.getNode(&selected));
        EXPECT_STREQ(Text(selected).get(), "a text of more than fifteen characters");
    });
}

TEST_F(Document, GivesTheSelectedText) {
    refuseEachAllocation([&](WithScarceMemory const& withScarceMemory) {
        SimpleXML xml;
        openAt(xml, path);
        char* selected = nullptr;
        bool found = false;
        withScarceMemory([&] { found = xml.getNode(&selected); });
        Text const owned(selected);
        EXPECT_EQ(owned != nullptr, found);
        EXPECT_TRUE(found || wasRefused());
        expectReadable(xml, path);
    });
}

namespace {

/// A directory with the descriptions of both cameras.
class Cali : public testing::Test {
protected:
    Cali() {
        for (auto const& camera : {exampleCamera(), otherCamera()})
            writeFile(directory.path() + "/" + camera.descriptionName(), camera.description());
        writeFile(directory.path() + "/Cali-77.xml", "<CaliData>\n<!-- \n</CaliData>\n");
    }

    TemporaryDirectory const directory;
};

/// What the description holds now, in the form of its files' name stems.
std::vector<std::string> stems(ConfigCali const& description) {
    std::vector<std::string> found;
    for (auto const& optic : *description.optics) {
        for (auto const& range : optic.tempRanges) {
            std::array<char, 260> stem{};
            ConfigCali::caliFilenameString(1, optic.FOV, optic.Text.get(), &range.range, 0,
                                           stem.data(), static_cast<int>(stem.size()));
            found.emplace_back(stem.data());
        }
    }
    return found;
}

std::vector<std::string> const defaultStems{"1-30-M20-100", "1-30-0-250", "1-30-150-900"};
std::vector<std::string> const otherStems{"1-9-1-2"};
std::vector<std::string> const exampleStems{"1-23-a text of more than fifteen characters-M20-100",
                                            "1-23-a text of more than fifteen characters-0-250",
                                            "1-54-M20-100", "1-54-0-250", "1-54-150-900"};

} // namespace

TEST_F(Cali, IsMadeOrNot) {
    refuseEachAllocation([&](WithScarceMemory const& withScarceMemory) {
        std::unique_ptr<ConfigCali> description;
        withScarceMemory([&] {
            try {
                description = std::make_unique<ConfigCali>();
            } catch (std::bad_alloc const&) {
                // only the constructor may throw
            }
        });
        EXPECT_TRUE(description != nullptr || wasRefused());
        if (description != nullptr) {
            EXPECT_EQ(stems(*description), defaultStems);
        }
    });
}

namespace {

/// Makes the attempts in processes that have no description yet, since the one instance is never
/// destroyed: in children of one that is started afresh.
/// @param attempt Returns whether all was as it should be.
void withoutADescriptionAtFirst(std::function<bool(WithScarceMemory const&)> const& attempt) {
    auto const attempts = [&] {
        refuseEachAllocation([&](WithScarceMemory const& withScarceMemory) {
            pid_t const child = fork();
            if (child == 0)
                support::endChild(attempt(withScarceMemory) ? 0 : 1);
            int status = -1;
            EXPECT_EQ(waitpid(child, &status, 0), child);
            EXPECT_EQ(status, 0);
        });
        std::exit(testing::Test::HasFailure() ? 1 : 0);
    };
    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    EXPECT_EXIT(attempts(), testing::ExitedWithCode(0), "");
}

} // namespace

TEST(TheOneDescription, IsMadeOrNull) {
    withoutADescriptionAtFirst([](WithScarceMemory const& withScarceMemory) {
        ConfigCali* instance = nullptr;
        withScarceMemory([&] { instance = ConfigCali::getInstance(); });
        bool const given = instance != nullptr || wasRefused();
        return given && ConfigCali::getInstance() != nullptr;
    });
}

TEST(TheOneDescription, ThatCannotBeMadeLeavesASetIncomplete) {
    withoutADescriptionAtFirst([](WithScarceMemory const& withScarceMemory) {
        TemporaryDirectory const directory;
        writeFile(directory.path() + "/" + exampleCamera().descriptionName(),
                  exampleCamera().description());
        IRCalibrationManager manager;
        manager.setCalibrationDir(directory.path().c_str());
        char* list = nullptr;
        withScarceMemory([&] { list = manager.checkCalibration(serial); });
        Text const owned(list);
        return list != nullptr && *list != '\0';
    });
}

TEST(TheOneDescription, ThatCannotBeMadeListsNoOptics) {
    withoutADescriptionAtFirst([](WithScarceMemory const& withScarceMemory) {
        IRCalibrationManager manager;
        std::vector<zel::IROptics>* optics = nullptr;
        withScarceMemory([&] { optics = manager.getAvailableOptics(serial); });
        bool const defaultsListed = optics != nullptr && optics->size() == 1;
        return defaultsListed || (wasRefused() && optics != nullptr && optics->empty());
    });
}

TEST_F(Cali, LoadsWholeOrStaysAtItsDefaults) {
    quietly([&] {
        refuseEachAllocation([&](WithScarceMemory const& withScarceMemory) {
            ConfigCali description;
            int result = 1;
            withScarceMemory([&] { result = description.load(directory.path().c_str(), serial); });
            EXPECT_TRUE(result == 0 || (wasRefused() && result == ConfigCali::loadFailed));
            EXPECT_EQ(stems(description), result == 0 ? exampleStems : defaultStems);
            EXPECT_EQ(description.isLoaded(serial), result == 0);
            EXPECT_EQ(description.mainSection->TecA, result == 0 ? 3410 : 3400);
            EXPECT_EQ(description.load(directory.path().c_str(), serial), 0);
            EXPECT_EQ(stems(description), exampleStems);
        });
    });
}

TEST_F(Cali, IsReadAsAWholeValueOrNotAtAll) {
    std::string const path = directory.path() + "/" + exampleCamera().descriptionName();
    refuseEachAllocation([&](WithScarceMemory const& withScarceMemory) {
        auto const file = zel::FileDescriptor::openForReading(path.c_str());
        DescriptionOutcome outcome;
        withScarceMemory([&] { outcome = readDescription(file, 1 << 20); });
        if (outcome.description) {
            EXPECT_EQ(outcome.description->optics.size(), 2U);
        } else {
            EXPECT_TRUE(wasRefused());
            EXPECT_EQ(outcome.failure, DescriptionFailure::noMemory);
        }
    });
}

// The other camera's optics must not pass for those of this one.
TEST_F(Cali, DoesNotLoadAnotherCameraHalfway) {
    quietly([&] {
        refuseEachAllocation([&](WithScarceMemory const& withScarceMemory) {
            ConfigCali description;
            EXPECT_EQ(description.load(directory.path().c_str(), otherSerial), 0);
            int result = 1;
            withScarceMemory([&] { result = description.load(directory.path().c_str(), serial); });
            EXPECT_TRUE(result == 0 || (wasRefused() && result == ConfigCali::loadFailed));
            EXPECT_EQ(description.isLoaded(serial), result == 0);
            EXPECT_FALSE(description.isLoaded(otherSerial));
            EXPECT_EQ(description.load(directory.path().c_str(), serial), 0);
            EXPECT_EQ(stems(description), exampleStems);
        });
    });
}

TEST_F(Cali, FailsForAMalformedDescriptionWithOrWithoutMemory) {
    quietly([&] {
        refuseEachAllocation([&](WithScarceMemory const& withScarceMemory) {
            ConfigCali description;
            int result = 0;
            withScarceMemory([&] { result = description.load(directory.path().c_str(), 77); });
            EXPECT_EQ(result, ConfigCali::loadFailed);
            EXPECT_EQ(stems(description), defaultStems);
        });
    });
}

TEST_F(Cali, AnswersEveryQuery) {
    quietly([&] {
        ConfigCali description;
        ASSERT_EQ(description.load(directory.path().c_str(), serial), 0);
        refuseEachAllocation([&](WithScarceMemory const& withScarceMemory) {
            char noText[] = "";
            OPTICS const optic{54, noText};
            Range const range{0.0F, 250.0F};
            std::unique_ptr<OPTICS> handle;
            std::array<std::unique_ptr<Range>, 7> ranges;
            std::array<int, 9> numbers{};
            unsigned short rate = 27;
            std::array<char, 40> stem{};
            withScarceMemory([&] {
                handle.reset(description.getOptics(1));
                ranges[0].reset(description.getTempRange(&optic, 1));
                ranges[1].reset(description.getTempRange(54, "", 1));
                ranges[2].reset(description.getExtendedTempRange(&optic, 1));
                ranges[3].reset(description.getExtendedTempRange(54, "", 1));
                ranges[4].reset(description.getExtendedTempRange(54, "", 0.0F, 250.0F));
                ranges[5].reset(description.getTempRangeOverAll(&optic));
                ranges[6].reset(description.getTempRangeOverAll());
                numbers = {description.getOpticsCount(),
                           description.getOpticsIndex(&optic),
                           description.getOpticsIndex(54, nullptr),
                           description.getTempRangeCount(&optic),
                           description.getTempRangeIndex(&optic, &range),
                           description.getFramerateCount(&optic, &range),
                           description.getFramerateIndex(&optic, &range, 27),
                           description.getTempRangeDecimal(54, "", 0.0F, 250.0F),
                           description.getFramerate(&optic, &range, 0)};
                description.checkFramerate(&optic, &range, rate);
                ConfigCali::caliFilenameString(1, 54, "", &range, 27, stem.data(), 40);
            });
            int nulls = handle == nullptr ? 1 : 0;
            for (auto const& given : ranges)
                nulls += given == nullptr ? 1 : 0;
            EXPECT_EQ(nulls > 0, wasRefused());
            // Ranges that a description does not speak of have no extended limits.
            for (std::size_t i = 0; i < 5; ++i) {
                EXPECT_TRUE(ranges[i] == nullptr || ranges[i]->hi == (i < 2 ? 250.0F : -100.0F));
            }
            EXPECT_TRUE(ranges[5] == nullptr || ranges[5]->hi > 890.0F);
            EXPECT_TRUE(handle == nullptr || handle->fov == 54);
            EXPECT_EQ(numbers, (std::array<int, 9>{2, 1, 1, 3, 1, 0, -1, 1, 0}));
            EXPECT_STREQ(stem.data(), "1-54-0-250-27");
        });
    });
}

namespace {

/// The set of the example camera, a part of it, and an empty stick.
class Manager : public testing::Test {
protected:
    Manager() {
        zel::IRLogger::setVerbosity(zel::IRLOG_OFF, zel::IRLOG_OFF, nullptr);
        unload();
        for (auto const& name : {"/complete", "/incomplete", "/stick"})
            fs::create_directory(root.path() + name);
        exampleCamera().writeInto(complete);
        otherCamera().writeInto(complete);
        writeFile(incomplete + "/" + exampleCamera().descriptionName(),
                  exampleCamera().description());
        writeFile(incomplete + "/" + otherCamera().descriptionName(), otherCamera().description());
    }

    ~Manager() override {
        zel::IRLogger::setVerbosity(zel::IRLOG_OFF, zel::IRLOG_OFF, nullptr);
        unload();
    }

    TemporaryDirectory const root;
    std::string const complete = root.path() + "/complete";
    std::string const incomplete = root.path() + "/incomplete";
    std::string const stick = root.path() + "/stick";
};

} // namespace

TEST_F(Manager, IsMadeOrNull) {
    refuseEachAllocation([&](WithScarceMemory const& withScarceMemory) {
        IRCalibrationManager* given = nullptr;
        withScarceMemory([&] { given = IRCalibrationManager::getInstance(); });
        EXPECT_TRUE(given != nullptr || wasRefused());
        std::unique_ptr<IRCalibrationManager> const after(IRCalibrationManager::getInstance());
        ASSERT_NE(after, nullptr);
        EXPECT_STREQ(after->getCalibrationDir(), "/usr/share/libzentho/cali");
    });
}

TEST_F(Manager, SetsDirectoriesAndFormsPaths) {
    refuseEachAllocation([&](WithScarceMemory const& withScarceMemory) {
        IRCalibrationManager manager;
        zel::PathBuffer path{};
        bool formed = false;
        withScarceMemory([&] {
            manager.setCalibrationDir(complete.c_str());
            manager.setFormatsDir(stick.c_str());
            formed = manager.createConfigFilepath(path.data(), complete.c_str(), 260, "a", ".b");
        });
        EXPECT_EQ(manager.getCalibrationDir(), complete);
        EXPECT_EQ(manager.getFormatsDir(), stick);
        EXPECT_TRUE(formed);
        EXPECT_EQ(path.data(), complete + "/a.b");
    });
}

TEST_F(Manager, FindsTheCameraOrNone) {
    support::inPrivateNamespaces([] {
        support::emptyUsbTree();
        support::attach("1-1", support::camera("14080045\n"));
        support::attach("1-1:1.0", {});
        quietly([&] {
            refuseEachAllocation([&](WithScarceMemory const& withScarceMemory) {
                IRCalibrationManager manager;
                unsigned long found = 0;
                bool result = false;
                withScarceMemory([&] { result = manager.findSerial(found); });
                EXPECT_TRUE(result || wasRefused());
                EXPECT_EQ(found, result ? 14080045UL : 0UL);
                found = 0;
                EXPECT_TRUE(manager.findSerial(found));
            });
        });
    });
}

TEST_F(Manager, NeverTakesAnIncompleteSetForComplete) {
    quietly([&] {
        auto const expected = allButTheDescription();
        refuseEachAllocation([&](WithScarceMemory const& withScarceMemory) {
            unload();
            IRCalibrationManager manager;
            manager.setCalibrationDir(incomplete.c_str());
            char* list = nullptr;
            withScarceMemory([&] { list = manager.checkCalibration(serial); });
            ASSERT_NE(list, nullptr);
            Text const owned(list);
            ASSERT_STRNE(list, "");
            EXPECT_EQ(std::string(list).back(), ';') << list;
            EXPECT_TRUE(list == expected || wasRefused());
            Text const after(manager.checkCalibration(serial));
            ASSERT_NE(after, nullptr);
            EXPECT_EQ(after.get(), expected);
        });
    });
}

TEST_F(Manager, NeverTakesAnIncompleteSetForCompleteOnceTheDescriptionIsThere) {
    quietly([&] {
        refuseEachAllocation([&](WithScarceMemory const& withScarceMemory) {
            IRCalibrationManager manager;
            manager.setCalibrationDir(incomplete.c_str());
            Text const before(manager.checkCalibration(serial));
            char* list = nullptr;
            withScarceMemory([&] { list = manager.checkCalibration(serial); });
            Text const owned(list);
            EXPECT_NE(owned, nullptr);
            Text const after(manager.checkCalibration(serial));
            EXPECT_STREQ(after.get(), before.get());
        });
    });
}

TEST_F(Manager, NeverTakesAnIncompleteSetForCompleteHoweverOftenMemoryRunsOut) {
    quietly([&] {
        refuseEachAllocation([&](WithScarceMemory const& withScarceMemory) {
            IRCalibrationManager manager;
            manager.setCalibrationDir(incomplete.c_str());
            for (int i = 0; i < 3; ++i) {
                char* list = nullptr;
                withScarceMemory([&] { list = manager.checkCalibration(serial); });
                EXPECT_NE(list, nullptr);
                Text const owned(list);
                Text const between(manager.checkCalibration(serial));
                EXPECT_NE(between, nullptr);
            }
        });
    });
}

namespace {

/// Checks an incomplete set so many times without any memory.
/// @return What the checks gave.
std::vector<Text> checkWithoutMemory(IRCalibrationManager& manager, std::size_t times) {
    std::vector<Text> lists(times);
    reliability::refuseAllocation(1, true);
    for (Text& list : lists)
        list.reset(manager.checkCalibration(serial));
    reliability::refuseAllocation(0, false);
    return lists;
}

} // namespace

TEST_F(Manager, NeverTakesAnIncompleteSetForCompleteInSixtyFourChecksWithoutMemory) {
    quietly([&] {
        IRCalibrationManager manager;
        manager.setCalibrationDir(incomplete.c_str());
        for (auto const& list : checkWithoutMemory(manager, 64))
            EXPECT_STREQ(list.get(), ";");
    });
}

TEST_F(Manager, IsReadyForSixtyFourMoreChecksOnceThereWasMemoryAgain) {
    quietly([&] {
        IRCalibrationManager manager;
        manager.setCalibrationDir(incomplete.c_str());
        checkWithoutMemory(manager, 64);
        Text const between(manager.checkCalibration(serial));
        EXPECT_EQ(between.get(), allButTheDescription());
        for (auto const& list : checkWithoutMemory(manager, 64))
            EXPECT_STREQ(list.get(), ";");
    });
}

TEST_F(Manager, EndsTheProcessWhenItHasNoListLeftToGive) {
    IRCalibrationManager manager;
    manager.setCalibrationDir(incomplete.c_str());
    EXPECT_EXIT(checkWithoutMemory(manager, 65), testing::KilledBySignal(SIGABRT), "");
}

TEST_F(Manager, TakesACompleteSetForCompleteAfterwards) {
    quietly([&] {
        refuseEachAllocation([&](WithScarceMemory const& withScarceMemory) {
            unload();
            IRCalibrationManager manager;
            manager.setCalibrationDir(complete.c_str());
            char* list = nullptr;
            withScarceMemory([&] { list = manager.checkCalibration(serial); });
            Text const owned(list);
            EXPECT_TRUE(list == nullptr || wasRefused());
            EXPECT_EQ(manager.checkCalibration(serial), nullptr);
        });
    });
}

TEST_F(Manager, NeverChecksAnIncompleteSetAsComplete) {
    quietly([&] {
        refuseEachAllocation([&](WithScarceMemory const& withScarceMemory) {
            unload();
            IRCalibrationManager manager;
            int size = 0;
            bool missingNothing = true;
            std::array<char, 1000> list{};
            int room = 1000;
            withScarceMemory([&] {
                missingNothing =
                    manager.checkCaliFiles(incomplete.c_str(), serial, nullptr, &size,
                                           "Cali-%i.xml", "Cali-%s.dat", "Kennlinie-%s.prn", ";") ||
                    manager.checkCaliFiles(incomplete.c_str(), serial, list.data(), &room,
                                           "Cali-%i.xml", "Cali-%s.dat", "Kennlinie-%s.prn", ";");
            });
            EXPECT_FALSE(missingNothing);
            EXPECT_GT(size, 0);
            EXPECT_STRNE(list.data(), "");
            unload();
        });
    });
}

TEST_F(Manager, CopiesAnIncompleteSetWithoutSuccess) {
    quietly([&] {
        testing::internal::CaptureStdout();
        refuseEachAllocation([&](WithScarceMemory const& withScarceMemory) {
            unload();
            IRCalibrationManager manager;
            manager.setCalibrationDir(incomplete.c_str());
            std::string source = stick;
            bool result = true;
            withScarceMemory(
                [&] { result = manager.copyCalibrationFromLocalRepo(serial, std::move(source)); });
            EXPECT_FALSE(result);
            unload();
        });
        auto const output = testing::internal::GetCapturedStdout();
        bool const failed = testing::Test::HasFailure(); // the report of which was captured too
        std::cout << output.substr(failed ? 0 : output.rfind("allocations refused"));
    });
}

// The process ends, as it does on a complete set, or the copy fails as if the set were incomplete.
TEST_F(Manager, CopiesACompleteSetToItsEndOrFails) {
    quietly([&] {
        refuseEachAllocation([&](WithScarceMemory const& withScarceMemory) {
            unload();
            IRCalibrationManager manager;
            manager.setCalibrationDir(complete.c_str());
            std::string source = stick;
            pid_t const child = fork();
            if (child == 0) {
                static_cast<void>(!std::freopen("/dev/null", "w", stdout));
                bool result = false;
                withScarceMemory([&] {
                    result = manager.copyCalibrationFromLocalRepo(serial, std::move(source));
                });
                support::endChild(result ? 1 : 0);
            }
            int status = -1;
            EXPECT_EQ(waitpid(child, &status, 0), child);
            bool const ended = WIFSIGNALED(status) && WTERMSIG(status) == SIGSEGV;
            EXPECT_TRUE(ended || (wasRefused() && status == 0)) << status;
        });
    });
}

TEST_F(Manager, NeverReportsARouteThatIsNotThere) {
    support::inPrivateNamespaces([] { // no network, so no route
        refuseEachAllocation([&](WithScarceMemory const& withScarceMemory) {
            IRCalibrationManager manager;
            bool accessible = true;
            withScarceMemory([&] { accessible = manager.isOnlineCalibrationRepoAccessible(); });
            EXPECT_FALSE(accessible);
        });
    });
}

TEST_F(Manager, DownloadsAListOrFails) {
    servedLinks = "<DownloadLinks>\n<Imager>\n<CaliData>\n<Links>\n<string>http://files.example/a"
                  "</string>\n</Links>\n</CaliData>\n</Imager>\n</DownloadLinks>\n";
    support::inPrivateNamespaces([&] {
        support::mountTmpfs("/tmp");
        quietly([&] {
            refuseEachAllocation([&](WithScarceMemory const& withScarceMemory) {
                std::string number = "14080045";
                std::string target = "/a/target/directory/with/a/long/name";
                bool result = false;
                commandsRun = 0;
                withScarceMemory([&] {
                    result = IRCalibrationManager::downloadTarget(
                        "first file of a long name;second file of a long name;", std::move(number),
                        std::move(target));
                });
                EXPECT_TRUE(result || wasRefused());
                EXPECT_TRUE(!result || commandsRun >= 2);
                EXPECT_LE(commandsRun, 3);
                EXPECT_TRUE(IRCalibrationManager::downloadTarget("a;", "14080045", "/target"));
            });
        });
    });
}

TEST_F(Manager, DownloadsASetOrFails) {
    servedLinks = "<DownloadLinks>\n<Imager>\n<CaliData>\n<Links>\n<string>http://files.example/a"
                  "</string>\n</Links>\n</CaliData>\n</Imager>\n</DownloadLinks>\n";
    support::inPrivateNamespaces([&] {
        support::mountTmpfs("/tmp");
        fs::create_directories(incomplete);
        writeFile(incomplete + "/" + exampleCamera().descriptionName(),
                  exampleCamera().description());
        quietly([&] {
            refuseEachAllocation([&](WithScarceMemory const& withScarceMemory) {
                unload();
                IRCalibrationManager manager;
                manager.setCalibrationDir(incomplete.c_str());
                bool result = false;
                commandsRun = 0;
                withScarceMemory([&] { result = manager.downloadCalibration(serial); });
                EXPECT_TRUE(result || wasRefused());
                EXPECT_TRUE(!result || commandsRun >= 3 * 2); // links and a file in each pass
                EXPECT_TRUE(manager.downloadCalibration(serial));
                EXPECT_FALSE(fs::exists(incomplete + "/.zentho_access"));
            });
        });
    });
}

namespace {

std::string told(std::vector<zel::IROptics> const& optics) {
    std::string text;
    for (auto const& optic : optics)
        text += std::to_string(optic.fov) + optic.text + std::to_string(optic.tempRanges.size());
    return text;
}

} // namespace

TEST_F(Manager, ListsOpticsOfThisCameraOnly) {
    quietly([&] {
        refuseEachAllocation([&](WithScarceMemory const& withScarceMemory) {
            IRCalibrationManager manager;
            manager.setCalibrationDir(complete.c_str());
            unload();
            EXPECT_EQ(told(*manager.getAvailableOptics(otherSerial)), "91");
            std::vector<zel::IROptics>* listed = nullptr;
            withScarceMemory([&] { listed = manager.getAvailableOptics(serial); });
            ASSERT_NE(listed, nullptr);
            std::string const whole = "23a text of more than fifteen characters2543";
            auto const given = told(*listed);
            EXPECT_TRUE(given == whole || (wasRefused() && given != "91")) << given;
            EXPECT_EQ(told(*manager.getAvailableOptics(serial)), whole);
        });
    });
}

TEST_F(Manager, GeneratesAConfigurationOrNothing) {
    quietly([&] {
        IRCalibrationManager manager;
        manager.setCalibrationDir(complete.c_str());
        auto const whole = manager.generateConfiguration(serial);
        ASSERT_NE(whole.find("<fov>23</fov>"), std::string::npos);
        refuseEachAllocation([&](WithScarceMemory const& withScarceMemory) {
            std::string text;
            withScarceMemory([&] { text = manager.generateConfiguration(serial); });
            bool const withoutSuggestion = text.find("<fov>0</fov>") != std::string::npos;
            EXPECT_TRUE(text == whole || (wasRefused() && (text.empty() || withoutSuggestion)));
            EXPECT_EQ(manager.generateConfiguration(serial), whole);
        });
    });
}

namespace {

std::string logFilesIn(std::string const& directory) {
    std::string all;
    for (auto const& entry : fs::directory_iterator(directory))
        all += support::readFile(entry.path());
    return all;
}

} // namespace

namespace {

/// The installer whose memory runs out, an empty stick, and a target that has the set already.
class ScarceInstaller : public testing::Test {
protected:
    ScarceInstaller() {
        fs::create_directory(stick);
        fs::create_directory(target);
        support::writeSmallSet(target, serial);
    }

    /// @param refused How many allocations are refused, each in a run of its own.
    support::Outcome install(long refused) const {
        return support::run({"env", "REFUSED=" + std::to_string(refused),
                             "ALLOCATIONS_FILE=" + countFile, ZENTHO_SCARCE_INSTALLER, "-d14080045",
                             "-s", stick, "-t", target});
    }

    /// Refuses each allocation that an installation asks for, alone and with all that follow. Each
    /// of these installations must end in one of these ways.
    void refuseEach(std::set<std::string> const& ends) const {
        long const points = 2 + std::stol(support::readFile(countFile));
        auto const outcome = install(points);
        EXPECT_EQ(outcome.exitStatus, 0);
        EXPECT_EQ(outcome.standardOutput.find("was successful"), std::string::npos);
        long installations = 0;
        for (std::string const& line : support::lines(outcome.standardOutput)) {
            if (line.rfind("END ", 0) != 0)
                continue;
            ++installations;
            EXPECT_EQ(ends.count(line), 1U)
                << line << ": allocation " << (installations - 1) % points + 1
                << (installations > points ? " and all later ones" : "");
        }
        EXPECT_EQ(installations, 2 * points) << outcome.standardOutput;
        std::cout << "allocations refused: " << installations << '\n';
    }

    TemporaryDirectory const root;
    std::string const stick = root.path() + "/stick";
    std::string const target = root.path() + "/target";
    std::string const countFile = root.path() + "/count";
};

} // namespace

TEST_F(ScarceInstaller, FailsForAnIncompleteSet) {
    fs::remove(target + "/" + support::curveName(serial));
    ASSERT_EQ(install(0).exitStatus, 255);
    refuseEach({"END with 255"});
}

TEST_F(ScarceInstaller, EndsAsItDoesOnACompleteSetOrFails) {
    fs::remove(target + "/" + support::curveName(serial));
    install(0); // counts the allocations, which a run killed by a signal cannot
    support::writeSmallSet(target, serial);
    ASSERT_EQ(install(0).signal, SIGSEGV);
    refuseEach({"END by signal " + std::to_string(SIGSEGV), "END with 255"});
}

TEST(LoggerWithoutMemory, WritesWholeLinesOrNone) {
    support::standardErrorOf([] {
        refuseEachAllocation([](WithScarceMemory const& withScarceMemory) {
            TemporaryDirectory const directory;
            std::string const file = directory.path() + "/log";
            std::string const origin = "sdk/SimpleXML";
            std::string const message = "a message of more than fifteen characters";
            auto const both = static_cast<thalvo::Logger::loggerConf_>(thalvo::Logger::LOGFILE_ON |
                                                                       thalvo::Logger::CONSOLE_ON);
            thalvo::Logger::releaseInstance();
            withScarceMemory([&] {
                thalvo::Logger* const logger = thalvo::Logger::getInstance();
                if (logger == nullptr)
                    return;
                logger->configure(file, both, 3, 3);
                logger->print(1, origin, 7, message);
                logger->configure(file, both, 3, 3);
                logger->print(1, origin, 8, message);
                thalvo::report(thalvo::LogLevel::error, "sdk/Other", 9, "a", message, "b");
            });
            for (auto const& line : support::logLinesIn(logFilesIn(directory.path())))
                EXPECT_NE(line.find(message), std::string::npos);

            thalvo::Logger* const logger = thalvo::Logger::getInstance();
            ASSERT_NE(logger, nullptr);
            logger->configure(file, both, 3, 3);
            logger->print(1, origin, 8, "afterwards");
            EXPECT_NE(logFilesIn(directory.path()).find("s :afterwards\n"), std::string::npos);
            thalvo::Logger::releaseInstance();
        });
    });
}

TEST(VerbosityWithoutMemory, IsSetAfterwards) {
    support::standardErrorOf([] {
        refuseEachAllocation([](WithScarceMemory const& withScarceMemory) {
            TemporaryDirectory const directory;
            std::string const file = directory.path() + "/log";
            thalvo::Logger::releaseInstance();
            withScarceMemory([&] {
                zel::IRLogger::setVerbosity(zel::IRLOG_OFF, zel::IRLOG_DEBUG, file.c_str());
            });
            zel::IRLogger::setVerbosity(zel::IRLOG_OFF, zel::IRLOG_DEBUG, file.c_str());
            thalvo::report(thalvo::LogLevel::debug, "sdk/SimpleXML", 7, "afterwards");
            EXPECT_NE(logFilesIn(directory.path()).find("s :afterwards\n"), std::string::npos);
            thalvo::Logger::releaseInstance();
        });
    });
}
