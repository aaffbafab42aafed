// Mirrors that any web server can serve.
#include "store/Mirror.h"

#include "sdk/IRCalibrationManager.h"
#include "store/Record.h"
#include "tests/store/StoreFixture.h"
#include "tests/support/Command.h"
#include "tests/support/DownloadWorld.h"
#include "tests/support/HttpServer.h"
#include "tests/support/Namespace.h"
#include "util/FileDescriptor.h"

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <sstream>
#include <thread>

#include <fcntl.h>
#include <pthread.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using namespace storetest;
using support::readFile;
using support::writeFile;
using zel::store::MirrorOptions;
using zel::store::MirrorOutcome;
using zel::store::Source;
using zel::store::word;

std::string seenOf(MirrorOutcome const& outcome) {
    std::ostringstream out;
    auto const tell = [&](zel::store::Failure const& failure) {
        out << "failed: " << failure.message << ' ' << failure.path;
        if (failure.error != 0)
            out << ": " << std::strerror(failure.error);
        out << '\n';
    };
    if (outcome.failure)
        tell(*outcome.failure);
    out << (outcome.changed ? "changed" : "unchanged")
        << (outcome.complete ? ", complete" : ", not complete") << '\n';
    for (auto const& camera : outcome.cameras) {
        out << camera.serial << (camera.changed ? " changed" : " unchanged")
            << (camera.complete ? ", complete" : ", not complete") << '\n';
        if (camera.failure)
            tell(*camera.failure);
        for (auto const& file : camera.files)
            out << file.name << ": " << word(file.state) << '\n';
        for (auto const& remark : camera.remarks)
            out << "remark: " << remark.message << ' ' << remark.path << '\n';
    }
    if (outcome.links)
        out << outcome.links->name << ": " << word(outcome.links->state) << '\n';
    return out.str();
}

std::string states(std::string const& state) {
    return data + ": " + state + "\n" + description + ": " + state + "\n" + curve + ": " + state +
           "\n";
}

std::string const allNew = "changed, complete\n7 changed, complete\n" + states("installed");
std::string const nothingToDo =
    "unchanged, complete\n7 unchanged, complete\n" + states("unchanged");
std::string const replaced = "changed, complete\n7 changed, complete\n" + data + ": replaced\n" +
                             description + ": unchanged\n" + curve + ": replaced\n";

MirrorOptions dryMirror(MirrorOptions options = {}) {
    options.dryRun = true;
    return options;
}

MirrorOptions servedAt(std::string const& url) {
    MirrorOptions options;
    options.url = url;
    return options;
}

MirrorOptions signedWith(std::string const& key) {
    MirrorOptions options;
    options.signKey = key;
    return options;
}

/// The status of everything in a directory, which changes with whatever is written.
std::string stampsOf(std::string const& directory) {
    std::ostringstream out;
    for (auto const& entry : fs::recursive_directory_iterator(directory)) {
        struct stat status {};
        EXPECT_EQ(lstat(entry.path().c_str(), &status), 0);
        out << entry.path() << ' ' << status.st_ino << ' ' << status.st_ctim.tv_sec << '.'
            << status.st_ctim.tv_nsec << '\n';
    }
    return out.str();
}

struct stat statusOf(std::string const& path) {
    struct stat status {};
    EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
    return status;
}

mode_t rightsOf(std::string const& path) {
    return statusOf(path).st_mode & 07777U;
}

void setTime(std::string const& path, std::time_t time) {
    timespec const times[2]{{time, 0}, {time, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW), 0) << path;
}

class StoreMirror : public Store {
protected:
    StoreMirror() { putOnStick(camera(7)); }

    MirrorOutcome mirror(MirrorOptions const& options = {},
                         std::vector<unsigned long> const& serials = {7}) const {
        auto const source = Source::open(stick, {}, web);
        EXPECT_FALSE(source.failure) << source.failure->path;
        return zel::store::mirror(web, serials, *source.source, options, {});
    }

    /// Mirrors, after a dry run has said the same and written nothing.
    std::string mirrored(MirrorOptions const& options = {},
                         std::vector<unsigned long> const& serials = {7}) const {
        Tree const before = treeOf(root.path());
        std::string const planned = seenOf(mirror(dryMirror(options), serials));
        EXPECT_EQ(treeOf(root.path()), before);
        std::string const done = seenOf(mirror(options, serials));
        EXPECT_EQ(planned, done);
        EXPECT_FALSE(fs::exists(beside));
        return done;
    }

    /// What a client gets with `sha256sum -c`.
    void expectAgreement() const {
        auto const checked = support::run({"sha256sum", "--strict", "-c", "SHA256SUMS"}, set);
        EXPECT_EQ(checked.exitStatus, 0) << checked.standardOutput << checked.standardError;
    }

    std::string served(std::string const& name) const { return readFile(set + "/" + name); }

    std::string const web = root.path() + "/srv/www";
    std::string const beside = root.path() + "/srv/.www.zentho-cali";
    std::string const set = web + "/7/7/Califiles SN7";
};

/// Cameras 1 to 40 are on the stick.
class StoreMirrorOfMany : public StoreMirror {
protected:
    static constexpr std::size_t many = 40;

