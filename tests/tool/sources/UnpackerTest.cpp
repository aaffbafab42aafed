#include "tool/sources/unpack/Unpacker.h"

#include "store/Members.h"
#include "util/FileDescriptor.h"

#include "tests/support/Archives.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <clocale>
#include <csignal>
#include <filesystem>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using support::readFile;
using support::writeFile;
using unpack::Wanted;
using zel::FileDescriptor;
using zel::frames::Frame;
using zel::store::Members;

Wanted const everything{};

Wanted camera(unsigned long serial) {
    return {false, serial};
}

/// Bytes that no packer makes smaller.
std::string noise(std::size_t size) {
    std::mt19937 engine(7);
    std::string bytes;
    while (bytes.size() < size)
        bytes += static_cast<char>(engine() & 0xFFU);
    return bytes;
}

/// What is told of an open archive: a line for each member, sorted, and how it ended. Shows bytes
/// that are few.
/// @param contents Receives the bytes of whole members, if not null.
std::string toldOf(int archive, Wanted const& wanted,
                   std::vector<std::string>* contents = nullptr) {
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    std::thread unpacking([&] {
        zel::frames::FrameWriter const out(ends[1]);
        zel::frames::Header sandbox; // the launcher's part
        sandbox.type = Frame::sandbox;
        out.write(sandbox);
        unpack::unpack(archive, wanted, out);
        close(ends[1]);
    });
    Members members(1);
    std::vector<std::string> lines;
    std::string bytes;
    std::string last = "nothing";
    for (ssize_t count = 1; count > 0;) {
        count = read(ends[0], members.room(), members.roomSize());
        members.filled(static_cast<std::size_t>(count));
        while (auto const event = members.next()) {
            auto const& header = event->header;
            constexpr char const* kinds[]{"file", "link", "other", "hard link", "name"};
            if (header.type == Frame::member) {
                lines.push_back(kinds[header.kind] + (" " + event->names->path));
                if (!event->names->target.empty())
                    lines.back() += " = " + event->names->target;
                bytes.clear();
            } else if (header.type == Frame::data) {
                bytes += event->bytes;
            } else if (header.type == Frame::end) {
                if (contents != nullptr)
                    contents->push_back(bytes);
                lines.back() += ": " + (bytes.size() < 40 ? bytes : std::to_string(bytes.size()));
            } else if (header.type == Frame::broken) {
                lines.back() += header.kind == 0 ? ": wrong sum" : ": undecodable";
            } else if (header.type == Frame::done) {
                last = "done";
            } else if (header.type == Frame::failed) {
                constexpr char const* troubles[]{"no archive",  "encrypted",  "cut",      "spoilt",
                                                 "unsupported", "unreadable", "no memory"};
                last = troubles[header.kind];
            }
        }
    }
    unpacking.join();
    close(ends[0]);
    EXPECT_FALSE(members.isWrong());
    std::sort(lines.begin(), lines.end());
    std::string text;
    for (std::string const& line : lines)
        text += line + "\n";
    return text + last;
}

class Unpacker : public testing::Test {
protected:
    Unpacker() { fs::create_directories(folder); }

    std::string told(std::string const& path, Wanted const& wanted = everything) const {
        FileDescriptor const archive(open(path.c_str(), O_RDONLY));
        EXPECT_TRUE(archive.valid());
        return toldOf(archive.get(), wanted);
    }
    void put(std::string const& name, std::string const& content) const {
        writeFile(folder + "/" + name, content);
    }
    std::string packed(std::string const& format) const {
        std::string const archive = root.path() + "/set." + format;
        support::pack(folder, archive);
        return archive;
    }
    std::string byPython(std::string const& script, std::string const& name) const {
        std::string const archive = root.path() + "/" + name;
        support::packByPython(script, archive);
        return archive;
    }
    /// Changes the first place where these bytes stand.
    static void change(std::string const& path, std::string const& bytes, std::string const& to) {
        std::string content = readFile(path);
        auto const place = content.find(bytes);
        ASSERT_NE(place, std::string::npos);
        writeFile(path, content.replace(place, bytes.size(), to));
    }

    support::TemporaryDirectory const root;
    std::string const folder = root.path() + "/folder";
};

