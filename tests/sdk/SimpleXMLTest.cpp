#include "sdk/SimpleXML.h"

#include "tests/support/CommaLocale.h"
#include "tests/support/LogLines.h"
#include "tests/support/TemporaryDirectory.h"
#include "util/Logger.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include <sys/stat.h>
#include <unistd.h>

using support::TemporaryDirectory;
using support::withoutLineAndTime;
using support::writeFile;
using zel::SimpleXML;

namespace {

std::string const malformedMessageEnd = " is wrong. Verify, that the XML document is well-formed!";

/// A log with errors alone, or with everything, on the console.
void configureLog(int level) {
    using thalvo::Logger;
    Logger::getInstance()->configure(
        "", static_cast<Logger::loggerConf_>(Logger::LOGFILE_OFF | Logger::CONSOLE_ON), 0, level);
}

template <class Body>
std::string shownOnTheConsole(Body const& body) {
    ::testing::internal::CaptureStderr();
    body();
    return ::testing::internal::GetCapturedStderr();
}

/// A file, and a reader that was told to open it.
class File {
public:
    explicit File(std::string const& bytes) {
        configureLog(-1);
        writeFile(path(), bytes);
        m_log = shownOnTheConsole([this] { m_opened = m_reader.open(path().c_str(), "root"); });
    }

    std::string path() const { return m_directory.path() + "/file.xml"; }
    bool opened() const { return m_opened; }
    std::string log() const { return withoutLineAndTime(m_log); }
    SimpleXML& reader() { return m_reader; }

    /// The whole document; "none" when it is empty.
    std::string text();

private:
    TemporaryDirectory m_directory;
    SimpleXML m_reader;
    std::string m_log;
    bool m_opened = false;
};

/// A reader with these lines inside the root, which is selected.
class Document {
public:
    explicit Document(std::string const& lines) : m_file("<root>\n" + lines + "\n</root>\n") {
        m_file.reader().setNode();
    }
    SimpleXML& operator*() { return m_file.reader(); }
    SimpleXML* operator->() { return &m_file.reader(); }

private:
    File m_file;
};

/// Text of the selected element; "none" when it has none.
std::string selected(SimpleXML const& reader) {
    char* text = nullptr;
    if (!reader.getNode(&text))
        return "none";
    std::unique_ptr<char[]> const owned(text);
    return text;
}

std::string File::text() {
    m_reader.setNode();
    return selected(m_reader);
}

/// The document that a file makes; "none" when it is empty, "refused" when it cannot be opened.
std::string documentOf(std::string const& bytes) {
    File file(bytes);
    return file.opened() ? file.text() : "refused";
}

/// A child's text; "none" when there is no such child.
std::string stringOf(SimpleXML& reader, char const* name) {
    char* text = nullptr;
    if (!reader.getString(name, &text))
        return "none";
    std::unique_ptr<char[]> const owned(text);
    return text;
}

/// What getInt makes of an element's text when the value was 12345 before.
int intFrom(std::string const& text) {
    Document document("<a>" + text + "</a>");
    int value = 12345;
    EXPECT_TRUE(document->getInt("a", &value));
    return value;
}

long longFrom(std::string const& text) {
    Document document("<a>" + text + "</a>");
    long value = 12345;
    EXPECT_TRUE(document->getLong("a", &value));
    return value;
}

float floatFrom(std::string const& text) {
    Document document("<a>" + text + "</a>");
    float value = 12345.0F;
    EXPECT_TRUE(document->getFloat("a", &value));
    return value;
}

/// <n0><n1>...</n1></n0>, @p depth elements deep.
std::string nested(int depth) {
    std::string opening;
    std::string closing;
    for (int i = 0; i < depth; ++i) {
        std::string const name = "n" + std::to_string(i);
        opening += "<" + name + ">";
        closing = "</" + name + ">" + closing;
    }
    // A line must not reach 4096 characters.
    return opening + "\nx\n" + closing;
}

/// Descends through n0, n1, ... @return How many levels it went down.
int descend(SimpleXML& reader, int depth) {
    for (int i = 0; i < depth; ++i) {
        if (!reader.setNode(("n" + std::to_string(i)).c_str()))
            return i;
    }
    return depth;
}

std::string lineOfSource(char const* file, std::size_t number) {
    std::string const source = support::readFile(std::string(ZENTHO_SOURCE_DIR "/") + file);
    auto const lines = support::lines(source);
    return number <= lines.size() ? lines[number - 1] : "";
}

} // namespace

// Opening

TEST(SimpleXMLOpen, KeepsTheLinesBetweenTheTagsOfTheRoot) {
    EXPECT_EQ(documentOf("<root>\n<a>1</a>\n</root>\n"), "<a>1</a>");
}

TEST(SimpleXMLOpen, JoinsLinesWithoutABreak) {
    EXPECT_EQ(documentOf("<root>\na\nb\n</root>\n"), "ab");
}

TEST(SimpleXMLOpen, KeepsBlanksAndTabs) {
    EXPECT_EQ(documentOf("<root>\n  a\t\n b \n</root>\n"), "  a\t b ");
}

TEST(SimpleXMLOpen, IgnoresWhatStandsBeforeTheRoot) {
    EXPECT_EQ(documentOf("<?xml version=\"1.0\"?>\n<!-- head -->\n<a>0</a>\n<root>\nx\n</root>\n"),
              "x");
}

TEST(SimpleXMLOpen, IgnoresWhatStandsBehindTheRoot) {
    EXPECT_EQ(documentOf("<root>\nx\n</root>\n<a>1</a>\n"), "x");
}

TEST(SimpleXMLOpen, DropsTheRestOfTheRootsLines) {
    EXPECT_EQ(documentOf("<a>0</a><root>lost\nx\nlost</root>lost\n"), "x");
}

TEST(SimpleXMLOpen, FindsARootWithAttributes) {
    EXPECT_EQ(documentOf("<root version=\"1\" lang=\"en\">\nx\n</root>\n"), "x");
}

TEST(SimpleXMLOpen, TakesALongerNameForTheRoot) {
    EXPECT_EQ(documentOf("<rootbeer>\nx\n</root>\n"), "x");
}

TEST(SimpleXMLOpen, DoesNotTakeALongerNameForTheRootsEnd) {
    EXPECT_EQ(documentOf("<root>\nx\n</rootbeer>\ny\n</root>\n"), "x</rootbeer>y");
}

TEST(SimpleXMLOpen, TellsUpperFromLowerCase) {
    EXPECT_EQ(documentOf("<Root>\nx\n</Root>\n"), "none");
}

TEST(SimpleXMLOpen, IsEmptyAndSucceedsWhenAllStandsOnOneLine) {
    File file("<root><a>1</a></root>\n");
    EXPECT_TRUE(file.opened());
    EXPECT_EQ(file.text(), "none");
}

