// write_inputs BUNDLE EXAMPLES FOLDER: the pictures that the scenes of a bundle are made of, for programs without a
// library that reads photographs.
#include <cstdio>

#include "gpu/pam.h"
#include "host/cli/declarations.h"
#include "host/cli/picture_file.h"

int main(int count, char** words) try {
    namespace fs = std::filesystem;
    if (count != 4) return 2;
    fs::create_directories(words[3]);
    for (const quillon::DeclaredEffect& effect : quillon::readDeclarations(words[1]).effects)
        for (const std::string& name : effect.scene.inputs) {
            const fs::path file = fs::path(words[3]) / (name + ".pam");
            if (name.empty() || name.starts_with('@') || fs::exists(file)) continue;
            quillon::writePam(file, quillon::readPicture(fs::path(words[2]) / name));
        }
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
}