std::string withoutDots(std::string text) {
    for (auto dot = text.find(" ./"); dot != std::string::npos; dot = text.find(" ./"))
        text.erase(dot + 1, 2);
    return text;
}

} // namespace

TEST_F(Unpacker, ReadsEveryFormat) {
    put("Cali-7.xml", "description");
    put("a/b/Kennlinie-7-x.prn", noise(600000));
    put("a/Cali-7-empty.dat", "");
    put("a/readme.txt", "nothing of a camera");
    put("Cali-71.xml", "another");
    put("SHA256SUMS", "sums");
    put("a/SHA256SUMS.asc", "signed");
    for (std::string const& format : support::archiveFormats()) {
        std::string const archive = packed(format);
        EXPECT_EQ(withoutDots(told(archive, camera(7))), "file Cali-7.xml: description\n"
                                                         "file SHA256SUMS: sums\n"
                                                         "file a/Cali-7-empty.dat: \n"
                                                         "file a/SHA256SUMS.asc: signed\n"
                                                         "file a/b/Kennlinie-7-x.prn: 600000\n"
                                                         "name Cali-71.xml\n"
                                                         "done")
            << format;
        EXPECT_EQ(withoutDots(told(archive, {true, 0})), "name Cali-7.xml\nname Cali-71.xml\ndone");
    }
}

TEST_F(Unpacker, ReadsEveryCamera) {
    put("CALI-7.XML", "description");
    put("Cali-71.xml", "another");
    EXPECT_EQ(told(packed("zip")), "file CALI-7.XML: description\nfile Cali-71.xml: another\ndone");
}

TEST_F(Unpacker, TellsLinksAndDevicesOfTheCameraAlone) {
    put("Cali-7.xml", "description");
    for (std::string const name : {"Cali-7-l.dat", "Cali-8-l.dat", "link"})
        fs::create_symlink("Cali-7.xml", folder + "/" + name);
    ASSERT_EQ(mkfifo((folder + "/Cali-7-p.dat").c_str(), 0600), 0);
    fs::create_directory(folder + "/Cali-7-folder.dat");
    EXPECT_EQ(withoutDots(told(packed("tar"), camera(7))), "file Cali-7.xml: description\n"
                                                           "link Cali-7-l.dat\n"
                                                           "other Cali-7-p.dat\n"
                                                           "done");
}

TEST_F(Unpacker, TellsWhatAHardLinkStandsFor) {
    put("Cali-7.xml", "description");
    fs::create_hard_link(folder + "/Cali-7.xml", folder + "/Cali-7-h.dat");
    std::string const text = withoutDots(told(packed("tar.gz"), camera(7)));
    bool const isFirst = text.find("file Cali-7.xml") != std::string::npos;
    EXPECT_EQ(text, isFirst ? "file Cali-7.xml: description\n"
                              "hard link Cali-7-h.dat = Cali-7.xml\ndone"
                            : "file Cali-7-h.dat: description\n"
                              "hard link Cali-7.xml = Cali-7-h.dat\ndone");
}

TEST_F(Unpacker, ReadsAgainWhatOnlyALinkNeeds) {
    std::string const archive =
        byPython("import tarfile, io\n"
                 "t = tarfile.open(archive, 'w')\n"
                 "i = tarfile.TarInfo('blob'); i.size = 5; t.addfile(i, io.BytesIO(b'bytes'))\n"
                 "def link(name, target):\n"
                 "    i = tarfile.TarInfo(name); i.type = tarfile.LNKTYPE; i.linkname = target\n"
                 "    t.addfile(i)\n"
                 "link('Cali-7.xml', './blob')\n"
                 "link('a/Cali-7.xml', 'blob')\n"
                 "link('b/Cali-7.xml', 'a/Cali-7.xml')\n"
                 "link('Cali-7-none.dat', 'nothing')\n"
                 "link('Cali-8.dat', 'nothing')\n"
                 "t.close()\n",
                 "set.tar");
    EXPECT_EQ(told(archive, camera(7)), "file Cali-7.xml: bytes\n"
                                        "hard link Cali-7-none.dat = nothing\n"
                                        "hard link a/Cali-7.xml = Cali-7.xml\n"
                                        "hard link b/Cali-7.xml = a/Cali-7.xml\ndone");
}

