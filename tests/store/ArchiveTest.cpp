// Archives as sources: what is true of directories is true of them.
#include "tests/store/StoreFixture.h"
#include "tests/support/Archives.h"
#include "tests/support/Command.h"
#include "tests/support/Namespace.h"

#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using namespace storetest;
using support::writeFile;
using zel::store::Programs;
using zel::store::Source;

/// A stick that is packed into an archive.
class ArchiveSource : public Store {
protected:
    std::string archive(std::string const& format = "zip") const {
        return root.path() + "/set." + format;
    }
    std::string packed(std::string const& format = "zip") const {
        support::pack(stick, archive(format));
        return archive(format);
    }
    static Source open(std::string const& path) {
        auto source = Source::open(path, {});
        EXPECT_FALSE(source.failure) << source.failure->message;
        return std::move(*source.source);
    }
    InstallOutcome installFrom(std::string const& path, InstallOptions const& options = {},
                               unsigned long serial = 7,
                               zel::store::ProgressCallback const& progress = {}) const {
        Source const source = open(path);
        return CalibrationStore(cali).install(serial, source, options, progress);
    }
    std::string verifyFrom(std::string const& path) const {
        Source const source = open(path);
        return seen(store.verify(7, source, {}));
    }
    std::string listOf(std::string const& path) const {
        Source const source = open(path);
        auto const outcome = zel::store::listSource(source, {});
        std::ostringstream out;
        if (outcome.failure)
            out << "failed: " << outcome.failure->message << '\n';
        for (auto const& camera : outcome.cameras) {
            out << camera.serial << (camera.complete ? " complete " : " not complete ")
                << camera.files << ' ' << camera.bytes << '\n';
            for (auto const& problem : camera.problems)
                out << problem.name << ": " << zel::store::word(problem.state) << '\n';
        }
        return out.str();
    }
    void byPython(std::string const& script) const {
        support::packByPython("stick = '" + stick + "'\n" + script, archive());
    }
};

std::string const allInstalled =
    "changed, complete\nCali-7-23-M20-100.dat: installed\nCali-7.xml: installed\n"
    "Kennlinie-7-23-M20-100.prn: installed\n";
std::string const allUnchanged =
    "unchanged, complete\nCali-7-23-M20-100.dat: unchanged\nCali-7.xml: unchanged\n"
    "Kennlinie-7-23-M20-100.prn: unchanged\n";

/// Status of every entry below a directory: a write of any kind changes one.
std::string statesOf(std::string const& directory) {
    std::ostringstream out;
    auto const add = [&](std::string const& path) {
        struct stat status {};
        lstat(path.c_str(), &status);
        out << path << ' ' << status.st_ino << ' ' << status.st_mtim.tv_sec << '.'
            << status.st_mtim.tv_nsec << ' ' << status.st_ctim.tv_nsec << '\n';
    };
    add(directory);
    for (auto const& entry : fs::recursive_directory_iterator(directory))
        add(entry.path());
    return out.str();
}

} // namespace

TEST_F(ArchiveSource, IsInstalledFromInEveryFormat) {
    putOnStick(camera(7));
    putOnStick(camera(71));
    fs::create_directory(stick + "/below");
    fs::rename(stick + "/" + data, stick + "/below/" + data);
    for (std::string const& format : support::archiveFormats()) {
        fs::remove_all(cali);
        EXPECT_EQ(seen(installFrom(packed(format))), allInstalled) << format;
        EXPECT_EQ(check(7), "complete\n");
        EXPECT_EQ(installed(data), "1 " + data);
        EXPECT_EQ(installed(description), camera(7).description());
        Tree const tree = treeOf(cali);
        EXPECT_EQ(tree.size(), 6U); // with the hidden folder, the lock and the record
        EXPECT_NE(tree.at(".zentho-cali/7.sha256").find("# source " + archive(format) + "\n"),
                  std::string::npos);
    }
}

TEST_F(ArchiveSource, GivesFilesTheirModesAndTimes) {
    putOnStick(camera(7));
    struct timespec const times[2]{{1000000000, 0}, {1000000000, 0}};
    for (std::string const& name : {data, description})
        ASSERT_EQ(utimensat(AT_FDCWD, (stick + "/" + name).c_str(), times, 0), 0);
    umask(0077);
    installFrom(packed("tar"));
    for (std::string const& name : {data, description}) {
        struct stat status {};
        ASSERT_EQ(stat((cali + "/" + name).c_str(), &status), 0);
        EXPECT_EQ(status.st_mtim.tv_sec, 1000000000) << name;
        EXPECT_EQ(status.st_mode & 07777U, 0644U);
    }
}