    StoreMirrorOfMany() {
        for (std::size_t serial = 1; serial <= many; ++serial)
            putOnStick(camera(static_cast<int>(serial)));
    }

    MirrorOutcome mirrorAll(MirrorOptions const& options = {}) const {
        auto const source = Source::open(stick, {});
        return zel::store::mirror(web, source.source->cameras(), *source.source, options, {});
    }

    static std::vector<unsigned long> changedSets(MirrorOutcome const& outcome) {
        std::vector<unsigned long> serials;
        for (auto const& one : outcome.cameras) {
            if (one.changed)
                serials.push_back(one.serial);
        }
        return serials;
    }
};

/// A signer of the test's own is found first.
class StoreMirrorSigned : public StoreMirror {
protected:
    StoreMirrorSigned() {
        path = std::getenv("PATH");
        fs::create_directory(root.path() + "/bin");
        setenv("PATH", (root.path() + "/bin:" + path).c_str(), 1);
    }
    ~StoreMirrorSigned() override { setenv("PATH", path.c_str(), 1); }

    void signBy(std::string const& script) const {
        std::string const program = root.path() + "/bin/gpg";
        writeFile(program, "#!/bin/sh\n" + script);
        fs::permissions(program, fs::perms::owner_all);
    }

    /// Signs as gpg does, only that the signature is worth nothing.
    void signByAnything() const {
        signBy("echo '-----BEGIN PGP SIGNED MESSAGE-----'\necho 'Hash: SHA256'\necho\ncat\n"
               "echo '-----BEGIN PGP SIGNATURE-----'\necho\necho \"$3\"\n"
               "echo '-----END PGP SIGNATURE-----'\n");
    }

    std::string failureOf(MirrorOutcome const& outcome) const {
        EXPECT_FALSE(outcome.changed);
        EXPECT_FALSE(fs::exists(beside));
        return outcome.cameras.at(0).failure ? outcome.cameras.at(0).failure->message : "";
    }

    std::string path;
};

} // namespace

TEST_F(StoreMirror, PutsASetIntoTheFolderThatADownloadExpects) {
    putOnStick(camera(12345678));
    EXPECT_EQ(seenOf(mirror({}, {12345678, 7, 7})),
              "changed, complete\n7 changed, complete\n" + states("installed") +
                  "12345678 changed, complete\nCali-12345678-23-M20-100.dat: installed\n"
                  "Cali-12345678.xml: installed\nKennlinie-12345678-23-M20-100.prn: installed\n");
    EXPECT_EQ(served(data), "1 " + data);
    EXPECT_EQ(readFile(web + "/12/1234/Califiles SN12345678/Cali-12345678.xml"),
              camera(12345678).description());
    EXPECT_FALSE(fs::exists(beside));
}

TEST_F(StoreMirror, ListsSumsSizesAndTheDateBesideTheSet) {
    auto const before = std::time(nullptr);
    EXPECT_EQ(mirrored(), allNew);
    expectAgreement();
    std::string const index = served("SHA256SUMS");
    auto const time = zel::store::timeOf(index.substr(7, 20));
    ASSERT_TRUE(time) << index;
    EXPECT_GE(*time, before);
    EXPECT_LE(*time, std::time(nullptr));
    std::string const bytes = std::to_string(camera(7).description().size());
    EXPECT_EQ(index.substr(0, index.find("Cali-7.xml\n") + 11),
              "# date " + index.substr(7, 20) + "\n# size 23 " + data + "\n# size " + bytes +
                  " Cali-7.xml\n");
    EXPECT_EQ(index.find("# source"), std::string::npos);
}

TEST_F(StoreMirror, GivesEverybodyTheRightToReadWhateverTheMask) {
    setTime(stick + "/" + data, 1234567890);
    mode_t const mask = umask(0077);
    EXPECT_EQ(seenOf(mirror(servedAt("http://h"))), allNew + "downloadlinks.xml: installed\n");
    umask(mask);
    for (std::string const& folder : {web, web + "/7", web + "/7/7", set})
        EXPECT_EQ(rightsOf(folder), 0755U) << folder;
    for (std::string const& name : {data, curve, description, std::string("SHA256SUMS")})
        EXPECT_EQ(rightsOf(set + "/" + name), 0644U) << name;
    EXPECT_EQ(rightsOf(web + "/downloadlinks.xml"), 0644U);
    EXPECT_EQ(statusOf(set + "/" + data).st_mtim.tv_sec, 1234567890);
}

TEST_F(StoreMirror, WritesNothingWhenThereIsNothingToDo) {
    mirror(servedAt("http://h/cali"));
    std::string const before = stampsOf(root.path());
    EXPECT_EQ(seenOf(mirror(servedAt("http://h/cali/"))),
              nothingToDo + "downloadlinks.xml: unchanged\n");
    EXPECT_EQ(seenOf(mirror()), nothingToDo);
    EXPECT_EQ(stampsOf(root.path()), before);
    for (auto const& name : {description, data, curve}) // copied to another stick
        setTime(stick + "/" + name, 1000000000);
    std::string const after = stampsOf(web);
    EXPECT_EQ(seenOf(mirror()), nothingToDo);
    EXPECT_EQ(stampsOf(web), after);
}