TEST_F(Unpacker, ReadsNoFurtherThanLinksNeedEvenPastNamesThatItCannotConvert) {
    ASSERT_NE(std::setlocale(LC_CTYPE, "C"), nullptr);
    std::string const archive =
        byPython("import tarfile, io\n"
                 "t = tarfile.open(archive, 'w', format=tarfile.PAX_FORMAT)\n"
                 "for name in ('M\\u00fcnchen', 'blob', 'last'):\n"
                 "    i = tarfile.TarInfo(name); i.size = 5; t.addfile(i, io.BytesIO(b'bytes'))\n"
                 "i = tarfile.TarInfo('Cali-7.xml'); i.type = tarfile.LNKTYPE\n"
                 "i.linkname = 'blob'; t.addfile(i)\n"
                 "t.close()\n",
                 "set.tar");
    EXPECT_EQ(told(archive, camera(7)), "file Cali-7.xml: bytes\ndone");
}

TEST_F(Unpacker, TakesALinkWithTheModeOfAFolderForALink) {
    std::string const archive = byPython(
        "import tarfile, io\n"
        "def header(name, kind, target, mode, size):\n"
        "    i = tarfile.TarInfo(name); i.type = kind; i.linkname = target; i.size = size\n"
        "    b = bytearray(i.tobuf(tarfile.USTAR_FORMAT))\n"
        "    b[100:108] = b'%07o\\0' % mode\n"
        "    b[148:156] = b' ' * 8\n"
        "    b[148:156] = b'%06o\\0 ' % sum(b)\n"
        "    return bytes(b)\n"
        "open(archive, 'wb').write(\n"
        "    header('Cali-7.xml', tarfile.REGTYPE, '', 0o644, 5) + b'first'.ljust(512, b'\\0') +\n"
        "    header('Cali-7-l.dat', tarfile.LNKTYPE, 'Cali-7.xml', 0o40755, 0) + bytes(1024))\n",
        "set.tar");
    EXPECT_EQ(told(archive, camera(7)),
              "file Cali-7.xml: first\nhard link Cali-7-l.dat = Cali-7.xml\ndone");
}

TEST_F(Unpacker, ReadsATarThatIsFilledUpWithManyZeros) {
    put("Cali-7.xml", "description");
    std::string const archive = packed("tar");
    std::string const whole = told(archive);
    writeFile(archive, readFile(archive) + std::string(2000000, '\0'));
    EXPECT_EQ(told(archive), whole);
    ASSERT_EQ(std::system(("gzip -f " + archive).c_str()), 0);
    EXPECT_EQ(told(archive + ".gz"), whole);
}

TEST_F(Unpacker, KnowsZstdFilesThatBeginWithAFrameToSkip) {
    put("Cali-7.xml", "description");
    std::string const archive = packed("tar.zst");
    std::string const whole = told(archive);
    std::string const skipped("\x5A\x2A\x4D\x18\x02\0\0\0xx", 10);
    writeFile(archive, skipped + readFile(archive));
    EXPECT_EQ(told(archive), whole);
}

TEST_F(Unpacker, SaysWhatIsEncrypted) {
    put("Cali-7.xml", "description");
    put("other.txt", "other");
    auto const packSecretly = [&](std::string const& name, std::string const& options) {
        std::string const path = root.path() + "/" + name;
        std::string const command =
            "7z a -bd -y -psecret " + options + " " + path + " . > /dev/null";
        EXPECT_EQ(std::system(("cd " + folder + " && " + command).c_str()), 0);
        return path;
    };
    for (auto const& archive : {packSecretly("a.zip", ""), packSecretly("aes.zip", "-mem=AES256"),
                                packSecretly("a.7z", ""), packSecretly("headers.7z", "-mhe=on")})
        EXPECT_EQ(told(archive, camera(7)), "encrypted") << archive;
}

