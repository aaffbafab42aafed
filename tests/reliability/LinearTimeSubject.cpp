// LinearTimeSubject <shape> <count>: reads and checks a description of that many of something.
// Only what happens below measured() counts.

#include "imgproc/Cali.h"
#include "sdk/IRCalibrationManager.h"
#include "sdk/SimpleXML.h"

#include "tests/support/TemporaryDirectory.h"
#include "util/Logger.h"

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <string>

namespace {

constexpr int serialNumber = 14080045;

std::string repeated(std::string const& text, int count) {
    std::string result;
    for (int i = 0; i < count; ++i) {
        result += text;
    }
    return result;
}

/// Makes each piece from its number.
std::string pieces(int count, std::function<std::string(int)> const& piece) {
    std::string result;
    for (int i = 0; i < count; ++i) {
        result += piece(i);
    }
    return result;
}

std::string optic(int fieldOfView, std::string const& content) {
    return "<OpticsDef>\n<FOV>" + std::to_string(fieldOfView) + "</FOV>\n" + content +
           "</OpticsDef>\n";
}

std::string range(int low, std::string const& content = "") {
    return "<TemperatureRange>\n<TempLo>" + std::to_string(low) + "</TempLo>\n<TempHi>" +
           std::to_string(low + 100) + "</TempHi>\n" + content + "</TemperatureRange>\n";
}

std::string ranges(std::string const& content) {
    return "<TempRanges>\n" + content + "</TempRanges>\n";
}

std::string document(std::string const& before, std::string const& optics) {
    return "<CaliData>\n" + before + "<Temperature>\n<Optics>\n" + optics +
           "</Optics>\n</Temperature>\n</CaliData>\n";
}

std::string const someOptic = optic(30, ranges(range(0)));

using Shape = std::function<std::string(int)>;

std::map<std::string, Shape> const shapes{
    {"optics",
     [](int count) {
         return document("", pieces(count, [](int i) { return optic(i, ranges(range(0))); }));
     }},
    {"optics-with-texts",
     [](int count) {
         return document("", pieces(count, [](int i) {
                             return optic(30, "<Text>" + std::to_string(i) + "</Text>\n" +
                                                  ranges(range(0)));
                         }));
     }},
    {"equal-optics",
     [](int count) {
         return document("", repeated(someOptic, count));
     }},
    {"ranges",
     [](int count) {
         return document("", optic(30, ranges(pieces(count, [](int i) { return range(i); }))));
     }},
    {"equal-ranges",
     [](int count) {
         return document("", optic(30, ranges(repeated(range(0), count))));
     }},
    {"frame-rates",
     [](int count) {
         std::string const rates = repeated("<Framerate><FR>27</FR></Framerate>\n", count);
         return document("",
                         optic(30, ranges(range(0, "<Framerates>\n" + rates + "</Framerates>\n"))));
     }},
    {"comments",
     [](int count) {
         return document(repeated("<!-- a comment -->\n", count), someOptic);
     }},
    {"nested-comments",
     [](int count) {
         return document(repeated("<!-- a\n", count) + repeated("b -->\n", count), someOptic);
     }},
    {"missing-optional-elements",
     [](int count) {
         return document("", pieces(count, [](int i) { return optic(i, ""); }) +
                                 optic(count, ranges(range(0, "<TempLoExt>0</TempLoExt>\n"))));
     }},
    {"ranges-without-elements",
     [](int count) {
         std::string const empty = "<TemperatureRange>\n</TemperatureRange>\n";
         return document("", optic(30, ranges(repeated(empty, count))));
     }},
    {"distinct-names",
     [](int count) {
         return document(pieces(count,
                                [](int i) {
                                    std::string const name = "n" + std::to_string(100000 + i);
                                    return "<" + name + ">1</" + name + ">\n";
                                }),
                         someOptic);
     }},
    {"elements-left-open",
     [](int count) {
         return document("", repeated("<OpticsDef>\n<TempRanges>\n", count));
     }},
    {"brackets",
     [](int count) {
         return document(repeated("<\n", count), someOptic);
     }},
    {"brackets-in-lines",
     [](int count) {
         return document(repeated(std::string(2000, '<') + "\n", count), someOptic);
     }},
    {"comment-openers",
     [](int count) {
         return document(repeated("<!--\n", count), someOptic);
     }},
    {"comment-openers-in-lines",
     [](int count) {
         return document(repeated(repeated("<!--", 1000) + "\n", count), someOptic);
     }},
    {"comment-closers",
     [](int count) {
         return document(repeated("-->\n", count), someOptic);
     }},
    {"hyphens",
     [](int count) {
         return document(repeated(std::string(4000, '-') + "\n", count), someOptic);
     }},
    {"long-lines",
     [](int count) {
         return document(repeated(std::string(4095, 'x') + "\n", count), someOptic);
     }},
    {"one-line",
     [](int count) {
         return document(std::string(std::size_t(count), 'x'), "");
     }},
    {"lines-before-the-root",
     [](int count) {
         return repeated("<CaliDat\n", count) + document("", someOptic);
     }},
    {"lines-without-the-end",
     [](int count) {
         return "<CaliData>\n" + repeated("</CaliDat\n", count);
     }},
    {"carriage-returns",
     [](int count) {
         return document(repeated("\r\n", count), someOptic);
     }},
};

} // namespace

/// Reads and checks, and the other ways of reading a description.
extern "C" [[gnu::noinline]] void measured(char const* directory) {
    auto& manager = *zel::IRCalibrationManager::getInstance();
    manager.setCalibrationDir(directory);
    std::unique_ptr<char[]> const missing(manager.checkCalibration(serialNumber));
    manager.getAvailableOptics(serialNumber);
    manager.generateConfiguration(serialNumber);
}

int main(int argc, char* argv[]) {
    if (argc != 3 || shapes.count(argv[1]) == 0) {
        for (auto const& shape : shapes) {
            std::printf("%s\n", shape.first.c_str());
        }
        return argc == 1 ? EXIT_SUCCESS : EXIT_FAILURE;
    }
    using thalvo::Logger;
    Logger::getInstance()->configure(
        "", static_cast<Logger::loggerConf_>(Logger::LOGFILE_OFF | Logger::CONSOLE_OFF), 0, 0);
    support::TemporaryDirectory const directory;
    support::writeFile(directory.path() + "/Cali-14080045.xml",
                       shapes.at(argv[1])(std::atoi(argv[2])));
    measured(directory.path().c_str());
    return EXIT_SUCCESS;
}