TEST(SimpleXMLOpen, DoesNotLookForTheEndOnTheLineOfTheStart) {
    EXPECT_EQ(documentOf("<root></root>\nx\n"), "x");
}

TEST(SimpleXMLOpen, ReadsToTheEndOfAFileWithoutTheRootsEnd) {
    EXPECT_EQ(documentOf("<root>\nx\ny\n"), "xy");
}

TEST(SimpleXMLOpen, TakesALastLineWithoutANewline) {
    EXPECT_EQ(documentOf("<root>\nx\ny"), "xy");
}

TEST(SimpleXMLOpen, TakesTheRootsEndWithoutANewline) {
    EXPECT_EQ(documentOf("<root>\nx\n</root>"), "x");
}

TEST(SimpleXMLOpen, KeepsALaterOpeningTagOfTheRoot) {
    EXPECT_EQ(documentOf("<root>\nx\n<root>\ny\n</root>\n"), "x<root>y");
}

TEST(SimpleXMLOpen, FindsTheRootsEndAlsoWhenItsLineHoldsTheOpeningTagToo) {
    EXPECT_EQ(documentOf("<root>\nx\n<root></root>\ny\n"), "x");
}

TEST(SimpleXMLOpen, DoesNotSeeARootsEndThatIsBrokenAcrossLines) {
    EXPECT_EQ(documentOf("<root>\nx\n</ro\not>\ny\n</root>\n"), "x</root>y");
}

TEST(SimpleXMLOpen, SucceedsWithAnEmptyDocumentWhenTheRootIsMissing) {
    File file("<other>\nx\n</other>\n");
    EXPECT_TRUE(file.opened());
    EXPECT_EQ(file.text(), "none");
}

TEST(SimpleXMLOpen, SucceedsWithAnEmptyDocumentForAnEmptyFile) {
    File file("");
    EXPECT_TRUE(file.opened());
    EXPECT_EQ(file.text(), "none");
}

TEST(SimpleXMLOpen, SucceedsWithAnEmptyDocumentForAFileWithoutABracket) {
    File file("no tag at all\n");
    EXPECT_TRUE(file.opened());
    EXPECT_EQ(file.text(), "none");
}

TEST(SimpleXMLOpen, SucceedsWithAnEmptyDocumentForASingleBracket) {
    File file("<");
    EXPECT_TRUE(file.opened());
    EXPECT_EQ(file.text(), "none");
}

TEST(SimpleXMLOpen, FindsNothingInAnEmptyDocument) {
    File file("<other>\n<a>1</a>\n</other>\n");
    file.reader().setNode();
    EXPECT_EQ(file.reader().getNodeCount("a"), 0U);
    EXPECT_FALSE(file.reader().setNode("a"));
    EXPECT_EQ(stringOf(file.reader(), "a"), "none");
}

TEST(SimpleXMLOpen, SkipsAByteOrderMark) {
    EXPECT_EQ(documentOf("\xef\xbb\xbf<root>\nx\n</root>\n"), "x");
}

TEST(SimpleXMLOpen, FailsForAFileWhoseOffsetsDoNotFitAnInt) {
    TemporaryDirectory const directory;
    std::string const path = directory.path() + "/file.xml";
    writeFile(path, "<root>\n</root>\n");
    ASSERT_EQ(truncate(path.c_str(), 0x80000000L), 0);
    SimpleXML reader;
    EXPECT_FALSE(reader.open(path.c_str(), "root"));
}

TEST(SimpleXMLOpen, SkipsBlankLinesBeforeTheFirstBracket) {
    EXPECT_EQ(documentOf("\n\n  \n<root>\nx\n</root>\n"), "x");
}

TEST(SimpleXMLOpen, SkipsALongLineBeforeTheFirstBracket) {
    EXPECT_EQ(documentOf(std::string(5000, ' ') + "\n<root>\nx\n</root>\n"), "x");
}

TEST(SimpleXMLOpen, SkipsWhatStandsBeforeTheFirstBracketOnItsLine) {
    EXPECT_EQ(documentOf(std::string(5000, ' ') + "<root>\nx\n</root>\n"), "x");
}

TEST(SimpleXMLOpen, TurnsCarriageReturnsOfWindowsLineEndsIntoLineFeeds) {
    EXPECT_EQ(documentOf("<root>\r\na\r\nb\r\n</root>\r\n"), "a\nb\n");
}

TEST(SimpleXMLOpen, TurnsEveryCarriageReturnIntoALineFeed) {
    EXPECT_EQ(documentOf("<root>\na\rb\r\rc\n</root>\n"), "a\nb\n\nc");
}

TEST(SimpleXMLOpen, TakesCarriageReturnsForNoLineEnds) {
    EXPECT_EQ(documentOf("<root>\rx\r</root>\ry\n"), "none");
}

TEST(SimpleXMLOpen, KeepsALineOf4095Characters) {
    EXPECT_EQ(documentOf("<root>\na\n" + std::string(4095, 'x') + "\nb\n</root>\n"),
              "a" + std::string(4095, 'x') + "b");
}

TEST(SimpleXMLOpen, EndsReadingAtALineOf4096Characters) {
    EXPECT_EQ(documentOf("<root>\na\n" + std::string(4096, 'x') + "\nb\n</root>\n"), "a");
}

TEST(SimpleXMLOpen, CountsTheCarriageReturnToTheLine) {
    EXPECT_EQ(documentOf("<root>\na\n" + std::string(4095, 'x') + "\r\nb\n</root>\n"), "a");
}

TEST(SimpleXMLOpen, KeepsALastLineOf4095CharactersWithoutANewline) {
    EXPECT_EQ(documentOf("<root>\n" + std::string(4095, 'x')), std::string(4095, 'x'));
}

TEST(SimpleXMLOpen, DropsALastLineOf4096CharactersWithoutANewline) {
    EXPECT_EQ(documentOf("<root>\na\n" + std::string(4096, 'x')), "a");
}

TEST(SimpleXMLOpen, IsEmptyWhenALineBeforeTheRootIsTooLong) {
    EXPECT_EQ(documentOf("<?xml?>" + std::string(4096, ' ') + "\n<root>\nx\n</root>\n"), "none");
}

TEST(SimpleXMLOpen, SucceedsWhenALineIsTooLong) {
    EXPECT_TRUE(File("<root>\na\n" + std::string(4096, 'x') + "\nb\n</root>\n").opened());
}

TEST(SimpleXMLOpen, CutsALineAtANullCharacter) {
    EXPECT_EQ(documentOf(std::string("<root>\nab\0cd\nef\n</root>\n", 24)), "abef");
}

