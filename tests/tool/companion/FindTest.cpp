#include "tests/tool/companion/Companion.h"

#include "tests/support/Namespace.h"
#include "tests/support/UsbTree.h"

#include <filesystem>
#include <functional>
#include <set>
#include <sstream>

namespace {

namespace fs = std::filesystem;

using companiontest::said;
using support::exited;

class CompanionFind : public companiontest::Companion {
protected:
    /// Runs the body with a USB bus of its own.
    static void onBus(std::function<void()> const& body) {
        support::inPrivateNamespaces([&] {
            support::emptyUsbTree();
            body();
        });
    }
};

void attachCamera() {
    support::attach("1-1", support::camera("14080045\n"));
}

} // namespace

TEST_F(CompanionFind, PrintsTheSerialNumberOfTheFirstCamera) {
    onBus([&] {
        attachCamera();
        EXPECT_EQ(seenOf({"find"}), exited(0, "14080045\n", ""));
    });
}

TEST_F(CompanionFind, PrintsTheSerialNumberOfTheCameraThatIsAskedFor) {
    onBus([&] {
        attachCamera();
        support::attach("1-2", support::camera("15110023\n"));
        EXPECT_EQ(seenOf({"find", "15110023"}), exited(0, "15110023\n", ""));
    });
}

TEST_F(CompanionFind, SaysThatNoCameraIsAttached) {
    onBus([&] { EXPECT_EQ(seenOf({"find"}), exited(1, "", said("No camera is attached."))); });
}

TEST_F(CompanionFind, SaysThatAnotherCameraIsAttached) {
    onBus([&] {
        attachCamera();
        EXPECT_EQ(seenOf({"find", "15110023"}),
                  exited(1, "", said("Camera 15110023 is not attached.")));
    });
}

TEST_F(CompanionFind, PrintsTheSerialNumbersOfAllCameras) {
    onBus([&] {
        attachCamera();
        support::attach("1-2", support::camera("15110023\n"));
        auto const outcome = ask({"find", "--all"});
        EXPECT_EQ(outcome.exitStatus, 0);
        std::istringstream lines(outcome.standardOutput);
        std::set<std::string> found;
        for (std::string line; std::getline(lines, line);)
            found.insert(line);
        EXPECT_EQ(found, (std::set<std::string>{"14080045", "15110023"}));
    });
}

TEST_F(CompanionFind, SaysThatNotEvenOneCameraIsAttached) {
    onBus([&] {
        EXPECT_EQ(seenOf({"find", "--all"}), exited(1, "", said("No camera is attached.")));
    });
}

TEST_F(CompanionFind, AnswersInJsonWithAllCameras) {
    onBus([&] {
        attachCamera();
        EXPECT_EQ(jsonOf({"find", "--all"}), "{\n"
                                             "  \"command\": \"find\",\n"
                                             "  \"status\": 0,\n"
                                             "  \"cameras\": [\n"
                                             "    {\n"
                                             "      \"serial\": 14080045,\n"
                                             "      \"attached\": true\n"
                                             "    }\n"
                                             "  ]\n"
                                             "}\n");
    });
}

TEST_F(CompanionFind, NamesATreeThatDoesNotExist) {
    onBus([&] {
        support::mountTmpfs("/sys");
        EXPECT_EQ(seenOf({"find"}),
                  exited(3, "",
                         said("Cannot use the USB device tree /sys/bus/usb/devices: No such file or"
                              " directory")));
    });
}

TEST_F(CompanionFind, NamesATreeThatMayNotBeRead) {
    onBus([&] {
        attachCamera();
        fs::permissions(support::usbDevices, fs::perms::none);
        support::giveUpPrivileges();
        EXPECT_EQ(seenOf({"find"}),
                  exited(3, "",
                         said("Cannot use the USB device tree /sys/bus/usb/devices: Permission"
                              " denied")));
    });
}

TEST_F(CompanionFind, WritesALogBelowTheWorkingDirectory) {
    onBus([&] {
        attachCamera();
        fs::create_directory(root.path() + "/logs");
        ask({"find", "--log", "logs/find"});
        auto const files = support::tree(root.path() + "/logs");
        ASSERT_EQ(files.size(), 1U);
        EXPECT_NE(files.begin()->second.find(":Found device with serial 14080045\n"),
                  std::string::npos);
    });
}

TEST_F(CompanionFind, ShowsWithThreeVsWhatTheSearchFound) {
    onBus([&] {
        attachCamera();
        EXPECT_EQ(seenOf({"find", "-vvv"}),
                  exited(0, "14080045\n",
                         "DEBUG [tool/companion/Find:LINE] @ TIMEs :Found device with serial"
                         " 14080045\n"));
    });
}

TEST_F(CompanionFind, ShowsNoDebugLinesWithTwoVs) {
    onBus([&] {
        attachCamera();
        EXPECT_EQ(seenOf({"find", "-v", "-v"}), exited(0, "14080045\n", ""));
    });
}

TEST_F(CompanionFind, AnswersInJsonWithTheCamera) {
    onBus([&] {
        attachCamera();
        EXPECT_EQ(jsonOf({"find"}), "{\n"
                                    "  \"command\": \"find\",\n"
                                    "  \"status\": 0,\n"
                                    "  \"serial\": 14080045,\n"
                                    "  \"attached\": true\n"
                                    "}\n");
    });
}

TEST_F(CompanionFind, AnswersInJsonWithoutACamera) {
    onBus([&] {
        EXPECT_EQ(jsonOf({"find"}), "{\n"
                                    "  \"command\": \"find\",\n"
                                    "  \"status\": 1,\n"
                                    "  \"serial\": null,\n"
                                    "  \"attached\": false\n"
                                    "}\n");
    });
}

TEST_F(CompanionFind, AnswersInJsonWithoutTheCameraThatIsAskedFor) {
    onBus([&] {
        attachCamera();
        EXPECT_EQ(jsonOf({"find", "7"}), "{\n"
                                         "  \"command\": \"find\",\n"
                                         "  \"status\": 1,\n"
                                         "  \"serial\": 7,\n"
                                         "  \"attached\": false\n"
                                         "}\n");
    });
}

TEST_F(CompanionFind, AnswersInJsonAlsoOnFailure) {
    onBus([&] {
        support::mountTmpfs("/sys");
        EXPECT_EQ(jsonOf({"find"}), "{\n"
                                    "  \"command\": \"find\",\n"
                                    "  \"status\": 3,\n"
                                    "  \"error\": {\n"
                                    "    \"message\": \"Cannot use the USB device tree\",\n"
                                    "    \"path\": \"/sys/bus/usb/devices\",\n"
                                    "    \"reason\": \"No such file or directory\",\n"
                                    "    \"hint\": null\n"
                                    "  }\n"
                                    "}\n");
    });
}
