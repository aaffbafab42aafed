#include "util/ConfigFilepath.h"

#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
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
        // A single remaining character has room for a slash, but not for a component after it.
        if (length - path.size() - 1 - component == 1)
            --component;
        path += "/" + std::string(component, 'd');
        EXPECT_EQ(mkdir(path.c_str(), 0777), 0) << path;
    }
    return path;
}

/// The path that is formed in a buffer full of '#'; nothing when the operation fails.
std::optional<std::string> configFilepath(std::string const& directory,
                                          std::string const& name = "a",
                                          std::string const& suffix = ".xml",
                                          short limit = capacity) {
    zel::PathBuffer path{};
    path.fill('#');
    if (!zel::createConfigFilepath(path.data(), directory.c_str(), limit, name.c_str(),
                                   suffix.c_str()))
        return std::nullopt;
    return path.data();
}

/// Asks in a working directory that was removed.
template <class Question>
void inARemovedWorkingDirectory(Question const& question) {
    TemporaryDirectory const temporary;
    std::string const path = temporary.path() + "/gone";
    ASSERT_EQ(mkdir(path.c_str(), 0777), 0);
    WorkingDirectory const here(path);
    ASSERT_EQ(rmdir(path.c_str()), 0);
    question();
}

} // namespace

TEST(CreateConfigFilepath, JoinsDirectoryNameAndSuffixEachCutToTheCapacity) {
    std::string const most(260, 'x');
    std::string const more(300, 'x');
    struct {
        std::string directory, name, suffix, path;
    } const cases[] = {
        {"/tmp", "Cali-1", ".xml", "/tmp/Cali-1.xml"},
        {"/tmp", "Cali-1.dat", "", "/tmp/Cali-1.dat"},
        {"/tmp/", "a", ".xml", "/tmp//a.xml"}, // nothing is normalised
        {most, "a", ".xml", most + "/a.xml"},
        {more, "a", ".xml", most + "/a.xml"},
        {"/tmp", more, more, "/tmp/" + most + most},
    };
    for (auto const& each : cases)
        EXPECT_EQ(configFilepath(each.directory, each.name, each.suffix), each.path);
}

TEST(CreateConfigFilepath, MakesAMissingDirectoryOpenToEverybodyWhenTheUmaskIs) {
    TemporaryDirectory const temporary;
    Umask const mask(0);
    std::string const path = temporary.path() + "/x/a.xml";
    EXPECT_EQ(configFilepath(temporary.path() + "/x"), path);
    EXPECT_EQ(permissionsOf(temporary.path() + "/x"), mode_t{0777});
    EXPECT_NE(access(path.c_str(), F_OK), 0) << "the file is not made";
}

TEST(CreateConfigFilepath, MakesNoParentsAndFormsThePathAllTheSame) {
    TemporaryDirectory const temporary;
    EXPECT_EQ(configFilepath(temporary.path() + "/x/y"), temporary.path() + "/x/y/a.xml");
    EXPECT_FALSE(isDirectory(temporary.path() + "/x"));
}

TEST(CreateConfigFilepath, TakesAnEmptyDirectoryForImagerInTheWorkingDirectory) {
    TemporaryDirectory const temporary;
    WorkingDirectory const here(temporary.path());
    EXPECT_EQ(configFilepath(""), temporary.path() + "/Imager/a.xml");
    EXPECT_TRUE(isDirectory(temporary.path() + "/Imager"));
}

TEST(CreateConfigFilepath, CutsTheNameToASmallerCapacityButNotTheWorkingDirectory) {
    TemporaryDirectory const temporary;
    std::string const path = directoryOfLength(temporary.path(), 100);
    WorkingDirectory const here(path);
    EXPECT_EQ(configFilepath("", std::string(60, 'n'), ".xml", 50),
              path + "/Imager/" + std::string(50, 'n') + ".xml");
}

TEST(CreateConfigFilepath, FailsInAWorkingDirectoryLongerThanTwiceTheCapacity) {
    TemporaryDirectory const temporary;
    std::string const longest = directoryOfLength(temporary.path(), 520);
    {
        WorkingDirectory const here(longest);
        EXPECT_EQ(configFilepath(""), longest + "/Imager/a.xml");
    }
    TemporaryDirectory const other;
    WorkingDirectory const here(directoryOfLength(other.path(), 521));
    EXPECT_EQ(configFilepath(""), std::nullopt);
}

TEST(CreateConfigFilepath, NeedsTheWorkingDirectoryOnlyWhenNoDirectoryIsGiven) {
    inARemovedWorkingDirectory([] {
        EXPECT_EQ(configFilepath(""), std::nullopt);
        EXPECT_EQ(configFilepath("/tmp"), "/tmp/a.xml");
    });
}

TEST(CreateConfigFilepath, FailsForNullPointersAndANegativeCapacity) {
    zel::PathBuffer path{};
    EXPECT_FALSE(zel::createConfigFilepath(nullptr, "/tmp", capacity, "a", ".xml"));
    EXPECT_FALSE(zel::createConfigFilepath(path.data(), nullptr, capacity, "a", ".xml"));
    EXPECT_FALSE(zel::createConfigFilepath(path.data(), "/tmp", capacity, nullptr, ".xml"));
    EXPECT_FALSE(zel::createConfigFilepath(path.data(), "/tmp", capacity, "a", nullptr));
    EXPECT_FALSE(zel::createConfigFilepath(path.data(), "/tmp", -1, "a", ".xml"));
}
