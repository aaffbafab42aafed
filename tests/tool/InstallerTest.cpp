// Runs the installed program from outside, as a shell would.

#include "tests/support/Command.h"
#include "tests/support/LogLines.h"
#include "tests/support/Namespace.h"
#include "tests/support/Seen.h"
#include "tests/support/SmallSet.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/UsbTree.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

using support::attach;
using support::camera;
using support::curveName;
using support::dataName;
using support::descriptionName;
using support::emptyUsbTree;
using support::exited;
using support::inPrivateNamespaces;
using support::Outcome;
using support::readFile;
using support::seen;
using support::smallDescription;
using support::TemporaryDirectory;
using support::Tree;
using support::tree;
using support::usbDevices;
using support::writeFile;
using support::writeSmallSet;

std::string const program = ZENTHO_INSTALLER;

constexpr int failed = 255; // what a shell sees of -1
constexpr int segmentationFault = 11;

std::string const sourceMistake = "Option -s needs to be qualified with a valid directory\n";
std::string const conflictMistake = "Option -1 and -d are not to be used at once.\n";
std::string const nothingMistake = "No valid option(s) passed.\n";
std::string const noDevice = "Valid serial number cannot be determined. Is device attached?\n";
std::string const notSuccessful = "Copying of calibration files was NOT successful\n";

std::string usage(std::string const& name) {
    return "Usage: " + name +
           " {-1|-d} {-s source_directory} [-t]\n"
           " -1: find 1st device\n"
           " -d: find specific device\n"
           " -s: use source directory to search for calibration files\n"
           " -t: specify target directory (optional)\n"
           "\n"
           "  examples\n"
           "  --------\n"
           "   $ " +
           name +
           " -1 -s /media/usbstick\n"
           "   $ " +
           name +
           " -d14080045 -s /media/usbstick\n"
           "   $ " +
           name + " -d14080045 -s /media/usbstick -t /tmp\n";
}

std::string commandLine(std::string const& serial, std::string const& source,
                        std::string const& target) {
    return "find " + source + " -name Cali-" + serial + "* -exec cp \"{}\" " + target +
           " \\; -o -name Kennlinie-" + serial + "* -exec cp \"{}\" " + target +
           " \\; 2> /dev/null\n";
}

std::string refused(std::string const& mistake) {
    return exited(failed, usage(program), mistake);
}

std::string incomplete(std::string const& command) {
    return exited(failed, command + notSuccessful, "");
}

std::string complete(std::string const& command) {
    return seen({-1, segmentationFault, command, "", false});
}

Tree smallSet(unsigned long serial) {
    return {{descriptionName(serial), smallDescription()},
            {dataName(serial), dataName(serial)},
            {curveName(serial), curveName(serial)}};
}

// A working directory with a stick, which is empty at first, and a target beside it.
class Installer : public testing::Test {
protected:
    Installer() {
        fs::create_directory(stick);
        fs::create_directory(target);
    }

    Outcome install(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), program);
        return support::run(arguments, root.path());
    }

    TemporaryDirectory const root;
    std::string const stick = root.path() + "/stick";
    std::string const target = root.path() + "/target";
};

// The same, with a USB bus of its own in private namespaces.
class InstallerWithBus : public Installer {
protected:
    void onBus(std::function<void()> const& body) const {
        inPrivateNamespaces([&] {
            emptyUsbTree();
            body();
        });
    }
};

// Options

TEST_F(Installer, WithoutOptionsAsksForASource) {
    EXPECT_EQ(seen(install({})), refused(sourceMistake));
}

TEST_F(Installer, RefusesBothWaysToChooseACamera) {
    EXPECT_EQ(seen(install({"-1", "-d123", "-s", stick})), refused(conflictMistake));
}

TEST_F(Installer, RefusesBothWaysToChooseACameraInTheOtherOrder) {
    EXPECT_EQ(seen(install({"-s", stick, "-d", "123", "-1"})), refused(conflictMistake));
}

TEST_F(Installer, RefusesASerialOfZeroTogetherWithTheFirstDevice) {
    EXPECT_EQ(seen(install({"-1", "-d0", "-s", stick})), refused(conflictMistake));
}

TEST_F(Installer, RefusesASourceAlone) {
    EXPECT_EQ(seen(install({"-s", stick})), refused(nothingMistake));
}

TEST_F(Installer, IgnoresASerialThatIsNoNumber) {
    EXPECT_EQ(seen(install({"-dABC", "-s", stick})), refused(nothingMistake));
}

TEST_F(Installer, IgnoresANegativeSerial) {
    EXPECT_EQ(seen(install({"-d-5", "-s", stick})), refused(nothingMistake));
}

TEST_F(Installer, IgnoresASerialAfterABlank) {
    EXPECT_EQ(seen(install({"-d", " 5", "-s", stick})), refused(nothingMistake));
}