TEST_F(StoreMirror, ReadsNoFileOfTheSameSizeAndTimeAgain) {
    mirror();
    auto const modified = statusOf(stick + "/" + data).st_mtim.tv_sec;
    setTime(stick + "/" + data, modified);
    setTime(set + "/" + data, modified);
    writeFile(stick + "/" + data, "2 " + data);
    setTime(stick + "/" + data, modified);
    EXPECT_EQ(seenOf(mirror()), nothingToDo);
    setTime(stick + "/" + data, modified + 1);
    EXPECT_TRUE(mirror().changed);
    EXPECT_EQ(served(data), "2 " + data);
}

TEST_F(StoreMirror, PutsANewVersionInThePlaceOfTheOld) {
    mirror();
    putOnStick(camera(7), "2");
    setTime(stick + "/" + data, 1000000000); // an older file is another file as well
    EXPECT_EQ(mirrored(), replaced);
    EXPECT_EQ(served(data), "2 " + data);
    expectAgreement();
}

TEST_F(StoreMirror, RemovesWhatTheSetNoLongerHas) {
    writeFile(stick + "/Cali-7-more.dat", "more");
    EXPECT_TRUE(mirror().changed);
    EXPECT_EQ(served("Cali-7-more.dat"), "more");
    fs::remove(stick + "/Cali-7-more.dat");
    EXPECT_EQ(mirrored(),
              "changed, complete\n7 changed, complete\nCali-7-23-M20-100.dat: unchanged\n"
              "Cali-7-more.dat: removed\nCali-7.xml: unchanged\n" +
                  curve + ": unchanged\n");
    EXPECT_FALSE(fs::exists(set + "/Cali-7-more.dat"));
}

TEST_F(StoreMirror, MendsWhatSomebodyAltered) {
    mirror();
    std::string const index = served("SHA256SUMS");
    std::string const sumOfNothing(64, '0');
    auto const asIfOriginal = [&](std::string text) {
        writeFile(set + "/SHA256SUMS", text);
        setTime(set + "/SHA256SUMS", *zel::store::timeOf(index.substr(7, 20)));
    };
    std::vector<std::function<void()>> const alterations{
        [&] { fs::remove(set + "/" + data); },
        [&] { writeFile(set + "/" + data, "cut"); },
        [&] { writeFile(set + "/" + data, "x " + data); },
        [&] { writeFile(set + "/cali-7-old.dat", "old"); },
        [&] { fs::remove(set + "/SHA256SUMS"); },
        [&] { writeFile(set + "/SHA256SUMS", sumOfNothing + index.substr(index.size() - 64)); },
        [&] { writeFile(set + "/SHA256SUMS", index + "#\n"); },
        [&] { writeFile(set + "/SHA256SUMS", "# date never\n" + index.substr(28)); },
        [&] {
            auto altered = index;
            altered.replace(altered.find(data, altered.find("# size", 40)) - 2 - 64, 64,
                            sumOfNothing);
            writeFile(set + "/SHA256SUMS", altered);
        },
        [&] { // as of another set, of which nobody knows when
            auto const lines = index.find(curve);
            asIfOriginal(index.substr(0, lines - 10) + index.substr(lines + curve.size() + 1));
        },
        [&] {
            fs::rename(set + "/" + data, root.path() + "/data");
            fs::create_symlink(root.path() + "/data", set + "/" + data);
        },
        [&] {
            fs::rename(set + "/SHA256SUMS", root.path() + "/sums");
            fs::create_symlink(root.path() + "/sums", set + "/SHA256SUMS");
        },
        [&] { writeFile(set + "/SHA256SUMS.asc", index); },
    };
    for (std::size_t i = 0; i < alterations.size(); ++i) {
        alterations[i]();
        EXPECT_TRUE(mirror().changed) << i;
        expectAgreement();
        EXPECT_EQ(served(data), "1 " + data) << i;
        EXPECT_FALSE(fs::is_symlink(set + "/" + data)) << i;
        EXPECT_FALSE(fs::exists(set + "/SHA256SUMS.asc")) << i;
        EXPECT_EQ(seenOf(mirror()), nothingToDo) << i;
    }
    EXPECT_EQ(readFile(root.path() + "/data"), "1 " + data); // the links were not followed
}

TEST_F(StoreMirror, DoesNotWriteAnIncompleteSetAndLeavesTheOldOne) {
    EXPECT_EQ(seenOf(mirror({}, {8})), "unchanged, not complete\n8 unchanged, not complete\n"
                                       "Cali-8.xml: missing\n");
    EXPECT_FALSE(fs::exists(root.path() + "/srv"));
    mirror();
    fs::remove(stick + "/" + data);
    putOnStick(camera(9));
    std::string const before = stampsOf(web + "/7");
    EXPECT_EQ(mirrored({}, {7, 9}),
              "changed, not complete\n7 unchanged, not complete\n" + data +
                  ": missing\n9 changed, complete\nCali-9-23-M20-100.dat: installed\n"
                  "Cali-9.xml: installed\nKennlinie-9-23-M20-100.prn: installed\n");
    EXPECT_EQ(stampsOf(web + "/7"), before);
    writeFile(stick + "/" + data, "");
    EXPECT_EQ(mirrored(),
              "unchanged, not complete\n7 unchanged, not complete\n" + data + ": damaged\n");
    writeFile(stick + "/" + data, "one");
    writeFile(stick + "/x/" + data, "two");
    EXPECT_EQ(mirrored(),
              "unchanged, not complete\n7 unchanged, not complete\n" + data + ": ambiguous\n");
}

