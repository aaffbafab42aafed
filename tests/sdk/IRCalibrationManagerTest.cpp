#include "sdk/IRCalibrationManager.h"

#include "tests/support/TemporaryDirectory.h"
#include "util/ConfigFilepath.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <memory>
#include <string>

#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

using Manager = zel::IRCalibrationManager;

/// Sets the process's umask until the end of the test.
class Umask {
public:
    explicit Umask(mode_t mask) : m_previous(umask(mask)) {}
    ~Umask() { umask(m_previous); }
    Umask(Umask const&) = delete;
    Umask& operator=(Umask const&) = delete;

private:
    mode_t m_previous;
};

mode_t permissionsOf(std::string const& path) {
    struct stat status {};
    EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777;
}

/// Makes the process work in a directory until the end of the test.
class WorkingDirectory {
public:
    explicit WorkingDirectory(std::string const& path) { fs::current_path(path); }
    ~WorkingDirectory() { fs::current_path(m_previous); }
    WorkingDirectory(WorkingDirectory const&) = delete;
    WorkingDirectory& operator=(WorkingDirectory const&) = delete;

private:
    fs::path m_previous = fs::current_path();
};

struct Formed {
    bool result;
    std::string path;
};

Formed form(std::string const& dir, char const* name, char const* suffix, short capacity = 260) {
    Manager manager;
    zel::PathBuffer path{};
    bool const result =
        manager.createConfigFilepath(path.data(), dir.c_str(), capacity, name, suffix);
    return {result, path.data()};
}

/// Makes a directory below another one whose path has exactly this length.
std::string directoryOfLength(std::string path, std::size_t length) {
    while (path.size() < length) {
        std::size_t const rest = length - path.size();
        path += "/" + std::string(rest > 202 ? 200 : rest - 1, 'd');
    }
    fs::create_directories(path);
    return path;
}

} // namespace

TEST(Manager, IsTheSameObjectOnEveryCall) {
    Manager* const first = Manager::getInstance();
    std::unique_ptr<Manager> const owner(Manager::getInstance());
    EXPECT_EQ(first, owner.get());
}

TEST(Manager, IsMadeOnTheFirstCall) {
    std::unique_ptr<Manager> const owner(Manager::getInstance());
    EXPECT_NE(owner, nullptr);
}

TEST(Manager, StartsAfreshAfterItsDestruction) {
    Manager::getInstance()->setCalibrationDir("/elsewhere");
    delete Manager::getInstance();
    std::unique_ptr<Manager> const fresh(Manager::getInstance());
    EXPECT_STREQ(fresh->getCalibrationDir(), "/usr/share/libzentho/cali");
}

TEST(Manager, IsForgottenWhenAnyManagerIsDestroyed) {
    std::unique_ptr<Manager> const first(Manager::getInstance());
    { Manager const other; }
    std::unique_ptr<Manager> const second(Manager::getInstance());
    EXPECT_NE(first, second);
}

TEST(Manager, StartsWithTheSystemsCalibrationDirectory) {
    Manager manager;
    EXPECT_STREQ(manager.getCalibrationDir(), "/usr/share/libzentho/cali");
}

TEST(Manager, StartsWithTheSystemsFormatsDirectory) {
    Manager manager;
    EXPECT_STREQ(manager.getFormatsDir(), "/usr/share/libzentho");
}

TEST(Manager, StartsWithoutOptics) {
    Manager manager;
    EXPECT_TRUE(manager.getAvailableOptics(0)->empty());
}

TEST(Manager, TakesAnotherCalibrationDirectoryWhetherOrNotItExists) {
    Manager manager;
    manager.setCalibrationDir("/nowhere/cali");
    EXPECT_STREQ(manager.getCalibrationDir(), "/nowhere/cali");
}

TEST(Manager, TakesAnotherFormatsDirectoryWhetherOrNotItExists) {
    Manager manager;
    manager.setFormatsDir("/nowhere/formats");
    EXPECT_STREQ(manager.getFormatsDir(), "/nowhere/formats");
}