TEST_F(Unpacker, ReadsNothingElse) {
    for (std::string const& content :
         {std::string(), std::string("text"), std::string(10240, '\0'), noise(100000),
          std::string("\x1F\x8B\x08"), std::string("PK\x03\x04"),
          std::string("7z\xBC\xAF\x27\x1C")}) {
        writeFile(root.path() + "/none", content);
        std::string const text = told(root.path() + "/none");
        EXPECT_TRUE(text == "no archive" || text == "spoilt") << text;
    }
    put("Cali-7.xml", "description");
    for (std::string const format : {"cpio", "iso", "ar", "warc", "xar", "mtree"}) {
        std::string const archive = root.path() + "/x." + format;
        std::string const command = "cd " + folder + " && bsdtar -cf " + archive + " --format " +
                                    (format == "iso" ? "iso9660" : format) + " Cali-7.xml";
        ASSERT_EQ(std::system(command.c_str()), 0);
        EXPECT_EQ(told(archive), "no archive") << format;
    }
    std::string const twice = root.path() + "/x.tar.gz";
    ASSERT_EQ(std::system(("gzip -c " + packed("zip") + " > " + twice).c_str()), 0);
    EXPECT_EQ(told(twice), "no archive");
}

TEST_F(Unpacker, SaysWhatTheSystemCannotRead) {
    put("Cali-7.xml", "description");
    FileDescriptor const writeOnly(open(packed("zip").c_str(), O_WRONLY));
    EXPECT_EQ(toldOf(writeOnly.get(), everything), "unreadable");
    EXPECT_EQ(toldOf(-1, everything), "unreadable");
}

TEST_F(Unpacker, GoesOnBehindDamagedMembersOfAZip) {
    put("Cali-7-a.dat", "intact");
    put("Cali-7-b.dat", "this is stored as it is");
    put("Cali-7-c.dat", std::string(100000, 'c'));
    put("Cali-7-d.dat", "intact, too");
    std::string const archive =
        byPython("import zipfile, os\n"
                 "os.chdir('" +
                     folder +
                     "')\n"
                     "z = zipfile.ZipFile(archive, 'w')\n"
                     "for name in sorted(os.listdir('.')):\n"
                     "    z.write(name, compress_type = 8 if '-c.' in name else 0)\n"
                     "z.close()\n",
                 "set.zip");
    change(archive, "stored", "STORED");
    std::string const damaged = readFile(archive);
    auto const place = damaged.find("Cali-7-c.dat") + 12;
    writeFile(archive, std::string(damaged).replace(place, 6, "\xFF\xFF\xFF\xFF\xFF\xFF"));
    EXPECT_EQ(told(archive), "file Cali-7-a.dat: intact\n"
                             "file Cali-7-b.dat: wrong sum\n"
                             "file Cali-7-c.dat: undecodable\n"
                             "file Cali-7-d.dat: intact, too\n"
                             "done");
}

TEST_F(Unpacker, GivesUpAnArchiveWithTooManyDamagedMembers) {
    std::string const archive =
        byPython("import zipfile\n"
                 "z = zipfile.ZipFile(archive, 'w', compression=8)\n"
                 "for i in range(32): z.writestr('Cali-7-%i.dat' % i, 'x' * 1000)\n"
                 "z.close()\n"
                 "b = bytearray(open(archive, 'rb').read())\n"
                 "for i in z.infolist(): b[i.header_offset + 30 + len(i.filename)] = 255\n"
                 "open(archive, 'wb').write(b)\n",
                 "set.zip");
    std::string const text = told(archive);
    EXPECT_EQ(text.substr(text.rfind('\n') + 1), "spoilt");
}

TEST_F(Unpacker, FindsAnyDamageThatAnArchiveHasASumFor) {
    put("Cali-7.xml", "description");
    put("Cali-7-noise.dat", noise(600000));
    for (std::string const format : {"zip", "7z", "tar.gz", "tar.xz"}) {
        std::string const archive = packed(format);
        std::string const intact = told(archive);
        ASSERT_EQ(intact.substr(intact.size() - 4), "done");
        std::string content = readFile(archive);
        content[content.size() / 2] ^= 0x55;
        writeFile(archive, content);
        std::string const text = told(archive);
        EXPECT_NE(text, intact) << format;
        EXPECT_TRUE(text.find("spoilt") != std::string::npos ||
                    text.find("wrong sum") != std::string::npos)
            << format << text;
    }
}