TEST_F(ArchiveSource, WritesNothingWhenThereIsNothingToDo) {
    putOnStick(camera(7));
    install(7);
    for (std::string const& format : support::archiveFormats()) {
        packed(format);
        std::string const before = statesOf(cali);
        EXPECT_EQ(seen(installFrom(archive(format))), allUnchanged) << format;
        EXPECT_EQ(statesOf(cali), before);
    }
}

TEST_F(ArchiveSource, NeedsNoRightToWriteWhenThereIsNothingToDo) {
    if (getuid() != 0)
        return;
    putOnStick(camera(7));
    install(7);
    packed();
    fs::permissions(root.path(), fs::perms::all);
    fs::permissions(archive(), fs::perms::all);
    ASSERT_EQ(setresuid(1234, 1234, 1234), 0);
    EXPECT_EQ(seen(installFrom(archive())), allUnchanged);
    InstallOptions dry;
    dry.dryRun = true;
    EXPECT_EQ(seen(installFrom(archive(), dry)), allUnchanged);
}

TEST_F(ArchiveSource, StagesOnlyWhatDiffers) {
    putOnStick(camera(7));
    install(7);
    struct stat old {};
    ASSERT_EQ(stat((cali + "/" + data).c_str(), &old), 0);
    writeFile(stick + "/" + curve, "1 " + curve + ", longer");
    EXPECT_EQ(seen(installFrom(packed())),
              "changed, complete\nCali-7-23-M20-100.dat: unchanged\nCali-7.xml: unchanged\n"
              "Kennlinie-7-23-M20-100.prn: replaced\n");
    struct stat now {};
    ASSERT_EQ(stat((cali + "/" + data).c_str(), &now), 0);
    EXPECT_EQ(now.st_ino, old.st_ino);
    EXPECT_EQ(installed(curve), "1 " + curve + ", longer");
    EXPECT_EQ(seen(store.verify(7, {})).substr(0, 14), "same, complete");
}

TEST_F(ArchiveSource, IsStagedFromWhereItBeginsToDiffer) {
    putOnStick(camera(7));
    std::string const long1 = std::string(700000, 'a') + "1" + std::string(700000, 'b');
    std::string const long2 = std::string(700000, 'a') + "2" + std::string(700000, 'b');
    for (auto const& [before, after] :
         std::vector<std::pair<std::string, std::string>>{{long1, long2},
                                                          {long1, long1.substr(0, 800000)},
                                                          {long1.substr(0, 800000), long1},
                                                          {"x", ""}}) {
        for (std::string const format : {"zip", "tar"}) {
            fs::remove_all(cali);
            writeFile(stick + "/Cali-7-more.dat", before);
            install(7);
            writeFile(stick + "/Cali-7-more.dat", after);
            EXPECT_EQ(installFrom(packed(format)).files.at(1).state,
                      zel::store::FileState::replaced);
            EXPECT_EQ(installed("Cali-7-more.dat"), after);
            EXPECT_EQ(seen(store.verify(7, {})).substr(0, 14), "same, complete");
        }
    }
}

TEST_F(ArchiveSource, ReplacesASetOfAnotherDescription) {
    putOnStick(camera(7));
    install(7);
    fs::remove_all(stick);
    putOnStick(support::Camera(7).optic(23).range(-20, 100).optic(41).range(0, 250), "2");
    InstallOptions dry;
    dry.dryRun = true;
    auto const planned = seen(installFrom(packed(), dry));
    EXPECT_EQ(installed(data), "1 " + data);
    EXPECT_EQ(seen(installFrom(archive())), planned);
    EXPECT_EQ(planned.substr(0, 17), "changed, complete");
    EXPECT_EQ(installed(data), "2 " + data);
    EXPECT_EQ(check(7), "complete\n");
}

TEST_F(ArchiveSource, MendsTheDescriptionAlone) {
    putOnStick(camera(7));
    install(7);
    writeFile(cali + "/" + description, "damaged");
    EXPECT_EQ(seen(installFrom(packed())),
              "changed, complete\nCali-7-23-M20-100.dat: unchanged\nCali-7.xml: replaced\n"
              "Kennlinie-7-23-M20-100.prn: unchanged\n");
    EXPECT_EQ(check(7), "complete\n");
}

