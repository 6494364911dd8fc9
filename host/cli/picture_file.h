// Picture files, read and written through OpenImageIO. Numbers pass unchanged where nobody asks for more: no colour
// conversion, no premultiplication, no limiting where the file holds floats.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/cli/colour.h"
#include "host/cli/picture.h"

namespace quillon {

class PictureTags;  // what a file tells beside its samples, to be written again

struct PictureInfo {
    int width = 0, height = 0;
    int bits = 8;       // of a sample as stored
    bool half = false;  // floats of 16 bits
    Alpha alpha = Alpha::None;
    Colour colour = Colour::Srgb;
    std::string colourName;           // a word of colourWord(), or the file's own for Other
    double pixelAspect = 1.0;         // width of a pixel, its height being 1
    double frameRate = 0.0;           // 0: not told
    std::string layer;                // that is read; empty for the file's plain channels
    std::vector<std::string> others;  // layers and channels that are there and not read
    std::shared_ptr<const PictureTags> tags;
};

// Both throw RunError: the file is missing, unreadable, damaged or of a kind that is not known, or has no such layer. A
// layer is named by its part of the file, by the beginning of its channels' names, or by both ("part.layer").
PictureInfo readPictureInfo(const std::filesystem::path& path, const std::string& layer = {});
// Grey becomes RGB and a missing alpha 1. Of more channels R, G, B and A are taken by their names. An EXR whose data
// cover a part of its display window (or more than it) is brought to that window, transparent where it has none.
// What a camera's file says of its orientation is followed, in the size as well.
Picture readPicture(const std::filesystem::path& path, const std::string& layer = {}, PictureInfo* info = nullptr);

enum class Store { Byte, Short, Half, Float };
std::optional<Store> parseStore(const std::string& word);  // "8", "16", "half", "float"

struct WriteOptions {
    int depth = 32;  // how samples are stored, as far as the format can: 8 and 16 ask for levels, 32 for floats
    double pixelAspect = 1.0;
    std::optional<Store> store = std::nullopt;  // instead of what suits the depth
    std::string compression = {};               // of the format; empty: a good one
    int quality = 0;                            // of JPEG, 1 to 100; of dwaa and dwab, their level; 0: the usual one
    // What the samples are; they are brought to what the file is to hold. None and Other: written as they are.
    Alpha alpha = Alpha::None;
    Colour colour = Colour::Other;
    std::optional<Colour> fileColour = std::nullopt;  // nothing: as fileColourOf() says
    double frameRate = 0.0;
    std::shared_ptr<const PictureTags> tags = nullptr;
};

// Throws UsageError when the file's extension names no format that can be written, or the format has not what the
// options ask for.
void requireWritableFormat(const std::string& fileName, const WriteOptions& options = {});
// What the format's files are taken for by those who read them.
Colour fileColourOf(const std::string& fileName, const WriteOptions& options);
Alpha fileAlphaOf(const std::string& fileName);
Store fileStoreOf(const std::string& fileName, const WriteOptions& options);

// The bytes of the file that writePicture() would write to `path`. Throws RunError.
std::vector<unsigned char> encodePicture(const std::filesystem::path& path, Picture picture,
                                         const WriteOptions& options);
// Appears whole or not at all. Throws RunError.
void writePicture(const std::filesystem::path& path, const Picture& picture, const WriteOptions& options);

}  // namespace quillon