TEST(SimpleXMLOpen, DoesNotSeeARootBehindANullCharacter) {
    EXPECT_EQ(documentOf(std::string("<a>\0<root>\nx\n</root>\n", 21)), "none");
}

TEST(SimpleXMLOpen, DoesNotSeeARootsEndBehindANullCharacter) {
    EXPECT_EQ(documentOf(std::string("<root>\nx\n\0</root>\ny\n</root>\n", 28)), "xy");
}

TEST(SimpleXMLOpen, CountsWhatFollowsANullCharacterToTheLengthOfTheLine) {
    EXPECT_EQ(documentOf("<root>\na\nb" + std::string(1, '\0') + std::string(4094, 'x') +
                         "\nc\n</root>\n"),
              "a");
}

TEST(SimpleXMLOpen, KeepsBytesAbove127) {
    EXPECT_EQ(documentOf("<root>\n\xc3\xa9\xff\n</root>\n"), "\xc3\xa9\xff");
}

TEST(SimpleXMLOpen, MakesATagOfPiecesOnTwoLines) {
    Document document("<a\n>1</\na>");
    EXPECT_EQ(stringOf(*document, "a"), "1");
}

TEST(SimpleXMLOpen, ReadsNoReferencesAndSections) {
    EXPECT_EQ(documentOf("<root>\n&lt;<![CDATA[<a>]]>&#65;\n</root>\n"),
              "&lt;<![CDATA[<a>]]>&#65;");
}

TEST(SimpleXMLOpen, TakesOutComments) {
    EXPECT_EQ(documentOf("<root>\na<!-- c -->b\n<!-- d -->\n</root>\n"), "ab");
}

TEST(SimpleXMLOpen, TakesOutACommentWithAnotherInsideAsOne) {
    EXPECT_EQ(documentOf("<root>\na<!-- 1\n<!-- 2 -->\n3 -->b\n</root>\n"), "ab");
}

TEST(SimpleXMLOpen, MakesATagOfPiecesAroundAComment) {
    Document document("<a<!-- c -->>1</a>");
    EXPECT_EQ(stringOf(*document, "a"), "1");
}

TEST(SimpleXMLOpen, MakesACommentOfPiecesOnTwoLines) {
    EXPECT_EQ(documentOf("<root>\na<!\n-- c --\n>b\n</root>\n"), "ab");
}

TEST(SimpleXMLOpen, TakesARootInACommentForTheRoot) {
    EXPECT_EQ(documentOf("<!--\n<root>\nx -->\n</root>\n"), "refused");
}

TEST(SimpleXMLOpen, SaysNothingAboutASoundFile) {
    EXPECT_EQ(File("<root>\na<!-- c -->\n</root>\n").log(), "");
}

TEST(SimpleXMLOpen, RefusesACloserBeforeAnyOpener) {
    EXPECT_FALSE(File("<root>\na --> b <!-- c -->\n</root>\n").opened());
}

TEST(SimpleXMLOpen, LogsTheDocumentAndTheFileOfAStrayCloser) {
    File const file("<root>\na --> b <!-- c -->\nd\n</root>\n");
    EXPECT_EQ(file.log(), "ERROR [sdk/SimpleXML:LINE] @ TIMEs :a --> b <!-- c -->d\n"
                          "ERROR [sdk/SimpleXML:LINE] @ TIMEs :Format of file " +
                              file.path() + malformedMessageEnd + "\n");
}

TEST(SimpleXMLOpen, RefusesACommentLeftOpen) {
    EXPECT_FALSE(File("<root>\na <!-- b\n</root>\n").opened());
}

TEST(SimpleXMLOpen, LogsTheDocumentAndTheFileOfACommentLeftOpen) {
    File const file("<root>\n<!-- a -->b <!-- c\n</root>\n");
    EXPECT_EQ(file.log(), "ERROR [sdk/SimpleXML:LINE] @ TIMEs :<!-- a -->b <!-- c\n"
                          "ERROR [sdk/SimpleXML:LINE] @ TIMEs :Format of file " +
                              file.path() + malformedMessageEnd + "\n");
}

TEST(SimpleXMLOpen, LogsTheDocumentWithItsLineFeeds) {
    File const file("<root>\r\na -->\r\n</root>\r\n");
    EXPECT_EQ(file.log(), "ERROR [sdk/SimpleXML:LINE] @ TIMEs :a -->\n\n"
                          "ERROR [sdk/SimpleXML:LINE] @ TIMEs :Format of file " +
                              file.path() + malformedMessageEnd + "\n");
}

TEST(SimpleXMLOpen, KeepsTheDocumentWithItsCommentsWhenItIsRefused) {
    File file("<root>\na<!-- 1 -->b<!-- 2\n</root>\n");
    EXPECT_EQ(file.text(), "a<!-- 1 -->b<!-- 2");
}

TEST(SimpleXMLOpen, FailsForAMissingFile) {
    TemporaryDirectory const temporary;
    configureLog(0);
    EXPECT_FALSE(SimpleXML().open((temporary.path() + "/missing").c_str(), "root"));
}

TEST(SimpleXMLOpen, LogsAMissingFileForDebuggingOnly) {
    TemporaryDirectory const temporary;
    std::string const path = temporary.path() + "/missing";
    configureLog(3);
    EXPECT_EQ(
        withoutLineAndTime(shownOnTheConsole([&] { SimpleXML().open(path.c_str(), "root"); })),
        "DEBUG [sdk/SimpleXML:LINE] @ TIMEs :Failed to open file " + path + "\n");
}

TEST(SimpleXMLOpen, ShowsNothingAboutAMissingFileAtInformationLevel) {
    TemporaryDirectory const temporary;
    std::string const path = temporary.path() + "/missing";
    configureLog(2);
    EXPECT_EQ(shownOnTheConsole([&] { SimpleXML().open(path.c_str(), "root"); }), "");
}

TEST(SimpleXMLOpen, LogsWithTheSourceLineOfTheMessage) {
    configureLog(3);
    std::string const log = shownOnTheConsole([] { SimpleXML().open("/missing/file", "root"); });
    EXPECT_NE(lineOfSource("sdk/SimpleXML.cpp", support::sourceLine(log)).find("Failed to open"),
              std::string::npos);
}

TEST(SimpleXMLOpen, KeepsTheDocumentWhenALaterFileIsMissing) {
    File file("<root>\nx\n</root>\n");
    configureLog(0);
    file.reader().open("/missing/file", "root");
    EXPECT_EQ(file.text(), "x");
}

TEST(SimpleXMLOpen, ReplacesAnEarlierDocument) {
    File file("<root>\n<a>1</a>\n<b>long enough</b>\n</root>\n");
    writeFile(file.path(), "<root>\n<c>2</c>\n</root>\n");
    file.reader().open(file.path().c_str(), "root");
    EXPECT_EQ(file.text(), "<c>2</c>");
}

