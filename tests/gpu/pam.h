// Pictures as Netpbm's PAM files of four samples of 8 bits, which take no library to read.
// https://netpbm.sourceforge.net/doc/pam.html
#pragma once

#include <filesystem>
#include <fstream>
#include <string>

#include "host/cli/failure.h"
#include "host/cli/picture.h"

namespace quillon {

inline void writePam(const std::filesystem::path& path, const Picture& picture) {
    std::ofstream file(path, std::ios::binary);
    file << "P7\nWIDTH " << picture.width << "\nHEIGHT " << picture.height
         << "\nDEPTH 4\nMAXVAL 255\nTUPLTYPE RGB_ALPHA\nENDHDR\n";
    for (int y = picture.height; y-- > 0;)
        for (int i = 0; i < picture.width * 4; ++i)
            file.put(static_cast<char>(quantise<std::uint8_t>(picture.row(y)[i])));
    if (!file.flush()) throw RunError("cannot write " + path.string());
}

// One that writePam() has written.
inline Picture readPam(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::string word;
    int width = 0, height = 0;
    while (file >> word && word != "ENDHDR") {
        if (word == "WIDTH") file >> width;
        if (word == "HEIGHT") file >> height;
    }
    file.get();
    if (!file || width <= 0 || height <= 0) throw RunError("cannot read " + path.string());
    Picture picture(width, height);
    for (int y = height; y-- > 0;)
        for (int i = 0; i < width * 4; ++i) picture.row(y)[i] = sampleOf(static_cast<std::uint8_t>(file.get()));
    if (!file) throw RunError(path.string() + " is too short");
    return picture;
}

}  // namespace quillon
