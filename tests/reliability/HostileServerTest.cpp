// A download server, a real one on the loopback interface, that tries to make the shell do more
// than fetch its files. The texts would make a file called "canary" in the working directory or in
// the target, if they did what they try.
#include "sdk/IRCalibrationManager.h"

#include "tests/support/Camera.h"
#include "tests/support/HttpServer.h"
#include "tests/support/Log.h"
#include "tests/support/LogLines.h"
#include "tests/support/Namespace.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iostream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include <unistd.h>

namespace {

namespace fs = std::filesystem;

using Lines = std::vector<std::string>;

/// Name and content of all that is below a directory.
using Tree = std::map<std::string, std::string>;

std::string const server = "http://download.zentho.example";
std::string const linksCommand = "http://download.zentho.example/downloadlinks.xml -O"
                                 " /tmp/downloadlinks.xml";

Tree tree(std::string const& directory) {
    Tree entries;
    for (auto const& entry : fs::recursive_directory_iterator(directory)) {
        auto const name = entry.path().lexically_relative(directory).string();
        entries[name] = entry.is_regular_file() ? support::readFile(entry.path()) : "";
    }
    return entries;
}

Lines namesIn(std::string const& directory) {
    Lines names;
    for (auto const& entry : fs::directory_iterator(directory))
        names.push_back(entry.path().filename());
    return names;
}

/// What is served, a target, a working directory and a `wget` that notes how it was called and then
/// runs the real one.
class World {
public:
    World() {
        fs::create_directories(m_seen.path() + "/www");
        fs::create_directories(m_seen.path() + "/work");
        fs::create_directories(target());
        auto const wget = m_unseen.path() + "/bin/wget";
        support::writeFile(wget, "#!/bin/sh\necho \"$*\" >> " + noteFile() +
                                     "\nexec /usr/bin/wget \"$@\"\n");
        fs::permissions(wget, fs::perms::owner_all);
        setenv("PATH", (m_unseen.path() + "/bin:/usr/bin:/bin").c_str(), 1);
        setenv("HOME", m_unseen.path().c_str(), 1);
        fs::current_path(m_seen.path() + "/work");
    }

    std::string target() const { return m_seen.path() + "/target"; }
    std::string outside() const { return m_seen.path() + "/outside"; }
    std::string served(std::string const& path) const { return m_seen.path() + "/www" + path; }

    void serveLink(std::string const& link) const {
        support::writeFile(served("/downloadlinks.xml"),
                           "<DownloadLinks>\n<Imager>\n<CaliData>\n<Links>\n<string>" + link +
                               "</string>\n</Links>\n</CaliData>\n</Imager>\n</DownloadLinks>\n");
    }

    /// All that a command could have changed, but for the server's log and the notes.
    Tree everything() const { return tree(m_seen.path()); }

    /// How `wget` was called since the last question.
    Lines calls() const {
        auto const found =
            fs::exists(noteFile()) ? support::lines(support::readFile(noteFile())) : Lines{};
        fs::remove(noteFile());
        return found;
    }

private:
    std::string noteFile() const { return m_unseen.path() + "/calls"; }

    support::TemporaryDirectory m_seen;
    support::TemporaryDirectory m_unseen;
};

void inWorld(std::function<void(World const&, support::HttpServer const&)> const& body) {
    support::inPrivateNamespaces([&] {
        support::mountTmpfs("/tmp");
        unsetenv("TMPDIR");
        for (auto const* name : {"http_proxy", "HTTP_PROXY", "WGETRC", "SYSTEM_WGETRC"})
            unsetenv(name);
        setenv("no_proxy", "*", 1);
        support::resolveToLoopback("download.zentho.example");
        World const world;
        support::HttpServer const web(world.served(""));
        body(world, web);
        fs::current_path("/");
    });
}

/// The requests since the last question.
class Requests {
public:
    explicit Requests(support::HttpServer const& web) : m_web(web) {}

