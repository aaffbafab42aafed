#include "sdk/manager/CameraSearch.h"

#include "sdk/IRCalibrationManager.h"
#include "sdk/IRLogger.h"

#include "tests/support/LogLines.h"
#include "tests/support/Namespace.h"
#include "tests/support/OpenDescriptors.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/UsbTree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr std::string_view vanishing = "vanishing";

} // namespace

// Takes the place of the C library's: an entry of this name is removed after it was listed and
// before its status is taken, as when somebody unplugs a device at that moment.
extern "C" int fstatat(int directory, char const* path, struct stat* status, int flags) noexcept {
    if (vanishing == std::string_view(path).substr(0, vanishing.size()))
        unlinkat(directory, path, 0);
    using Fstatat = int (*)(int, char const*, struct stat*, int);
    static auto const real = reinterpret_cast<Fstatat>(dlsym(RTLD_NEXT, "fstatat"));
    return real(directory, path, status, flags);
}

namespace {

namespace fs = std::filesystem;

using support::attach;
using support::camera;
using support::emptyUsbTree;
using support::inPrivateNamespaces;
using support::lines;
using support::listUsbEntry;
using support::makeUsbDevice;
using support::UsbDevice;
using support::usbDevices;
using support::withoutLineAndTime;

struct Search {
    bool found;
    unsigned long serial;
    std::string log;
};

Search search(unsigned long wanted) {
    zel::IRLogger::setVerbosity(zel::IRLOG_DEBUG, zel::IRLOG_OFF, nullptr);
    zel::IRCalibrationManager manager;
    testing::internal::CaptureStderr();
    auto serial = wanted;
    auto const found = manager.findSerial(serial);
    return {found, serial, testing::internal::GetCapturedStderr()};
}

Search searchFirst() {
    return search(0);
}

std::string const debugStart = "DEBUG [sdk/IRCalibrationManager:LINE] @ TIMEs :";
std::string const errorStart = "ERROR [sdk/IRCalibrationManager:LINE] @ TIMEs :";
std::string const queryLine = debugStart + "Query directory /sys/bus/usb/devices\n";

std::string foundLine(std::string const& serialText) {
    return debugStart + "Found device with serial " + serialText + "\n";
}

void expectTaken(Search const& outcome, unsigned long serial) {
    EXPECT_TRUE(outcome.found);
    EXPECT_EQ(outcome.serial, serial);
}

void expectNothingTaken(Search const& outcome) {
    EXPECT_FALSE(outcome.found);
    EXPECT_EQ(outcome.serial, 0U);
}

// A bus with one device that the product must not take for a camera, and must not log as one.
void expectForeign(UsbDevice const& device) {
    inPrivateNamespaces([&] {
        emptyUsbTree();
        attach("1-1", device);

        auto const outcome = searchFirst();

        expectNothingTaken(outcome);
        EXPECT_EQ(withoutLineAndTime(outcome.log), queryLine);
    });
}

// A bus with one camera whose serial file holds this text.
void expectSerial(std::string const& content, unsigned long serial) {
    inPrivateNamespaces([&] {
        emptyUsbTree();
        attach("1-1", camera(content));

        expectTaken(searchFirst(), serial);
    });
}

std::vector<std::string> listedEntries() {
    std::vector<std::string> entries;
    for (auto const& entry : fs::directory_iterator(usbDevices)) {
        entries.push_back(entry.path().filename());
    }
    return entries;
}

void expectFirstListedOf(std::vector<std::pair<std::string, unsigned long>> const& cameras) {
    inPrivateNamespaces([&] {
        emptyUsbTree();
        std::map<std::string, unsigned long> serials;
        for (auto const& [entry, serial] : cameras) {
            attach(entry, camera(std::to_string(serial) + "\n"));
            serials[entry] = serial;
        }

        expectTaken(searchFirst(), serials.at(listedEntries().front()));
    });
}

/// What the search meets: the serial texts of the cameras, and the reasons of entries without
/// status.
std::vector<std::string> met() {
    std::vector<std::string> found;
    zel::forEachCamera([&](zel::CameraEntry const& entry) {
        found.push_back(entry.error == 0 ? entry.serialText
                                         : "error " + std::to_string(entry.error));
        return true;
    });
    return found;
}

TEST(FindSerial, FindsNothingAndClearsTheSerialWhenNoDeviceIsAttached) {
    inPrivateNamespaces([] {
        emptyUsbTree();
        expectNothingTaken(search(7));
    });
}

TEST(FindSerial, LogsOnlyTheQueryWhenNoDeviceIsAttached) {
    inPrivateNamespaces([] {
        emptyUsbTree();
        EXPECT_EQ(withoutLineAndTime(searchFirst().log), queryLine);
    });
}

TEST(FindSerial, TakesTheOnlyCamera) {
    inPrivateNamespaces([] {
        emptyUsbTree();
        attach("1-1", camera("14080045\n"));
        expectTaken(searchFirst(), 14080045);
    });
}

TEST(FindSerial, LogsTheCameraItTakes) {
    inPrivateNamespaces([] {
        emptyUsbTree();
        attach("1-1", camera("14080045\n"));
        EXPECT_EQ(withoutLineAndTime(searchFirst().log), queryLine + foundLine("14080045"));
    });
}

TEST(FindSerial, LogsTheSerialTextAsItStandsInTheFile) {
    inPrivateNamespaces([] {
        emptyUsbTree();
        attach("1-1", camera(" 0014080045 rev. B \nsecond line\n"));
        EXPECT_EQ(withoutLineAndTime(searchFirst().log),
                  queryLine + foundLine(" 0014080045 rev. B "));
    });
}

TEST(FindSerial, LogsLinesOfTheManagersOwnSourceFile) {
    inPrivateNamespaces([] {
        emptyUsbTree();
        attach("1-1", camera("14080045\n"));
        auto const log = lines(searchFirst().log);
        auto const source =
            lines(support::readFile(ZENTHO_SOURCE_DIR "/sdk/IRCalibrationManager.cpp"));
        ASSERT_EQ(log.size(), 2U);
        EXPECT_NE(source.at(support::sourceLine(log[1]) - 1).find("Found device with serial "),
                  std::string::npos);
    });
}

TEST(FindSerial, LogsNothingAtErrorVerbosityWhenItFindsACamera) {
    inPrivateNamespaces([] {
        emptyUsbTree();
        attach("1-1", camera("14080045\n"));
        zel::IRLogger::setVerbosity(zel::IRLOG_ERROR, zel::IRLOG_OFF, nullptr);
        zel::IRCalibrationManager manager;
        unsigned long serial = 0;
        testing::internal::CaptureStderr();
        manager.findSerial(serial);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    });
}

// The file system may list the newest or the oldest entry first; one of the two orders in which the
// cameras are attached differs from an alphabetic one.
TEST(FindSerial, TakesTheFirstListedOfCamerasAttachedInAscendingOrder) {
    expectFirstListedOf({{"1-1", 101}, {"1-2", 102}, {"1-3", 103}});
}

TEST(FindSerial, TakesTheFirstListedOfCamerasAttachedInDescendingOrder) {
    expectFirstListedOf({{"1-3", 103}, {"1-2", 102}, {"1-1", 101}});
}

TEST(FindSerial, StopsTheScanAtTheFirstCameraItTakes) {
    inPrivateNamespaces([] {
        emptyUsbTree();
        attach("1-1", camera("101\n"));
        attach("1-2", camera("102\n"));
        auto const first = listedEntries().front() == "1-1" ? "101" : "102";
        EXPECT_EQ(withoutLineAndTime(searchFirst().log), queryLine + foundLine(first));
    });
}

TEST(FindSerial, FindsAGivenSerialWhereverItIsListed) {
    for (unsigned long const wanted : {101UL, 102UL, 103UL}) {
        inPrivateNamespaces([&] {
            emptyUsbTree();
            attach("1-1", camera("101\n"));
            attach("1-2", camera("102\n"));
            attach("1-3", camera("103\n"));
            expectTaken(search(wanted), wanted);
        });
    }
}

TEST(FindSerial, LogsEveryCameraItPassesOnTheWayToAGivenSerial) {
    inPrivateNamespaces([] {
        emptyUsbTree();
        attach("1-1", camera("101\n"));
        attach("1-2", camera("102\n"));
        auto const oneIsFirst = listedEntries().front() == "1-1";
        std::string const first = oneIsFirst ? "101" : "102";
        std::string const second = oneIsFirst ? "102" : "101";
        EXPECT_EQ(withoutLineAndTime(search(std::stoul(second)).log),
                  queryLine + foundLine(first) + foundLine(second));
    });
}

TEST(FindSerial, ForgetsAGivenSerialThatNoAttachedCameraHas) {
    inPrivateNamespaces([] {
        emptyUsbTree();
        attach("1-1", camera("101\n"));
        expectNothingTaken(search(102));
    });
}

TEST(FindSerial, LogsTheCamerasThatDoNotHaveAGivenSerial) {
    inPrivateNamespaces([] {
        emptyUsbTree();
        attach("1-1", camera("101\n"));
        EXPECT_EQ(withoutLineAndTime(search(102).log), queryLine + foundLine("101"));
    });
}

TEST(FindSerial, DoesNotTakeASerialOfWhichAGivenOneIsAPrefix) {
    inPrivateNamespaces([] {
        emptyUsbTree();
        attach("1-1", camera("14080045\n"));
        expectNothingTaken(search(1408004));
    });
}

TEST(FindSerial, NeverTakesACameraWithSerialZero) {
    inPrivateNamespaces([] {
        emptyUsbTree();
        attach("1-1", camera("0\n"));
        expectNothingTaken(searchFirst());
    });
}

TEST(FindSerial, LogsACameraWithSerialZeroAllTheSame) {
    inPrivateNamespaces([] {
        emptyUsbTree();
        attach("1-1", camera("0\n"));
        EXPECT_EQ(withoutLineAndTime(searchFirst().log), queryLine + foundLine("0"));
    });
}

TEST(FindSerial, NeverTakesACameraWithAnEmptySerialFile) {
    inPrivateNamespaces([] {
        emptyUsbTree();
        attach("1-1", camera(""));
        expectNothingTaken(searchFirst());
    });
}

TEST(FindSerial, LogsACameraWithAnEmptySerialFileAllTheSame) {
    inPrivateNamespaces([] {
        emptyUsbTree();
        attach("1-1", camera(""));
        EXPECT_EQ(withoutLineAndTime(searchFirst().log), queryLine + foundLine(""));
    });
}

TEST(FindSerial, NeverTakesACameraWhoseSerialIsNoNumber) {
    inPrivateNamespaces([] {
        emptyUsbTree();
        attach("1-1", camera("B14080045\n"));
        expectNothingTaken(searchFirst());
    });
}

TEST(FindSerial, NeverTakesASerialFromTheSecondLine) {
    inPrivateNamespaces([] {
        emptyUsbTree();
        attach("1-1", camera("\n14080045\n"));
        expectNothingTaken(searchFirst());
    });
}

TEST(FindSerial, SkipsCamerasWithoutASerialOnTheWayToOneThatHasOne) {
    inPrivateNamespaces([] {
        emptyUsbTree();
        attach("1-1", camera("0\n"));
        attach("1-2", camera("14080045\n"));
        attach("1-3", camera("\n"));
        expectTaken(searchFirst(), 14080045);
    });
}

TEST(FindSerial, ReadsASerialWithoutANewline) {
    expectSerial("14080045", 14080045);
}

TEST(FindSerial, ReadsASerialUpToTheFirstCharacterThatIsNoDigit) {
    expectSerial("1408x0045\n", 1408);
}

TEST(FindSerial, ReadsASerialWithLeadingZerosAsDecimal) {
    expectSerial("0010\n", 10);
}

TEST(FindSerial, ReadsASerialAfterBlanks) {
    expectSerial("  42\n", 42);
}

TEST(FindSerial, KeepsASerialBeyondThe32BitRange) {
    expectSerial("99999999999\n", 99999999999UL);
}

TEST(FindSerial, SaturatesASerialThatNoLongCanHold) {
    expectSerial("99999999999999999999\n", 18446744073709551615UL);
}

TEST(CameraSearch, CutsASerialTextAt65536Characters) {
    inPrivateNamespaces([] {
        emptyUsbTree();
        attach("1-1", camera(std::string(70000, '7')));
        EXPECT_EQ(met(), std::vector{std::string(65536, '7')});
    });
}

TEST(CameraSearch, EndsASerialTextWithItsLineHoweverLongThatIs) {
    inPrivateNamespaces([] {
        emptyUsbTree();
        attach("1-1", camera(std::string(5000, '7') + "\n" + std::string(5000, '8')));
        EXPECT_EQ(met(), std::vector{std::string(5000, '7')});
    });
}

TEST(CameraSearch, SaysWhyTheStatusOfAnEntryCannotBeTaken) {
    inPrivateNamespaces([] {
        emptyUsbTree();
        attach("vanishing", camera("14080045\n"));
        EXPECT_EQ(met(), std::vector<std::string>{"error 2"});
    });
}

TEST(CameraSearch, LeavesTheWorkingDirectoryAndLogsNothing) {
    inPrivateNamespaces([] {
        emptyUsbTree();
        attach("1-1", camera("14080045\n"));
        attach("vanishing", camera("1\n"));
        fs::current_path("/usr");
        zel::IRLogger::setVerbosity(zel::IRLOG_DEBUG, zel::IRLOG_OFF, nullptr);
        testing::internal::CaptureStderr();
        zel::forEachCamera([](zel::CameraEntry const&) { return true; });
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
        EXPECT_EQ(fs::current_path(), "/usr");
    });
}

TEST(CameraSearch, VisitsCamerasAsTheDirectoryListsThem) {
    inPrivateNamespaces([] {
        emptyUsbTree();
        attach("1-1", camera("101\n"));
        attach("1-3", camera("103\n"));
        attach("1-4", {"046d\n", "c31c\n", "104\n"});
        std::vector<unsigned long> expected;
        for (auto const& entry : listedEntries()) {
            if (entry == "1-1" || entry == "1-3")
                expected.push_back(entry == "1-1" ? 101 : 103);
        }
        std::vector<unsigned long> serials;
        auto const visit = [&](zel::CameraEntry const& entry) {
            serials.push_back(entry.serial);
            return true;
        };
        EXPECT_EQ(zel::forEachCamera(visit), 0);
        EXPECT_EQ(serials, expected);
    });
}

TEST(CameraSearch, GivesTheReasonWhenTheTreeCannotBeListed) {
    inPrivateNamespaces([] {
        support::mountTmpfs("/sys/bus");
        EXPECT_EQ(zel::forEachCamera([](zel::CameraEntry const&) { return true; }), ENOENT);
    });
}

TEST(FindSerial, TakesACameraWhoseIdentifiersHaveNoNewline) {
    inPrivateNamespaces([] {
        emptyUsbTree();
        attach("1-1", {"0403", "de37", "14080045"});
        expectTaken(searchFirst(), 14080045);
    });
}

TEST(FindSerial, ReadsOnlyTheFirstLineOfTheIdentifiers) {
    inPrivateNamespaces([] {
        emptyUsbTree();
        attach("1-1", {"0403\n046d\n", "de37\nc31c\n", "14080045\n"});
        expectTaken(searchFirst(), 14080045);
    });
}

TEST(FindSerial, SkipsForeignDevices) {
    inPrivateNamespaces([] {
        emptyUsbTree();
        attach("usb1", {"1d6b\n", "0002\n", "0000:00:14.0\n"});
        attach("1-1", {"046d\n", "c31c\n", std::nullopt});
        attach("1-2", camera("14080045\n"));
        attach("1-3", {"0781\n", "5567\n", "4C530001\n"});
        expectTaken(searchFirst(), 14080045);
    });
}

TEST(FindSerial, DoesNotTakeAnotherProductOfTheVendor) {
    expectForeign({"0403\n", "6001\n", "14080045\n"});
}

TEST(FindSerial, DoesNotTakeTheProductOfAnotherVendor) {
    expectForeign({"0404\n", "de37\n", "14080045\n"});
}

TEST(FindSerial, DoesNotTakeSwappedIdentifiers) {
    expectForeign({"de37\n", "0403\n", "14080045\n"});
}

TEST(FindSerial, DoesNotTakeAVendorWithATrailingBlank) {
    expectForeign({"0403 \n", "de37\n", "14080045\n"});
}

TEST(FindSerial, DoesNotTakeAProductWithATrailingBlank) {
    expectForeign({"0403\n", "de37 \n", "14080045\n"});
}

TEST(FindSerial, DoesNotTakeAVendorWithALeadingBlank) {
    expectForeign({" 0403\n", "de37\n", "14080045\n"});
}

TEST(FindSerial, DoesNotTakeAVendorWithALeadingEmptyLine) {
    expectForeign({"\n0403\n", "de37\n", "14080045\n"});
}

TEST(FindSerial, DoesNotTakeAVendorWithACarriageReturn) {
    expectForeign({"0403\r\n", "de37\n", "14080045\n"});
}

TEST(FindSerial, DoesNotTakeALongerVendor) {
    expectForeign({"04033\n", "de37\n", "14080045\n"});
}

TEST(FindSerial, DoesNotTakeAShorterProduct) {
    expectForeign({"0403\n", "de3\n", "14080045\n"});
}

TEST(FindSerial, DoesNotTakeAProductInUpperCase) {
    expectForeign({"0403\n", "DE37\n", "14080045\n"});
}

TEST(FindSerial, DoesNotTakeAProductInMixedCase) {
    expectForeign({"0403\n", "De37\n", "14080045\n"});
}

TEST(FindSerial, DoesNotTakeAnEmptyVendor) {
    expectForeign({"", "de37\n", "14080045\n"});
}

TEST(FindSerial, DoesNotTakeAnEmptyProduct) {
    expectForeign({"0403\n", "", "14080045\n"});
}

TEST(FindSerial, DoesNotTakeADeviceWithoutAVendorFile) {
    expectForeign({std::nullopt, "de37\n", "14080045\n"});
}

TEST(FindSerial, DoesNotTakeADeviceWithoutAProductFile) {
    expectForeign({"0403\n", std::nullopt, "14080045\n"});
}

TEST(FindSerial, SilentlySkipsACameraWithoutASerialFile) {
    expectForeign({"0403\n", "de37\n", std::nullopt});
}

TEST(FindSerial, TakesTheCameraAfterDevicesThatLackFiles) {
    inPrivateNamespaces([] {
        emptyUsbTree();
        for (std::string const side : {"1-", "2-"}) {
            attach(side + "1", {"0403\n", "de37\n", std::nullopt});
            attach(side + "2", {"0403\n", std::nullopt, "1\n"});
            attach(side + "3", {std::nullopt, "de37\n", "2\n"});
            if (side == "1-") {
                attach("camera", camera("14080045\n"));
            }
        }
        expectTaken(searchFirst(), 14080045);
    });
}

TEST(FindSerial, DoesNotTakeADeviceWithADirectoryInPlaceOfAVendorFile) {
    inPrivateNamespaces([] {
        emptyUsbTree();
        attach("1-1", {std::nullopt, "de37\n", "14080045\n"});
        fs::create_directory("/sys/bus/controller/usb1/1-1/idVendor");
        auto const outcome = searchFirst();
        expectNothingTaken(outcome);
        EXPECT_EQ(withoutLineAndTime(outcome.log), queryLine);
    });
}

TEST(FindSerial, ReadsADirectoryInPlaceOfASerialFileAsAnEmptySerial) {
    inPrivateNamespaces([] {
        emptyUsbTree();
        attach("1-1", {"0403\n", "de37\n", std::nullopt});
        fs::create_directory("/sys/bus/controller/usb1/1-1/serial");
        auto const outcome = searchFirst();
        expectNothingTaken(outcome);
        EXPECT_EQ(withoutLineAndTime(outcome.log), queryLine + foundLine(""));
    });
}

TEST(FindSerial, SilentlySkipsACameraWhoseSerialFileMayNotBeRead) {
    inPrivateNamespaces([] {
        emptyUsbTree();
        attach("1-1", camera("14080045\n"));
        fs::permissions("/sys/bus/controller/usb1/1-1/serial", fs::perms::none);
        support::giveUpPrivileges();
        auto const outcome = searchFirst();
        expectNothingTaken(outcome);
        EXPECT_EQ(withoutLineAndTime(outcome.log), queryLine);
    });
}

TEST(FindSerial, SkipsTheInterfacesOfADevice) {
    inPrivateNamespaces([] {
        emptyUsbTree();
        attach("1-1:1.0", {std::nullopt, std::nullopt, std::nullopt});
        attach("1-1", camera("14080045\n"));
        attach("1-1:1.1", {std::nullopt, std::nullopt, std::nullopt});
        auto const outcome = searchFirst();
        expectTaken(outcome, 14080045);
        EXPECT_EQ(withoutLineAndTime(outcome.log), queryLine + foundLine("14080045"));
    });
}

TEST(FindSerial, DoesNotLookAtTheNameOfAnEntry) {
    inPrivateNamespaces([] {
        emptyUsbTree();
        attach("1-1:1.0", camera("14080045\n"));
        expectTaken(searchFirst(), 14080045);
    });
}

TEST(FindSerial, TakesAnEntryWhoseNameBeginsWithADot) {
    inPrivateNamespaces([] {
        emptyUsbTree();
        attach(".hidden", camera("14080045\n"));
        expectTaken(searchFirst(), 14080045);
    });
}

TEST(FindSerial, SkipsADirectoryThatIsNoLink) {
    inPrivateNamespaces([] {
        emptyUsbTree();
        fs::rename(makeUsbDevice("1-1", camera("14080045\n")), std::string(usbDevices) + "/1-1");
        auto const outcome = searchFirst();
        expectNothingTaken(outcome);
        EXPECT_EQ(withoutLineAndTime(outcome.log), queryLine);
    });
}

TEST(FindSerial, FollowsAnAbsoluteLink) {
    inPrivateNamespaces([] {
        emptyUsbTree();
        fs::create_directory_symlink(makeUsbDevice("1-1", camera("14080045\n")),
                                     std::string(usbDevices) + "/1-1");
        expectTaken(searchFirst(), 14080045);
    });
}

TEST(FindSerial, SkipsLinksThatLeadToNoDevice) {
    inPrivateNamespaces([] {
        emptyUsbTree();
        support::writeFile("/sys/bus/file", "0403\n");
        for (std::string const side : {"1-", "2-"}) {
            listUsbEntry(side + "dangling", "/sys/bus/nowhere");
            listUsbEntry(side + "file", "/sys/bus/file");
            listUsbEntry(side + "loop", std::string(usbDevices) + "/" + side + "loop");
            if (side == "1-") {
                attach("camera", camera("14080045\n"));
            }
        }
        auto const outcome = searchFirst();
        expectTaken(outcome, 14080045);
        EXPECT_EQ(withoutLineAndTime(outcome.log), queryLine + foundLine("14080045"));
    });
}

TEST(FindSerial, LogsAnEntryThatVanishesBeforeItsStatusIsTaken) {
    inPrivateNamespaces([] {
        emptyUsbTree();
        attach("vanishing", camera("14080045\n"));
        auto const outcome = searchFirst();
        expectNothingTaken(outcome);
        EXPECT_EQ(withoutLineAndTime(outcome.log),
                  queryLine + debugStart + "errno: No such file or directory\n");
    });
}

TEST(FindSerial, ContinuesAfterAnEntryThatVanishes) {
    inPrivateNamespaces([] {
        emptyUsbTree();
        attach("vanishing-1", camera("1\n"));
        attach("1-1", camera("14080045\n"));
        attach("vanishing-2", camera("2\n"));
        expectTaken(searchFirst(), 14080045);
    });
}

TEST(FindSerial, LeavesTheWorkingDirectoryAtTheDeviceListAfterASuccess) {
    inPrivateNamespaces([] {
        emptyUsbTree();
        attach("1-1", camera("14080045\n"));
        fs::current_path("/");
        searchFirst();
        EXPECT_EQ(fs::current_path(), "/sys/bus/usb/devices");
    });
}

TEST(FindSerial, LeavesTheWorkingDirectoryAtTheDeviceListWithoutACamera) {
    inPrivateNamespaces([] {
        emptyUsbTree();
        fs::current_path("/");
        searchFirst();
        EXPECT_EQ(fs::current_path(), "/sys/bus/usb/devices");
    });
}

TEST(FindSerial, FindsTheCameraAgainFromWhereTheFirstSearchEnded) {
    inPrivateNamespaces([] {
        emptyUsbTree();
        attach("1-1", camera("14080045\n"));
        searchFirst();
        expectTaken(search(14080045), 14080045);
    });
}

TEST(FindSerial, LeavesNothingOpen) {
    inPrivateNamespaces([] {
        emptyUsbTree();
        attach("1-1", camera("0\n"));
        attach("1-2", camera("14080045\n"));
        attach("1-3", {"0403\n", std::nullopt, "1\n"});
        auto const before = support::openDescriptors();
        searchFirst();
        search(102);
        EXPECT_EQ(support::openDescriptors(), before);
    });
}

TEST(FindSerial, ReportsADeviceListThatIsNotThere) {
    inPrivateNamespaces([] {
        support::mountTmpfs("/sys/bus");
        EXPECT_EQ(withoutLineAndTime(searchFirst().log),
                  queryLine + errorStart +
                      "Query directory /sys/bus/usb/devices could not be opened: "
                      "No such file or directory\n");
    });
}

TEST(FindSerial, ReportsADeviceListThatIsNoDirectory) {
    inPrivateNamespaces([] {
        support::mountTmpfs("/sys/bus");
        support::writeFile(usbDevices, "");
        EXPECT_EQ(withoutLineAndTime(searchFirst().log),
                  queryLine + errorStart +
                      "Query directory /sys/bus/usb/devices could not be opened: "
                      "Not a directory\n");
    });
}

TEST(FindSerial, ReportsADeviceListThatMayNotBeEntered) {
    inPrivateNamespaces([] {
        emptyUsbTree();
        fs::permissions(usbDevices, fs::perms::owner_read | fs::perms::owner_write);
        support::giveUpPrivileges();
        EXPECT_EQ(withoutLineAndTime(searchFirst().log),
                  queryLine + errorStart +
                      "Query directory /sys/bus/usb/devices could not be opened: "
                      "Permission denied\n");
    });
}

TEST(FindSerial, KeepsTheSerialWhenTheDeviceListCannotBeEntered) {
    inPrivateNamespaces([] {
        support::mountTmpfs("/sys/bus");
        auto const outcome = search(7);
        EXPECT_FALSE(outcome.found);
        EXPECT_EQ(outcome.serial, 7U);
    });
}

TEST(FindSerial, KeepsTheWorkingDirectoryWhenTheDeviceListCannotBeEntered) {
    inPrivateNamespaces([] {
        support::mountTmpfs("/sys/bus");
        fs::current_path("/usr");
        searchFirst();
        EXPECT_EQ(fs::current_path(), "/usr");
    });
}

// A directory that may be entered but not listed, with a camera in it.
void makeUnlistableTree() {
    emptyUsbTree();
    attach("1-1", camera("14080045\n"));
    fs::permissions(usbDevices, fs::perms::owner_exec);
    support::giveUpPrivileges();
}

TEST(FindSerial, ReportsADeviceListThatMayNotBeListed) {
    inPrivateNamespaces([] {
        makeUnlistableTree();
        EXPECT_EQ(withoutLineAndTime(searchFirst().log),
                  queryLine + errorStart +
                      "Failed to open usb device directory: Permission denied\n");
    });
}

TEST(FindSerial, KeepsTheSerialWhenTheDeviceListCannotBeListed) {
    inPrivateNamespaces([] {
        makeUnlistableTree();
        auto const outcome = search(7);
        EXPECT_FALSE(outcome.found);
        EXPECT_EQ(outcome.serial, 7U);
    });
}

TEST(FindSerial, LeavesTheWorkingDirectoryAtADeviceListThatCannotBeListed) {
    inPrivateNamespaces([] {
        makeUnlistableTree();
        fs::current_path("/usr");
        searchFirst();
        EXPECT_EQ(fs::read_symlink("/proc/self/cwd"), "/sys/bus/usb/devices");
    });
}

} // namespace
