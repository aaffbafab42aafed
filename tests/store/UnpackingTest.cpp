// What is made of the frames of a program that unpacks, also of those that ours does not write. A
// program that copies its standard input stands in its place, so an "archive" is the frames.
#include "tests/store/StoreFixture.h"

#include "store/Program.h"
#include "store/SourceTree.h"
#include "util/Frames.h"

#include <climits>
#include <csignal>
#include <filesystem>
#include <sstream>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using namespace storetest;
using namespace zel::frames;
using support::writeFile;
using zel::store::Phase;
using zel::store::Programs;
using zel::store::Source;

/// Builds frames.
class Script {
public:
    Script& frame(Frame type, std::uint8_t kind, std::uint64_t number,
                  std::string const& payload = "") {
        Header header;
        header.type = type;
        header.kind = kind;
        header.length = static_cast<std::uint32_t>(payload.size());
        bool const hasMember = type == Frame::member || type == Frame::data || type == Frame::end ||
                               type == Frame::broken || type == Frame::restart;
        header.member = hasMember ? m_member : 0;
        header.number = number;
        HeaderBytes const bytes = bytesOf(header);
        m_text.append(bytes.data(), bytes.size()).append(payload);
        return *this;
    }
    Script& begin(std::string const& path, MemberKind kind = MemberKind::file,
                  std::string const& target = "", std::uint64_t size = unknownSize) {
        ++m_member;
        MemberNames names;
        names.path = path;
        names.target = target;
        return frame(Frame::member, static_cast<std::uint8_t>(kind), size, payloadOf(names));
    }
    Script& file(std::string const& path, std::string const& bytes) {
        begin(path);
        for (std::size_t at = 0; at < bytes.size(); at += largestData)
            frame(Frame::data, 0, at, bytes.substr(at, largestData));
        return frame(Frame::end, 0, bytes.size());
    }
    Script& camera7() {
        file(description, camera(7).description());
        return file(data, "data").file(curve, "curve");
    }
    Script& done() { return frame(Frame::done, 0, m_member); }
    Script& failed(Trouble trouble, std::uint64_t number = 0) {
        return frame(Frame::failed, static_cast<std::uint8_t>(trouble), number);
    }
    std::string const& text() const { return m_text; }

private:
    std::string m_text;
    std::uint32_t m_member = 0;
};

class Unpacking : public Store {
protected:
    Unpacking() {
        fs::create_directory(programs);
        fs::copy_file(zel::store::folderOf({}) + "/zentho-cali-confine",
                      programs + "/zentho-cali-confine");
        fs::copy_file(ZENTHO_COPYING_PROGRAM, programs + "/zentho-cali-unpack");
    }
    Source source(Script const& script) const {
        writeFile(archive, script.text());
        auto opened = Source::open(archive, {});
        return std::move(*opened.source);
    }
    InstallOutcome installScript(Script const& script, InstallOptions const& options = {},
                                 zel::store::ProgressCallback const& progress = {}) const {
        Source const opened = source(script);
        return CalibrationStore(cali, Programs{programs, false})
            .install(7, opened, options, progress);
    }
    std::string failureOf(Script const& script) const {
        auto const outcome = installScript(script);
        EXPECT_FALSE(outcome.changed);
        EXPECT_FALSE(fs::exists(cali));
        if (!outcome.failure)
            return "none";
        return outcome.failure->message +
               (outcome.failure->error != 0 ? std::to_string(outcome.failure->error) : "");
    }
    std::string listOf(Script const& script) const {
        Source const opened = source(script);
        auto const outcome = zel::store::listSource(opened, {}, Programs{programs, false});
        if (outcome.failure)
            return outcome.failure->message;
        std::ostringstream out;
        for (auto const& listed : outcome.cameras)
            out << listed.serial << (listed.complete ? " complete\n" : " not complete\n");
        return out.str();
    }

    std::string const programs = root.path() + "/programs";
    std::string const archive = root.path() + "/set.zip";
};

std::string const broke = "The program that unpacks archives failed on";
std::string const threeInstalled =
    "changed, complete\nCali-7-23-M20-100.dat: installed\nCali-7.xml: installed\n"
    "Kennlinie-7-23-M20-100.prn: installed\n";

} // namespace