TEST(SimpleXMLOpen, FindsNothingOfAnEarlierDocument) {
    File file("<root>\n<a>1</a>\n<a>2</a>\n</root>\n");
    file.reader().setNode();
    file.reader().setNode("a", 1);
    writeFile(file.path(), "<root>\n<a>3</a>\n</root>\n");
    file.reader().open(file.path().c_str(), "root");
    file.reader().setNode();
    EXPECT_FALSE(file.reader().setNode("a", 1));
}

TEST(SimpleXMLOpen, GoesBackToTheRoot) {
    File file("<root>\n<a>1</a>\n</root>\n");
    file.reader().setNode();
    file.reader().setNode("a");
    file.reader().open(file.path().c_str(), "root");
    EXPECT_FALSE(file.reader().resetNode());
}

TEST(SimpleXMLOpen, TakesADirectoryForAnEmptyDocument) {
    TemporaryDirectory const temporary;
    SimpleXML reader;
    EXPECT_TRUE(reader.open(temporary.path().c_str(), "root"));
    reader.setNode();
    EXPECT_EQ(selected(reader), "none");
}

TEST(SimpleXMLOpen, GivesFalseForNullPointers) {
    SimpleXML reader;
    EXPECT_FALSE(reader.open(nullptr, "root"));
    EXPECT_FALSE(reader.open("/tmp", nullptr));
}

TEST(SimpleXMLOpenInDirectory, FormsThePathFromDirectoryAndName) {
    TemporaryDirectory const temporary;
    writeFile(temporary.path() + "/Cali-1.xml", "<root>\nx\n</root>\n");
    SimpleXML reader;
    EXPECT_TRUE(reader.open(temporary.path().c_str(), "Cali-1", "root"));
    reader.setNode();
    EXPECT_EQ(selected(reader), "x");
}

TEST(SimpleXMLOpenInDirectory, NamesTheWholePathWhenTheFileIsMissing) {
    TemporaryDirectory const temporary;
    configureLog(3);
    EXPECT_EQ(withoutLineAndTime(shownOnTheConsole(
                  [&] { SimpleXML().open(temporary.path().c_str(), "Cali-1", "root"); })),
              "DEBUG [sdk/SimpleXML:LINE] @ TIMEs :Failed to open file " + temporary.path() +
                  "/Cali-1.xml\n");
}

TEST(SimpleXMLOpenInDirectory, MakesAMissingDirectory) {
    TemporaryDirectory const temporary;
    configureLog(0);
    SimpleXML().open((temporary.path() + "/x").c_str(), "Cali-1", "root");
    struct stat status {};
    ASSERT_EQ(stat((temporary.path() + "/x").c_str(), &status), 0);
    EXPECT_TRUE(S_ISDIR(status.st_mode));
}

TEST(SimpleXMLOpenInDirectory, TakesAnEmptyDirectoryForImagerInTheWorkingDirectory) {
    TemporaryDirectory const temporary;
    writeFile(temporary.path() + "/Imager/a.xml", "<root>\nx\n</root>\n");
    ASSERT_EQ(chdir(temporary.path().c_str()), 0);
    SimpleXML reader;
    EXPECT_TRUE(reader.open("", "a", "root"));
    ASSERT_EQ(chdir("/"), 0);
}

TEST(SimpleXMLOpenInDirectory, FailsInSilenceWhenThePathCannotBeFormed) {
    TemporaryDirectory const temporary;
    std::string const path = temporary.path() + "/gone";
    ASSERT_EQ(mkdir(path.c_str(), 0777), 0);
    ASSERT_EQ(chdir(path.c_str()), 0);
    ASSERT_EQ(rmdir(path.c_str()), 0);
    configureLog(-1);
    bool opened = true;
    EXPECT_EQ(shownOnTheConsole([&] { opened = SimpleXML().open("", "a", "root"); }), "");
    EXPECT_FALSE(opened);
    ASSERT_EQ(chdir("/"), 0);
}

TEST(SimpleXMLConstructor, SetsTheNumericLocaleToPlainNumbers) {
    // A locale other than "C" that every machine has.
    ASSERT_NE(std::setlocale(LC_NUMERIC, "C.UTF-8"), nullptr);
    SimpleXML const reader;
    EXPECT_STREQ(std::setlocale(LC_NUMERIC, nullptr), "C");
}

TEST(SimpleXMLConstructor, LeavesTheOtherLocalesAlone) {
    ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr);
    SimpleXML const reader;
    EXPECT_STREQ(std::setlocale(LC_CTYPE, nullptr), "C.UTF-8");
    std::setlocale(LC_CTYPE, "C");
}

// Before a document is open

TEST(SimpleXMLBeforeOpen, FindsNothing) {
    SimpleXML reader;
    reader.setNode();
    int value = 7;
    EXPECT_EQ(selected(reader), "none");
    EXPECT_FALSE(reader.setNode("a"));
    EXPECT_FALSE(reader.setNode("a", 0));
    EXPECT_EQ(reader.getNodeCount("a"), 0U);
    EXPECT_EQ(reader.getKey("a", 0, 10, false), -1);
    EXPECT_FALSE(reader.getInt("a", &value));
    EXPECT_EQ(stringOf(reader, "a"), "none");
}

TEST(SimpleXMLBeforeOpen, FindsNothingWithoutASelectedRootEither) {
    SimpleXML reader;
    EXPECT_EQ(selected(reader), "none");
    EXPECT_FALSE(reader.setNode("a"));
    EXPECT_EQ(reader.getNodeCount("a"), 0U);
}

TEST(SimpleXMLBeforeOpen, HasTheRootForItsOnlySelection) {
    SimpleXML reader;
    EXPECT_TRUE(reader.setNode());
    EXPECT_FALSE(reader.resetNode());
}

// Selecting

TEST(SimpleXMLSetNode, SelectsTheRootFromAnyDepth) {
    Document document("<a><b>1</b></a>");
    document->setNode("a");
    document->setNode("b");
    EXPECT_TRUE(document->setNode());
    EXPECT_EQ(selected(*document), "<a><b>1</b></a>");
}

TEST(SimpleXMLSetNode, DescendsIntoAnElement) {
    Document document("<a><b>1</b></a>");
    EXPECT_TRUE(document->setNode("a"));
    EXPECT_EQ(selected(*document), "<b>1</b>");
}

TEST(SimpleXMLSetNode, DescendsIntoTheFirstOfSeveral) {
    Document document("<a>1</a><a>2</a>");
    document->setNode("a");
    EXPECT_EQ(selected(*document), "1");
}