TEST_F(Installer, IgnoresASerialWithAPlusSign) {
    EXPECT_EQ(seen(install({"-d+5", "-s", stick})), refused(nothingMistake));
}

TEST_F(Installer, IgnoresAnEmptySerial) {
    EXPECT_EQ(seen(install({"-d", "", "-s", stick})), refused(nothingMistake));
}

TEST_F(Installer, AsksForASourceBeforeAnythingElse) {
    EXPECT_EQ(seen(install({"-t", target})), refused(sourceMistake));
}

TEST_F(Installer, AsksForASourceThatExists) {
    EXPECT_EQ(seen(install({"-s", "/nonexistent", "-1"})), refused(sourceMistake));
}

TEST_F(Installer, AsksForASourceBeforeItReportsAConflict) {
    EXPECT_EQ(seen(install({"-s", "/nonexistent", "-1", "-d123"})), refused(sourceMistake));
}

TEST_F(Installer, AsksForASourceThatIsADirectory) {
    writeFile(root.path() + "/file", "");
    EXPECT_EQ(seen(install({"-s", root.path() + "/file", "-d123"})), refused(sourceMistake));
}

TEST_F(Installer, AsksForASourceThatIsNotEmpty) {
    EXPECT_EQ(seen(install({"-s", "", "-d123"})), refused(sourceMistake));
}

TEST_F(Installer, AsksForASourceThatMayBeListed) {
    inPrivateNamespaces([&] {
        fs::permissions(stick, fs::perms::none);
        support::giveUpPrivileges();
        EXPECT_EQ(seen(install({"-s", stick, "-d123"})), refused(sourceMistake));
    });
}

TEST_F(Installer, IgnoresASourceThatBeginsWithAControlCharacter) {
    fs::create_directory(root.path() + "/\001stick");
    EXPECT_EQ(seen(install({"-s", "\001stick", "-d123"})), refused(sourceMistake));
}

TEST_F(Installer, IgnoresASourceThatBeginsWithALetterBeyondAscii) {
    fs::create_directory(root.path() + "/\303\244stick");
    EXPECT_EQ(seen(install({"-s", "\303\244stick", "-d123"})), refused(sourceMistake));
}

TEST_F(Installer, KeepsAnEarlierSourceWhenALaterOneIsIgnored) {
    EXPECT_EQ(seen(install({"-s", stick, "-s", "\001stick", "-d123", "-t", target})),
              incomplete(commandLine("123", stick, target)));
}

TEST_F(Installer, AcceptsASourceThatBeginsWithABlank) {
    fs::create_directory(root.path() + "/ stick");
    EXPECT_EQ(seen(install({"-s", " stick", "-d123", "-t", target})),
              incomplete(commandLine("123", " stick", target)));
}

TEST_F(Installer, AcceptsASourceThatBeginsWithATilde) {
    fs::create_directory(root.path() + "/~stick");
    EXPECT_EQ(seen(install({"-s", "~stick", "-d123", "-t", target})),
              incomplete(commandLine("123", "~stick", target)));
}

TEST_F(Installer, IgnoresATargetThatBeginsWithAControlCharacter) {
    EXPECT_EQ(seen(install({"-s", stick, "-d123", "-t", target, "-t", "\177other"})),
              incomplete(commandLine("123", stick, target)));
}

TEST_F(Installer, IgnoresATargetThatBeginsWithALetterBeyondAscii) {
    EXPECT_EQ(seen(install({"-s", stick, "-d123", "-t", target, "-t", "\303\274"})),
              incomplete(commandLine("123", stick, target)));
}

TEST_F(Installer, IgnoresAnEmptyTarget) {
    EXPECT_EQ(seen(install({"-s", stick, "-d123", "-t", target, "-t", ""})),
              incomplete(commandLine("123", stick, target)));
}

TEST_F(Installer, TakesTheLastOfSeveralSources) {
    EXPECT_EQ(seen(install({"-s", "/nonexistent", "-s", stick, "-d123", "-t", target})),
              incomplete(commandLine("123", stick, target)));
}

TEST_F(Installer, TakesTheLastSourceAlsoWhenItIsNotValid) {
    EXPECT_EQ(seen(install({"-s", stick, "-s", "/nonexistent", "-d123"})), refused(sourceMistake));
}

TEST_F(Installer, TakesTheLastOfSeveralSerials) {
    EXPECT_EQ(seen(install({"-d123", "-d456", "-s", stick, "-t", target})),
              incomplete(commandLine("456", stick, target)));
}

TEST_F(Installer, KeepsAnEarlierSerialWhenALaterOneIsIgnored) {
    EXPECT_EQ(seen(install({"-d123", "-dABC", "-s", stick, "-t", target})),
              incomplete(commandLine("123", stick, target)));
}