TEST_F(StoreMirror, LeavesSetsThatTheSourceLacks) {
    mirror();
    fs::remove_all(stick);
    putOnStick(camera(9));
    EXPECT_TRUE(mirror({}, {9}).changed);
    expectAgreement();
}

TEST_F(StoreMirror, IsAStickFromWhichASetIsInstalled) {
    mirror(servedAt("http://h"));
    auto const source = Source::open(web, {});
    EXPECT_TRUE(store.install(7, *source.source, {}, {}).complete);
    EXPECT_EQ(check(7), "complete\n");
    EXPECT_EQ(statusOf(cali + "/" + data).st_mtim.tv_nsec,
              statusOf(stick + "/" + data).st_mtim.tv_nsec);
    writeFile(set + "/" + data, "x " + data); // what the index does not list
    auto const again = Source::open(web, {});
    EXPECT_EQ(storetest::seen(store.install(7, *again.source, {}, {})).substr(0, 40),
              "unchanged, not complete\n" + data.substr(0, 16));
}

TEST_F(StoreMirror, IsNotMadeOfAnArchive) {
    writeFile(root.path() + "/set.tar", "");
    auto const source = Source::open(root.path() + "/set.tar", {});
    auto const outcome = zel::store::mirror(web, {7}, *source.source, {}, {});
    ASSERT_TRUE(outcome.failure);
    EXPECT_EQ(outcome.failure->kind, FailureKind::unusableSource);
    EXPECT_FALSE(fs::exists(root.path() + "/srv"));
}

TEST_F(StoreMirror, CanBeMadeOfAnotherMirrorAndOfItself) {
    mirror();
    auto const source = Source::open(web, {});
    std::string const other = root.path() + "/other";
    auto outcome = zel::store::mirror(other, source.source->cameras(), *source.source, {}, {});
    EXPECT_EQ(seenOf(outcome), allNew);
    outcome = zel::store::mirror(other, source.source->cameras(), *source.source, {}, {});
    EXPECT_EQ(seenOf(outcome), nothingToDo);
    fs::remove(set + "/SHA256SUMS");
    outcome = zel::store::mirror(web, {7}, *source.source, {}, {});
    EXPECT_EQ(seenOf(outcome), "changed, complete\n7 changed, complete\n" + states("unchanged"));
    expectAgreement();
}

TEST_F(StoreMirror, ServesTheLibrarysDownload) {
    support::inDownloadWorld([](support::DownloadWorld const& world) {
        std::string const source = world.target() + "-stick";
        camera(12345678).writeInto(source);
        auto const opened = Source::open(source, {});
        EXPECT_TRUE(zel::store::mirror(world.served(""), {12345678}, *opened.source,
                                       servedAt(support::downloadServer), {})
                        .complete);
        support::HttpServer const server(world.served(""));
        zel::IRCalibrationManager manager;
        manager.setCalibrationDir(world.target().c_str());
        EXPECT_TRUE(manager.downloadCalibration(12345678));
        EXPECT_EQ(treeOf(world.target()), treeOf(source));
    });
}

TEST_F(StoreMirror, WritesTheLinksFileOnlyWhenItDiffers) {
    EXPECT_EQ(mirrored(servedAt("https://a.example/cali//")),
              allNew + "downloadlinks.xml: installed\n");
    EXPECT_NE(readFile(web + "/downloadlinks.xml").find("<string>https://a.example/cali</string>"),
              std::string::npos);
    EXPECT_EQ(mirrored(servedAt("https://b.example")),
              "changed, complete\n7 unchanged, complete\n" + states("unchanged") +
                  "downloadlinks.xml: replaced\n");
    fs::rename(web + "/downloadlinks.xml", root.path() + "/elsewhere");
    fs::create_symlink(root.path() + "/elsewhere", web + "/downloadlinks.xml");
    EXPECT_TRUE(mirror(servedAt("https://b.example")).changed);
    EXPECT_FALSE(fs::is_symlink(web + "/downloadlinks.xml"));
    fs::remove(web + "/downloadlinks.xml");
    fs::create_directory(web + "/downloadlinks.xml");
    EXPECT_EQ(mirror(servedAt("https://b.example")).failure->kind, FailureKind::inTheWay);
}

TEST_F(StoreMirror, RefusesAnAddressThatNoLinksFileCanHold) {
    for (char const* const url :
         {"ftp://h", "http://", "https:///x", "http://h/a b", "http://h/$(x)", "http://h/\"x",
          "http://h/<x>", "http://h/?x", "h", "http://h/\n"}) {
        auto const outcome = mirror(servedAt(url));
        ASSERT_TRUE(outcome.failure) << url;
        EXPECT_EQ(outcome.failure->error, EINVAL) << url;
    }
    EXPECT_EQ(mirror({}, {0}).failure->error, EINVAL);
    EXPECT_FALSE(fs::exists(root.path() + "/srv"));
}

