#include <iostream>

int main() {
    std::cout << "Hello, world\n";
}