TEST_F(Installer, TakesTheLastOfSeveralTargets) {
    EXPECT_EQ(seen(install({"-d123", "-s", stick, "-t", "/nonexistent", "-t", target})),
              incomplete(commandLine("123", stick, target)));
}

TEST_F(Installer, AcceptsASerialAsAnArgumentOfItsOwn) {
    EXPECT_EQ(seen(install({"-d", "14080045", "-s", stick, "-t", target})),
              incomplete(commandLine("14080045", stick, target)));
}

TEST_F(Installer, AcceptsDirectoriesAttachedToTheirOptions) {
    EXPECT_EQ(seen(install({"-d14080045", "-s" + stick, "-t" + target})),
              incomplete(commandLine("14080045", stick, target)));
}

TEST_F(Installer, ReadsASerialUpToTheFirstCharacterThatIsNoDigit) {
    EXPECT_EQ(seen(install({"-d12x", "-s", stick, "-t", target})),
              incomplete(commandLine("12", stick, target)));
}

TEST_F(Installer, ReadsASerialWithLeadingZerosAsDecimal) {
    EXPECT_EQ(seen(install({"-d0010", "-s", stick, "-t", target})),
              incomplete(commandLine("10", stick, target)));
}

TEST_F(Installer, KeepsTheLargestSerialOf32Bits) {
    EXPECT_EQ(seen(install({"-d2147483647", "-s", stick, "-t", target})),
              incomplete(commandLine("2147483647", stick, target)));
}

TEST_F(Installer, SaturatesASerialJustAbove32Bits) {
    EXPECT_EQ(seen(install({"-d2147483648", "-s", stick, "-t", target})),
              incomplete(commandLine("2147483647", stick, target)));
}

TEST_F(Installer, SaturatesASerialOfElevenDigits) {
    EXPECT_EQ(seen(install({"-d99999999999", "-s", stick, "-t", target})),
              incomplete(commandLine("2147483647", stick, target)));
}

TEST_F(Installer, SaturatesASerialBeyond64Bits) {
    EXPECT_EQ(seen(install({"-d99999999999999999999", "-s", stick, "-t", target})),
              incomplete(commandLine("2147483647", stick, target)));
}

TEST_F(Installer, AcceptsSerialZero) {
    EXPECT_EQ(seen(install({"-d0", "-s", stick, "-t", target})),
              incomplete(commandLine("0", stick, target)));
}

TEST_F(Installer, IgnoresAnUnknownOptionThatGetoptReports) {
    EXPECT_EQ(seen(install({"-x", "-d123", "-s", stick, "-t", target})),
              exited(failed, commandLine("123", stick, target) + notSuccessful,
                     program + ": invalid option -- 'x'\n"));
}

TEST_F(Installer, IgnoresAnOptionWithoutItsArgumentThatGetoptReports) {
    EXPECT_EQ(seen(install({"-d123", "-s", stick, "-t", target, "-d"})),
              exited(failed, commandLine("123", stick, target) + notSuccessful,
                     program + ": option requires an argument -- 'd'\n"));
}

TEST_F(Installer, AsksForASourceWhenItsArgumentIsLeftOut) {
    EXPECT_EQ(seen(install({"-d123", "-s"})),
              refused(program + ": option requires an argument -- 's'\n" + sourceMistake));
}

TEST_F(Installer, IgnoresArgumentsThatBelongToNoOption) {
    EXPECT_EQ(seen(install({"install", "-d123", "now", "-s", stick, "-t", target, "please"})),
              incomplete(commandLine("123", stick, target)));
}

TEST_F(Installer, NamesItselfInTheUsageAsItWasCalled) {
    fs::create_symlink(program, root.path() + "/setup 100%s");
    EXPECT_EQ(seen(support::run({"./setup 100%s"}, root.path())),
              exited(failed, usage("./setup 100%s"), sourceMistake));
}

TEST_F(Installer, WritesNoLogFile) {
    fs::create_symlink(program, root.path() + "/setup");
    support::run({"./setup", "-d123", "-s", "stick", "-t", "target"}, root.path());
    std::vector<std::string> names;
    for (auto const& entry : fs::directory_iterator(root.path())) {
        names.push_back(entry.path().filename());
    }
    EXPECT_EQ(names.size(), 3U) << testing::PrintToString(names);
}

// The camera on the bus

TEST_F(InstallerWithBus, ReportsThatNoCameraIsAttached) {
    onBus([&] { EXPECT_EQ(seen(install({"-1", "-s", stick})), exited(failed, noDevice, "")); });
}

TEST_F(InstallerWithBus, ReportsThatOnlyForeignDevicesAreAttached) {
    onBus([&] {
        attach("usb1", {"1d6b\n", "0002\n", "0000:00:14.0\n"});
        attach("1-1", {"0403\n", "6001\n", "14080045\n"});
        attach("1-1:1.0", {std::nullopt, std::nullopt, std::nullopt});
        attach("1-2", {"0403\n", "DE37\n", "14080045\n"});
        EXPECT_EQ(seen(install({"-1", "-s", stick})), exited(failed, noDevice, ""));
    });
}