TEST(SimpleXMLSetNode, FindsTheFirstAnywhereBelow) {
    Document document("<Framerates><Framerate>27</Framerate></Framerates>\n"
                      "<Framerates><Framerate>80</Framerate></Framerates>");
    EXPECT_TRUE(document->setNode("Framerate"));
    EXPECT_EQ(selected(*document), "27");
}

TEST(SimpleXMLSetNode, DoesNotTakeALongerNameForTheElement) {
    Document document("<ab>1</ab><a>2</a>");
    document->setNode("a");
    EXPECT_EQ(selected(*document), "2");
}

TEST(SimpleXMLSetNode, TellsUpperFromLowerCase) {
    Document document("<A>1</A>");
    EXPECT_FALSE(document->setNode("a"));
}

TEST(SimpleXMLSetNode, DoesNotFindAnElementBehindTheSelectedOne) {
    Document document("<a>1</a><b>2</b>");
    document->setNode("a");
    EXPECT_FALSE(document->setNode("b"));
}

TEST(SimpleXMLSetNode, DoesNotFindAnElementBeforeTheSelectedOne) {
    Document document("<b>2</b><a>1</a>");
    document->setNode("a");
    EXPECT_FALSE(document->setNode("b"));
}

TEST(SimpleXMLSetNode, DoesNotFindAnElementThatEndsBehindTheSelectedOne) {
    Document document("<a><b>1</a></b>");
    document->setNode("a");
    EXPECT_FALSE(document->setNode("b"));
}

TEST(SimpleXMLSetNode, DoesNotFindAnElementThatIsNotClosed) {
    Document document("<a>1");
    EXPECT_FALSE(document->setNode("a"));
}

TEST(SimpleXMLSetNode, DoesNotFindAnElementWithAnAttribute) {
    Document document("<a b=\"1\">1</a>");
    EXPECT_FALSE(document->setNode("a"));
}

TEST(SimpleXMLSetNode, DoesNotFindAnElementByItsEmptyTag) {
    Document document("<a/>");
    EXPECT_FALSE(document->setNode("a"));
}

TEST(SimpleXMLSetNode, EndsAnElementAtTheInnerClosingTagOfItsName) {
    Document document("<a>1<a>2</a>3</a>");
    document->setNode("a");
    EXPECT_EQ(selected(*document), "1<a>2");
}

TEST(SimpleXMLSetNode, LeavesTheSelectionWhereItWasWhenItFails) {
    Document document("<a>1</a><b>2</b>");
    document->setNode("a");
    document->setNode("b");
    EXPECT_EQ(selected(*document), "1");
}

TEST(SimpleXMLSetNode, DescendsIntoAnEmptyElement) {
    Document document("<a></a>");
    EXPECT_TRUE(document->setNode("a"));
}

TEST(SimpleXMLSetNode, FindsAnEmptyName) {
    Document document("<>1</>");
    EXPECT_TRUE(document->setNode(""));
    EXPECT_EQ(selected(*document), "1");
}

TEST(SimpleXMLSetNode, TakesTheClosingTagOfAnElementForTheOpeningTagOfASlashedName) {
    Document document("<a>1</a>2<//a>");
    EXPECT_TRUE(document->setNode("/a"));
    EXPECT_EQ(selected(*document), "2");
}

TEST(SimpleXMLSetNode, SearchesANameWithBracketsAsItStands) {
    Document document("<a><b>1</a><b>");
    EXPECT_TRUE(document->setNode("a><b"));
    EXPECT_EQ(selected(*document), "1");
}

TEST(SimpleXMLSetNode, SearchesANameWithAnOpeningBracketAsItStands) {
    Document document("<<a>1</<a>");
    EXPECT_TRUE(document->setNode("<a"));
    EXPECT_EQ(selected(*document), "1");
}

TEST(SimpleXMLSetNode, SearchesANameWithAClosingBracketAsItStands) {
    Document document("<a>>1</a>>");
    EXPECT_TRUE(document->setNode("a>"));
    EXPECT_EQ(selected(*document), "1");
}

TEST(SimpleXMLSetNode, DescendsBy254LevelsAndNoFurther) {
    Document document(nested(256));
    EXPECT_EQ(descend(*document, 256), 254);
}

TEST(SimpleXMLSetNode, StaysAtTheDeepestLevelWhenItIsRefused) {
    Document document(nested(256));
    descend(*document, 255);
    EXPECT_EQ(selected(*document), "<n254><n255>x</n255></n254>");
}

TEST(SimpleXMLSetNode, GivesFalseForANullName) {
    Document document("<a>1</a>");
    EXPECT_FALSE(document->setNode(nullptr));
    EXPECT_FALSE(document->setNode(nullptr, 0));
}

TEST(SimpleXMLSetNodeByIndex, SelectsTheElementOfThatIndex) {
    Document document("<Framerates><Framerate>27</Framerate></Framerates>\n"
                      "<Framerates><Framerate>80</Framerate></Framerates>");
    EXPECT_TRUE(document->setNode("Framerates", 1));
    EXPECT_EQ(selected(*document), "<Framerate>80</Framerate>");
}

TEST(SimpleXMLSetNodeByIndex, CountsFromZero) {
    Document document("<a>1</a><a>2</a>");
    document->setNode("a", 0);
    EXPECT_EQ(selected(*document), "1");
}

TEST(SimpleXMLSetNodeByIndex, FindsTheSameElementAgain) {
    Document document("<a>1</a><a>2</a>");
    document->setNode("a", 1);
    document->resetNode();
    EXPECT_TRUE(document->setNode("a", 1));
    EXPECT_EQ(selected(*document), "2");
}

TEST(SimpleXMLSetNodeByIndex, FindsAnEarlierElementAfterALaterOne) {
    Document document("<a>1</a><a>2</a><a>3</a>");
    document->setNode("a", 2);
    document->resetNode();
    EXPECT_TRUE(document->setNode("a", 0));
    EXPECT_EQ(selected(*document), "1");
}

TEST(SimpleXMLSetNodeByIndex, CountsInsideTheSelectedElementOnly) {
    Document document("<p><a>1</a><a>2</a></p><p><a>3</a><a>4</a></p>");
    document->setNode("p", 0);
    document->setNode("a", 0);
    document->setNode();
    document->setNode("p", 1);
    EXPECT_TRUE(document->setNode("a", 1));
    EXPECT_EQ(selected(*document), "4");
}

TEST(SimpleXMLSetNodeByIndex, CountsFromTheStartOfAnElementThatEndsWithAnother) {
    Document document("<p><a>1</a><x><p><a>2</a><a>3</a></p></x>");
    document->setNode("p");
    document->setNode("a", 0);
    document->setNode();
    document->setNode("x");
    document->setNode("p");
    EXPECT_TRUE(document->setNode("a", 1));
    EXPECT_EQ(selected(*document), "3");
}