TEST_F(Unpacker, FindsThatAnArchiveWasCut) {
    put("Cali-7.xml", "description");
    put("Cali-7-noise.dat", noise(2000));
    put("Cali-7-zeros.dat", std::string(3000, 'z'));
    for (std::string const& format : support::archiveFormats()) {
        std::string const archive = packed(format);
        std::string const content = readFile(archive);
        for (std::size_t part = 0; part < 50; ++part) {
            writeFile(archive, content.substr(0, content.size() * part / 50));
            std::string const text = told(archive);
            bool const isDone = text.substr(text.rfind('\n') + 1) == "done";
            // bsdtar fills the last blocks with zeros, of which two are enough.
            std::string const all = text.substr(0, text.size() - 4);
            bool const isWhole = std::count(all.begin(), all.end(), '\n') == 3 &&
                                 all.find("wrong") == std::string::npos;
            EXPECT_TRUE(!isDone || (isWhole && format == "tar")) << format << part << text;
        }
    }
}

TEST_F(Unpacker, FindsATarThatEndsBetweenTwoMembers) {
    put("Cali-7.xml", "description");
    std::string const archive = packed("tar");
    std::string const whole = told(archive);
    std::string const content = readFile(archive);
    auto const end = content.find_last_not_of('\0') / 512 * 512 + 512;
    writeFile(archive, content.substr(0, end));
    EXPECT_EQ(told(archive),
              withoutDots(whole).substr(0, 0) + whole.substr(0, whole.size() - 4) + "cut");
    ASSERT_EQ(std::system(("gzip -f " + archive).c_str()), 0);
    EXPECT_EQ(told(archive + ".gz"), whole.substr(0, whole.size() - 4) + "cut");
    writeFile(archive, content.substr(0, end + 1024));
    EXPECT_EQ(told(archive), whole);
}

TEST_F(Unpacker, DoesNotTakeZerosOfTheLastMemberForTheEndOfATar) {
    std::string const zeros = "matrix" + std::string(4090, '\0');
    put("Cali-7.dat", zeros);
    std::string const archive = packed("tar");
    std::string const whole = told(archive);
    std::string const content = readFile(archive);
    writeFile(archive, content.substr(0, content.find(zeros) + zeros.size()));
    EXPECT_EQ(told(archive), whole.substr(0, whole.size() - 4) + "cut");
}

TEST_F(Unpacker, ReadsGzipFilesOfSeveralPartsAndOnTapes) {
    put("Cali-7.xml", "description");
    std::string const tar = packed("tar");
    std::string const whole = told(tar);
    std::string const content = readFile(tar);
    std::string both;
    for (std::string const part : {"1", "2"}) {
        writeFile(root.path() + "/" + part,
                  part == "1" ? content.substr(0, 700) : content.substr(700));
        ASSERT_EQ(std::system(("gzip " + root.path() + "/" + part).c_str()), 0);
        both += readFile(root.path() + "/" + part + ".gz");
    }
    std::string const archive = root.path() + "/parts.tar.gz";
    writeFile(archive, both);
    EXPECT_EQ(told(archive), whole);
    writeFile(archive, both + std::string(100000, '\0'));
    EXPECT_EQ(told(archive), whole);
    writeFile(archive, both + "garbage");
    EXPECT_EQ(told(archive), whole.substr(0, whole.size() - 4) + "spoilt");
}

TEST_F(Unpacker, KnowsNamesOfAnyEncoding) {
    ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr);
    std::string const script =
        "import zipfile\n"
        "class Raw(zipfile.ZipInfo):\n"
        "    def _encodeFilenameFlags(self): return raw, 0\n"
        "z = zipfile.ZipFile(archive, 'w')\n"
        "for raw in (b'M\\x81nchen/Cali-7.xml', b'\\x83J\\x83\\x81/Cali-7-\\x83J.dat'):\n"
        "    z.writestr(Raw('x'), 'x')\n"
        "z.writestr('M\\u00fcnchen/\\u30ab/Kennlinie-7-x.prn', 'x')\n"
        "z.close()\n";
    EXPECT_EQ(told(byPython(script, "set.zip")),
              "file M\x81nchen/Cali-7.xml: x\n"
              "file M\xC3\xBCnchen/\xE3\x82\xAB/Kennlinie-7-x.prn: x\n"
              "file \x83J\x83\x81/Cali-7-\x83J.dat: x\n"
              "done");
}