    Lines fresh() {
        auto const all = m_web.requests();
        Lines const found(all.begin() + static_cast<std::ptrdiff_t>(m_known), all.end());
        m_known = all.size();
        return found;
    }

private:
    support::HttpServer const& m_web;
    std::size_t m_known = 0;
};

struct Outcome {
    bool result;
    Lines log;
};

Outcome fetch(World const& world, char const* list) {
    Outcome outcome{};
    outcome.log = support::logOf([&] {
        outcome.result =
            zel::IRCalibrationManager::downloadTarget(list, "12345678", world.target());
    });
    return outcome;
}

Outcome install(World const& world, unsigned long serial) {
    zel::IRCalibrationManager manager;
    manager.setCalibrationDir(world.target().c_str());
    Outcome outcome{};
    outcome.log = support::logOf([&] { outcome.result = manager.downloadCalibration(serial); });
    return outcome;
}

/// The log line of a file that could not be fetched, as far as it stands on one line.
std::string notDownloaded(std::string const& url) {
    return support::lines("ERROR [sdk/IRCalibrationManager:LINE] @ TIMEs :Error downloading \"" +
                          url + "\"")[0];
}

/// The line breaks of a document vanish when it is read, but for this one, which becomes a plain
/// one.
std::string asRead(std::string text) {
    for (char& c : text) {
        if (c == '\r')
            c = '\n';
    }
    return text;
}

Lines hostileLinks() {
    Lines const afterTheServer{
        "\"; touch canary; \"",
        "\" && touch canary && \"",
        "\" || touch canary || \"",
        "\" & touch canary & \"",
        "\" | tee canary | cat \"",
        "\" > canary \"",
        "\" >> canary \"",
        "\" 2>canary \"",
        "\" < /etc/passwd > canary \"",
        "\" -O canary \"",
        "\" --post-file=/etc/passwd -O canary \"",
        "\"\"",
        "\"",
        "$(touch canary)",
        "$(touch${IFS}canary)",
        "${HOME}",
        "$[1+1]",
        "$HOME",
        "$((1+1))",
        "`touch canary`",
        "`",
        "\\\\",
        "\\$",
        "\\\"; touch canary; \\\"",
        "\"\rtouch canary\r\"",
    };
    Lines links{"-i/etc/passwd",
                "--input-file=/etc/passwd",
                "-Ocanary",
                "--output-document=canary",
                "-ocanary",
                "--config=/etc/passwd",
                "--use-askpass=canary",
                "-e output_document=canary",
                "-"};
    for (auto const& text : afterTheServer)
        links.push_back(server + "/cali" + text);
    return links;
}

Lines hostileNames() {
    return {
        "\" touch canary \"",
        "\"",
        "'",
        "' touch canary '",
        "$(touch canary)",
        "$(touch${IFS}canary)",
        "${HOME}",
        "$HOME",
        "$((1+1))",
        "`touch canary`",
        "`",
        "\\",
        "\\ canary",
        "\rtouch canary\r",
        "a\r",
        "& touch canary &",
        "&&touch canary&&",
        "&",
        "|tee canary|cat",
        "||touch canary||",
        "> canary ",
        ">canary",
        ">>canary",
        ">&canary",
        "2>canary",
        "< /etc/passwd",
        "<<canary",
        " -O canary",
        "\t-O canary",
        " --output-document=canary",
        " --input-file=/etc/passwd",
        " -i /etc/passwd",
        "a -",
        "*",
        "a?",
        "[a]",
        "{a,b}",
        " --",
    };
}

} // namespace

TEST(AHostileLink, StartsNoCommandAndCountsAsOneThatCouldNotBeStarted) {
    inWorld([](World const& world, support::HttpServer const& web) {
        Requests requests(web);
        for (auto const& link : hostileLinks()) {
            SCOPED_TRACE("link: " + link);
            world.serveLink(link);
            auto const before = world.everything();
            auto const outcome = fetch(world, "a;");
            EXPECT_FALSE(outcome.result);
            EXPECT_EQ(outcome.log,
                      Lines{notDownloaded(asRead(link) + "/12/1234/Califiles SN12345678/a")});
            EXPECT_EQ(world.calls(), Lines{linksCommand});
            EXPECT_EQ(requests.fresh(), Lines{"GET /downloadlinks.xml 200"});
            EXPECT_EQ(world.everything(), before);
            EXPECT_FALSE(fs::exists("/tmp/downloadlinks.xml"));
        }
        std::cout << hostileLinks().size() << " hostile links tried\n";
    });
}