TEST_F(ArchiveSource, IsInstalledWholeOrNotAtAll) {
    putOnStick(camera(7));
    putOnStick(camera(8));
    fs::remove(stick + "/" + data);
    EXPECT_EQ(seen(installFrom(packed())),
              "unchanged, not complete\nCali-7-23-M20-100.dat: missing\nholds 7\nholds 8\n");
    EXPECT_FALSE(fs::exists(cali));
    InstallOptions partial;
    partial.partial = true;
    EXPECT_EQ(seen(installFrom(archive(), partial)).substr(0, 21), "changed, not complete");
    EXPECT_EQ(check(7), "not complete\nCali-7-23-M20-100.dat: missing\n");
    EXPECT_EQ(seen(installFrom(archive(), {}, 9)),
              "unchanged, not complete\nCali-9.xml: missing\nholds 7\nholds 8\n");
}

TEST_F(ArchiveSource, TakesFilesInCapitalsByTheirNames) {
    putOnStick(camera(7));
    fs::rename(stick + "/" + data, stick + "/CALI-7-23-m20-100.DAT");
    auto const outcome = seen(installFrom(packed()));
    EXPECT_NE(outcome.find("remark: Installed as " + data), std::string::npos) << outcome;
    EXPECT_EQ(installed(data), "1 " + data);
    std::string const before = statesOf(cali);
    EXPECT_EQ(seen(installFrom(archive())).substr(0, 19), "unchanged, complete");
    EXPECT_EQ(statesOf(cali), before);
}

TEST_F(ArchiveSource, RefusesDifferentCopies) {
    putOnStick(camera(7));
    writeFile(stick + "/a/" + data, "1 " + data);
    EXPECT_EQ(seen(installFrom(packed())), allInstalled);
    writeFile(stick + "/a/" + data, "other");
    EXPECT_EQ(seen(installFrom(packed())),
              "unchanged, not complete\nCali-7-23-M20-100.dat: ambiguous (These files differ.) [" +
                  archive() + "/" + data + "] [" + archive() + "/a/" + data + "]\n");
    EXPECT_EQ(verifyFrom(archive()).substr(0, 12), "not the same");
}

TEST_F(ArchiveSource, RefusesOnePathWithTwoContents) {
    putOnStick(camera(7));
    byPython("import zipfile, os, warnings\n"
             "warnings.simplefilter('ignore')\n"
             "z = zipfile.ZipFile(archive, 'w')\n"
             "for name in os.listdir(stick): z.write(stick + '/' + name, name)\n"
             "z.writestr('" +
             data +
             "', 'other')\n"
             "z.close()\n");
    EXPECT_NE(seen(installFrom(archive())).find(data + ": ambiguous"), std::string::npos);
}

TEST_F(ArchiveSource, LeadsNowhereWithItsPaths) {
    putOnStick(camera(7));
    byPython(
        "import zipfile, os\n"
        "z = zipfile.ZipFile(archive, 'w')\n"
        "for i, name in enumerate(sorted(os.listdir(stick))):\n"
        "    z.write(stick + '/' + name, ('../' * 20 + 'etc/', '/etc/', './a//b/../')[i] + name)\n"
        "z.writestr('.zentho-cali/Cali-7-hidden.dat', 'x')\n"
        "z.writestr('.zentho-cali/stage/0', 'x')\n"
        "z.writestr('.zentho-cali/7.journal', 'x')\n"
        "z.writestr('../Cali-7-evil.dat/../../../../tmp/x', 'x')\n"
        "z.writestr('Cali-7-folder.dat/', '')\n"
        "z.close()\n");
    EXPECT_EQ(seen(installFrom(archive())), allInstalled);
    EXPECT_EQ(treeOf(cali).size(), 6U);
    EXPECT_FALSE(fs::exists("/etc/" + data) || fs::exists("/etc/" + description));
}

TEST_F(ArchiveSource, NamesLinksAndDevicesThatItLeavesOut) {
    putOnStick(camera(7));
    fs::create_symlink("/etc/passwd", stick + "/Cali-7-link.dat");
    ASSERT_EQ(mkfifo((stick + "/Cali-7-pipe.dat").c_str(), 0600), 0);
    EXPECT_EQ(seen(installFrom(packed("tar"))),
              allInstalled + "remark: Left out, since it is a link: " + archive("tar") +
                  "/Cali-7-link.dat\nremark: Left out, since it is no file: " + archive("tar") +
                  "/Cali-7-pipe.dat\n");
    EXPECT_EQ(treeOf(cali).size(), 6U);
}

