#include "host/jaws/rasteriser.h"

#include <OpenImageIO/imageio.h>

#include <algorithm>

namespace jaws {

namespace {

// Each sample of the page is either opaque or white without alpha, and a pixel is their mean. So what is white for want
// of paint is known, and what is left is the colour multiplied by alpha.
void premultiply(Samples& samples) {
    for (std::size_t i = 0; i + 3 < samples.size(); i += 4) {
        const int unpainted = 255 - samples[i + 3];
        for (std::size_t c = i; c < i + 3; ++c)
            samples[c] = static_cast<std::uint8_t>(std::max(samples[c] - unpainted, 0));
    }
}

void addNumber(std::string& text, std::uint32_t number, int bytes) {
    for (int i = 0; i < bytes; ++i) text += static_cast<char>(number >> (8 * i) & 255);
}

}  // namespace

Samples readPage(const std::filesystem::path& file, int width, int height) {
    OIIO::ImageSpec config;
    config.attribute("oiio:UnassociatedAlpha", 1);
    const auto input = OIIO::ImageInput::open(file.string(), &config);
    if (!input) {
        OIIO::geterror();  // else it is told at the end of the program
        return {};
    }
    const OIIO::ImageSpec& header = input->spec();
    if (header.width != width || header.height != height || header.nchannels != 4) return {};
    Samples samples(std::size_t(width) * std::size_t(height) * 4);
    if (!input->read_image(0, 0, 0, 4, OIIO::TypeDesc::UINT8, samples.data())) {
        input->geterror();
        return {};
    }
    premultiply(samples);
    return samples;
}

// "TIFF Revision 6.0": the pixels in one strip, then numbers that are longer than four bytes, then the directory.
std::string tiffOf(const Samples& samples, int width, int height) {
    constexpr std::uint32_t Header = 8, BitsSize = 8, ResolutionSize = 16;
    enum Type : std::uint32_t { Short = 3, Long = 4, Rational = 5 };
    const auto size = static_cast<std::uint32_t>(samples.size());
    const std::uint32_t bits = Header + size, resolution = bits + BitsSize, directory = resolution + ResolutionSize;
    const std::uint32_t fields[][4] = {{256, Long, 1, static_cast<std::uint32_t>(width)},
                                       {257, Long, 1, static_cast<std::uint32_t>(height)},
                                       {258, Short, 4, bits},
                                       {259, Short, 1, 1},  // no compression
                                       {262, Short, 1, 2},  // RGB
                                       {273, Long, 1, Header},
                                       {277, Short, 1, 4},
                                       {278, Long, 1, static_cast<std::uint32_t>(height)},
                                       {279, Long, 1, size},
                                       {282, Rational, 1, resolution},
                                       {283, Rational, 1, resolution + 8},
                                       {284, Short, 1, 1},
                                       {296, Short, 1, 2},   // per inch
                                       {338, Short, 1, 1}};  // the alpha that the colours are multiplied by
    std::string file = "II";
    file.reserve(directory + 256);
    addNumber(file, 42, 2);
    addNumber(file, directory, 4);
    file.append(reinterpret_cast<const char*>(samples.data()), samples.size());
    for (int i = 0; i < 4; ++i) addNumber(file, 8, 2);
    for (int i = 0; i < 2; ++i) {
        addNumber(file, 72, 4);
        addNumber(file, 1, 4);
    }
    addNumber(file, static_cast<std::uint32_t>(std::size(fields)), 2);
    for (const auto& [tag, type, count, value] : fields) {
        addNumber(file, tag, 2);
        addNumber(file, type, 2);
        addNumber(file, count, 4);
        addNumber(file, value, 4);
    }
    addNumber(file, 0, 4);
    return file;
}

}  // namespace jaws
