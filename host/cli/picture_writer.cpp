// Writing: formats, what they hold and how.
#include <OpenImageIO/filesystem.h>
#include <OpenImageIO/imageio.h>

#include <algorithm>
#include <cmath>
#include <memory>

#include "host/cli/atomic_file.h"
#include "host/cli/failure.h"
#include "host/cli/picture_file.h"
#include "host/cli/picture_tags.h"
#include "host/cli/text.h"

namespace quillon {

namespace fs = std::filesystem;

namespace {

constexpr float LargestHalf = 65504.0f;

constexpr const char* storeWords[] = {"8", "16", "half", "float"};

struct Format {
    const char* extension;
    Store at8, at16, at32;  // how samples are stored for each depth
    const char* stores;     // all that it can, as words
    Alpha alpha;            // as the format's readers expect it
    const char* colour;     // a word, or: "float" linear for floats and sRGB for levels, "any" what its tag says
    const char* compressions;
};

constexpr char ExrCompressions[] = "zip none rle zips piz pxr24 b44 b44a dwaa dwab";
constexpr char TiffCompressions[] = "zip none lzw packbits";
constexpr char PngCompressions[] = "3 0 1 2 4 5 6 7 8 9";

// The first compression is the usual one. PNG: at 3 a quarter of the time of 6, 2 % more bytes (a photograph).
constexpr Format formats[] = {
    {"exr", Store::Float, Store::Float, Store::Float, "half float", Alpha::Premultiplied, "linear", ExrCompressions},
    {"tif", Store::Byte, Store::Short, Store::Float, "8 16 float", Alpha::Straight, "float", TiffCompressions},
    {"tiff", Store::Byte, Store::Short, Store::Float, "8 16 float", Alpha::Straight, "float", TiffCompressions},
    {"png", Store::Byte, Store::Short, Store::Short, "8 16", Alpha::Straight, "srgb", PngCompressions},
    {"jpg", Store::Byte, Store::Byte, Store::Byte, "8", Alpha::None, "srgb", ""},
    {"jpeg", Store::Byte, Store::Byte, Store::Byte, "8", Alpha::None, "srgb", ""},
    {"dpx", Store::Byte, Store::Short, Store::Short, "8 16", Alpha::Straight, "any", ""},
    {"bmp", Store::Byte, Store::Byte, Store::Byte, "8", Alpha::None, "srgb", ""},
    {"tga", Store::Byte, Store::Byte, Store::Byte, "8", Alpha::Straight, "srgb", ""},
    {"hdr", Store::Float, Store::Float, Store::Float, "float", Alpha::None, "linear", ""},
    {"ppm", Store::Byte, Store::Short, Store::Short, "8 16", Alpha::None, "srgb", ""},
};

const Format* formatOf(const std::string& fileName) {
    std::string extension = lowerCase(fs::path(fileName).extension().string());
    if (!extension.empty()) extension.erase(0, 1);
    for (const Format& format : formats)
        if (extension == format.extension) return &format;
    return nullptr;
}

bool isTiff(const Format& format) { return std::string_view(format.extension).starts_with("tif"); }
bool isJpeg(const Format& format) { return std::string_view(format.extension).starts_with("jp"); }

bool holdsWord(const char* list, const std::string& word) {
    const auto words = split(list, ' ');
    return std::find(words.begin(), words.end(), word) != words.end();
}

std::string commaList(std::string words) {
    for (auto blank = words.find(' '); blank != std::string::npos; blank = words.find(' ', blank + 2))
        words.replace(blank, 1, ", ");
    return words;
}

Store storeOf(const Format& format, const WriteOptions& options) {
    if (options.store) return *options.store;
    return options.depth == 8 ? format.at8 : options.depth == 16 ? format.at16 : format.at32;
}

Colour colourOf(const Format& format, const WriteOptions& options) {
    if (options.fileColour) return *options.fileColour;
    const std::string_view word = format.colour;
    if (word == "any") return options.colour;
    if (word == "float") return storeOf(format, options) == Store::Float ? Colour::Linear : Colour::Srgb;
    return *parseColour(word);
}

// The picture's samples in the file's order: top row first, alpha dropped where the format has none.
template <class Sample>
std::vector<Sample> fileSamples(const Picture& picture, std::size_t channels) {
    std::vector<Sample> samples;
    samples.resize(static_cast<std::size_t>(picture.width) * static_cast<std::size_t>(picture.height) * channels);
    Sample* to = samples.data();
    for (int y = picture.height - 1; y >= 0; --y) {
        const float* from = picture.row(y);
        for (int x = 0; x < picture.width; ++x, from += 4)
            for (std::size_t c = 0; c < channels; ++c) {
                if constexpr (std::is_same_v<Sample, float>)
                    *to++ = from[c];
                else
                    *to++ = quantise<Sample>(from[c]);
            }
    }
    return samples;
}

template <class Sample>
bool writeSamples(OIIO::ImageOutput& output, const Picture& picture, OIIO::TypeDesc type) {
    const auto samples = fileSamples<Sample>(picture, static_cast<std::size_t>(output.spec().nchannels));
    return output.write_image(type, samples.data());
}

// The compression and quality asked for, or good ones.
void setCompression(OIIO::ImageSpec& header, const Format& format, const WriteOptions& options) {
    const std::string name =
        options.compression.empty() ? split(format.compressions, ' ').front() : options.compression;
    const std::string level = options.quality > 0 ? ":" + std::to_string(options.quality) : std::string();
    if (isJpeg(format)) {
        header.attribute("Compression", "jpeg" + (level.empty() ? ":95" : level));
        header.attribute("jpeg:subsampling", "4:4:4");
    } else if (std::string_view(format.extension) == "png") {
        header.attribute("png:compressionLevel", static_cast<int>(parseInteger(name).value_or(3)));
    } else if (isTiff(format)) {
        header.attribute("compression", name);
        // OpenImageIO 2.4 writes the directory of Exif tags behind the picture's and, in memory, lets the file begin
        // with it: nobody finds the picture then.
        header.attribute("tiff:write_exif", 0);
    } else if (!name.empty()) {
        header.attribute("compression", name.starts_with("dwa") ? name + level : name);
    }
}

OIIO::TypeDesc typeOf(Store store) {
    switch (store) {
        case Store::Byte:
            return OIIO::TypeDesc::UINT8;
        case Store::Short:
            return OIIO::TypeDesc::UINT16;
        case Store::Half:
            return OIIO::TypeDesc::HALF;
        case Store::Float:
            break;
    }
    return OIIO::TypeDesc::FLOAT;
}

OIIO::ImageSpec headerFor(const Picture& picture, const Format& format, const WriteOptions& options) {
    const Store store = storeOf(format, options);
    OIIO::ImageSpec header(picture.width, picture.height, format.alpha == Alpha::None ? 3 : 4, typeOf(store));
    const Colour colour = colourOf(format, options);
    if (options.tags) options.tags->addTo(header, options.colour == colour);
    if (format.alpha == Alpha::Straight) header.attribute("oiio:UnassociatedAlpha", 1);
    // Without a tag where nobody knows; a file that was never said to hold anything stays so.
    if (options.colour != Colour::Other && colourTag(colour)) header.attribute("oiio:ColorSpace", colourTag(colour));
    setCompression(header, format, options);
    if (options.pixelAspect != 1.0) header.attribute("PixelAspectRatio", static_cast<float>(options.pixelAspect));
    if (options.frameRate > 0.0) {
        const int rate[] = {static_cast<int>(std::lround(options.frameRate * 1000.0)), 1000};
        header.attribute("FramesPerSecond", OIIO::TypeRational, rate);
    }
    return header;
}

}  // namespace

std::optional<Store> parseStore(const std::string& word) {
    for (const Store store : {Store::Byte, Store::Short, Store::Half, Store::Float})
        if (word == storeWords[static_cast<int>(store)]) return store;
    return std::nullopt;
}

void requireWritableFormat(const std::string& fileName, const WriteOptions& options) {
    const auto refuse = [&](const std::string& why) { throw UsageError("cannot write \"" + fileName + "\": " + why); };
    const Format* format = formatOf(fileName);
    if (!format) {
        std::string known;
        for (const Format& one : formats) known += std::string(known.empty() ? "" : ", ") + "." + one.extension;
        return refuse("its extension names none of the formats " + known);
    }
    const std::string name = std::string(".") + format->extension;
    if (options.store && !holdsWord(format->stores, storeWords[static_cast<int>(*options.store)]))
        refuse(name + " stores samples as " + commaList(format->stores));
    if (!options.compression.empty() && !holdsWord(format->compressions, options.compression))
        refuse(*format->compressions ? "the compressions of " + name + " are " + commaList(format->compressions)
                                     : name + " has no choice of compressions");
    if (options.quality > 100 && isJpeg(*format)) refuse("the quality of .jpg is 1 to 100");
    if (options.quality > 0 && !isJpeg(*format) && !options.compression.starts_with("dwa"))
        refuse("a quality belongs to .jpg, and to dwaa and dwab of .exr");
}

Colour fileColourOf(const std::string& fileName, const WriteOptions& options) {
    return colourOf(*formatOf(fileName), options);
}
Alpha fileAlphaOf(const std::string& fileName) { return formatOf(fileName)->alpha; }
Store fileStoreOf(const std::string& fileName, const WriteOptions& options) {
    return storeOf(*formatOf(fileName), options);
}

std::vector<unsigned char> encodePicture(const fs::path& path, Picture picture, const WriteOptions& options) {
    const std::string name = path.filename().string();
    requireWritableFormat(name, options);
    const Format& format = *formatOf(name);
    const Store store = storeOf(format, options);
    convertColour(picture, options.colour, colourOf(format, options), options.alpha);
    convertAlpha(picture, options.alpha, format.alpha);
    if (store == Store::Half)  // what is finite stays so
        for (float& sample : picture.rgba)
            if (std::isfinite(sample)) sample = std::clamp(sample, -LargestHalf, LargestHalf);

    // Into memory first: what then goes to disk goes in one stream whose every error is seen.
    std::vector<unsigned char> bytes;
    OIIO::Filesystem::IOVecOutput memory(bytes);
    auto output = OIIO::ImageOutput::create(name, &memory);
    const auto fail = [&](const std::string& why) { throw RunError("cannot write " + path.string() + ": " + why); };
    if (!output) fail(OIIO::geterror());
    if (!output->supports("ioproxy")) fail("this OpenImageIO cannot write the format in memory");
    if (!output->open(name, headerFor(picture, format, options))) fail(output->geterror());
    bool written = false;
    if (store == Store::Byte) written = writeSamples<std::uint8_t>(*output, picture, OIIO::TypeDesc::UINT8);
    if (store == Store::Short) written = writeSamples<std::uint16_t>(*output, picture, OIIO::TypeDesc::UINT16);
    if (store == Store::Half || store == Store::Float)
        written = writeSamples<float>(*output, picture, OIIO::TypeDesc::FLOAT);
    if (!written || !output->close()) fail(output->geterror());
    return bytes;
}

void writePicture(const fs::path& path, const Picture& picture, const WriteOptions& options) {
    const std::vector<unsigned char> bytes = encodePicture(path, picture, options);
    writeFileAtomically(path, bytes.data(), bytes.size());
}

}  // namespace quillon
