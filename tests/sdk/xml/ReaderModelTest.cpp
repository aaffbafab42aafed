// Compares the reader with a plain model of it on many made documents and walks through them.

#include "sdk/SimpleXML.h"

#include "tests/support/LogLines.h"
#include "tests/support/ModelReader.h"
#include "tests/support/Random.h"
#include "tests/support/ReaderOperation.h"
#include "util/Logger.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include <sys/mman.h>
#include <unistd.h>

using support::ModelReader;
using support::Operation;
using support::Random;
using zel::SimpleXML;

namespace {

using Texts = std::vector<std::string>;

Texts const plainNames{"a", "b", "ab", "Range", "Framerate", "Framerates", "x1"};

/// Names that make tags which overlap others, or that are tags themselves.
Texts const oddNames{"",      "/",  "/a", "//a", "a/",       "a><b", "a></a",
                     "<a>",   "a>", "<a", "!--", "!-- c --", "root", "/a><b",
                     "b></b", ">",  "<",  "a b", "Ab"};

Texts const values{"",
                   " ",
                   "0",
                   "7",
                   "-20",
                   "+5",
                   "007",
                   "08",
                   "0x10",
                   "0X1f",
                   "-0x10",
                   "0x",
                   "010",
                   "1.5",
                   "-0.25",
                   ".5",
                   "5.",
                   "-.5",
                   "-",
                   "+",
                   "1e3",
                   "1e",
                   "1e99",
                   "-1e99",
                   "1e-60",
                   "nan",
                   "inf",
                   "-inf",
                   "abc",
                   "12abc",
                   "1,5",
                   " 42",
                   "\t42 ",
                   "4 2",
                   "- 3",
                   "-0",
                   "00",
                   "2147483647",
                   "2147483648",
                   "-2147483649",
                   "9223372036854775807",
                   "9223372036854775808",
                   "99999999999999999999999",
                   "0.1000000014901161193847656250000000001",
                   "340282356779733661637539395458142568448",
                   "16777217",
                   "0.00000000000000000000000000000000000000000000000000001",
                   "1.17549429e-38",
                   "&lt;",
                   "text with blanks",
                   "\xc3\xa9",
                   "a>b",
                   "-- >"};

Texts const comments{"<!-- c -->",
                     "<!---->",
                     "<!-->",
                     "<!--->",
                     "<!-- <a>1</a> -->",
                     "<!-- a\nb -->",
                     "<!-- <!-- n --> m -->",
                     "<!-- -- -->",
                     "<!--<!--x-->y-->",
                     "<!--\r\n-->"};

Texts const hostilePieces{
    "<!--",     "-->",     "<!-->", "--><!--", "-->-->",  "--> -->",  "<!--<!--",
    "--->",     "<!---->", "<",     ">",       "</",      "<root",    "</root>",
    "<root>",   "\n",      "\r",    "\r\n",    "<a>",     "</a>",     "<b>",
    "</b>",     "<ab>",    "</ab>", "<<a>>",   "<a",      "a>",       "</a",
    "<a/>",     "<a b=1>", "<//a>", "</>",     "<>",      "--",       "<!-",
    "->",       "7",       "0x10",  "text",    "<Range>", "</Range>", "<!-- <a> -->",
    "<x1><x1>", "</x1>",   "</<a>", "</a>>",   "<a>>",    "</x1",     "</Range>x"};

/// Inserts @p piece at a random offset.
void insert(Random& random, std::string& text, std::string const& piece) {
    text.insert(static_cast<std::size_t>(random.below(static_cast<int>(text.size()) + 1)), piece);
}

void addElement(Random& random, std::string& text, int depth) {
    std::string const& name = random.oneOf(plainNames);
    text.append(static_cast<std::size_t>(random.below(3)), ' ');
    text += "<" + name + ">";
    if (depth == 0 || random.chance(50)) {
        text += random.oneOf(values);
    } else {
        if (random.chance(80))
            text += "\n";
        for (int children = random.below(5); children > 0; --children) {
            addElement(random, text, depth - 1);
        }
    }
    text += "</" + name + ">";
    if (random.chance(85))
        text += "\n";
    if (random.chance(10))
        text += random.oneOf(comments) + "\n";
}

/// The lines of a document's root, terminated or not, with what may stand before and behind.
std::string wrapped(Random& random, std::string const& content) {
    std::string text;
    if (random.chance(20))
        text += "\xef\xbb\xbf";
    if (random.chance(10))
        text += "\n  \n";
    if (random.chance(50))
        text += "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n";
    text += random.chance(30) ? "<root version=\"1\">\n" : "<root>\n";
    text += content;
    if (!content.empty() && content.back() != '\n')
        text += "\n";
    if (random.chance(95))
        text += "</root>";
    if (random.chance(70))
        text += "\n";
    if (random.chance(5))
        text += "<a>8</a>\n";
    return text;
}

std::string withCarriageReturns(std::string const& text) {
    std::string result;
    for (char const c : text) {
        if (c == '\n')
            result += '\r';
        result += c;
    }
    return result;
}

std::string goodDocument(Random& random) {
    std::string content;
    for (int elements = random.between(0, 8); elements > 0; --elements) {
        addElement(random, content, 3);
    }
    std::string const text = wrapped(random, content);
    return random.chance(25) ? withCarriageReturns(text) : text;
}

Texts linesOf(std::string const& text) {
    Texts lines(1);
    for (char const c : text) {
        lines.back() += c;
        if (c == '\n')
            lines.emplace_back();
    }
    return lines;
}

/// Doubles, drops or swaps a line.
std::string withLinesShuffled(Random& random, std::string const& text) {
    Texts lines = linesOf(text);
    int const count = static_cast<int>(lines.size());
    auto const line = lines.begin() + random.below(count);
    switch (random.below(3)) {
    case 0:
        lines.insert(line, std::string(*line));
        break;
    case 1:
        lines.erase(line);
        break;
    default:
        std::swap(*line, lines[static_cast<std::size_t>(random.below(count))]);
        break;
    }
    std::string result;
    for (std::string const& each : lines) {
        result += each;
    }
    return result;
}

/// Offset of a random occurrence of @p c, or of the end.
std::size_t randomPlaceOf(Random& random, std::string const& text, char c) {
    auto const from = static_cast<std::size_t>(random.below(static_cast<int>(text.size()) + 1));
    auto const hit = text.find(c, from);
    return hit != std::string::npos ? hit : text.size();
}

/// Breaks a tag apart with something that goes away when the document is read.
void splitATag(Random& random, std::string& text) {
    std::size_t const place = randomPlaceOf(random, text, '<');
    auto const inside = static_cast<std::size_t>(random.between(1, 4));
    static Texts const pieces{"\n", "<!-- x -->", "<!---->", "\n\n", "<!--\n-->"};
    text.insert(std::min(place + inside, text.size()), random.oneOf(pieces));
}

void spoil(Random& random, std::string& text) {
    auto const size = static_cast<int>(text.size());
    auto const place = static_cast<std::size_t>(random.below(size + 1));
    switch (random.below(9)) {
    case 0:
        text.erase(place, static_cast<std::size_t>(random.between(1, 6)));
        break;
    case 1:
        text = withLinesShuffled(random, text);
        break;
    case 2:
        insert(random, text, random.oneOf(comments));
        break;
    case 3:
        insert(random, text, std::string(1, '\0'));
        break;
    case 4:
        splitATag(random, text);
        break;
    case 5:
        text.resize(place);
        break;
    case 6:
        text.erase(randomPlaceOf(random, text, '\n'), 1);
        break;
    default:
        insert(random, text, random.oneOf(hostilePieces));
        break;
    }
}

std::string hostileDocument(Random& random) {
    std::string text = goodDocument(random);
    for (int changes = random.between(1, 5); changes > 0; --changes) {
        spoil(random, text);
    }
    return text;
}

/// A document made of nothing but pieces of tags and comments.
std::string soup(Random& random) {
    std::string content;
    for (int pieces = random.between(0, 25); pieces > 0; --pieces) {
        content += random.chance(85) ? random.oneOf(hostilePieces) : random.oneOf(comments);
        if (random.chance(5))
            content += '\0';
    }
    return random.chance(90) ? wrapped(random, content) : content;
}

/// Comments and their tokens in any order, sound about as often as not.
std::string commentSoup(Random& random) {
    static Texts const tokens{"<!--", "-->", "<!-->", "--><!--", "-->-->", "<!---->", "--->",
                              "-",    ">",   "x",     "\n",      "<a>",    "</a>",    "<!-- c -->"};
    std::string content;
    for (int pieces = random.between(1, 7); pieces > 0; --pieces) {
        content += random.oneOf(tokens);
    }
    return wrapped(random, content);
}

std::string longLines(Random& random) {
    std::string text = goodDocument(random);
    for (int lines = random.between(1, 3); lines > 0; --lines) {
        std::size_t const place = randomPlaceOf(random, text, '\n');
        std::size_t const before = text.rfind('\n', place == 0 ? 0 : place - 1);
        std::size_t const lineStart = before == std::string::npos ? 0 : before + 1;
        std::size_t const length = place < lineStart ? 0 : place - lineStart;
        auto const wanted = static_cast<std::size_t>(random.between(4094, 4097));
        if (length < wanted)
            text.insert(place, wanted - length, random.chance(50) ? '.' : ' ');
        if (random.chance(20))
            text.insert(place, 1, '\0');
    }
    return text;
}

std::string deepDocument(Random& random) {
    int const depth = random.between(250, 260);
    std::string opening;
    std::string closing;
    for (int i = 0; i < depth; ++i) {
        std::string const name = "n" + std::to_string(i);
        opening += "<" + name + ">\n";
        closing = "</" + name + ">\n" + closing;
    }
    return wrapped(random, opening + "<a>1</a>\n<a>2</a>\n" + closing);
}

Operation anyOperation(Random& random, int textLength) {
    static constexpr Operation::Kind kinds[] = {
        Operation::SetRoot,    Operation::SetNode,    Operation::SetNode,    Operation::SetNode,
        Operation::SetIndexed, Operation::SetIndexed, Operation::SetIndexed, Operation::Reset,
        Operation::Reset,      Operation::GetNode,    Operation::Count,      Operation::Count,
        Operation::Key,        Operation::Key,        Operation::Int,        Operation::Long,
        Operation::Float,      Operation::String};
    Operation operation{kinds[random.below(static_cast<int>(std::size(kinds)))],
                        random.oneOf(random.chance(80) ? plainNames : oddNames)};
    operation.index = random.between(-1, 3);
    operation.from = random.below(textLength + 1);
    operation.limit = random.chance(30) ? textLength : random.between(-1, textLength + 5);
    operation.closing = random.chance(50);
    return operation;
}

/// A file in memory: thousands of them on a disk would take most of the time.
class MemoryFile {
public:
    MemoryFile() : m_descriptor(memfd_create("document", MFD_CLOEXEC)) {
        EXPECT_GE(m_descriptor, 0) << std::strerror(errno);
    }
    ~MemoryFile() { close(m_descriptor); }
    MemoryFile(MemoryFile const&) = delete;
    MemoryFile& operator=(MemoryFile const&) = delete;

