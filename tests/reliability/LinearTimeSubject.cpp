// LinearTimeSubject <shape> <count>: reads and checks a description of that many of something.
// LinearTimeSubject <questions> <count>: reads one and asks for its elements in some order.
// Only what happens below measured() counts.

#include "imgproc/Cali.h"
#include "sdk/IRCalibrationManager.h"
#include "sdk/SimpleXML.h"

#include "tests/support/Elements.h"
#include "tests/support/TemporaryDirectory.h"
#include "util/Logger.h"

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>

using support::block;
using support::repeated;

namespace {

constexpr int serialNumber = 14080045;

/// Makes each piece from its number.
std::string pieces(int count, std::function<std::string(int)> const& piece) {
    std::string result;
    for (int i = 0; i < count; ++i) {
        result += piece(i);
    }
    return result;
}

std::string optic(int fieldOfView, std::string const& content) {
    return block("OpticsDef", "<FOV>" + std::to_string(fieldOfView) + "</FOV>\n" + content);
}

std::string range(int low, std::string const& content = "") {
    return block("TemperatureRange", "<TempLo>" + std::to_string(low) + "</TempLo>\n<TempHi>" +
                                         std::to_string(low + 100) + "</TempHi>\n" + content);
}

std::string ranges(std::string const& content) {
    return block("TempRanges", content);
}

std::string document(std::string const& before, std::string const& optics) {
    return block("CaliData", before + block("Temperature", block("Optics", optics)));
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
    {"optics-inside-optics",
     [](int count) {
         return document("", repeated("<OpticsDef>\n", count) + someOptic +
                                 repeated("</OpticsDef>\n", count));
     }},
    {"optics-that-each-hold-one",
     [](int count) {
         return document("", repeated("<OpticsDef>\n" + someOptic + "</OpticsDef>\n", count));
     }},
    {"ranges-that-each-hold-one",
     [](int count) {
         std::string const pair = "<TemperatureRange>\n" + range(0) + "</TemperatureRange>\n";
         return document("", optic(30, ranges(repeated(pair, count))));
     }},
    {"overlapping-elements",
     [](int count) {
         return document("",
                         repeated("<OpticsDef>\n<TempRanges>\n<TemperatureRange>\n</OpticsDef>\n"
                                  "</TempRanges>\n</TemperatureRange>\n",
                                  count));
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

using Questions = void (*)(zel::SimpleXML& xml, int count);

void ask(zel::SimpleXML& xml, char const* name, int index) {
    if (xml.setNode(name, index))
        xml.resetNode();
}

/// What is asked about the elements of a shape, instead of the check.
std::map<std::string, std::pair<char const*, Questions>> const allQuestions{
    {"descending-indexes",
     {"optics",
      [](zel::SimpleXML& xml, int count) {
          for (int i = count; i-- > 0;)
              ask(xml, "OpticsDef", i);
      }}},
    {"alternating-indexes",
     {"optics",
      [](zel::SimpleXML& xml, int count) {
          for (int i = 0; i < count; ++i)
              ask(xml, "OpticsDef", i % 2 == 0 ? i : count - i);
      }}},
    {"indexes-below-the-count",
     {"optics",
      [](zel::SimpleXML& xml, int) {
          for (unsigned int i = 0; i < xml.getNodeCount("OpticsDef"); ++i)
              ask(xml, "OpticsDef", static_cast<int>(i));
      }}},
    {"indexes-of-two-names-in-turns",
     {"optics",
      [](zel::SimpleXML& xml, int count) {
          for (int i = 0; i < count; ++i) {
              ask(xml, "OpticsDef", i);
              ask(xml, "TemperatureRange", count - i);
          }
      }}},
    // These two take the way through all elements; asked once, that is linear.
    {"last-of-elements-that-hold-one",
     {"optics-that-each-hold-one",
      [](zel::SimpleXML& xml, int count) {
          ask(xml, "OpticsDef", count - 1);
          xml.getNodeCount("OpticsDef");
      }}},
    {"last-of-a-name-with-brackets",
     {"optics-that-each-hold-one",
      [](zel::SimpleXML& xml, int count) {
          ask(xml, "TempRanges><TemperatureRange", count - 1);
          xml.getNodeCount("TempRanges><TemperatureRange");
      }}},
};

} // namespace

void check(std::string const& directory) {
    auto& manager = *zel::IRCalibrationManager::getInstance();
    manager.setCalibrationDir(directory.c_str());
    std::unique_ptr<char[]> const missing(manager.checkCalibration(serialNumber));
    manager.getAvailableOptics(serialNumber);
    manager.generateConfiguration(serialNumber);
}

/// Reads and checks a description and the other ways of reading it; or asks questions, if any.
extern "C" [[gnu::noinline]] void measured(std::string const& directory, std::string const& name,
                                           Questions questions, int count) {
    if (questions == nullptr) {
        check(directory);
        return;
    }
    zel::SimpleXML xml;
    xml.open((directory + "/" + name).c_str(), "CaliData");
    xml.setNode();
    questions(xml, count);
}

int main(int argc, char* argv[]) {
    bool const asks = argc == 3 && allQuestions.count(argv[1]) != 0;
    if (argc != 3 || (!asks && shapes.count(argv[1]) == 0)) {
        for (auto const& shape : shapes) {
            std::printf("%s\n", shape.first.c_str());
        }
        for (auto const& questions : allQuestions) {
            std::printf("%s\n", questions.first.c_str());
        }
        return argc == 1 ? EXIT_SUCCESS : EXIT_FAILURE;
    }
    using thalvo::Logger;
    Logger::getInstance()->configure(
        "", static_cast<Logger::loggerConf_>(Logger::LOGFILE_OFF | Logger::CONSOLE_OFF), 0, 0);
    auto const [shape, questions] =
        asks ? allQuestions.at(argv[1]) : std::pair<char const*, Questions>(argv[1], nullptr);
    int const count = std::atoi(argv[2]);
    support::TemporaryDirectory const directory;
    std::string const name = "Cali-14080045.xml";
    support::writeFile(directory.path() + "/" + name, shapes.at(shape)(count));
    measured(directory.path(), name, questions, count);
    return EXIT_SUCCESS;
}