TEST_F(StoreMirror, RefusesLinksAndFilesInPlaceOfFolders) {
    fs::create_directories(root.path() + "/elsewhere/7/Califiles SN7");
    Tree const before = treeOf(root.path() + "/elsewhere");
    for (std::string const& place : {web + "/7", web + "/7/7", set, beside}) {
        for (bool const isLink : {true, false}) {
            fs::remove_all(root.path() + "/srv");
            fs::create_directories(fs::path(place).parent_path());
            fs::create_directories(web);
            if (isLink)
                fs::create_directory_symlink(root.path() + "/elsewhere", place);
            else
                writeFile(place, "x");
            Tree const tree = treeOf(root.path() + "/srv");
            auto const outcome = mirror();
            auto const& failure = outcome.failure ? outcome.failure : outcome.cameras.at(0).failure;
            ASSERT_TRUE(failure) << place;
            EXPECT_EQ(failure->kind, FailureKind::inTheWay) << place;
            EXPECT_EQ(treeOf(root.path() + "/srv"), tree) << place;
            EXPECT_EQ(treeOf(root.path() + "/elsewhere"), before) << place;
        }
    }
}

TEST_F(StoreMirror, RemovesNothingThatIsNotOfTheSet) {
    mirror();
    for (std::string const name :
         {"index.html", "Cali-71.xml", "Cali-7-folder.dat/x", "SHA256SUMS.asc/x"}) {
        writeFile(set + "/" + name, "mine");
        putOnStick(camera(7), "2");
        Tree const before = treeOf(web);
        auto const outcome = mirror();
        ASSERT_TRUE(outcome.cameras.at(0).failure) << name;
        EXPECT_EQ(outcome.cameras.at(0).failure->kind, FailureKind::inTheWay) << name;
        EXPECT_EQ(seenOf(mirror(dryMirror())), seenOf(outcome));
        EXPECT_EQ(treeOf(web), before) << name;
        fs::remove_all(set + "/" + name.substr(0, name.find('/')));
        putOnStick(camera(7));
    }
    writeFile(set + "/.htaccess", "mine"); // it is in nobody's way while nothing changes
    EXPECT_FALSE(mirror().changed);
}

TEST_F(StoreMirror, RemovesWhatAKilledProcessLeft) {
    for (bool const isDone : {false, true}) {
        writeFile(beside + "/lock", "1\n");
        writeFile(beside + "/stage/Cali-7.xml", "old");
        writeFile(beside + "/stage/0", "old");
        fs::create_directory(beside + "/folder");
        EXPECT_EQ(seenOf(mirror()), isDone ? nothingToDo : allNew);
        EXPECT_FALSE(fs::exists(beside));
    }
    fs::create_directories(beside + "/somebody's");
    EXPECT_EQ(seenOf(mirror()), nothingToDo);
    EXPECT_TRUE(fs::exists(beside + "/somebody's"));
    writeFile(beside + "/folder/x", "not empty");
    EXPECT_EQ(seenOf(mirror()), nothingToDo);
    putOnStick(camera(7), "2");
    EXPECT_EQ(mirror().failure->error, ENOTEMPTY);
}

TEST_F(StoreMirror, NeedsAPlaceBesideItself) {
    auto const source = Source::open(stick, {});
    auto const failureAt = [&](std::string const& place) {
        auto const outcome = zel::store::mirror(place, {7}, *source.source, {}, {});
        EXPECT_FALSE(outcome.changed) << place;
        return outcome.failure ? *outcome.failure : *outcome.cameras.at(0).failure;
    };
    EXPECT_EQ(failureAt("/").error, EINVAL);
    EXPECT_EQ(failureAt("").error, EINVAL);
    EXPECT_EQ(failureAt(root.path() + "/none/..").error, EINVAL);
    EXPECT_EQ(failureAt(stick + "/" + data).error, ENOTDIR);
    EXPECT_EQ(failureAt(stick + "/" + data + "/x").error, ENOTDIR);
    EXPECT_EQ(failureAt(root.path() + "/" + std::string(250, 'x')).error, ENAMETOOLONG);
    support::inPrivateNamespaces([&] {
        fs::create_directories(web);
        support::mountTmpfs(web);
        EXPECT_EQ(failureAt(web).kind, FailureKind::inTheWay);
    });
    support::inPrivateNamespaces([&] {
        fs::create_directories(web + "/7/7");
        ASSERT_EQ(mount(stick.c_str(), (web + "/7/7").c_str(), nullptr, MS_BIND, nullptr), 0);
        EXPECT_EQ(failureAt(web).kind, FailureKind::inTheWay);
    });
    support::inPrivateNamespaces([&] {
        support::giveUpPrivileges();
        fs::create_directories(root.path() + "/closed/www");
        fs::permissions(root.path() + "/closed", fs::perms::owner_exec);
        EXPECT_EQ(failureAt(root.path() + "/closed/www").error, EACCES);
        fs::permissions(root.path() + "/closed", fs::perms::owner_all);
    });
}

