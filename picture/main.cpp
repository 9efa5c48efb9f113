// Makes the source of the status screen's picture of an image:
//
//     amt-mode-picture picture/amt-mode.png amt/screen/amt-mode-picture.cpp
#include <exception>
#include <fstream>
#include <iostream>
#include <stdexcept>

#include "picture/picture.h"

int main(int argc, char *argv[])
{
    if (argc != 3) {
        std::cerr << "amt-mode-picture: an image and a source are needed: amt-mode-picture IMAGE.png SOURCE.cpp\n";
        return 2;
    }
    try {
        const std::string source = picture::source_of(picture::read_png(argv[1]));
        if (!(std::ofstream(argv[2]) << source << std::flush)) {
            throw std::runtime_error(std::string("cannot write ") + argv[2]);
        }
    } catch (const std::exception &error) {
        std::cerr << "amt-mode-picture: " << error.what() << '\n';
        return 1;
    }
    return 0;
}
