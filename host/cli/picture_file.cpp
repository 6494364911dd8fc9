#include "host/cli/picture_file.h"

#include <OpenImageIO/filesystem.h>
#include <OpenImageIO/imageio.h>

#include <algorithm>
#include <array>
#include <memory>

#include "host/cli/atomic_file.h"
#include "host/cli/failure.h"
#include "host/cli/text.h"

namespace quillon {

namespace fs = std::filesystem;

namespace {

// ---- Reading --------------------------------------------------------------------------------------------------

constexpr int MaxSide = 1 << 17;
constexpr long long MaxPixels = 1LL << 29;

std::unique_ptr<OIIO::ImageInput> openPicture(const fs::path& path) {
    std::error_code error;
    if (!fs::exists(path, error)) throw RunError("cannot read " + path.string() + ": there is no such file");
    if (fs::is_directory(path, error)) throw RunError("cannot read " + path.string() + ": it is a folder");
    OIIO::ImageSpec config;
    config.attribute("oiio:UnassociatedAlpha", 1);  // as stored, not multiplied into the colours
    auto input = OIIO::ImageInput::open(path.string(), &config);
    if (!input) throw RunError("cannot read " + path.string() + ": " + OIIO::geterror());
    const OIIO::ImageSpec& header = input->spec();
    for (const int side : {header.width, header.height, header.full_width, header.full_height})
        if (side < 1 || side > MaxSide) throw RunError("cannot read " + path.string() + ": its size makes no sense");
    for (const auto& [w, h] :
         {std::pair(header.width, header.height), std::pair(header.full_width, header.full_height)})
        if (static_cast<long long>(w) * h > MaxPixels)
            throw RunError("cannot read " + path.string() + ": it is too big");
    if (header.depth > 1) throw RunError("cannot read " + path.string() + ": it holds a volume, not a picture");
    if (header.nchannels < 1) throw RunError("cannot read " + path.string() + ": it has no channels");
    return input;
}

// Index of the channel called `name`, or else of the first "<layer>.name"; -1 when there is none.
int channelNamed(const OIIO::ImageSpec& header, std::string_view name) {
    const std::string wanted = lowerCase(name);
    int inLayer = -1;
    for (int i = 0; i < static_cast<int>(header.channelnames.size()); ++i) {
        const std::string channel = lowerCase(header.channelnames[static_cast<std::size_t>(i)]);
        if (channel == wanted) return i;
        if (inLayer < 0 && channel.ends_with("." + wanted)) inLayer = i;
    }
    return inLayer;
}

// Which channel of the file goes into R, G, B and A; -1 for none.
std::array<int, 4> channelMap(const OIIO::ImageSpec& header) {
    const auto find = [&](const char* letter, const char* word) {
        const int byLetter = channelNamed(header, letter);
        return byLetter >= 0 ? byLetter : channelNamed(header, word);
    };
    const int alpha = header.alpha_channel >= 0 ? header.alpha_channel : find("A", "alpha");
    const std::array<int, 3> rgb = {find("R", "red"), find("G", "green"), find("B", "blue")};
    if (rgb[0] >= 0 && rgb[1] >= 0 && rgb[2] >= 0) return {rgb[0], rgb[1], rgb[2], alpha};
    const int grey = find("Y", "luminance");
    if (grey >= 0) return {grey, grey, grey, alpha};
    const int first = alpha == 0 && header.nchannels > 1 ? 1 : 0;
    const int colours = header.nchannels - (alpha >= 0 ? 1 : 0);
    if (colours >= 3) return {first, first + 1, first + 2, alpha};
    return {first, first, first, colours > 0 ? alpha : -1};
}

template <class Sample>
inline float asFloat(Sample sample) {
    if constexpr (std::is_same_v<Sample, float>)
        return sample;
    else
        return sampleOf(sample);
}

// Reads the file's samples in the type given and spreads them into the picture's window.
template <class Sample>
Picture readAs(OIIO::ImageInput& input, OIIO::TypeDesc type, const fs::path& path) {
    const OIIO::ImageSpec header = input.spec();
    const auto channels = static_cast<std::size_t>(header.nchannels);
    std::vector<Sample> samples(static_cast<std::size_t>(header.width) * static_cast<std::size_t>(header.height) *
                                channels);
    if (!input.read_image(0, 0, 0, header.nchannels, type, samples.data()))
        throw RunError("cannot read " + path.string() + ": " + input.geterror());
    const std::array<int, 4> map = channelMap(header);
    Picture picture(header.full_width, header.full_height);
    const int shiftX = header.x - header.full_x, shiftY = header.y - header.full_y;
    const int x1 = std::max(0, shiftX), x2 = std::min(picture.width, shiftX + header.width);
    const int y1 = std::max(0, shiftY), y2 = std::min(picture.height, shiftY + header.height);
    for (int y = y1; y < y2 && x1 < x2; ++y) {
        const Sample* from =
            samples.data() + (static_cast<std::size_t>(y - shiftY) * static_cast<std::size_t>(header.width) +
                              static_cast<std::size_t>(x1 - shiftX)) *
                                 channels;
        float* to = picture.row(picture.height - 1 - y) + static_cast<std::size_t>(x1) * 4;
        for (int x = x1; x < x2; ++x, from += channels, to += 4)
            for (std::size_t c = 0; c < 4; ++c) to[c] = map[c] < 0 ? 1.0f : asFloat(from[map[c]]);
    }
    return picture;
}

// As cameras and phones tell it in their files (EXIF 2.32, tag 274): 1 is upright, 5 to 8 lie on their side.
int orientationOf(const OIIO::ImageSpec& header) {
    const int told = header.get_int_attribute("Orientation", 1);
    return told >= 1 && told <= 8 ? told : 1;
}

Picture upright(Picture stored, int orientation) {
    if (orientation == 1) return stored;
    const bool onItsSide = orientation >= 5;
    const int right = stored.width - 1, bottom = stored.height - 1;
    Picture turned(onItsSide ? stored.height : stored.width, onItsSide ? stored.width : stored.height);
    for (int y = 0; y < turned.height; ++y) {  // from the top
        float* to = turned.row(turned.height - 1 - y);
        for (int x = 0; x < turned.width; ++x, to += 4) {
            int fromX = onItsSide ? y : x, fromY = onItsSide ? x : y;
            if (orientation == 2 || orientation == 3 || orientation == 7 || orientation == 8) fromX = right - fromX;
            if (orientation == 3 || orientation == 4 || orientation == 6 || orientation == 7) fromY = bottom - fromY;
            std::copy_n(stored.row(bottom - fromY) + static_cast<std::size_t>(fromX) * 4, 4, to);
        }
    }
    return turned;
}

// ---- Writing --------------------------------------------------------------------------------------------------

enum class Store { Byte, Short, Float };

struct Format {
    const char* extension;
    Store at8, at16, at32;  // how samples are stored for each depth
    bool alpha;
};

constexpr Format formats[] = {
    {"exr", Store::Float, Store::Float, Store::Float, true}, {"tif", Store::Byte, Store::Short, Store::Float, true},
    {"tiff", Store::Byte, Store::Short, Store::Float, true}, {"png", Store::Byte, Store::Short, Store::Short, true},
    {"jpg", Store::Byte, Store::Byte, Store::Byte, false},   {"jpeg", Store::Byte, Store::Byte, Store::Byte, false},
    {"dpx", Store::Byte, Store::Short, Store::Short, true},  {"bmp", Store::Byte, Store::Byte, Store::Byte, false},
    {"tga", Store::Byte, Store::Byte, Store::Byte, true},    {"hdr", Store::Float, Store::Float, Store::Float, false},
    {"ppm", Store::Byte, Store::Short, Store::Short, false},
};

const Format* formatOf(const std::string& fileName) {
    std::string extension = lowerCase(fs::path(fileName).extension().string());
    if (!extension.empty()) extension.erase(0, 1);
    for (const Format& format : formats)
        if (extension == format.extension) return &format;
    return nullptr;
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

}  // namespace

PictureSize readPictureSize(const fs::path& path) {
    const auto input = openPicture(path);
    const OIIO::ImageSpec& header = input->spec();
    if (orientationOf(header) >= 5) return {header.full_height, header.full_width};
    return {header.full_width, header.full_height};
}

Picture readPicture(const fs::path& path) {
    const auto input = openPicture(path);
    const int orientation = orientationOf(input->spec());
    // Levels are divided here and not by the library, which multiplies by a rounded reciprocal.
    if (input->spec().format == OIIO::TypeDesc::UINT8)
        return upright(readAs<std::uint8_t>(*input, OIIO::TypeDesc::UINT8, path), orientation);
    if (input->spec().format == OIIO::TypeDesc::UINT16)
        return upright(readAs<std::uint16_t>(*input, OIIO::TypeDesc::UINT16, path), orientation);
    return upright(readAs<float>(*input, OIIO::TypeDesc::FLOAT, path), orientation);
}

void requireWritableFormat(const std::string& fileName) {
    if (formatOf(fileName)) return;
    std::string known;
    for (const Format& format : formats) known += std::string(known.empty() ? "" : ", ") + "." + format.extension;
    throw UsageError("cannot write \"" + fileName + "\": its extension names none of the formats " + known);
}

std::vector<unsigned char> encodePicture(const fs::path& path, const Picture& picture, const WriteOptions& options) {
    requireWritableFormat(path.filename().string());
    const Format& format = *formatOf(path.filename().string());
    const Store store = options.depth == 8 ? format.at8 : options.depth == 16 ? format.at16 : format.at32;
    const OIIO::TypeDesc type = store == Store::Byte    ? OIIO::TypeDesc::UINT8
                                : store == Store::Short ? OIIO::TypeDesc::UINT16
                                                        : OIIO::TypeDesc::FLOAT;
    OIIO::ImageSpec header(picture.width, picture.height, format.alpha ? 4 : 3, type);
    header.attribute("oiio:UnassociatedAlpha", 1);
    if (std::string_view(format.extension).starts_with("jp")) {
        header.attribute("Compression", "jpeg:95");
        header.attribute("jpeg:subsampling", "4:4:4");
    } else if (std::string_view(format.extension) == "exr") {
        header.attribute("compression", "zip");
    } else if (std::string_view(format.extension).starts_with("tif")) {
        header.attribute("compression", "zip");
    } else if (std::string_view(format.extension) == "png") {
        header.attribute("png:compressionLevel",
                         3);  // a quarter of the time of the usual 6, 2 % more bytes (a photograph)
    }
    if (options.pixelAspect != 1.0) header.attribute("PixelAspectRatio", static_cast<float>(options.pixelAspect));

    // Into memory first: what then goes to disk goes in one stream whose every error is seen.
    std::vector<unsigned char> bytes;
    OIIO::Filesystem::IOVecOutput memory(bytes);
    auto output = OIIO::ImageOutput::create(path.filename().string(), &memory);
    const auto fail = [&](const std::string& why) { throw RunError("cannot write " + path.string() + ": " + why); };
    if (!output) fail(OIIO::geterror());
    if (!output->supports("ioproxy")) fail("this OpenImageIO cannot write the format in memory");
    if (!output->open(path.filename().string(), header)) fail(output->geterror());
    bool written = false;
    if (store == Store::Byte) written = writeSamples<std::uint8_t>(*output, picture, type);
    if (store == Store::Short) written = writeSamples<std::uint16_t>(*output, picture, type);
    if (store == Store::Float) written = writeSamples<float>(*output, picture, type);
    if (!written || !output->close()) fail(output->geterror());
    return bytes;
}

void writePicture(const fs::path& path, const Picture& picture, const WriteOptions& options) {
    const std::vector<unsigned char> bytes = encodePicture(path, picture, options);
    writeFileAtomically(path, bytes.data(), bytes.size());
}

}  // namespace quillon