TEST_F(Unpacking, InstallsWhatTheFramesTell) {
    EXPECT_EQ(seen(installScript(Script().camera7().done())), threeInstalled);
    EXPECT_EQ(installed(data), "data");
}

TEST_F(Unpacking, FailsWithAProgramThatDoesNotKeepToTheRules) {
    EXPECT_EQ(failureOf(Script()), broke);
    EXPECT_EQ(failureOf(Script().camera7()), broke);
    EXPECT_EQ(failureOf(Script().begin(data).done()), broke);
    EXPECT_EQ(failureOf(Script().begin(data).frame(Frame::restart, 0, 0).done()), broke);
    EXPECT_EQ(failureOf(Script().camera7().done().done()), broke);
}

TEST_F(Unpacking, SaysWhyAProgramCannotGoOn) {
    EXPECT_EQ(failureOf(Script().camera7().failed(Trouble::noMemory)),
              "The archive takes too much memory to unpack:");
    EXPECT_EQ(failureOf(Script().failed(Trouble::other)), "The archive cannot be read:");
    EXPECT_EQ(failureOf(Script().failed(Trouble::unreadable, EIO)),
              "Cannot read" + std::to_string(EIO));
    EXPECT_EQ(failureOf(Script().failed(Trouble::unreadable, ~0ULL)),
              "Cannot read" + std::to_string(INT_MAX));
}

TEST_F(Unpacking, TakesNothingThatWasNotAskedFor) {
    EXPECT_EQ(seen(installScript(Script()
                                     .file("Cali-8.xml", "x")
                                     .file("readme.txt", "x")
                                     .file("Cali-8-x.dat", "x")
                                     .file(".zentho-cali/Cali-7-x.dat", "x")
                                     .begin(".zentho-cali/Cali-7-l.dat", MemberKind::link)
                                     .begin("readme", MemberKind::link)
                                     .begin("readme", MemberKind::other)
                                     .begin("?", MemberKind::other)
                                     .begin("readme", MemberKind::nameOnly)
                                     .begin("readme", MemberKind::hardLink, "nothing")
                                     .camera7()
                                     .done())),
              threeInstalled +
                  "remark: Left out, since their names cannot be read, are members of " + archive +
                  "\n");
}

TEST_F(Unpacking, ReadsSumsThatAreThereTwice) {
    std::string const zeros = std::string(64, '0') + "  " + data + "\n";
    EXPECT_NE(seen(installScript(
                       Script().file("SHA256SUMS", "").file("SHA256SUMS", zeros).camera7().done()))
                  .find(data + ": damaged"),
              std::string::npos);
}

TEST_F(Unpacking, RefusesDamagedSumsOfTheCamerasFolder) {
    auto const broken = [](std::string const& path) {
        Script script;
        script.camera7().begin(path).frame(Frame::broken,
                                           static_cast<std::uint8_t>(Damage::missing), 0);
        return script.done();
    };
    EXPECT_EQ(seen(installScript(broken("SHA256SUMS"))),
              "unchanged, not complete\nSHA256SUMS: damaged (It cannot be had.) [" + archive +
                  "/SHA256SUMS]\n");
    EXPECT_EQ(seen(installScript(broken("a/SHA256SUMS"))), threeInstalled);
}

TEST_F(Unpacking, SaysWhatCannotBeUnpacked) {
    Script script = Script().camera7().begin("Cali-7-more.dat");
    script.frame(Frame::broken, static_cast<std::uint8_t>(Damage::undecodable), 0).done();
    EXPECT_EQ(seen(installScript(script)),
              "unchanged, not complete\nCali-7-more.dat: damaged (It cannot be unpacked.) [" +
                  archive + "/Cali-7-more.dat]\n");
}

TEST_F(Unpacking, SeesOnlyAtTheEndThatAFileIsShorter) {
    auto const script = [](std::string const& bytes) {
        return Script().camera7().file("Cali-7-m.dat", bytes).file("Cali-7-n.dat", bytes).done();
    };
    ASSERT_TRUE(installScript(script("longer")).complete);
    EXPECT_EQ(seen(installScript(script("long"))).substr(0, 17), "changed, complete");
    EXPECT_EQ(installed("Cali-7-m.dat") + installed("Cali-7-n.dat"), "longlong");
    EXPECT_EQ(check(7), "complete\n");
}