TEST_F(InstallerWithBus, TakesACameraWithoutASerialForNone) {
    onBus([&] {
        attach("1-1", camera("0\n"));
        EXPECT_EQ(seen(install({"-1", "-s", stick})), exited(failed, noDevice, ""));
    });
}

TEST_F(InstallerWithBus, ShowsTheErrorOfABusThatIsNotThere) {
    inPrivateNamespaces([&] {
        support::mountTmpfs("/sys/bus");
        EXPECT_EQ(seen(install({"-1", "-s", stick})),
                  exited(failed, noDevice,
                         "ERROR [sdk/IRCalibrationManager:LINE] @ TIMEs :Query directory "
                         "/sys/bus/usb/devices could not be opened: No such file or directory\n"));
    });
}

TEST_F(InstallerWithBus, ShowsTheErrorOfABusThatMayNotBeListed) {
    onBus([&] {
        fs::permissions(usbDevices, fs::perms::owner_exec);
        support::giveUpPrivileges();
        EXPECT_EQ(seen(install({"-1", "-s", stick})),
                  exited(failed, noDevice,
                         "ERROR [sdk/IRCalibrationManager:LINE] @ TIMEs :Failed to open usb device "
                         "directory: Permission denied\n"));
    });
}

TEST_F(InstallerWithBus, CopiesForTheCameraItFinds) {
    onBus([&] {
        attach("1-1", camera("14080045\n"));
        EXPECT_EQ(seen(install({"-1", "-s", stick, "-t", target})),
                  incomplete(commandLine("14080045", stick, target)));
    });
}

TEST_F(InstallerWithBus, InstallsTheSetOfTheCameraItFinds) {
    writeSmallSet(stick + "/a", 14080045);
    writeSmallSet(stick + "/b", 21090003);
    onBus([&] {
        attach("usb1", {"1d6b\n", "0002\n", "0000:00:14.0\n"});
        attach("1-1", camera("14080045\n"));
        EXPECT_EQ(seen(install({"-1", "-s", stick, "-t", target})),
                  complete(commandLine("14080045", stick, target)));
        EXPECT_EQ(tree(target), smallSet(14080045));
    });
}

TEST_F(InstallerWithBus, DoesNotClampTheSerialOfACameraItFinds) {
    onBus([&] {
        attach("1-1", camera("99999999999\n"));
        EXPECT_EQ(seen(install({"-1", "-s", stick, "-t", target})),
                  incomplete(commandLine("99999999999", stick, target)));
    });
}

TEST_F(InstallerWithBus, TakesTheFirstListedOfSeveralCameras) {
    onBus([&] {
        attach("1-1", camera("101\n"));
        attach("1-2", camera("102\n"));
        auto const first = fs::directory_iterator(usbDevices)->path().filename() == "1-1";
        EXPECT_EQ(seen(install({"-1", "-s", stick, "-t", target})),
                  incomplete(commandLine(first ? "101" : "102", stick, target)));
    });
}

TEST_F(InstallerWithBus, LooksForACameraWhenTheGivenSerialIsIgnored) {
    onBus([&] {
        attach("1-1", camera("14080045\n"));
        EXPECT_EQ(seen(install({"-1", "-dABC", "-s", stick, "-t", target})),
                  incomplete(commandLine("14080045", stick, target)));
    });
}

TEST_F(InstallerWithBus, NeedsNoCameraForAGivenSerial) {
    onBus([&] {
        EXPECT_EQ(seen(install({"-d14080045", "-s", stick, "-t", target})),
                  incomplete(commandLine("14080045", stick, target)));
    });
}

TEST_F(InstallerWithBus, DoesNotLookForACameraWithAGivenSerial) {
    inPrivateNamespaces([&] {
        support::mountTmpfs("/sys/bus"); // looking would be reported
        EXPECT_EQ(seen(install({"-d14080045", "-s", stick, "-t", target})),
                  incomplete(commandLine("14080045", stick, target)));
    });
}

TEST_F(InstallerWithBus, ChecksARelativeSourceBeforeItLooksForACamera) {
    onBus([&] {
        attach("1-1", camera("14080045\n"));
        fs::create_directory(std::string(usbDevices) + "/other");
        EXPECT_EQ(seen(install({"-1", "-s", "other"})), refused(sourceMistake));
    });
}

TEST_F(InstallerWithBus, FindsNothingInARelativeSourceWithTheFirstDevice) {
    writeSmallSet(stick, 14080045);
    onBus([&] {
        attach("1-1", camera("14080045\n"));
        EXPECT_EQ(seen(install({"-1", "-s", "stick", "-t", target})),
                  incomplete(commandLine("14080045", "stick", target)));
        EXPECT_EQ(tree(target), Tree{});
    });
}