TEST_F(StoreMirror, MayBeNamedByALinkOrRelatively) {
    auto const source = Source::open(stick, {});
    fs::create_directories(web);
    fs::create_directory_symlink(web, root.path() + "/link");
    EXPECT_TRUE(zel::store::mirror(root.path() + "/link/", {7}, *source.source, {}, {}).complete);
    expectAgreement();
    fs::current_path(web);
    EXPECT_EQ(seenOf(zel::store::mirror(".", {7}, *source.source, {}, {})), nothingToDo);
    EXPECT_TRUE(zel::store::mirror("new", {7}, *source.source, {}, {}).complete);
    EXPECT_TRUE(fs::exists(web + "/new/7/7/Califiles SN7/SHA256SUMS"));
    fs::current_path("/");
}

TEST_F(StoreMirror, TellsOfAFullDiskBeforeAnythingIsWritten) {
    support::inPrivateNamespaces([&] {
        fs::create_directories(root.path() + "/srv");
        ASSERT_EQ(mount("tmpfs", (root.path() + "/srv").c_str(), "tmpfs", 0, "size=256k"), 0);
        fs::resize_file(stick + "/" + data, 1000000);
        putOnStick(camera(9));
        EXPECT_EQ(mirror().failure->kind, FailureKind::noRoom);
        EXPECT_EQ(mirror(dryMirror()).failure->kind, FailureKind::noRoom);
        auto const both = mirror({}, {7, 9}); // the next one is not tried
        EXPECT_FALSE(both.changed);
        EXPECT_FALSE(fs::exists(web));
        EXPECT_FALSE(fs::exists(beside));
    });
}

TEST_F(StoreMirror, GoesOnAfterACameraThatCannotBeRead) {
    putOnStick(camera(9));
    support::inPrivateNamespaces([&] {
        support::giveUpPrivileges();
        fs::permissions(stick + "/" + data, fs::perms::none);
        auto const outcome = mirror({}, {7, 9});
        EXPECT_FALSE(outcome.failure);
        EXPECT_TRUE(outcome.changed);
        EXPECT_FALSE(outcome.complete);
        EXPECT_EQ(outcome.cameras.at(0).failure->error, EACCES);
        EXPECT_TRUE(outcome.cameras.at(1).changed);
    });
}

TEST_F(StoreMirror, ReadsAgainWhatItMayNotRead) {
    mirror();
    support::inPrivateNamespaces([&] {
        support::giveUpPrivileges();
        fs::permissions(set + "/" + data, fs::perms::none);
        setTime(set + "/" + data, 1);
        EXPECT_TRUE(mirror().changed); // the file there is nobody's version
        EXPECT_FALSE(mirror().changed);
    });
}