    std::string path() const { return "/proc/self/fd/" + std::to_string(m_descriptor); }

    void write(std::string const& bytes) const {
        EXPECT_EQ(ftruncate(m_descriptor, 0), 0);
        EXPECT_EQ(pwrite(m_descriptor, bytes.data(), bytes.size(), 0),
                  static_cast<ssize_t>(bytes.size()));
    }

private:
    int m_descriptor;
};

/// How much the documents of a test exercised, so that a test on nothing but empty or refused
/// documents fails.
struct Tally {
    int accepted = 0;
    int refused = 0;
    int found = 0;
};

/// One made document, a second one that replaces it now and then, and both readers.
class Comparison {
public:
    explicit Comparison(unsigned int seed) : m_random(seed) {}

    Random& random() { return m_random; }

    /// @return Where the readers differ; empty when they agree.
    std::string of(std::string const& first, std::string const& second, int steps, Tally& tally) {
        m_first.write(first);
        m_second.write(second);
        std::string difference = opening(m_first.path(), tally);
        // Queries without a selected root see what the object held before, like an empty element.
        if (m_random.chance(90))
            difference += doing({Operation::SetRoot, ""}, tally);
        for (int step = 0; step < steps && difference.empty(); ++step) {
            difference = oneStep(tally);
        }
        return difference;
    }

