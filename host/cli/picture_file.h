// Picture files, read and written through OpenImageIO. Numbers pass unchanged: no colour conversion, no
// premultiplication, no limiting where the file holds floats.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "host/cli/picture.h"

namespace quillon {

struct PictureSize {
    int width = 0, height = 0;
};

// Both throw RunError: the file is missing, unreadable, damaged or of a kind that is not known.
PictureSize readPictureSize(const std::filesystem::path& path);
// Grey becomes RGB and a missing alpha 1. Of more channels R, G, B and A are taken by their names. An EXR whose data
// cover a part of its display window (or more than it) is brought to that window, transparent where it has none.
// What a camera's file says of its orientation is followed, in the size as well.
Picture readPicture(const std::filesystem::path& path);

// How samples are to be stored: 8 and 16 ask for levels, 32 for floats, as far as the format has them.
struct WriteOptions {
    int depth = 32;
    double pixelAspect = 1.0;
};

// Throws UsageError when the file's extension names no format that can be written.
void requireWritableFormat(const std::string& fileName);
// The bytes of the file that writePicture() would write to `path`. Throws RunError.
std::vector<unsigned char> encodePicture(const std::filesystem::path& path, const Picture& picture,
                                         const WriteOptions& options);
// Appears whole or not at all. Throws RunError.
void writePicture(const std::filesystem::path& path, const Picture& picture, const WriteOptions& options);

}  // namespace quillon