TEST(AHostileLink, LeavesNothingBesideTheWorldItself) {
    inWorld([](World const& world, support::HttpServer const&) {
        auto const before = namesIn("/tmp").size();
        for (auto const& link : hostileLinks()) {
            world.serveLink(link);
            fetch(world, "a;");
        }
        EXPECT_EQ(namesIn("/tmp").size(), before);
    });
}

namespace {

/// Where a camera's files are served.
std::string repository(unsigned long serial) {
    auto const text = std::to_string(serial);
    return "/cali/" + text.substr(0, 2) + "/" + text.substr(0, 4) + "/Califiles SN" + text + "/";
}

std::string withPlainBlanks(std::string path) {
    for (auto at = path.find(' '); at != std::string::npos; at = path.find(' ', at))
        path.replace(at, 1, "%20");
    return path;
}

void serveDescription(World const& world, unsigned long serial, std::string const& text) {
    auto const camera = support::camera(static_cast<int>(serial)).optic(23).text(text).range(0, 9);
    support::writeFile(world.served(repository(serial)) + camera.descriptionName(),
                       camera.description());
}

} // namespace

TEST(AHostileFileName, StartsNoCommandAndCountsAsOneThatCouldNotBeStarted) {
    inWorld([](World const& world, support::HttpServer const& web) {
        Requests requests(web);
        world.serveLink(server + "/cali");
        unsigned long serial = 10000000; // another for each, since a description is read only once
        for (auto const& text : hostileNames()) {
            ++serial;
            SCOPED_TRACE("optics text: " + text);
            serveDescription(world, serial, text);
            auto expected = world.everything();
            auto const description = "Cali-" + std::to_string(serial) + ".xml";
            auto const outcome = install(world, serial);

            auto const stem = std::to_string(serial) + "-23-" + asRead(text) + "-0-9";
            auto const url = server + repository(serial);
            EXPECT_FALSE(outcome.result);
            EXPECT_EQ(outcome.log,
                      (Lines{notDownloaded(url + "Cali-" + stem + ".dat"),
                             notDownloaded(url + "Kennlinie-" + stem + ".prn"),
                             "INFO [sdk/IRCalibrationManager:LINE] @ TIMEs :Download failed."}));
            EXPECT_EQ(world.calls(),
                      (Lines{linksCommand,
                             url + description + " -O " + world.target() + "/" + description,
                             linksCommand}));
            EXPECT_EQ(requests.fresh(),
                      (Lines{"GET /downloadlinks.xml 200",
                             "GET " + withPlainBlanks(repository(serial)) + description + " 200",
                             "GET /downloadlinks.xml 200"}));
            expected["target/" + description] =
                support::readFile(world.target() + "/" + description);
            EXPECT_EQ(world.everything(), expected);
        }
        std::cout << hostileNames().size() << " hostile file names tried\n";
    });
}

// A semicolon separates names before it could reach the shell.
TEST(AHostileFileName, WithSemicolonsOnlyMakesMoreNames) {
    inWorld([](World const& world, support::HttpServer const&) {
        world.serveLink(server + "/cali");
        unsigned long serial = 10000000;
        for (std::string const text :
             {"a;touch canary;b", ";touch canary;", ";;", "a;touch;canary"}) {
            ++serial;
            SCOPED_TRACE("optics text: " + text);
            serveDescription(world, serial, text);
            auto const expected = tree(world.served(""));
            install(world, serial);
            EXPECT_EQ(tree(world.served("")), expected);
            EXPECT_TRUE(fs::is_empty(fs::current_path()));
        }
    });
}

