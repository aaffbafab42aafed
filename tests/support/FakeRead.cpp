#include "tests/support/FakeRead.h"

#include <cerrno>
#include <cstddef>
#include <utility>

#include <sys/types.h>

namespace {

int readsBefore = 0;
std::vector<support::FakeAnswer> nextAnswers;

} // namespace

extern "C" {

ssize_t __real_read(int file, void* bytes, std::size_t size);
ssize_t __wrap_read(int file, void* bytes, std::size_t size);

ssize_t __wrap_read(int file, void* bytes, std::size_t size) {
    bool const reads = readsBefore > 0 || nextAnswers.empty();
    if (readsBefore > 0)
        --readsBefore;
    if (reads)
        return __real_read(file, bytes, size);
    int const answer = nextAnswers.front();
    nextAnswers.erase(nextAnswers.begin());
    if (answer == 0)
        return 0;
    errno = answer;
    return -1;
}
}

namespace support {

void answerReadsAfter(int calls, std::vector<FakeAnswer> answers) {
    readsBefore = calls;
    nextAnswers = std::move(answers);
}

} // namespace support