TEST_F(Unpacker, SaysThatThereAreNamesThatCannotBeTold) {
    put("M\xC3\xBCnchen/Cali-7.xml", "description");
    put("M\xC3\xBCnchen/Cali-7-x.dat", "x");
    put("Cali-7-y.dat", "y");
    std::string const archive = root.path() + "/names.7z";
    std::string const command =
        "cd " + folder + " && env LC_ALL=C.UTF-8 7z a -bd -y " + archive + " . > /dev/null";
    ASSERT_EQ(std::system(command.c_str()), 0);
    ASSERT_NE(std::setlocale(LC_CTYPE, "C"), nullptr);
    EXPECT_EQ(told(archive), "file Cali-7-y.dat: y\nother ?\ndone");
    ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr);
    EXPECT_EQ(told(archive), "file Cali-7-y.dat: y\nfile M\xC3\xBCnchen/Cali-7-x.dat: x\n"
                             "file M\xC3\xBCnchen/Cali-7.xml: description\ndone");
}

TEST_F(Unpacker, LeavesNamesOfOtherLocalesToTheStore) {
    ASSERT_NE(std::setlocale(LC_CTYPE, "C"), nullptr);
    put("M\xC3\xBCnchen/Cali-7.xml", "description");
    EXPECT_EQ(withoutDots(told(packed("tar"))),
              "file M\xC3\xBCnchen/Cali-7.xml: description\ndone");
}

TEST_F(Unpacker, TellsTheSamePathAsOftenAsItIsThere) {
    std::string const archive = byPython("import zipfile, warnings\n"
                                         "warnings.simplefilter('ignore')\n"
                                         "z = zipfile.ZipFile(archive, 'w')\n"
                                         "z.writestr('../../Cali-7.xml', '1')\n"
                                         "z.writestr('../../Cali-7.xml', '2')\n"
                                         "z.writestr('/etc/Cali-7.xml', '3')\n"
                                         "z.close()\n",
                                         "set.zip");
    EXPECT_EQ(told(archive), "file ../../Cali-7.xml: 1\nfile ../../Cali-7.xml: 2\n"
                             "file /etc/Cali-7.xml: 3\ndone");
}

TEST_F(Unpacker, TellsNoOtherBytesThanWerePackedWhateverIsCorrupted) {
    std::string const description(3000, 'd');
    put("Cali-7.xml", description);
    put("Cali-7-noise.dat", noise(3000));
    std::mt19937 engine(5);
    for (std::string const format : {"zip", "7z", "tar.gz", "tar.xz"}) {
        std::string const archive = packed(format);
        std::string const content = readFile(archive);
        std::size_t found = 0;
        for (int i = 0; i < 500; ++i) {
            std::string const changed = support::corrupted(content, engine);
            writeFile(archive, changed);
            FileDescriptor const file(open(archive.c_str(), O_RDONLY));
            std::vector<std::string> contents;
            std::string const text = toldOf(file.get(), everything, &contents);
            bool const isWhole = text.substr(text.size() - 4) == "done" && contents.size() == 2;
            found += isWhole ? 0 : 1;
            // Without its end, a stream of blocks may have brought whole members of other bytes.
            if (text.substr(text.size() - 4) != "done")
                continue;
            for (std::string const& bytes : contents)
                ASSERT_TRUE(bytes == description || bytes == noise(3000)) << format << i;
        }
        EXPECT_GT(found, 250U) << format;
    }
}

TEST_F(Unpacker, EndsWhenNobodyReads) {
    put("Cali-7.xml", "description");
    std::signal(SIGPIPE, SIG_IGN);
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    close(ends[0]);
    FileDescriptor const archive(open(packed("zip").c_str(), O_RDONLY));
    unpack::unpack(archive.get(), everything, zel::frames::FrameWriter(ends[1]));
    close(ends[1]);
}