    /// Descends through n0, n1, ... as deep as the readers go, and @p steps beyond.
    std::string ofDescent(std::string const& document, int steps, Tally& tally) {
        m_first.write(document);
        std::string difference = opening(m_first.path(), tally);
        difference += doing({Operation::SetRoot, ""}, tally);
        for (int i = 0; i < 260 && difference.empty(); ++i) {
            Operation operation{i % 2 == 0 ? Operation::SetNode : Operation::SetIndexed,
                                "n" + std::to_string(i)};
            difference = doing(operation, tally);
        }
        for (int step = 0; step < steps && difference.empty(); ++step) {
            difference = doing(anyOperation(m_random, m_model.textLength()), tally);
        }
        return difference;
    }

private:
    std::string opening(std::string const& path, Tally& tally) {
        bool const product = m_product.open(path.c_str(), "root");
        bool const model = m_model.open(path.c_str(), "root");
        ++(model ? tally.accepted : tally.refused);
        return product == model ? "" : "open(" + path + ") differs";
    }

    std::string oneStep(Tally& tally) {
        int const dice = m_random.below(100);
        if (dice == 0)
            return opening(m_second.path(), tally);
        if (dice == 1)
            return opening("/missing/file", tally);
        Operation const operation = anyOperation(m_random, m_model.textLength());
        std::string const difference = doing(operation, tally);
        if (!difference.empty() || operation.kind > Operation::Reset)
            return difference;
        return doing({Operation::GetNode, ""}, tally);
    }