TEST_F(Unpacking, WritesNothingWhenSomebodyElseDidMeanwhile) {
    Script const script = Script().camera7().done();
    ASSERT_TRUE(installScript(script).complete);
    int comparisons = 0;
    int copies = 0;
    auto const outcome = installScript(script, {}, [&](auto const& progress) {
        bool const begins = progress.files == 0 && progress.bytes == 0;
        if (progress.phase == Phase::comparing && begins && ++comparisons == 2)
            fs::remove(cali + "/" + data);
        if (progress.phase == Phase::copying && begins && ++copies == 1)
            writeFile(cali + "/" + data, "data");
        return true;
    });
    EXPECT_FALSE(outcome.changed || outcome.failure);
    EXPECT_TRUE(outcome.complete);
    EXPECT_EQ(copies, 1);
}

TEST_F(Unpacking, RefusesTextsThatAreTooLarge) {
    std::string const large(17 * 1024 * 1024, 'x');
    EXPECT_EQ(seen(installScript(Script().file("SHA256SUMS", large).camera7().done())),
              "unchanged, not complete\nSHA256SUMS: damaged (It is too large.) [" + archive +
                  "/SHA256SUMS]\n");
    EXPECT_EQ(seen(installScript(Script().file(description, large).done())),
              "unchanged, not complete\nCali-7.xml: damaged (It is too large.) [" + archive +
                  "/Cali-7.xml]\n");
}

TEST_F(Unpacking, RefusesDamagedCopiesThatWouldBeLeftOut) {
    std::string const copy = "CALI-7-23-M20-100.DAT";
    Script script = Script().camera7().begin("a/" + copy).frame(Frame::broken, 0, 0).done();
    std::string const path = archive + "/a/" + copy;
    EXPECT_EQ(seen(installScript(script)),
              "unchanged, not complete\n" + copy +
                  ": damaged (Its bytes are not those that were packed.) [" + path +
                  "]\nremark: Left out, since there is another one with exactly the right name: " +
                  path + "\n");
}

TEST_F(Unpacking, EndsWhatIsLargerThanAnything) {
    EXPECT_EQ(listOf(Script()
                         .begin("Cali-7-x.dat", MemberKind::file, "", 1ULL << 41U)
                         .frame(Frame::end, 0, 0)
                         .done()),
              "The archive holds too much:");
}

TEST_F(Unpacking, ListsEveryCamera) {
    EXPECT_EQ(listOf(Script().camera7().file("Cali-8.xml", "x").done()),
              "7 complete\n8 not complete\n");
}

TEST_F(Unpacking, CopiesALinkedDescription) {
    EXPECT_EQ(seen(installScript(Script()
                                     .file("a/" + description, camera(7).description())
                                     .begin(description, MemberKind::hardLink, "a/" + description)
                                     .file(data, "data")
                                     .file(curve, "curve")
                                     .done())),
              threeInstalled);
}

TEST_F(Unpacking, NoticesAnInstalledFileThatChangesWhileItIsCompared) {
    std::string const before = std::string(600000, 'a');
    Script const old = Script().camera7().file("Cali-7-more.dat", before + "b");
    Script const script = Script().camera7().file("Cali-7-more.dat", before + "c").done();
    ASSERT_TRUE(installScript(Script(old).done()).changed);
    for (std::string const& now : {std::string(600001, 'z'), std::string("short")}) {
        auto const outcome = installScript(script, {}, [&](auto const& progress) {
            if (progress.phase == Phase::copying && progress.bytes == 0) {
                int const file = open((cali + "/Cali-7-more.dat").c_str(), O_WRONLY | O_TRUNC);
                EXPECT_EQ(write(file, now.data(), now.size()), static_cast<ssize_t>(now.size()));
                close(file);
            }
            return true;
        });
        ASSERT_TRUE(outcome.failure);
        EXPECT_EQ(outcome.failure->message, "The file changed while it was compared:");
        writeFile(cali + "/Cali-7-more.dat", before + "b");
    }
    EXPECT_TRUE(installScript(script).complete);
    EXPECT_EQ(installed("Cali-7-more.dat"), before + "c");
}

