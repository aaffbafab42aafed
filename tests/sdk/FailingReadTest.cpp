// What the reader makes of files that cannot be read to their end.
#include "sdk/SimpleXML.h"

#include "tests/support/FakeRead.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr int piece = 65536; // characters that the reader asks for at once

/// Opens a document of one element "a" of this length, while reads give these answers.
struct Opened {
    explicit Opened(std::size_t length, int readsBefore, std::vector<support::FakeAnswer> answers) {
        std::string const path = directory.path() + "/file.xml";
        std::string lines;
        while (lines.size() < length)
            lines += std::string(63, '.') + "\n";
        support::writeFile(path, "<root>\n<a>\n" + lines + "</a>\n</root>\n");
        support::answerReadsAfter(readsBefore, std::move(answers));
        succeeded = reader.open(path.c_str(), "root");
        reader.setNode();
    }

    support::TemporaryDirectory directory;
    zel::SimpleXML reader;
    bool succeeded = false;
};

} // namespace

TEST(AFileWhoseReading, IsInterruptedOpensAllTheSame) {
    Opened document(1, 0, {EINTR, EINTR});
    EXPECT_TRUE(document.succeeded);
    EXPECT_TRUE(document.reader.setNode("a"));
}

TEST(AFileWhoseReading, FailsDoesNotOpen) {
    Opened document(1, 0, {EIO});
    EXPECT_FALSE(document.succeeded);
}

TEST(AFileWhoseReading, FailsInItsMiddleDoesNotOpen) {
    Opened document(3 * piece, 1, {EIO});
    EXPECT_FALSE(document.succeeded);
    EXPECT_FALSE(document.reader.setNode("a"));
}

TEST(AFileWhoseReading, EndsEarlyIsADocumentOfWhatWasRead) {
    Opened document(3 * piece, 1, {0});
    EXPECT_TRUE(document.succeeded);
    char* text = nullptr;
    ASSERT_TRUE(document.reader.getNode(&text));
    std::unique_ptr<char[]> const owned(text);
    // The first piece without the root's line and without line feeds.
    EXPECT_EQ(std::string(text).size(), 3U + (piece - 7 - 4) / 64 * 63 + (piece - 7 - 4) % 64);
}
