// What starting any C++ program takes.
#include <iostream>

int main() {
    std::cout << "empty\n";
}