TEST_F(ArchiveSource, TakesAHardLinkForTheMemberThatItStandsFor) {
    putOnStick(camera(7));
    byPython("import tarfile, os\n"
             "t = tarfile.open(archive, 'w')\n"
             "for name in os.listdir(stick): t.add(stick + '/' + name, name)\n"
             "def link(name, target):\n"
             "    i = tarfile.TarInfo(name); i.type = tarfile.LNKTYPE; i.linkname = target\n"
             "    t.addfile(i)\n"
             "link('Cali-7-more.dat', './" +
             data +
             "')\n"
             "link('copy/Cali-7.xml', 'Cali-7.xml')\n"
             "link('Cali-7-none.dat', 'elsewhere')\n"
             "link('unrelated', 'elsewhere')\n"
             "t.close()\n");
    std::string const remark = "remark: Left out, since it is a link to a member that is not "
                               "unpacked: " +
                               archive() + "/Cali-7-none.dat\n";
    EXPECT_EQ(seen(installFrom(archive())),
              "changed, complete\nCali-7-23-M20-100.dat: installed\nCali-7-more.dat: installed\n"
              "Cali-7.xml: installed\nKennlinie-7-23-M20-100.prn: installed\n" +
                  remark);
    EXPECT_EQ(installed("Cali-7-more.dat"), "1 " + data);
    EXPECT_EQ(seen(store.verify(7, {})).substr(0, 14), "same, complete");
    std::string const before = statesOf(cali);
    EXPECT_EQ(seen(installFrom(archive())).substr(0, 19), "unchanged, complete");
    EXPECT_EQ(statesOf(cali), before);

    // Its bytes are only where they did not have to be staged.
    fs::remove(cali + "/Cali-7-more.dat");
    EXPECT_EQ(seen(installFrom(archive())),
              "changed, complete\nCali-7-23-M20-100.dat: unchanged\nCali-7-more.dat: installed\n"
              "Cali-7.xml: unchanged\nKennlinie-7-23-M20-100.prn: unchanged\n" +
                  remark);
    EXPECT_EQ(installed("Cali-7-more.dat"), "1 " + data);
}

TEST_F(ArchiveSource, FindsTheBytesOfLinksToMembersOfOtherNames) {
    putOnStick(camera(7));
    byPython("import tarfile, os\n"
             "t = tarfile.open(archive, 'w')\n"
             "def link(name, target):\n"
             "    i = tarfile.TarInfo(name); i.type = tarfile.LNKTYPE; i.linkname = target\n"
             "    t.addfile(i)\n"
             "for number, name in enumerate(os.listdir(stick)):\n"
             "    t.add(stick + '/' + name, 'blobs/%i' % number)\n"
             "    link(name, 'blobs/%i' % number)\n"
             "    link('copies/' + name, 'blobs/%i' % number)\n"
             "t.close()\n");
    EXPECT_EQ(seen(installFrom(archive())), allInstalled);
    EXPECT_EQ(installed(data), "1 " + data);
    std::string const before = statesOf(cali);
    EXPECT_EQ(seen(installFrom(archive())), allUnchanged);
    EXPECT_EQ(statesOf(cali), before);
    EXPECT_EQ(verifyFrom(archive()).substr(0, 14), "same, complete");
    EXPECT_EQ(listOf(archive()).substr(0, 13), "7 complete 3 ");
}

TEST_F(ArchiveSource, HeedsTheSumsBesideItsDescription) {
    putOnStick(camera(7));
    std::string const zeros(64, '0');
    writeFile(stick + "/elsewhere/SHA256SUMS", zeros + "  " + data + "\n");
    EXPECT_EQ(seen(installFrom(packed())), allInstalled);
    writeFile(stick + "/SHA256SUMS", zeros + "  " + data + "\n" + zeros + "  Cali-8.xml\n");
    EXPECT_EQ(seen(installFrom(packed())),
              "unchanged, not complete\nCali-7-23-M20-100.dat: damaged (SHA256SUMS beside it has "
              "another sum.) [" +
                  archive() + "/" + data + "]\n");
}

