// Compiled without support of large files, for the test of check-large-files.
#include <cstdio>

bool exists(char const* path) {
    std::FILE* const file = std::fopen(path, "r");
    return file != nullptr && std::fclose(file) == 0;
}