TEST(Manager, KeepsTheFormatsDirectoryWhenTheCalibrationDirectoryChanges) {
    Manager manager;
    manager.setCalibrationDir("/nowhere");
    EXPECT_STREQ(manager.getFormatsDir(), "/usr/share/libzentho");
}

TEST(Manager, KeepsTheCalibrationDirectoryWhenTheFormatsDirectoryChanges) {
    Manager manager;
    manager.setFormatsDir("/nowhere");
    EXPECT_STREQ(manager.getCalibrationDir(), "/usr/share/libzentho/cali");
}

TEST(Manager, IgnoresANullCalibrationDirectory) {
    Manager manager;
    manager.setCalibrationDir(nullptr);
    EXPECT_STREQ(manager.getCalibrationDir(), "/usr/share/libzentho/cali");
}

TEST(Manager, IgnoresANullFormatsDirectory) {
    Manager manager;
    manager.setFormatsDir(nullptr);
    EXPECT_STREQ(manager.getFormatsDir(), "/usr/share/libzentho");
}

TEST(Manager, TakesAnEmptyCalibrationDirectory) {
    Manager manager;
    manager.setCalibrationDir("");
    EXPECT_STREQ(manager.getCalibrationDir(), "");
}

TEST(Manager, KeepsATrailingSlash) {
    Manager manager;
    manager.setCalibrationDir("/nowhere/");
    EXPECT_STREQ(manager.getCalibrationDir(), "/nowhere/");
}

TEST(Manager, KeepsACalibrationDirectoryOfTheFullCapacity) {
    Manager manager;
    std::string const text(260, 'd');
    manager.setCalibrationDir(text.c_str());
    EXPECT_EQ(manager.getCalibrationDir(), text);
}

TEST(Manager, CutsALongerCalibrationDirectory) {
    Manager manager;
    manager.setCalibrationDir(std::string(261, 'd').c_str());
    EXPECT_EQ(manager.getCalibrationDir(), std::string(260, 'd'));
}

TEST(Manager, KeepsAFormatsDirectoryOfTheFullCapacity) {
    Manager manager;
    std::string const text(260, 'd');
    manager.setFormatsDir(text.c_str());
    EXPECT_EQ(manager.getFormatsDir(), text);
}

TEST(Manager, CutsALongerFormatsDirectory) {
    Manager manager;
    manager.setFormatsDir(std::string(261, 'd').c_str());
    EXPECT_EQ(manager.getFormatsDir(), std::string(260, 'd'));
}

TEST(Manager, LeavesNothingOfALongerDirectoryAfterAShorterOne) {
    Manager manager;
    manager.setCalibrationDir("/a/long/directory/name");
    manager.setCalibrationDir("/b");
    EXPECT_STREQ(manager.getCalibrationDir(), "/b");
}

TEST(Manager, HandsOutTheCalibrationDirectoryItselfAndNoCopy) {
    Manager manager;
    char const* const buffer = manager.getCalibrationDir();
    manager.setCalibrationDir("/nowhere");
    EXPECT_STREQ(buffer, "/nowhere");
}

TEST(Manager, HandsOutTheFormatsDirectoryItselfAndNoCopy) {
    Manager manager;
    char const* const buffer = manager.getFormatsDir();
    manager.setFormatsDir("/nowhere");
    EXPECT_STREQ(buffer, "/nowhere");
}

TEST(Manager, SeesWhatACallerWritesIntoTheCalibrationDirectory) {
    Manager manager;
    manager.getCalibrationDir()[4] = '\0';
    EXPECT_STREQ(manager.getCalibrationDir(), "/usr");
}

TEST(MkDir, MakesADirectory) {
    support::TemporaryDirectory const temporary;
    EXPECT_EQ(zel::mkDir((temporary.path() + "/x").c_str()), 0);
    EXPECT_TRUE(fs::is_directory(temporary.path() + "/x"));
}