TEST_F(InstallerWithBus, SearchesARelativeSourceInTheDeviceListWithTheFirstDevice) {
    onBus([&] {
        attach("1-1", camera("14080045\n"));
        writeSmallSet(std::string(usbDevices) + "/stick", 14080045);
        EXPECT_EQ(seen(install({"-1", "-s", "stick", "-t", target})),
                  complete(commandLine("14080045", "stick", target)));
        EXPECT_EQ(tree(target), smallSet(14080045));
    });
}

TEST_F(InstallerWithBus, CopiesToARelativeTargetInTheDeviceListWithTheFirstDevice) {
    writeSmallSet(stick, 14080045);
    onBus([&] {
        attach("1-1", camera("14080045\n"));
        fs::create_directory(std::string(usbDevices) + "/target");
        EXPECT_EQ(seen(install({"-1", "-s", stick, "-t", "target"})),
                  complete(commandLine("14080045", stick, "target")));
        EXPECT_EQ(tree(target), Tree{});
        EXPECT_EQ(tree(std::string(usbDevices) + "/target"), smallSet(14080045));
    });
}

TEST_F(Installer, SearchesARelativeSourceWhereItWasStartedWithAGivenSerial) {
    writeSmallSet(stick, 14080045);
    EXPECT_EQ(seen(install({"-d14080045", "-s", "stick", "-t", "target"})),
              complete(commandLine("14080045", "stick", "target")));
    EXPECT_EQ(tree(target), smallSet(14080045));
}

// The target

TEST_F(InstallerWithBus, InstallsIntoTheDefaultTarget) {
    writeSmallSet(stick, 14080045);
    onBus([&] {
        support::mountTmpfs("/usr/share");
        fs::create_directories("/usr/share/libzentho/cali");
        EXPECT_EQ(seen(install({"-d14080045", "-s", stick})),
                  complete("find " + stick +
                           " -name Cali-14080045* -exec cp \"{}\" /usr/share/libzentho/cali \\; -o "
                           "-name Kennlinie-14080045* -exec cp \"{}\" /usr/share/libzentho/cali "
                           "\\; 2> /dev/null\n"));
        EXPECT_EQ(tree("/usr/share"),
                  (Tree{{"libzentho/", ""},
                        {"libzentho/cali/", ""},
                        {"libzentho/cali/Cali-14080045.xml", smallDescription()},
                        {"libzentho/cali/" + dataName(14080045), dataName(14080045)},
                        {"libzentho/cali/" + curveName(14080045), curveName(14080045)}}));
    });
}

TEST_F(InstallerWithBus, MakesNoDefaultTargetWhereTheLibraryHasNoDirectory) {
    writeSmallSet(stick, 14080045);
    onBus([&] {
        support::mountTmpfs("/usr/share");
        EXPECT_EQ(seen(install({"-d14080045", "-s", stick})),
                  incomplete(commandLine("14080045", stick, "/usr/share/libzentho/cali")));
        EXPECT_EQ(tree("/usr/share"), Tree{});
    });
}

TEST_F(Installer, RemovesATrailingSlashFromTheTarget) {
    writeSmallSet(stick, 14080045);
    EXPECT_EQ(seen(install({"-d14080045", "-s", stick, "-t", target + "/"})),
              complete(commandLine("14080045", stick, target)));
}

TEST_F(Installer, RemovesOnlyOneTrailingSlashFromTheTarget) {
    writeSmallSet(stick, 14080045);
    EXPECT_EQ(seen(install({"-d14080045", "-s", stick, "-t", target + "//"})),
              complete(commandLine("14080045", stick, target + "/")));
}

TEST_F(Installer, LeavesATrailingSlashOfTheSource) {
    EXPECT_EQ(seen(install({"-d14080045", "-s", stick + "/", "-t", target})),
              incomplete(commandLine("14080045", stick + "/", target)));
}

TEST_F(Installer, MakesAnEmptyTargetOfTheRootDirectory) {
    EXPECT_EQ(seen(install({"-d14080045", "-s", "stick", "-t", "/"})),
              incomplete("find stick -name Cali-14080045* -exec cp \"{}\"  \\; -o "
                         "-name Kennlinie-14080045* -exec cp \"{}\"  \\; 2> /dev/null\n"));
}

TEST_F(Installer, ChecksTheImagerDirectoryWhereItWasStartedForAnEmptyTarget) {
    install({"-d14080045", "-s", stick, "-t", "/"});
    EXPECT_EQ(tree(root.path()), (Tree{{"Imager/", ""}, {"stick/", ""}, {"target/", ""}}));
}

TEST_F(Installer, FindsASetCompleteInTheImagerDirectoryForAnEmptyTarget) {
    writeSmallSet(root.path() + "/Imager", 14080045);
    EXPECT_EQ(seen(install({"-d14080045", "-s", stick, "-t", "/"})),
              complete(commandLine("14080045", stick, "")));
}