TEST_F(ArchiveSource, RefusesDamagedMembers) {
    putOnStick(camera(7));
    std::string const script = "import zipfile, os\n"
                               "z = zipfile.ZipFile(archive, 'w')\n"
                               "for name in os.listdir(stick): z.write(stick + '/' + name, name)\n"
                               "z.writestr('Cali-7-more.dat', 'x' * 9)\n"
                               "z.writestr('SHA256SUMS', '')\n"
                               "z.close()\n"
                               "b = bytearray(open(archive, 'rb').read())\n"
                               "for i in z.infolist():\n"
                               "    if i.filename == damaged: b[i.header_offset + 14] ^= 1; "
                               "b[b.index(b'PK\\1\\2' + b[i.header_offset + 4:], 0) if 0 else "
                               "i.header_offset + 30 + len(i.filename)] ^= 1\n"
                               "open(archive, 'wb').write(b)\n";
    for (std::string const& name : {data, description, std::string("Cali-7-more.dat")}) {
        byPython("damaged = '" + name + "'\n" + script);
        EXPECT_EQ(seen(installFrom(archive())),
                  "unchanged, not complete\n" + name +
                      ": damaged (Its bytes are not those that were packed.) [" + archive() + "/" +
                      name + "]\n");
        EXPECT_FALSE(fs::exists(cali));
        EXPECT_EQ(listOf(archive()).substr(0, 14), "7 not complete");
    }
    install(7);
    byPython("damaged = '" + data + "'\n" + script);
    EXPECT_NE(verifyFrom(archive()).find(data +
                                         ": unreadable (Its bytes are not those that were "
                                         "packed.) [" +
                                         archive() + "/" + data + "]"),
              std::string::npos);
}

TEST_F(ArchiveSource, CannotBeReadWhenItIsNoneOrEncryptedOrCut) {
    auto const failure = [&] {
        auto const outcome = installFrom(archive());
        EXPECT_TRUE(outcome.failure && outcome.failure->path == archive() &&
                    outcome.failure->kind == FailureKind::unusableSource);
        EXPECT_FALSE(outcome.changed);
        EXPECT_FALSE(fs::exists(cali));
        return outcome.failure->message;
    };
    writeFile(archive(), "text");
    EXPECT_EQ(failure(), "This is no archive that can be read (zip, 7z, tar):");
    putOnStick(camera(7));
    support::run({"zip", "-qrP", "secret", archive("x.zip"), "."}, stick);
    fs::rename(archive("x.zip"), archive());
    EXPECT_EQ(failure(), "The archive is encrypted:");
    std::string const tar = support::readFile(packed("tar"));
    writeFile(archive(), tar.substr(0, tar.find_last_not_of('\0') / 512 * 512 + 512));
    EXPECT_EQ(failure(), "The archive ends too early:");
    writeFile(archive(), tar.substr(0, 700));
    EXPECT_EQ(failure(), "The archive is damaged and cannot be read to its end:");
}

TEST_F(ArchiveSource, StopsEarlyWhenThereIsNoRoom) {
    putOnStick(camera(7));
    byPython("import zipfile, os\n"
             "z = zipfile.ZipFile(archive, 'w', compression=8)\n"
             "for name in os.listdir(stick): z.write(stick + '/' + name, name)\n"
             "with z.open('Cali-7-bomb.dat', 'w') as bomb:\n"
             "    for i in range(64): bomb.write(bytes(1 << 20))\n"
             "z.close()\n");
    if (getuid() != 0)
        return;
    fs::create_directory(cali);
    ASSERT_EQ(support::run({"mount", "-t", "tmpfs", "-o", "size=1m", "none", cali}).exitStatus, 0);
    InstallOptions dry;
    dry.dryRun = true;
    for (auto const& options : {InstallOptions(), dry}) {
        auto const outcome = installFrom(archive(), options);
        ASSERT_TRUE(outcome.failure);
        EXPECT_EQ(outcome.failure->kind, FailureKind::noRoom);
        EXPECT_GT(outcome.failure->needed, 64U << 20U);
        EXPECT_LT(outcome.failure->available, 1U << 20U);
        EXPECT_TRUE(fs::is_empty(cali));
    }
    support::run({"umount", cali});
}

TEST_F(ArchiveSource, IsInstalledWhereTheFileSystemDoesNotTellItsRoom) {
    putOnStick(camera(7));
    std::string const path = packed();
    support::inPrivateNamespaces([&] {
        fs::create_directories(cali);
        ASSERT_EQ(mount("none", cali.c_str(), "ramfs", 0, "mode=0755"), 0);
        EXPECT_EQ(seen(installFrom(path)), allInstalled);
        EXPECT_EQ(check(7), "complete\n");
    });
}

