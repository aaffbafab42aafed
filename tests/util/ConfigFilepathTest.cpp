#include "util/ConfigFilepath.h"

#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

using support::TemporaryDirectory;

namespace {

constexpr short capacity = zel::pathCapacity;

/// Changes the working directory for the duration of a test.
class WorkingDirectory {
public:
    explicit WorkingDirectory(std::string const& path) : m_previous(current()) {
        EXPECT_EQ(chdir(path.c_str()), 0) << path;
    }
    ~WorkingDirectory() { EXPECT_EQ(chdir(m_previous.c_str()), 0); }
    WorkingDirectory(WorkingDirectory const&) = delete;
    WorkingDirectory& operator=(WorkingDirectory const&) = delete;

private:
    static std::string current() {
        char buffer[4096];
        return getcwd(buffer, sizeof buffer);
    }

    std::string m_previous;
};

/// Sets the process's umask for the duration of a test.
class Umask {
public:
    explicit Umask(mode_t mask) : m_previous(umask(mask)) {}
    ~Umask() { umask(m_previous); }
    Umask(Umask const&) = delete;
    Umask& operator=(Umask const&) = delete;

private:
    mode_t m_previous;
};

bool isDirectory(std::string const& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

mode_t permissionsOf(std::string const& path) {
    struct stat status {};
    EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777;
}

/// Makes a directory below @p parent whose path has exactly @p length characters.
std::string directoryOfLength(std::string const& parent, std::size_t length) {
    std::string path = parent;
    while (path.size() < length) {
        std::size_t component = std::min<std::size_t>(length - path.size() - 1, 200);
        // A rest of a single character could hold no component behind its slash.
        if (length - path.size() - 1 - component == 1)
            --component;
        path += "/" + std::string(component, 'd');
        EXPECT_EQ(mkdir(path.c_str(), 0777), 0) << path;
    }
    return path;
}

std::string configFilepath(std::string const& directory, std::string const& name,
                           std::string const& suffix, short limit = capacity) {
    zel::PathBuffer path{};
    EXPECT_TRUE(zel::createConfigFilepath(path.data(), directory.c_str(), limit, name.c_str(),
                                          suffix.c_str()));
    return path.data();
}

bool formsAPathInTheWorkingDirectory(short limit) {
    zel::PathBuffer path{};
    return zel::createConfigFilepath(path.data(), "", limit, "a", ".xml");
}

} // namespace

TEST(CreateConfigFilepath, JoinsDirectoryNameAndSuffix) {
    TemporaryDirectory const temporary;
    EXPECT_EQ(configFilepath(temporary.path() + "/x", "Cali-1", ".xml"),
              temporary.path() + "/x/Cali-1.xml");
}

TEST(CreateConfigFilepath, TakesAnEmptySuffix) {
    TemporaryDirectory const temporary;
    EXPECT_EQ(configFilepath(temporary.path(), "Cali-1.dat", ""), temporary.path() + "/Cali-1.dat");
}

TEST(CreateConfigFilepath, MakesAMissingDirectory) {
    TemporaryDirectory const temporary;
    configFilepath(temporary.path() + "/x", "Cali-1", ".xml");
    EXPECT_TRUE(isDirectory(temporary.path() + "/x"));
}

TEST(CreateConfigFilepath, MakesTheDirectoryOpenToEverybodyWhenTheUmaskIs) {
    TemporaryDirectory const temporary;
    Umask const mask(0);
    configFilepath(temporary.path() + "/x", "Cali-1", ".xml");
    EXPECT_EQ(permissionsOf(temporary.path() + "/x"), mode_t{0777});
}

TEST(CreateConfigFilepath, DoesNotMakeTheFile) {
    TemporaryDirectory const temporary;
    std::string const path = configFilepath(temporary.path(), "Cali-1", ".xml");
    EXPECT_NE(access(path.c_str(), F_OK), 0);
}

TEST(CreateConfigFilepath, MakesNoParentsAndFormsThePathAllTheSame) {
    TemporaryDirectory const temporary;
    EXPECT_EQ(configFilepath(temporary.path() + "/x/y", "a", ".xml"),
              temporary.path() + "/x/y/a.xml");
    EXPECT_FALSE(isDirectory(temporary.path() + "/x"));
}

TEST(CreateConfigFilepath, DoublesTheSlashOfADirectoryThatEndsInOne) {
    EXPECT_EQ(configFilepath("/tmp/", "a", ".xml"), "/tmp//a.xml");
}

TEST(CreateConfigFilepath, TakesAnEmptyDirectoryForImagerInTheWorkingDirectory) {
    TemporaryDirectory const temporary;
    WorkingDirectory const here(temporary.path());
    EXPECT_EQ(configFilepath("", "a", ".xml"), temporary.path() + "/Imager/a.xml");
}

TEST(CreateConfigFilepath, MakesImagerInTheWorkingDirectory) {
    TemporaryDirectory const temporary;
    WorkingDirectory const here(temporary.path());
    configFilepath("", "a", ".xml");
    EXPECT_TRUE(isDirectory(temporary.path() + "/Imager"));
}

TEST(CreateConfigFilepath, ReplacesWhatTheBufferHeld) {
    zel::PathBuffer path{};
    path.fill('#');
    zel::createConfigFilepath(path.data(), "/tmp", capacity, "a", ".xml");
    EXPECT_STREQ(path.data(), "/tmp/a.xml");
}

TEST(CreateConfigFilepath, CutsADirectoryToTheCapacity) {
    EXPECT_EQ(configFilepath(std::string(300, 'd'), "a", ".xml"), std::string(260, 'd') + "/a.xml");
}

TEST(CreateConfigFilepath, CutsADirectoryToTheCapacityInABufferThatWasUsedBefore) {
    zel::PathBuffer path{};
    path.fill('#');
    zel::createConfigFilepath(path.data(), std::string(300, 'd').c_str(), capacity, "a", ".xml");
    EXPECT_EQ(path.data(), std::string(260, 'd') + "/a.xml");
}

TEST(CreateConfigFilepath, EndsADirectoryOfTheFullCapacityInABufferThatWasUsedBefore) {
    zel::PathBuffer path{};
    path.fill('#');
    zel::createConfigFilepath(path.data(), std::string(260, 'd').c_str(), capacity, "a", ".xml");
    EXPECT_EQ(path.data(), std::string(260, 'd') + "/a.xml");
}

TEST(CreateConfigFilepath, CutsNameAndSuffixToTheCapacityEach) {
    EXPECT_EQ(configFilepath("/tmp", std::string(300, 'n'), std::string(300, 's')),
              "/tmp/" + std::string(260, 'n') + std::string(260, 's'));
}

TEST(CreateConfigFilepath, CutsTheNameToASmallerCapacityButNotTheWorkingDirectory) {
    TemporaryDirectory const temporary;
    std::string const path = directoryOfLength(temporary.path(), 100);
    WorkingDirectory const here(path);
    EXPECT_EQ(configFilepath("", std::string(60, 'n'), ".xml", 50),
              path + "/Imager/" + std::string(50, 'n') + ".xml");
}

TEST(CreateConfigFilepath, FormsAPathInAWorkingDirectoryOfTwiceTheCapacity) {
    TemporaryDirectory const temporary;
    std::string const path = directoryOfLength(temporary.path(), 520);
    WorkingDirectory const here(path);
    EXPECT_EQ(configFilepath("", "a", ".xml"), path + "/Imager/a.xml");
}

TEST(CreateConfigFilepath, FailsInAWorkingDirectoryLongerThanTwiceTheCapacity) {
    TemporaryDirectory const temporary;
    WorkingDirectory const here(directoryOfLength(temporary.path(), 521));
    EXPECT_FALSE(formsAPathInTheWorkingDirectory(260));
}

TEST(CreateConfigFilepath, FailsWhenTheWorkingDirectoryIsGone) {
    TemporaryDirectory const temporary;
    std::string const path = directoryOfLength(temporary.path(), temporary.path().size() + 5);
    WorkingDirectory const here(path);
    ASSERT_EQ(rmdir(path.c_str()), 0);
    EXPECT_FALSE(formsAPathInTheWorkingDirectory(capacity));
}

TEST(CreateConfigFilepath, DoesNotNeedTheWorkingDirectoryWhenADirectoryIsGiven) {
    TemporaryDirectory const temporary;
    std::string const path = directoryOfLength(temporary.path(), temporary.path().size() + 5);
    WorkingDirectory const here(path);
    ASSERT_EQ(rmdir(path.c_str()), 0);
    EXPECT_EQ(configFilepath("/tmp", "a", ".xml"), "/tmp/a.xml");
}

TEST(CreateConfigFilepath, FailsForNullPointers) {
    zel::PathBuffer path{};
    EXPECT_FALSE(zel::createConfigFilepath(nullptr, "/tmp", capacity, "a", ".xml"));
    EXPECT_FALSE(zel::createConfigFilepath(path.data(), nullptr, capacity, "a", ".xml"));
    EXPECT_FALSE(zel::createConfigFilepath(path.data(), "/tmp", capacity, nullptr, ".xml"));
    EXPECT_FALSE(zel::createConfigFilepath(path.data(), "/tmp", capacity, "a", nullptr));
}

TEST(CreateConfigFilepath, FailsForANegativeCapacity) {
    zel::PathBuffer path{};
    EXPECT_FALSE(zel::createConfigFilepath(path.data(), "/tmp", -1, "a", ".xml"));
}