TEST_F(Installer, CutsATargetAt260Characters) {
    auto const kept = "/" + std::string(259, 't');
    EXPECT_EQ(seen(install({"-d14080045", "-s", stick, "-t", kept + "uvw"})),
              incomplete(commandLine("14080045", stick, kept)));
}

TEST_F(Installer, WritesTheOnlyFileToThePathOfATargetThatIsMissing) {
    writeFile(stick + "/Cali-14080045.xml", smallDescription());
    EXPECT_EQ(seen(install({"-d14080045", "-s", "stick", "-t", "missing"})),
              incomplete(commandLine("14080045", "stick", "missing")));
    EXPECT_EQ(tree(root.path()), (Tree{{"missing", smallDescription()},
                                       {"stick/", ""},
                                       {"stick/Cali-14080045.xml", smallDescription()},
                                       {"target/", ""}}));
}

TEST_F(Installer, WritesEachFileInTurnToThePathOfATargetThatIsMissing) {
    writeSmallSet(stick, 14080045);
    auto const found = support::lines(support::run({"find", stick, "-type", "f"}).standardOutput);
    EXPECT_EQ(seen(install({"-d14080045", "-s", stick, "-t", root.path() + "/missing"})),
              incomplete(commandLine("14080045", stick, root.path() + "/missing")));
    EXPECT_EQ(readFile(root.path() + "/missing"), readFile(found.back()));
}

TEST_F(Installer, MakesNothingOfATargetWhoseParentIsMissing) {
    writeSmallSet(stick, 14080045);
    EXPECT_EQ(seen(install({"-d14080045", "-s", stick, "-t", "missing/target"})),
              incomplete(commandLine("14080045", stick, "missing/target")));
    EXPECT_FALSE(fs::exists(root.path() + "/missing"));
}

TEST_F(Installer, MakesTheMissingTargetWhenThereIsNothingToCopy) {
    EXPECT_EQ(seen(install({"-d14080045", "-s", "stick", "-t", "missing"})),
              incomplete(commandLine("14080045", "stick", "missing")));
    EXPECT_EQ(tree(root.path()), (Tree{{"missing/", ""}, {"stick/", ""}, {"target/", ""}}));
}

TEST_F(Installer, KeepsQuietAboutATargetThatMayNotBeWritten) {
    writeSmallSet(stick, 14080045);
    inPrivateNamespaces([&] {
        fs::permissions(target, fs::perms::owner_read | fs::perms::owner_exec);
        support::giveUpPrivileges();
        EXPECT_EQ(seen(install({"-d14080045", "-s", stick, "-t", target})),
                  incomplete(commandLine("14080045", stick, target)));
        EXPECT_EQ(tree(target), Tree{});
    });
}

// Copying

TEST_F(Installer, CopiesNothingFromASourceWithoutAMatchingFile) {
    writeSmallSet(stick, 21090003);
    EXPECT_EQ(seen(install({"-d14080045", "-s", stick, "-t", target})),
              incomplete(commandLine("14080045", stick, target)));
    EXPECT_EQ(tree(target), Tree{});
}

TEST_F(Installer, CopiesWhatThereIsOfAnIncompleteSet) {
    writeSmallSet(stick, 14080045);
    fs::remove(stick + "/" + curveName(14080045));
    EXPECT_EQ(seen(install({"-d14080045", "-s", stick, "-t", target})),
              incomplete(commandLine("14080045", stick, target)));
    EXPECT_EQ(tree(target), (Tree{{descriptionName(14080045), smallDescription()},
                                  {dataName(14080045), dataName(14080045)}}));
}

TEST_F(Installer, EndsBySegmentationFaultWithoutAResultLineWhenTheSetIsComplete) {
    writeSmallSet(stick, 14080045);
    EXPECT_EQ(seen(install({"-d14080045", "-s", stick, "-t", target})),
              complete(commandLine("14080045", stick, target)));
}

TEST_F(Installer, LeavesTheCompleteSetInTheTarget) {
    writeSmallSet(stick, 14080045);
    install({"-d14080045", "-s", stick, "-t", target});
    EXPECT_EQ(tree(target), smallSet(14080045));
}

TEST_F(Installer, EndsTheSameWayWhenItIsRunAgain) {
    writeSmallSet(stick, 14080045);
    install({"-d14080045", "-s", stick, "-t", target});
    EXPECT_EQ(seen(install({"-d14080045", "-s", stick, "-t", target})),
              complete(commandLine("14080045", stick, target)));
}

TEST_F(Installer, ShowsAShellStatus139WhenTheSetIsComplete) {
    writeSmallSet(stick, 14080045);
    auto const outcome =
        support::run({"sh", "-c", "\"$0\" \"$@\" > output 2> /dev/null; echo $?; cat output",
                      program, "-d14080045", "-s", "stick", "-t", "target"},
                     root.path());
    EXPECT_EQ(outcome.standardOutput, "139\n" + commandLine("14080045", "stick", "target"));
}