TEST_F(ArchiveSource, IsVerifiedAgainst) {
    putOnStick(camera(7));
    install(7);
    packed();
    EXPECT_EQ(verifyFrom(archive()),
              "same, complete\nCali-7-23-M20-100.dat: same\nCali-7.xml: same\n"
              "Kennlinie-7-23-M20-100.prn: same\n");
    writeFile(cali + "/" + data, "2 " + data);
    fs::remove(cali + "/" + curve);
    EXPECT_EQ(verifyFrom(archive()),
              "not the same, not complete\nCali-7-23-M20-100.dat: differs\nCali-7.xml: same\n"
              "Kennlinie-7-23-M20-100.prn: missing here\n");
    fs::remove(stick + "/" + data);
    writeFile(stick + "/a/Cali-7.xml", "other");
    packed();
    EXPECT_EQ(verifyFrom(archive()),
              "not the same, not complete\nCali-7-23-M20-100.dat: missing there\n"
              "Cali-7.xml: differs (The source holds several files of this name.) [" +
                  archive() + "/Cali-7.xml] [" + archive() +
                  "/a/Cali-7.xml]\nKennlinie-7-23-M20-100.prn: missing here\n");
}

TEST_F(ArchiveSource, IsListed) {
    putOnStick(camera(7));
    putOnStick(camera(71));
    fs::remove(stick + "/Cali-71-23-M20-100.dat");
    writeFile(stick + "/Cali-8-x.dat", "no description");
    for (std::string const& format : support::archiveFormats()) {
        std::string const listed = listOf(packed(format));
        EXPECT_EQ(listed.substr(0, 13), "7 complete 3 ") << format << listed;
        EXPECT_NE(listed.find("\n71 not complete 2 "), std::string::npos);
        auto const cameras = zel::store::camerasOf(open(archive(format)), {});
        EXPECT_EQ(cameras.cameras, (std::vector<unsigned long>{7, 71}));
    }
    auto const ofStick = zel::store::camerasOf(open(stick), {});
    EXPECT_EQ(ofStick.cameras, (std::vector<unsigned long>{7, 71}));
}

TEST_F(ArchiveSource, CanBeCancelledBeforeAnythingChanges) {
    putOnStick(camera(7));
    packed();
    int calls = 0;
    for (int last = 0; last < 6; ++last) {
        calls = 0;
        auto const outcome = installFrom(archive(), {}, 7, [&](auto const& progress) {
            return ++calls <= last || progress.phase == zel::store::Phase::publishing;
        });
        if (outcome.changed)
            break;
        ASSERT_TRUE(outcome.failure);
        EXPECT_EQ(outcome.failure->kind, FailureKind::cancelled);
        EXPECT_FALSE(fs::exists(cali));
    }
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
}

TEST_F(ArchiveSource, TakesAProgramThatMayNotBeInstalled) {
    putOnStick(camera(7));
    Source const source = open(packed());
    auto const outcome =
        CalibrationStore(cali, Programs{root.path(), false}).install(7, source, {}, {});
    ASSERT_TRUE(outcome.failure);
    EXPECT_EQ(outcome.failure->kind, FailureKind::noProgram);
    EXPECT_FALSE(fs::exists(cali));
    EXPECT_TRUE(zel::store::listSource(source, {}, {root.path(), false}).failure);
    EXPECT_TRUE(zel::store::camerasOf(source, {}, {root.path(), false}).failure);
}

TEST_F(ArchiveSource, IsReadOnceForACamera) {
    putOnStick(camera(7));
    std::string const programs = root.path() + "/programs";
    std::string const real = ZENTHO_PROGRAMS_OF_BUILD;
    writeFile(programs + "/zentho-cali-confine", "#!/bin/sh\necho >> " + root.path() +
                                                     "/starts\nexec " + real +
                                                     "/zentho-cali-confine \"$@\"\n");
    fs::permissions(programs + "/zentho-cali-confine", fs::perms::all);
    fs::copy_file(real + "/zentho-cali-unpack", programs + "/zentho-cali-unpack");
    CalibrationStore ours(cali, Programs{programs, false});
    auto const startsOf = [&](std::string const& outcome) {
        fs::remove(root.path() + "/starts");
        Source const source = open(packed("tar"));
        EXPECT_EQ(seen(ours.install(7, source, {}, {})).substr(0, outcome.size()), outcome);
        return support::readFile(root.path() + "/starts").size();
    };
    EXPECT_EQ(startsOf("changed, complete"), 1U);
    EXPECT_EQ(startsOf("unchanged, complete"), 1U);
    writeFile(stick + "/" + curve, "other");
    EXPECT_EQ(startsOf("changed, complete"), 1U);
    fs::remove(cali + "/" + data);
    EXPECT_EQ(startsOf("changed, complete"), 1U);
}