TEST(SimpleXMLSetNodeByIndex, DoesNotCountElementsBehindTheSelectedOne) {
    Document document("<p><a>1</a></p><a>2</a>");
    document->setNode("p");
    EXPECT_FALSE(document->setNode("a", 1));
}

TEST(SimpleXMLSetNodeByIndex, GivesFalseWhenThereAreFewer) {
    Document document("<a>1</a><a>2</a>");
    EXPECT_FALSE(document->setNode("a", 2));
}

TEST(SimpleXMLSetNodeByIndex, LeavesTheDepthWhenThereAreFewer) {
    Document document("<a>1</a><a>2</a>");
    document->setNode("a", 2);
    EXPECT_FALSE(document->resetNode());
}

TEST(SimpleXMLSetNodeByIndex, LeavesTheSelectionWhenTheLastIsNotClosed) {
    Document document("<a>1</a><a>2");
    EXPECT_FALSE(document->setNode("a", 1));
    EXPECT_EQ(selected(*document), "<a>1</a><a>2");
}

TEST(SimpleXMLSetNodeByIndex, GivesFalseForANegativeIndex) {
    Document document("<a>1</a>");
    EXPECT_FALSE(document->setNode("a", -1));
}

TEST(SimpleXMLSetNodeByIndex, TakesAnElementWithinOneOfItsNameForPartOfIt) {
    Document document("<a>1<a>2</a>3</a><a>4</a>");
    EXPECT_TRUE(document->setNode("a", 1));
    EXPECT_EQ(selected(*document), "4");
}

TEST(SimpleXMLSetNodeByIndex, IsRefusedAtTheDeepestLevel) {
    Document document(nested(256));
    descend(*document, 254);
    EXPECT_FALSE(document->setNode("n254", 0));
}

TEST(SimpleXMLResetNode, ClimbsOneLevel) {
    Document document("<a>1<b>2</b></a>");
    document->setNode("a");
    document->setNode("b");
    EXPECT_TRUE(document->resetNode());
    EXPECT_EQ(selected(*document), "1<b>2</b>");
}

TEST(SimpleXMLResetNode, GivesFalseAtTheRoot) {
    Document document("<a>1</a>");
    EXPECT_FALSE(document->resetNode());
}

TEST(SimpleXMLResetNode, ClimbsBackFromTheDeepestLevel) {
    Document document(nested(256));
    descend(*document, 255);
    int levels = 0;
    while (document->resetNode()) {
        ++levels;
    }
    EXPECT_EQ(levels, 254);
}

// Texts

TEST(SimpleXMLGetNode, GivesTheWholeDocumentAtTheRoot) {
    Document document("<a>1</a>\n<b>2</b>");
    EXPECT_EQ(selected(*document), "<a>1</a><b>2</b>");
}

TEST(SimpleXMLGetNode, GivesTheDocumentWithoutItsComments) {
    Document document("<a>1</a><!-- c --><b>2</b>");
    EXPECT_EQ(selected(*document), "<a>1</a><b>2</b>");
}

TEST(SimpleXMLGetNode, GivesFalseForAnEmptyElement) {
    Document document("<a></a>");
    document->setNode("a");
    char* text = nullptr;
    EXPECT_FALSE(document->getNode(&text));
}

TEST(SimpleXMLGetNode, LeavesTheTargetAloneForAnEmptyElement) {
    Document document("<a></a>");
    document->setNode("a");
    char marker = '#';
    char* text = &marker;
    document->getNode(&text);
    EXPECT_EQ(text, &marker);
}

TEST(SimpleXMLGetNode, GivesAnEmptyTextForADocumentOfCommentsOnly) {
    Document document("<!-- c -->");
    EXPECT_EQ(selected(*document), "");
}

TEST(SimpleXMLGetNode, DoesNotTrim) {
    Document document("<a> \t1\r\n </a>");
    document->setNode("a");
    EXPECT_EQ(selected(*document), " \t1\n ");
}

TEST(SimpleXMLGetNode, GivesFalseForANullTarget) {
    Document document("<a>1</a>");
    EXPECT_FALSE(document->getNode(nullptr));
}

TEST(SimpleXMLGetString, GivesTheTextOfAChild) {
    Document document("<a> text &amp; more </a>");
    EXPECT_EQ(stringOf(*document, "a"), " text &amp; more ");
}

TEST(SimpleXMLGetString, GivesAnEmptyTextForAnEmptyElement) {
    Document document("<a></a>");
    EXPECT_EQ(stringOf(*document, "a"), "");
}

TEST(SimpleXMLGetString, SetsTheTargetToNullWhenThereIsNoSuchChild) {
    Document document("<a>1</a>");
    char marker = '#';
    char* text = &marker;
    EXPECT_FALSE(document->getString("b", &text));
    EXPECT_EQ(text, nullptr);
}

TEST(SimpleXMLGetString, LeavesTheSelectionWhereItWas) {
    Document document("<a>1<b>2</b></a>");
    document->setNode("a");
    stringOf(*document, "b");
    EXPECT_EQ(selected(*document), "1<b>2</b>");
}

TEST(SimpleXMLGetString, IsRefusedAtTheDeepestLevel) {
    Document document(nested(256));
    descend(*document, 254);
    EXPECT_EQ(stringOf(*document, "n254"), "none");
}

TEST(SimpleXMLGetString, GivesFalseForNullPointers) {
    Document document("<a>1</a>");
    char* text = nullptr;
    EXPECT_FALSE(document->getString(nullptr, &text));
    EXPECT_FALSE(document->getString("a", nullptr));
}

// Elements by their index

TEST(SimpleXMLSetNodeWithIndex, KeepsToTheSelectedElementAmongParentsThatBeginAtOneOffset) {
    Document document("<a><b><Range>1</Range></b><Range>2</Range></a><b>");
    ASSERT_TRUE(document->setNode("a><b"));
    ASSERT_TRUE(document->setNode("Range", 1));
    document->setNode();
    ASSERT_TRUE(document->setNode("b"));
    EXPECT_FALSE(document->setNode("Range", 1));
}

TEST(SimpleXMLSetNodeWithIndex, FindsEachElementInAnyOrder) {
    Document document("<a><n>0</n><n>1</n><n>2</n></a><n>3</n>");
    ASSERT_TRUE(document->setNode("a"));
    for (int const index : {2, 0, 1, 1, 2, 0}) {
        ASSERT_TRUE(document->setNode("n", index)) << index;
        char* text = nullptr;
        ASSERT_TRUE(document->getNode(&text));
        std::unique_ptr<char[]> const owned(text);
        EXPECT_EQ(std::string(text), std::to_string(index));
        document->resetNode();
    }
    EXPECT_FALSE(document->setNode("n", 3));
}