TEST_F(Installer, EndsThatWayAlsoWhenItsParentIgnoresTheSignal) {
    writeSmallSet(stick, 14080045);
    EXPECT_EQ(seen(support::run({"sh", "-c", "trap '' SEGV; exec \"$0\" \"$@\"", program,
                                 "-d14080045", "-s", stick, "-t", target})),
              complete(commandLine("14080045", stick, target)));
}

// Runs a shell command after all limits of core files are lifted, in a sanitizer's program too.
Outcome runWithCores(std::string const& command, std::string const& directory) {
    return support::run(
        {"sh", "-c",
         "ulimit -c unlimited && "
         "export ASAN_OPTIONS=\"$ASAN_OPTIONS:disable_coredump=0:use_madv_dontdump=1\" "
         "&& exec " +
             command},
        directory);
}

TEST_F(Installer, LeavesNoCoreFileWhenTheSetIsComplete) {
    writeSmallSet(stick, 14080045);
    TemporaryDirectory const elsewhere;
    if (!runWithCores("sh -c 'kill -SEGV $$'", elsewhere.path()).coreDumped) {
        GTEST_SKIP() << "this system makes no core files at all";
    }
    auto const outcome = runWithCores(
        "'" + program + "' -d14080045 -s '" + stick + "' -t '" + target + "'", root.path());
    ASSERT_EQ(outcome.signal, segmentationFault);
    EXPECT_FALSE(outcome.coreDumped);
    EXPECT_EQ(tree(root.path()).size(), 8U); // two directories with three files each
}

// The kernel keeps signals away from such a process, even those that it sends to itself.
TEST_F(Installer, EndsThatWayAlsoAsTheFirstProcessOfAContainer) {
    writeSmallSet(stick, 14080045);
    inPrivateNamespaces([&] {
        auto const outcome = support::run(
            {"unshare", "--pid", "--fork", program, "-d14080045", "-s", stick, "-t", target});
        EXPECT_EQ(seen(outcome), complete(commandLine("14080045", stick, target)));
    });
}

TEST_F(Installer, ReportsASuccessShouldACopyEverReturnWithIt) {
    EXPECT_EQ(seen(support::run({ZENTHO_SUCCEEDING_INSTALLER, "-d14080045", "-s", stick})),
              exited(0, "Copying of calibration files was successful\n", ""));
}

TEST_F(Installer, CopiesFromAnyDepthIntoOneDirectory) {
    writeFile(stick + "/a/b/" + descriptionName(14080045), smallDescription());
    writeFile(stick + "/a/c d/e/" + dataName(14080045), dataName(14080045));
    writeFile(stick + "/" + curveName(14080045), curveName(14080045));
    EXPECT_EQ(seen(install({"-d14080045", "-s", stick, "-t", target})),
              complete(commandLine("14080045", stick, target)));
    EXPECT_EQ(tree(target), smallSet(14080045));
}

TEST_F(Installer, FindsNothingInASourceThatIsALinkWithoutASlashAtItsEnd) {
    writeSmallSet(stick, 14080045);
    fs::create_directory_symlink(stick, root.path() + "/link");
    EXPECT_EQ(seen(install({"-d14080045", "-s", "link", "-t", target})),
              incomplete(commandLine("14080045", "link", target)));
    EXPECT_EQ(tree(target), Tree{});
}

TEST_F(Installer, CopiesFromASourceThatIsALinkWithASlashAtItsEnd) {
    writeSmallSet(stick, 14080045);
    fs::create_directory_symlink(stick, root.path() + "/link");
    EXPECT_EQ(seen(install({"-d14080045", "-s", "link/", "-t", target})),
              complete(commandLine("14080045", "link/", target)));
    EXPECT_EQ(tree(target), smallSet(14080045));
}

TEST_F(Installer, LetsTheLastFoundCopyOfAFileWin) {
    auto const name = "Cali-14080045-23.dat";
    for (std::string const folder : {"b", "a", "c"}) {
        writeFile(stick + "/" + folder + "/" + name, "from " + folder);
    }
    auto const found = support::lines(support::run({"find", stick, "-name", name}).standardOutput);
    install({"-d14080045", "-s", stick, "-t", target});
    EXPECT_EQ(tree(target), (Tree{{name, readFile(found.back())}}));
}

TEST_F(Installer, OverwritesAnOlderSet) {
    writeSmallSet(stick, 14080045);
    writeFile(target + "/" + descriptionName(14080045), "an older description");
    writeFile(target + "/" + dataName(14080045),
              "older and longer than what comes after it, by far");
    install({"-d14080045", "-s", stick, "-t", target});
    EXPECT_EQ(tree(target), smallSet(14080045));
}