TEST_F(Unpacking, ReadsAllAnewWhenWhatItWasComparedWithIsGone) {
    Script const script = Script().camera7().done();
    ASSERT_TRUE(installScript(script).complete);
    int comparisons = 0;
    auto const outcome = installScript(script, {}, [&](auto const& progress) {
        // After the archive was read, when the plan is made.
        if (progress.phase == Phase::comparing && progress.files == 0 && progress.bytes == 0 &&
            ++comparisons == 2) {
            fs::remove(cali + "/" + data);
            fs::remove(cali + "/" + curve);
        }
        return true;
    });
    EXPECT_TRUE(outcome.changed && outcome.complete);
    EXPECT_EQ(installed(data), "data");
    EXPECT_EQ(installed(curve), "curve");
}

TEST_F(Unpacking, CanBeCancelledWhileNothingButFramesComes) {
    Script script;
    for (int i = 0; i < 3000; ++i)
        script.begin("readme", MemberKind::link);
    int calls = 0;
    auto const outcome =
        installScript(script.camera7().done(), {}, [&](auto const&) { return ++calls < 4; });
    ASSERT_TRUE(outcome.failure);
    EXPECT_EQ(outcome.failure->kind, FailureKind::cancelled);
}

TEST_F(Unpacking, SaysOnceThatTheKernelConfinesNothing) {
    // A launcher that can confine nothing stands for such a kernel.
    writeFile(
        programs + "/zentho-cali-confine",
        "#!/bin/sh\nprintf 'S\\0\\0\\0\\0\\0\\0\\0\\0\\0\\0\\0\\0\\0\\0\\0\\0\\0\\0\\0\\0\\0\\0\\0'"
        "\nexec \"$5\"\n");
    fs::permissions(programs + "/zentho-cali-confine", fs::perms::all);
    Source const opened = source(Script().camera7().done());
    CalibrationStore ours(cali, Programs{programs, false});
    EXPECT_EQ(seen(ours.install(7, opened, {}, {})),
              threeInstalled +
                  "remark: The kernel lacks Landlock or seccomp, so what unpacks this is not "
                  "kept from all that it should not do: " +
                  archive + "\n");
    EXPECT_EQ(seen(ours.verify(7, opened, {})).find("remark"), std::string::npos);
}

TEST_F(Unpacking, NeedsMemoryForDescriptions) {
    std::signal(SIGXFSZ, SIG_IGN);
    zel::store::HeldMembers members;
    members.path = "set.zip";
    members.texts["Cali-7.xml"] = {std::string(100, 'x'), {}};
    zel::store::SourceTree const tree(std::move(members));
    EXPECT_EQ(tree.open("Cali-7.xml").size(), 100U);
    EXPECT_EQ(tree.open("Cali-8.xml").error, ENOENT);
    rlimit usual{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &usual), 0);
    rlimit const none{10, usual.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &none), 0);
    EXPECT_NE(tree.open("Cali-7.xml").error, 0);
    setrlimit(RLIMIT_FSIZE, &usual);
}

TEST_F(Unpacking, NeedsDescriptorsForTheProgram) {
    Source const opened = source(Script().camera7().done());
    CalibrationStore ours(cali, Programs{programs, false});
    int const lowest = open("/dev/null", O_RDONLY);
    close(lowest);
    std::string messages;
    for (rlim_t room = 0; room < 12; ++room) {
        rlimit limit{};
        getrlimit(RLIMIT_NOFILE, &limit);
        limit.rlim_cur = static_cast<rlim_t>(lowest) + room;
        ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
        auto const outcome = ours.install(7, opened, {}, {});
        if (!outcome.failure)
            break;
        EXPECT_EQ(outcome.failure->error, EMFILE);
        messages += outcome.failure->message + "\n";
    }
    EXPECT_NE(messages.find("Cannot start\n"), std::string::npos) << messages;
    EXPECT_NE(messages.find("Cannot start a program\n"), std::string::npos) << messages;
}
