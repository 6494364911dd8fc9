// Writes the bundle's manual from its declarations: write_manual EFFECTS_JSON PDF. Run when the bundle is built.

#include <cstdio>
#include <exception>
#include <fstream>

#include "host/cli/manual.h"

int main(int count, char** arguments) try {
    if (count != 3) return std::fprintf(stderr, "usage: %s EFFECTS_JSON PDF\n", arguments[0]), 2;
    std::ofstream file(arguments[2], std::ios::binary);
    file << quillon::manualPdf(quillon::readDeclarationsFile(arguments[1]));
    file.close();
    return file ? 0 : (std::fprintf(stderr, "%s: cannot write\n", arguments[2]), 1);
} catch (const std::exception& error) {
    return std::fprintf(stderr, "%s\n", error.what()), 1;
}
