// Writes the declarations of all effects to a file: declare FILE. Run when the bundle is built.

#include <cstdio>
#include <fstream>

#include "Library2/Declarations.h"
#include "bundle/Registry.h"

int main(int count, char** arguments) {
    if (count != 2) return std::fprintf(stderr, "usage: %s FILE\n", arguments[0]), 2;
    std::ofstream file(arguments[1], std::ios::binary);
    file << declarationsAsJson(registry());
    file.close();
    return file ? 0 : (std::fprintf(stderr, "%s: cannot write\n", arguments[1]), 1);
}