TEST(AHostileFileName, ReachesNoFileOutsideTheTarget) {
    inWorld([](World const& world, support::HttpServer const&) {
        world.serveLink(server + "/cali");
        unsigned long const serial = 10000001;
        serveDescription(world, serial, ";../outside/profile;../outside/precious;");
        support::writeFile(world.served("/cali/10/1000/outside/profile"), "hostile");
        support::writeFile(world.outside() + "/precious", "precious");
        install(world, serial);
        EXPECT_EQ(tree(world.outside()), (Tree{{"precious", "precious"}}));
    });
}

// A longer or shorter serial number is another camera's, and so is one that the shell makes of a
// pattern.
TEST(AHostileFileName, ReachesNoFileOfAnotherCamera) {
    inWorld([](World const& world, support::HttpServer const&) {
        world.serveLink(server + "/cali");
        unsigned long const serial = 10000001;
        serveDescription(world, serial,
                         ";Cali-10000002.xml;Kennlinie-100000010-1.prn;Cali-1000000.xml;"
                         "Cali-10000001?-x.dat;Cali-10000001{3-x,}.dat;notes;");
        Tree others;
        for (std::string const name :
             {"Cali-10000002.xml", "Kennlinie-100000010-1.prn", "Cali-1000000.xml",
              "Cali-100000012-x.dat", "Cali-100000013-x.dat", "notes"}) {
            others[name] = "precious";
            support::writeFile(world.target() + "/" + name, "precious");
        }
        install(world, serial);
        for (auto const& [name, content] : others)
            EXPECT_EQ(support::readFile(world.target() + "/" + name), content) << name;
    });
}

// After the hostile name the list goes on; a refused file does not fail one that was fetched.
TEST(AHostileFileName, DoesNotKeepTheOthersFromBeingFetched) {
    inWorld([](World const& world, support::HttpServer const&) {
        world.serveLink(server + "/cali");
        support::writeFile(world.served("/cali/12/1234/Califiles SN12345678/good"), "content");
        auto const outcome = fetch(world, "$(touch canary);good;`touch canary`;");
        EXPECT_TRUE(outcome.result);
        EXPECT_EQ(outcome.log, Lines{notDownloaded(server + "/cali/12/1234/Califiles SN12345678/"
                                                            "$(touch canary)")});
        EXPECT_EQ(world.calls(),
                  (Lines{linksCommand, server + "/cali/12/1234/Califiles SN12345678/good -O " +
                                           world.target() + "/good"}));
        EXPECT_EQ(support::readFile(world.target() + "/good"), "content");
    });
}

TEST(AHarmlessLink, ReachesWgetAsItIs) {
    inWorld([](World const& world, support::HttpServer const&) {
        for (std::string const text : {"/a b", "/a&b|c;d<e", "/a'b", "/a(b)*?[c]{d,e}", "/~#!",
                                       "/ -x", "/share$/x", "/$", "/\\x\\"}) {
            SCOPED_TRACE("link: " + text);
            world.serveLink(server + text);
            EXPECT_TRUE(fetch(world, "f;").result);
            EXPECT_EQ(world.calls(),
                      (Lines{linksCommand, server + text + "/12/1234/Califiles SN12345678/f -O " +
                                               world.target() + "/f"}));
        }
        EXPECT_TRUE(fs::is_empty(fs::current_path()));
    });
}

TEST(AHarmlessFileName, ReachesWgetAsItIs) {
    inWorld([](World const& world, support::HttpServer const&) {
        world.serveLink(server + "/cali");
        for (std::string const name :
             {"-x", "a-b", "a%20b", "\xC3\xA4", "a=b,c@d+e_f~g#h", "a$", "a$.b", "a\v-O"}) {
            SCOPED_TRACE("name: " + name);
            EXPECT_TRUE(fetch(world, (name + ";").c_str()).result);
            EXPECT_EQ(world.calls(),
                      (Lines{linksCommand, server + "/cali/12/1234/Califiles SN12345678/" + name +
                                               " -O " + world.target() + "/" + name}));
        }
    });
}