TEST(SimpleXMLSetNodeWithIndex, SkipsElementsInsideOnesOfTheirOwnName) {
    Document document("<n>0<n>1</n><n>2</n><n>3<n>4</n>");
    ASSERT_TRUE(document->setNode("n", 1));
    char* text = nullptr;
    ASSERT_TRUE(document->getNode(&text));
    std::unique_ptr<char[]> const owned(text);
    EXPECT_EQ(std::string(text), "2");
    document->resetNode();
    EXPECT_EQ(document->getNodeCount("n"), 3U);
    EXPECT_FALSE(document->setNode("n", 3));
}

// Counting and searching

TEST(SimpleXMLGetNodeCount, CountsElementsOfAName) {
    Document document("<Framerates><Framerate>27</Framerate></Framerates>\n"
                      "<Framerates><Framerate>80</Framerate></Framerates>");
    EXPECT_EQ(document->getNodeCount("Framerates"), 2U);
}

TEST(SimpleXMLGetNodeCount, CountsElementsAtAnyDepth) {
    Document document("<p><a>1</a></p><q><r><a>2</a></r></q><a>3</a>");
    EXPECT_EQ(document->getNodeCount("a"), 3U);
}

TEST(SimpleXMLGetNodeCount, IsZeroForANameThatDoesNotOccur) {
    Document document("<a>1</a>");
    EXPECT_EQ(document->getNodeCount("b"), 0U);
}

TEST(SimpleXMLGetNodeCount, CountsInsideTheSelectedElementOnly) {
    Document document("<a>0</a><p><a>1</a><a>2</a></p><a>3</a>");
    document->setNode("p");
    EXPECT_EQ(document->getNodeCount("a"), 2U);
}

TEST(SimpleXMLGetNodeCount, DoesNotCountAnElementThatIsNotClosed) {
    Document document("<a>1</a><a>2");
    EXPECT_EQ(document->getNodeCount("a"), 1U);
}

TEST(SimpleXMLGetNodeCount, DoesNotCountAnElementWithAnAttribute) {
    Document document("<a b=\"1\">1</a>");
    EXPECT_EQ(document->getNodeCount("a"), 0U);
}

TEST(SimpleXMLGetNodeCount, CountsAnElementWithinOneOfItsNameNotTwice) {
    Document document("<a>1<a>2</a>3</a>");
    EXPECT_EQ(document->getNodeCount("a"), 1U);
}

TEST(SimpleXMLGetNodeCount, CountsAClosingTagThatStartsWhereTheSelectedElementEnds) {
    Document document("<p>1<p>2</p>3</p>");
    document->setNode("p");
    EXPECT_EQ(document->getNodeCount("p"), 1U);
}

TEST(SimpleXMLGetNodeCount, CountsAnOpeningTagThatEndsWhereTheSelectedElementDoes) {
    Document document("<p>1<p></p>");
    document->setNode("p");
    EXPECT_EQ(document->getNodeCount("p"), 1U);
}

TEST(SimpleXMLSetNode, IsStricterThanTheCountAboutAnElementThatEndsWithTheSelectedOne) {
    Document document("<p>1<p>2</p>3</p>");
    document->setNode("p");
    EXPECT_FALSE(document->setNode("p"));
    EXPECT_FALSE(document->setNode("p", 0));
}

TEST(SimpleXMLGetNodeCount, DoesNotCountAnElementThatEndsBehindTheSelectedOne) {
    Document document("<p><q>1</p></q>");
    document->setNode("p");
    EXPECT_EQ(document->getNodeCount("q"), 0U);
}

TEST(SimpleXMLGetNodeCount, LeavesTheSelectionWhereItWas) {
    Document document("<p><a>1</a></p>");
    document->setNode("p");
    document->getNodeCount("a");
    EXPECT_EQ(selected(*document), "<a>1</a>");
}

TEST(SimpleXMLGetNodeCount, IsZeroAtTheDeepestLevel) {
    Document document(nested(256));
    descend(*document, 254);
    EXPECT_EQ(document->getNodeCount("n254"), 0U);
}

TEST(SimpleXMLGetNodeCount, IsZeroForANullName) {
    Document document("<a>1</a>");
    EXPECT_EQ(document->getNodeCount(nullptr), 0U);
}

TEST(SimpleXMLGetKey, GivesTheOffsetBehindAnOpeningTag) {
    Document document("xx<a>1</a>");
    EXPECT_EQ(document->getKey("a", 0, 100, false), 5);
}

TEST(SimpleXMLGetKey, GivesTheOffsetOfAClosingTag) {
    Document document("xx<a>1</a>");
    EXPECT_EQ(document->getKey("a", 0, 100, true), 6);
}

TEST(SimpleXMLGetKey, FindsATagAtTheOffsetItself) {
    Document document("xx<a>1</a>");
    EXPECT_EQ(document->getKey("a", 2, 100, false), 5);
}

TEST(SimpleXMLGetKey, DoesNotFindATagBeforeTheOffset) {
    Document document("xx<a>1</a>");
    EXPECT_EQ(document->getKey("a", 3, 100, false), -1);
}

TEST(SimpleXMLGetKey, FindsTheNextTagBehindTheOffset) {
    Document document("<a>1</a><a>2</a>");
    EXPECT_EQ(document->getKey("a", 1, 100, false), 11);
}

TEST(SimpleXMLGetKey, FindsATagThatBeginsBeforeTheLimitAndEndsBehindIt) {
    Document document("xx<a>1</a>");
    EXPECT_EQ(document->getKey("a", 0, 3, false), 5);
}

TEST(SimpleXMLGetKey, DoesNotFindATagThatBeginsAtTheLimit) {
    Document document("xx<a>1</a>");
    EXPECT_EQ(document->getKey("a", 0, 2, false), -1);
}

TEST(SimpleXMLGetKey, SearchesTheDocumentWhateverIsSelected) {
    Document document("<a>1</a><b>2</b>");
    document->setNode("b");
    EXPECT_EQ(document->getKey("a", 0, 100, false), 3);
}

TEST(SimpleXMLGetKey, GivesMinusOneAtTheEndOfTheDocument) {
    Document document("<a>1</a>");
    EXPECT_EQ(document->getKey("a", 8, 100, false), -1);
}

TEST(SimpleXMLGetKey, GivesMinusOneForAnOffsetBehindTheDocument) {
    Document document("<a>1</a>");
    EXPECT_EQ(document->getKey("a", 9, 100, false), -1);
}

TEST(SimpleXMLGetKey, GivesMinusOneForANegativeOffset) {
    Document document("<a>1</a>");
    EXPECT_EQ(document->getKey("a", -1, 100, false), -1);
}