TEST_F(StoreMirror, WaitsForAnotherProcessOrSaysWho) {
    fs::create_directories(beside);
    zel::FileDescriptor const lock(
        open((beside + "/lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    ASSERT_EQ(write(lock.get(), "4711\n", 5), 5);
    struct flock whole {};
    whole.l_type = F_WRLCK;
    ASSERT_EQ(fcntl(lock.get(), F_OFD_SETLK, &whole), 0);
    MirrorOptions options;
    options.wait = false;
    auto const outcome = mirror(options);
    EXPECT_EQ(outcome.failure->kind, FailureKind::locked);
    EXPECT_EQ(outcome.failure->holder, 4711);
    EXPECT_EQ(outcome.failure->path, web);
    EXPECT_FALSE(outcome.changed);
    EXPECT_FALSE(outcome.cameras.at(0).changed);
    EXPECT_TRUE(outcome.cameras.at(0).files.empty());
}

TEST_F(StoreMirror, PlansAgainWhatAnotherProcessMayHaveWrittenMeanwhile) {
    auto const source = Source::open(stick, {}, web);
    fs::create_directories(beside);
    zel::FileDescriptor lock(open((beside + "/lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    struct flock whole {};
    whole.l_type = F_WRLCK;
    ASSERT_EQ(fcntl(lock.get(), F_OFD_SETLK, &whole), 0);
    std::string before;
    auto const progress = [&](zel::store::Progress const& now) {
        if (now.phase == zel::store::Phase::waiting && lock.valid()) {
            fs::remove(beside + "/lock"); // as the other does at its end
            fs::remove(beside);
            mirror();
            before = stampsOf(web);
            lock = zel::FileDescriptor();
        }
        return true;
    };
    EXPECT_EQ(seenOf(zel::store::mirror(web, {7}, *source.source, {}, progress)), nothingToDo);
    EXPECT_EQ(stampsOf(web), before);
}

TEST_F(StoreMirror, CanBeCancelledAndLeavesWholeSets) {
    putOnStick(camera(9));
    auto const source = Source::open(stick, {}, web);
    for (long allowed = 0;; ++allowed) {
        fs::remove_all(root.path() + "/srv");
        long calls = 0;
        auto const outcome =
            zel::store::mirror(web, {7, 9}, *source.source, {},
                               [&](zel::store::Progress const&) { return calls++ < allowed; });
        EXPECT_FALSE(fs::exists(beside));
        EXPECT_EQ(outcome.changed, fs::exists(web)) << allowed;
        if (!outcome.failure)
            break;
        EXPECT_EQ(outcome.failure->kind, FailureKind::cancelled);
        EXPECT_FALSE(outcome.complete);
        bool const isFirstThere = fs::exists(set);
        EXPECT_EQ(!outcome.cameras.empty() && outcome.cameras.at(0).changed, isFirstThere);
        if (isFirstThere)
            expectAgreement();
        if (outcome.cameras.size() > 1) {
            EXPECT_FALSE(outcome.cameras.at(1).changed);
            EXPECT_TRUE(outcome.cameras.at(1).files.empty());
        }
    }
    EXPECT_TRUE(fs::exists(web + "/9/9/Califiles SN9/SHA256SUMS"));
}

TEST_F(StoreMirrorOfMany, IsLookedAtWhole) {
    EXPECT_EQ(changedSets(mirrorAll()).size(), many);
    EXPECT_TRUE(changedSets(mirrorAll()).empty());
    for (int const serial : {10, 11, 39})
        writeFile(stick + "/" + camera(serial).fileNames()[1], "new");
    EXPECT_EQ(changedSets(mirrorAll(dryMirror())), (std::vector<unsigned long>{10, 11, 39}));
    EXPECT_EQ(changedSets(mirrorAll()), (std::vector<unsigned long>{10, 11, 39}));
    fs::remove(stick + "/" + camera(12).fileNames()[1]);
    fs::remove(stick + "/" + camera(13).fileNames()[1]);
    auto const outcome = mirrorAll();
    EXPECT_FALSE(outcome.complete);
    EXPECT_FALSE(outcome.cameras.at(12 - 1).complete);
    EXPECT_FALSE(outcome.cameras.at(13 - 1).complete);
    EXPECT_TRUE(outcome.cameras.at(14 - 1).complete);
}

TEST_F(StoreMirrorOfMany, IsLookedAtWholeWithoutAnotherThread) {
    pthread_attr_t usual;
    pthread_attr_t tooLarge;
    ASSERT_EQ(pthread_getattr_default_np(&usual), 0);
    ASSERT_EQ(pthread_getattr_default_np(&tooLarge), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&tooLarge, std::size_t{1} << 50), 0);
    ASSERT_EQ(pthread_setattr_default_np(&tooLarge), 0);
    EXPECT_EQ(changedSets(mirrorAll(dryMirror())).size(), many);
    ASSERT_EQ(pthread_setattr_default_np(&usual), 0);
}

TEST_F(StoreMirrorOfMany, CanBeCancelledWhileItIsLookedAt) {
    auto const source = Source::open(stick, {});
    for (long const allowed : {0L, 1L, 20L, 50L}) {
        long calls = 0;
        auto const outcome =
            zel::store::mirror(web, source.source->cameras(), *source.source, {},
                               [&](zel::store::Progress const&) { return calls++ < allowed; });
        EXPECT_EQ(outcome.failure->kind, FailureKind::cancelled);
        EXPECT_FALSE(fs::exists(root.path() + "/srv"));
    }
}

TEST_F(StoreMirrorOfMany, FailsWhereverTheDiskIsTooSmall) {
    support::inPrivateNamespaces([&] {
        fs::create_directories(root.path() + "/srv");
        ASSERT_EQ(mount("tmpfs", (root.path() + "/srv").c_str(), "tmpfs", 0, "size=256k"), 0);
        for (int const serial : {20, 21}) {
            std::string const large = stick + "/" + camera(serial).fileNames()[1];
            fs::resize_file(large, 1000000);
            EXPECT_EQ(mirrorAll(dryMirror()).failure->kind, FailureKind::noRoom);
            fs::resize_file(large, 10);
        }
    });
}

TEST_F(StoreMirror, NeverDatesAnIndexBeforeTheOneThatItReplaces) {
    mirror();
    std::string index = served("SHA256SUMS");
    index.replace(7, 20, "2999-12-31T23:59:59Z");
    writeFile(set + "/SHA256SUMS", index);
    putOnStick(camera(7), "2");
    EXPECT_TRUE(mirror().changed);
    EXPECT_EQ(served("SHA256SUMS").substr(0, 28), "# date 2999-12-31T23:59:59Z\n");
    EXPECT_FALSE(mirror().changed);
}

TEST_F(StoreMirror, NeverShowsAMixtureToWhoLooksAllTheTime) {
    mirror();
    std::atomic<bool> isDone{false};
    int looks = 0;
    std::thread updates([&] {
        for (int version = 2; version < 20; ++version) {
            putOnStick(camera(7), std::to_string(version));
            setTime(stick + "/" + data, version);
            setTime(stick + "/" + curve, version);
            EXPECT_TRUE(mirror().changed);
        }
        isDone = true;
    });
    while (!isDone) {
        zel::FileDescriptor const folder(open(set.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        ASSERT_TRUE(folder.valid()); // somebody finds a set at any time
        std::string seenHere;
        for (std::string const& name : {data, curve}) {
            zel::FileDescriptor const file(
                openat(folder.get(), name.c_str(), O_RDONLY | O_CLOEXEC));
            char text[64]{};
            if (file.valid() && read(file.get(), text, sizeof text - 1) > 0)
                seenHere += std::string(text, std::strcspn(text, " ")) + "|";
        }
        auto const bar = seenHere.find('|');
        if (bar != std::string::npos && bar + 1 < seenHere.size()) {
            ++looks;
            EXPECT_EQ(seenHere.substr(0, bar + 1), seenHere.substr(bar + 1));
        }
    }
    updates.join();
    EXPECT_GT(looks, 10);
}

TEST_F(StoreMirrorSigned, PutsTheIndexAndItsSignedFormSideBySide) {
    signByAnything();
    EXPECT_EQ(mirrored(signedWith("me@example")), allNew);
    EXPECT_EQ(served("SHA256SUMS.asc"),
              "-----BEGIN PGP SIGNED MESSAGE-----\nHash: SHA256\n\n" + served("SHA256SUMS") +
                  "-----BEGIN PGP SIGNATURE-----\n\n--clearsign\n-----END PGP SIGNATURE-----\n");
    EXPECT_EQ(mirrored(signedWith("me@example")), nothingToDo);
    EXPECT_EQ(mirrored(), nothingToDo); // a signature that nobody wants harms nobody
    fs::remove(set + "/SHA256SUMS.asc");
    EXPECT_EQ(mirrored(), nothingToDo);
    EXPECT_EQ(mirrored(signedWith("me@example")),
              "changed, complete\n7 changed, complete\n" + states("unchanged"));
    putOnStick(camera(7), "2");
    EXPECT_EQ(mirrored(), replaced + "remark: The set was signed, and no longer is: " + set + "\n");
    EXPECT_FALSE(fs::exists(set + "/SHA256SUMS.asc"));
}

TEST_F(StoreMirrorSigned, TakesOnlyWhatIsSignedAndHoldsTheIndex) {
    std::string const head = "echo '-----BEGIN PGP SIGNED MESSAGE-----'\n";
    std::string const blank = "echo 'Hash: SHA256'\necho\n";
    std::string const begin = "echo '-----BEGIN PGP SIGNATURE-----'\n";
    std::string const end = "echo '-----END PGP SIGNATURE-----'\n";
    for (std::string const& script :
         {std::string("true\n"), std::string("cat\n"), head, head + "cat\n" + begin + end,
          head + blank + begin + end, head + blank + "cat\n", head + blank + "cat\n" + begin,
          head + blank + "cat\necho x\n" + begin + end,
          head + blank + "echo x\ncat\n" + begin + end,
          head + blank + "cat\n" + begin + end + "echo x\n"}) {
        signBy(script);
        EXPECT_EQ(failureOf(mirror(signedWith("me"))), "gpg did not sign") << script;
    }
    signBy("echo first >&2; echo 'gpg: signing failed: No secret key' >&2; echo >&2; exit 2");
    EXPECT_EQ(failureOf(mirror(signedWith("me"))),
              "gpg did not sign: gpg: signing failed: No secret key");
    signBy("kill -9 $$");
    EXPECT_EQ(failureOf(mirror(signedWith("me"))), "gpg did not sign");
    EXPECT_FALSE(fs::exists(web));
}

TEST_F(StoreMirrorSigned, FailsWithoutASigner) {
    setenv("PATH", (root.path() + "/bin").c_str(), 1);
    auto const outcome = mirror(signedWith("me"));
    EXPECT_EQ(outcome.cameras.at(0).failure->error, ENOENT);
    EXPECT_EQ(failureOf(outcome), "Cannot run");
}

TEST_F(StoreMirrorSigned, EndsASignerThatTakesForever) {
    signBy("touch \"$0.started\"; exec sleep 1000");
    auto const source = Source::open(stick, {}, web);
    auto const outcome = zel::store::mirror(
        web, {7}, *source.source, signedWith("me"),
        [&](zel::store::Progress const&) { return !fs::exists(root.path() + "/bin/gpg.started"); });
    EXPECT_EQ(outcome.failure->kind, FailureKind::cancelled);
    EXPECT_FALSE(fs::exists(web));
    EXPECT_FALSE(fs::exists(beside));
}

TEST_F(StoreMirrorSigned, KnowsNoEndsWhereTheCallerIgnoresThem) {
    signByAnything();
    auto* const handler = std::signal(SIGCHLD, SIG_IGN);
    EXPECT_TRUE(mirror(signedWith("me")).complete);
    std::signal(SIGCHLD, handler);
}

TEST_F(StoreMirror, IsSignedByARealKey) {
    std::string const home = root.path() + "/gnupg";
    fs::create_directory(home);
    fs::permissions(home, fs::perms::owner_all);
    setenv("GNUPGHOME", home.c_str(), 1);
    ASSERT_EQ(support::run({"gpg", "--batch", "--quiet", "--passphrase", "", "--quick-generate-key",
                            "Maker <maker@example>", "ed25519", "sign", "never"})
                  .exitStatus,
              0);
    EXPECT_EQ(mirrored(signedWith("maker@example")), allNew);
    EXPECT_EQ(mirrored(signedWith("maker@example")), nothingToDo);
    auto const verified = support::run({"gpg", "--batch", "--decrypt", set + "/SHA256SUMS.asc"});
    EXPECT_EQ(verified.exitStatus, 0) << verified.standardError;
    EXPECT_EQ(verified.standardOutput, served("SHA256SUMS"));
    auto const other = mirror(signedWith("nobody@example"));
    EXPECT_FALSE(other.changed); // a signature is there
    putOnStick(camera(7), "2");
    EXPECT_TRUE(mirror(signedWith("nobody@example")).cameras.at(0).failure);
    support::run({"gpgconf", "--kill", "all"});
    unsetenv("GNUPGHOME");
}