TEST(MkDir, LetsEverybodyInWhenTheUmaskDoes) {
    support::TemporaryDirectory const temporary;
    Umask const mask(0);
    zel::mkDir((temporary.path() + "/x").c_str());
    EXPECT_EQ(permissionsOf(temporary.path() + "/x"), mode_t{0777});
}

TEST(MkDir, ObeysTheUmask) {
    support::TemporaryDirectory const temporary;
    Umask const mask(027);
    zel::mkDir((temporary.path() + "/x").c_str());
    EXPECT_EQ(permissionsOf(temporary.path() + "/x"), mode_t{0750});
}

TEST(MkDir, GivesMinusOneForADirectoryThatExists) {
    support::TemporaryDirectory const temporary;
    EXPECT_EQ(zel::mkDir(temporary.path().c_str()), -1);
    EXPECT_EQ(errno, EEXIST);
}

TEST(MkDir, MakesNoParents) {
    support::TemporaryDirectory const temporary;
    EXPECT_EQ(zel::mkDir((temporary.path() + "/x/y").c_str()), -1);
    EXPECT_EQ(errno, ENOENT);
}

TEST(GetFolderPath, StoresTheWorkingDirectory) {
    support::TemporaryDirectory const temporary;
    WorkingDirectory const here(temporary.path());
    std::array<char, 521> buffer{};
    zel::getFolderPath(buffer.data(), 260);
    EXPECT_EQ(buffer.data(), temporary.path());
}

TEST(GetFolderPath, ReturnsTheBuffer) {
    std::array<char, 521> buffer{};
    EXPECT_EQ(zel::getFolderPath(buffer.data(), 260), buffer.data());
}

TEST(GetFolderPath, TakesAPathOfTwiceTheCapacity) {
    support::TemporaryDirectory const temporary;
    std::string const path = directoryOfLength(temporary.path(), 520);
    WorkingDirectory const here(path);
    std::array<char, 521> buffer{};
    ASSERT_NE(zel::getFolderPath(buffer.data(), 260), nullptr);
    EXPECT_EQ(buffer.data(), path);
}

TEST(GetFolderPath, GivesNullForAPathLongerThanTwiceTheCapacity) {
    support::TemporaryDirectory const temporary;
    WorkingDirectory const here(directoryOfLength(temporary.path(), 521));
    std::array<char, 521> buffer{};
    EXPECT_EQ(zel::getFolderPath(buffer.data(), 260), nullptr);
}

TEST(GetFolderPath, GivesNullWhenTheWorkingDirectoryIsGone) {
    support::TemporaryDirectory const temporary;
    std::string const path = directoryOfLength(temporary.path(), temporary.path().size() + 5);
    WorkingDirectory const here(path);
    ASSERT_EQ(rmdir(path.c_str()), 0);
    std::array<char, 521> buffer{};
    EXPECT_EQ(zel::getFolderPath(buffer.data(), 260), nullptr);
}

TEST(GetFolderPath, GivesNullForANullBuffer) {
    EXPECT_EQ(zel::getFolderPath(nullptr, 260), nullptr);
}

TEST(GetFolderPath, GivesNullForANegativeCapacity) {
    std::array<char, 521> buffer{};
    EXPECT_EQ(zel::getFolderPath(buffer.data(), -1), nullptr);
}

TEST(CreateConfigFilepath, JoinsDirectoryNameAndSuffix) {
    support::TemporaryDirectory const directory;
    auto const formed = form(directory.path(), "Cali-1", ".xml");
    EXPECT_TRUE(formed.result);
    EXPECT_EQ(formed.path, directory.path() + "/Cali-1.xml");
}

TEST(CreateConfigFilepath, UsesNothingOfTheManager) {
    support::TemporaryDirectory const directory;
    Manager manager;
    manager.setCalibrationDir("/nowhere");
    zel::PathBuffer path{};
    manager.createConfigFilepath(path.data(), directory.path().c_str(), 260, "a", "");
    EXPECT_EQ(path.data(), directory.path() + "/a");
}
