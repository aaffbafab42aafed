#include "util/FileDescriptor.h"

#include <gtest/gtest.h>

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

namespace {

using zel::FileDescriptor;

bool isOpen(int descriptor) {
    return fcntl(descriptor, F_GETFD) != -1;
}

} // namespace

TEST(AFileDescriptor, IsOpenAsLongAsItLives) {
    int number = -1;
    {
        auto const file = FileDescriptor::openForReading("/dev/null");
        number = file.get();
        EXPECT_TRUE(file.valid());
        EXPECT_TRUE(isOpen(number));
    }
    EXPECT_FALSE(isOpen(number));
}

TEST(AFileDescriptor, OfAFileThatIsNotThereIsNotValidAndTellsWhy) {
    errno = 0;
    auto const file = FileDescriptor::openForReading("/nowhere/at/all");
    EXPECT_FALSE(file.valid());
    EXPECT_EQ(errno, ENOENT);
}

TEST(AFileDescriptor, IsNotPassedOnToOtherPrograms) {
    auto const file = FileDescriptor::openForReading("/dev/null");
    EXPECT_EQ(fcntl(file.get(), F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
}