    std::string doing(Operation const& operation, Tally& tally) {
        std::string const product = perform(m_product, operation);
        std::string const model = perform(m_model, operation);
        if (model[0] != '0' && model[0] != '-')
            ++tally.found;
        if (product == model)
            return "";
        return describe(operation) + ": product " + ::testing::PrintToString(product) + ", model " +
               ::testing::PrintToString(model);
    }

    Random m_random;
    MemoryFile m_first;
    MemoryFile m_second;
    SimpleXML m_product;
    ModelReader m_model;
};

void keepTheLogQuiet() {
    using thalvo::Logger;
    Logger::getInstance()->configure(
        "", static_cast<Logger::loggerConf_>(Logger::LOGFILE_OFF | Logger::CONSOLE_OFF), 0, 0);
}

/// Compares the readers on documents of one kind. Stops at the first difference.
Tally compare(std::string (*make)(Random&), unsigned int firstSeed, unsigned int count, int steps) {
    keepTheLogQuiet();
    Tally tally;
    for (unsigned int seed = firstSeed; seed < firstSeed + count; ++seed) {
        Comparison comparison(seed);
        std::string const first = make(comparison.random());
        std::string const second = make(comparison.random());
        std::string const difference = comparison.of(first, second, steps, tally);
        EXPECT_EQ(difference, "") << "seed " << seed
                                  << "\nfirst document: " << ::testing::PrintToString(first)
                                  << "\nsecond document: " << ::testing::PrintToString(second);
        if (!difference.empty())
            break;
    }
    return tally;
}

std::string expectedLines(ModelReader const& model) {
    std::string lines;
    for (auto const& [level, message] : model.messages()) {
        lines += (level == 0 ? "ERROR" : "DEBUG") + std::string(" [sdk/SimpleXML:LINE] @ TIMEs :") +
                 message;
        lines += "\n";
    }
    return lines;
}

} // namespace

TEST(SimpleXMLAgainstItsModel, AgreesOnGoodDocuments) {
    Tally const tally = compare(goodDocument, 1, 2000, 60);
    EXPECT_GT(tally.accepted, 1900);
    EXPECT_GT(tally.found, 40000);
}

TEST(SimpleXMLAgainstItsModel, AgreesOnSpoiltDocuments) {
    Tally const tally = compare(hostileDocument, 100001, 3000, 40);
    EXPECT_GT(tally.accepted, 1500);
    EXPECT_GT(tally.refused, 300);
    EXPECT_GT(tally.found, 30000);
}

TEST(SimpleXMLAgainstItsModel, AgreesOnPiecesOfTags) {
    Tally const tally = compare(soup, 200001, 2000, 40);
    EXPECT_GT(tally.accepted, 300);
    EXPECT_GT(tally.refused, 300);
    EXPECT_GT(tally.found, 20000);
}

TEST(SimpleXMLAgainstItsModel, AgreesOnPiecesOfComments) {
    Tally const tally = compare(commentSoup, 300001, 2000, 6);
    EXPECT_GT(tally.accepted, 300);
    EXPECT_GT(tally.refused, 300);
}

TEST(SimpleXMLAgainstItsModel, AgreesOnLinesAboutAsLongAsTheLongest) {
    Tally const tally = compare(longLines, 400001, 300, 20);
    EXPECT_GT(tally.accepted, 250);
    EXPECT_GT(tally.found, 1500);
}

TEST(SimpleXMLAgainstItsModel, AgreesOnTheDeepestSelection) {
    keepTheLogQuiet();
    Tally tally;
    for (unsigned int seed = 500001; seed < 500031; ++seed) {
        Comparison comparison(seed);
        std::string const document = deepDocument(comparison.random());
        ASSERT_EQ(comparison.ofDescent(document, 100, tally), "") << "seed " << seed;
    }
    EXPECT_GT(tally.found, 30 * 250);
}

TEST(SimpleXMLAgainstItsModel, AgreesOnTheMessages) {
    using thalvo::Logger;
    Logger::getInstance()->configure(
        "", static_cast<Logger::loggerConf_>(Logger::LOGFILE_OFF | Logger::CONSOLE_ON), 0, 3);
    MemoryFile const file;
    std::string const path = file.path();
    int refused = 0;
    for (unsigned int seed = 600001; seed < 600601; ++seed) {
        Random random(seed);
        std::string const document = random.chance(50) ? commentSoup(random) : soup(random);
        file.write(document);
        SimpleXML product;
        ModelReader model;
        ::testing::internal::CaptureStderr();
        product.open(path.c_str(), "root");
        std::string const shown = ::testing::internal::GetCapturedStderr();
        if (!model.open(path.c_str(), "root"))
            ++refused;
        ASSERT_EQ(support::withoutLineAndTime(shown), expectedLines(model))
            << "seed " << seed << "\ndocument: " << ::testing::PrintToString(document);
    }
    EXPECT_GT(refused, 150);
}