TEST(SimpleXMLGetKey, GivesMinusOneForANegativeLimit) {
    Document document("<a>1</a>");
    EXPECT_EQ(document->getKey("a", 0, -1, false), -1);
}

TEST(SimpleXMLGetKey, GivesMinusOneForANullName) {
    Document document("<a>1</a>");
    EXPECT_EQ(document->getKey(nullptr, 0, 100, false), -1);
}

// Numbers

TEST(SimpleXMLGetInt, ReadsADecimalNumber) {
    EXPECT_EQ(intFrom("-20"), -20);
}

TEST(SimpleXMLGetInt, ReadsAHexadecimalNumber) {
    EXPECT_EQ(intFrom("0x10"), 16);
}

TEST(SimpleXMLGetInt, ReadsALeadingZeroAsOctal) {
    EXPECT_EQ(intFrom("010"), 8);
}

TEST(SimpleXMLGetInt, KeepsTheValueForAWord) {
    EXPECT_EQ(intFrom("abc"), 12345);
}

TEST(SimpleXMLGetInt, KeepsTheValueForAnEmptyElement) {
    EXPECT_EQ(intFrom(""), 12345);
}

TEST(SimpleXMLGetInt, SkipsLeadingWhiteSpace) {
    EXPECT_EQ(intFrom(" \t\r\n 42"), 42);
}

TEST(SimpleXMLGetInt, StopsAtTheFirstCharacterThatIsNoDigit) {
    EXPECT_EQ(intFrom("12 34"), 12);
}

TEST(SimpleXMLGetInt, ReadsTheWholeNumberBeforeAPoint) {
    EXPECT_EQ(intFrom("7.9"), 7);
}

TEST(SimpleXMLGetInt, GivesFalseAndKeepsTheValueWhenThereIsNoSuchChild) {
    Document document("<a>1</a>");
    int value = 7;
    EXPECT_FALSE(document->getInt("b", &value));
    EXPECT_EQ(value, 7);
}

TEST(SimpleXMLGetInt, LeavesTheSelectionWhereItWas) {
    Document document("<p><a>0x7</a></p>");
    document->setNode("p");
    int value = 0;
    document->getInt("a", &value);
    EXPECT_EQ(selected(*document), "<a>0x7</a>");
}

TEST(SimpleXMLGetInt, ReadsTheFirstAnywhereBelow) {
    Document document("<p><a>1</a></p><a>2</a>");
    int value = 0;
    document->getInt("a", &value);
    EXPECT_EQ(value, 1);
}

TEST(SimpleXMLGetInt, IsRefusedAtTheDeepestLevel) {
    Document document(nested(256));
    descend(*document, 254);
    int value = 7;
    EXPECT_FALSE(document->getInt("n254", &value));
}

TEST(SimpleXMLGetInt, GivesFalseForNullPointers) {
    Document document("<a>1</a>");
    int value = 7;
    EXPECT_FALSE(document->getInt(nullptr, &value));
    EXPECT_FALSE(document->getInt("a", nullptr));
}

TEST(SimpleXMLGetLong, ReadsANumberThatNeeds64Bits) {
    EXPECT_EQ(longFrom("-5000000000"), -5000000000L);
}

TEST(SimpleXMLGetLong, ReadsALeadingZeroAsDecimal) {
    EXPECT_EQ(longFrom("010"), 10L);
}

TEST(SimpleXMLGetLong, StopsAtTheXOfAHexadecimalNumber) {
    EXPECT_EQ(longFrom("0x10"), 0L);
}

TEST(SimpleXMLGetLong, KeepsTheValueForAWord) {
    EXPECT_EQ(longFrom("abc"), 12345L);
}

TEST(SimpleXMLGetLong, GivesFalseAndKeepsTheValueWhenThereIsNoSuchChild) {
    Document document("<a>1</a>");
    long value = 7;
    EXPECT_FALSE(document->getLong("b", &value));
    EXPECT_EQ(value, 7L);
}

TEST(SimpleXMLGetLong, IsRefusedAtTheDeepestLevel) {
    Document document(nested(256));
    descend(*document, 254);
    long value = 7;
    EXPECT_FALSE(document->getLong("n254", &value));
}

TEST(SimpleXMLGetFloat, ReadsADecimalPoint) {
    EXPECT_EQ(floatFrom("-0.25"), -0.25F);
}

TEST(SimpleXMLGetFloat, ReadsAnExponent) {
    EXPECT_EQ(floatFrom("25e-1"), 2.5F);
}

TEST(SimpleXMLGetFloat, StopsAtAComma) {
    EXPECT_EQ(floatFrom("1,5"), 1.0F);
}

TEST(SimpleXMLGetFloat, ReadsADecimalPointWhateverNumericLocaleIsSetSince) {
    Document document("<a>1.5</a><b>+1.5</b><c>.5</c><d> 1.5</d>");
    support::CommaLocale const commas;
    for (auto const& [name, expected] :
         {std::pair{"a", 1.5F}, {"b", 1.5F}, {"c", 0.5F}, {"d", 1.5F}}) {
        float value = 12345.0F;
        ASSERT_TRUE(document->getFloat(name, &value));
        EXPECT_EQ(value, expected) << name;
    }
    EXPECT_STREQ(std::localeconv()->decimal_point, ",");
}

TEST(SimpleXMLGetFloat, KeepsTheValueForAWord) {
    EXPECT_EQ(floatFrom("abc"), 12345.0F);
}

TEST(SimpleXMLGetFloat, GivesFalseAndKeepsTheValueWhenThereIsNoSuchChild) {
    Document document("<a>1</a>");
    float value = 7.0F;
    EXPECT_FALSE(document->getFloat("b", &value));
    EXPECT_EQ(value, 7.0F);
}

TEST(SimpleXMLGetFloat, IsRefusedAtTheDeepestLevel) {
    Document document(nested(256));
    descend(*document, 254);
    float value = 7.0F;
    EXPECT_FALSE(document->getFloat("n254", &value));
}

// Tokens of comments

TEST(CompTokens, PutsTheLesserPositionFirst) {
    EXPECT_TRUE(zel::compTokens({0, 3}, {0, 4}));
}

TEST(CompTokens, DoesNotPutTheGreaterPositionFirst) {
    EXPECT_FALSE(zel::compTokens({0, 4}, {0, 3}));
}

TEST(CompTokens, OrdersNeitherOfTwoTokensAtOnePosition) {
    EXPECT_FALSE(zel::compTokens({0, 3}, {1, 3}));
    EXPECT_FALSE(zel::compTokens({1, 3}, {0, 3}));
}

TEST(CommentToken, HoldsItsTypeBeforeItsPosition) {
    zel::CommentToken const token{1, 12};
    EXPECT_EQ(token.type, 1);
    EXPECT_EQ(token.position, 12);
}