TEST_F(Installer, CopiesTheFilesOfALongerSerialToo) {
    writeSmallSet(stick, 14080045);
    EXPECT_EQ(seen(install({"-d1408004", "-s", stick, "-t", target})),
              incomplete(commandLine("1408004", stick, target)));
    EXPECT_EQ(tree(target), smallSet(14080045));
}

TEST_F(Installer, ReplacesNewerFilesOfALongerSerial) {
    writeSmallSet(stick, 14080045);
    writeFile(target + "/" + descriptionName(14080045), "a newer description");
    install({"-d1408004", "-s", stick, "-t", target});
    EXPECT_EQ(tree(target), smallSet(14080045));
}

TEST_F(Installer, CopiesNothingOfAShorterSerial) {
    writeSmallSet(stick, 1408004);
    install({"-d14080045", "-s", stick, "-t", target});
    EXPECT_EQ(tree(target), Tree{});
}

TEST_F(Installer, CopiesEverySerialThatBeginsWithZeroForSerialZero) {
    writeFile(stick + "/Cali-0815.xml", "description");
    writeFile(stick + "/Kennlinie-0815.prn", "curve");
    writeFile(stick + "/Cali-815.xml", "another");
    EXPECT_EQ(seen(install({"-d0", "-s", stick, "-t", target})),
              incomplete(commandLine("0", stick, target)));
    EXPECT_EQ(tree(target),
              (Tree{{"Cali-0815.xml", "description"}, {"Kennlinie-0815.prn", "curve"}}));
}

TEST_F(Installer, InstallsTheSetOfSerialZero) {
    writeSmallSet(stick, 0);
    EXPECT_EQ(seen(install({"-d0", "-s", stick, "-t", target})),
              complete(commandLine("0", stick, target)));
    EXPECT_EQ(tree(target), smallSet(0));
}

TEST_F(Installer, SearchesBothHalvesOfASourceWithABlank) {
    writeFile(root.path() + "/my/Cali-14080045-1.dat", "first half");
    writeFile(root.path() + "/stick/Cali-14080045-2.dat", "second half");
    writeFile(root.path() + "/my stick/Cali-14080045-3.dat", "whole");
    EXPECT_EQ(seen(install({"-d14080045", "-s", "my stick", "-t", target})),
              incomplete(commandLine("14080045", "my stick", target)));
    EXPECT_EQ(tree(target), (Tree{{"Cali-14080045-1.dat", "first half"},
                                  {"Cali-14080045-2.dat", "second half"}}));
}

TEST_F(Installer, LetsTheShellReadASourceWithASemicolon) {
    fs::create_directory(root.path() + "/stick;touch made;echo hidden");
    writeFile(stick + "/Cali-14080045-1.dat", "data");
    auto const source = "stick;touch made;echo hidden";
    EXPECT_EQ(seen(install({"-d14080045", "-s", source, "-t", target})),
              incomplete(commandLine("14080045", source, target)));
    EXPECT_TRUE(fs::exists(root.path() + "/made"));
}

TEST_F(Installer, LetsTheShellExpandThePatternWithAFileWhereItWasStarted) {
    writeFile(root.path() + "/Cali-14080045-1.dat", "");
    writeFile(stick + "/Cali-14080045-1.dat", "named like the one here");
    writeFile(stick + "/Cali-14080045-2.dat", "not so");
    install({"-d14080045", "-s", stick, "-t", target});
    EXPECT_EQ(tree(target), (Tree{{"Cali-14080045-1.dat", "named like the one here"}}));
}

TEST_F(Installer, CopiesNothingWhenThePatternMeetsSeveralFilesWhereItWasStarted) {
    writeFile(root.path() + "/Cali-14080045-1.dat", "");
    writeFile(root.path() + "/Cali-14080045-2.dat", "");
    writeFile(stick + "/Cali-14080045-1.dat", "data");
    EXPECT_EQ(seen(install({"-d14080045", "-s", stick, "-t", target})),
              incomplete(commandLine("14080045", stick, target)));
    EXPECT_EQ(tree(target), Tree{});
}

TEST_F(Installer, ShowsTheErrorsOfADescriptionThatIsNotWellFormed) {
    writeFile(stick + "/Cali-14080045.xml", "<CaliData>\n<!-- open\n</CaliData>\n");
    auto const message = "ERROR [sdk/SimpleXML:LINE] @ TIMEs :<!-- open\n"
                         "ERROR [sdk/SimpleXML:LINE] @ TIMEs :Format of file " +
                         target +
                         "/Cali-14080045.xml is wrong. Verify, that the XML document is "
                         "well-formed!\n";
    EXPECT_EQ(seen(install({"-d14080045", "-s", stick, "-t", target})),
              exited(failed, commandLine("14080045", stick, target) + notSuccessful,
                     message + message)); // the check has two passes
}

} // namespace
