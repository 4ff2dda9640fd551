#include <iostream>

#include "app/CommandLine.h"

int main(int argc, char** argv) {
    std::vector<std::string> args(argv + 1, argv + argc);
    try {
        return tavrin::runCommandLine(args, std::cout, std::cerr);
    } catch (const std::exception& error) {
        std::cerr << "tavrin: " << error.what() << '\n';
        return 1;
    }
}
