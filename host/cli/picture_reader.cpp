// Reading: which channels of which part of a file, and what the file tells of them.
#include <OpenImageIO/imageio.h>

#include <algorithm>
#include <array>
#include <memory>

#include "host/cli/failure.h"
#include "host/cli/picture_file.h"
#include "host/cli/picture_tags.h"
#include "host/cli/text.h"

namespace quillon {

namespace fs = std::filesystem;

namespace {

constexpr int MaxSide = 1 << 17;
constexpr long long MaxPixels = 1LL << 29;

void requireSensible(const OIIO::ImageSpec& header, const fs::path& path) {
    const auto refuse = [&](const std::string& why) { throw RunError("cannot read " + path.string() + ": " + why); };
    for (const int side : {header.width, header.height, header.full_width, header.full_height})
        if (side < 1 || side > MaxSide) refuse("its size makes no sense");
    for (const auto& [w, h] :
         {std::pair(header.width, header.height), std::pair(header.full_width, header.full_height)})
        if (static_cast<long long>(w) * h > MaxPixels)
            refuse("its " + std::to_string(w) + " x " + std::to_string(h) +
                   " pixels take more memory than it may have");
    if (header.depth > 1) refuse("it holds a volume, not a picture");
    if (header.nchannels < 1) refuse("it has no channels");
}

std::unique_ptr<OIIO::ImageInput> openPicture(const fs::path& path) {
    std::error_code error;
    if (!fs::exists(path, error)) throw RunError("cannot read " + path.string() + ": there is no such file");
    if (fs::is_directory(path, error)) throw RunError("cannot read " + path.string() + ": it is a folder");
    OIIO::ImageSpec config;
    config.attribute("oiio:UnassociatedAlpha", 1);  // as stored, not multiplied into the colours
    auto input = OIIO::ImageInput::open(path.string(), &config);
    if (!input) throw RunError("cannot read " + path.string() + ": " + OIIO::geterror());
    requireSensible(input->spec(), path);
    return input;
}

// ---- Layers -----------------------------------------------------------------------------------------------------

// Channels of one part whose names begin alike: "diffuse.R", "diffuse.G".
struct Layer {
    int part = 0;
    std::string partName, prefix;  // the prefix without its point; empty for plain channels

    std::string name() const {
        if (partName.empty() || equalIgnoringCase(partName, prefix)) return prefix;
        return prefix.empty() ? partName : partName + "." + prefix;
    }
    bool is(std::string_view text) const {
        return equalIgnoringCase(text, name()) || equalIgnoringCase(text, prefix) || equalIgnoringCase(text, partName);
    }
};

std::string_view prefixOf(std::string_view channel) {
    const auto point = channel.rfind('.');
    return point == std::string_view::npos ? std::string_view() : channel.substr(0, point);
}

std::vector<Layer> layersOf(OIIO::ImageInput& input) {
    std::vector<Layer> layers;
    const bool several = input.spec(1).nchannels > 0;  // a part behind the first
    for (int part = 0;; ++part) {
        const OIIO::ImageSpec header = input.spec(part);
        if (header.nchannels < 1) return layers;
        const std::string name = several ? std::string(header.get_string_attribute("oiio:subimagename")) : "";
        for (const std::string& channel : header.channelnames) {
            const std::string prefix(prefixOf(channel));
            const bool known = std::any_of(layers.begin(), layers.end(), [&](const Layer& layer) {
                return layer.part == part && layer.prefix == prefix;
            });
            if (!known) layers.push_back({part, several && name.empty() ? std::to_string(part) : name, prefix});
        }
    }
}

// Index of the layer's channel called `name`; -1 when there is none.
int channelNamed(const OIIO::ImageSpec& header, std::string_view prefix, std::string_view name) {
    for (int i = 0; i < static_cast<int>(header.channelnames.size()); ++i) {
        const std::string_view channel = header.channelnames[static_cast<std::size_t>(i)];
        const std::string_view own = prefixOf(channel);
        if (own == prefix && equalIgnoringCase(channel.substr(own.empty() ? 0 : own.size() + 1), name)) return i;
    }
    return -1;
}

// Which channel of the part goes into R, G, B and A; -1 for none.
std::array<int, 4> channelMap(const OIIO::ImageSpec& header, std::string_view prefix) {
    const auto find = [&](const char* letter, const char* word) {
        const int byLetter = channelNamed(header, prefix, letter);
        return byLetter >= 0 ? byLetter : channelNamed(header, prefix, word);
    };
    std::vector<int> own;  // the layer's channels
    for (int i = 0; i < static_cast<int>(header.channelnames.size()); ++i)
        if (prefixOf(header.channelnames[static_cast<std::size_t>(i)]) == prefix) own.push_back(i);
    int alpha = find("A", "alpha");
    if (alpha < 0 && std::find(own.begin(), own.end(), header.alpha_channel) != own.end()) alpha = header.alpha_channel;
    const std::array<int, 3> rgb = {find("R", "red"), find("G", "green"), find("B", "blue")};
    if (rgb[0] >= 0 && rgb[1] >= 0 && rgb[2] >= 0) return {rgb[0], rgb[1], rgb[2], alpha};
    const int grey = find("Y", "luminance");
    if (grey >= 0) return {grey, grey, grey, alpha};
    std::erase(own, alpha);
    if (own.empty()) return {alpha, alpha, alpha, -1};
    if (own.size() >= 3) return {own[0], own[1], own[2], alpha};
    return {own[0], own[0], own[0], alpha};
}

// What is read when nobody names a layer: the first part's plain channels where they make a picture, else its first
// layer that does.
const Layer& plainLayer(OIIO::ImageInput& input, const std::vector<Layer>& layers) {
    const OIIO::ImageSpec header = input.spec(0);
    const auto has = [&](const Layer& layer, const char* letter, const char* word) {
        return channelNamed(header, layer.prefix, letter) >= 0 || channelNamed(header, layer.prefix, word) >= 0;
    };
    const Layer* best = &layers.front();
    int rank = 0;
    for (const Layer& layer : layers) {
        if (layer.part != 0) break;
        const int worth =
            (has(layer, "R", "red") || has(layer, "Y", "luminance") ? 2 : 0) + (layer.prefix.empty() ? 1 : 0);
        if (worth > rank) best = &layer, rank = worth;
    }
    return *best;
}

const Layer& chosenLayer(OIIO::ImageInput& input, const std::vector<Layer>& layers, const std::string& text,
                         const fs::path& path) {
    if (text.empty()) return plainLayer(input, layers);
    for (const Layer& layer : layers)
        if (layer.is(text)) return layer;
    std::string known;
    for (const Layer& layer : layers)
        if (!layer.name().empty()) known += (known.empty() ? "" : ", ") + layer.name();
    throw RunError("cannot read " + path.string() + ": it has no layer \"" + text + "\"" +
                   (known.empty() ? "; it has no layers at all" : "; it has " + known));
}

// ---- What a file tells ------------------------------------------------------------------------------------------

// As cameras and phones tell it in their files (EXIF 2.32, tag 274): 1 is upright, 5 to 8 lie on their side.
int orientationOf(const OIIO::ImageSpec& header) {
    const int told = header.get_int_attribute("Orientation", 1);
    return told >= 1 && told <= 8 ? told : 1;
}

double frameRateOf(const OIIO::ImageSpec& header) {
    const OIIO::ParamValue* rate = header.find_attribute("FramesPerSecond");
    if (!rate) return 0.0;
    if (rate->type() == OIIO::TypeRational) {
        const int* parts = static_cast<const int*>(rate->data());
        return parts[1] != 0 ? static_cast<double>(parts[0]) / parts[1] : 0.0;
    }
    return static_cast<double>(rate->get_float());
}

Alpha alphaOf(const OIIO::ImageInput& input, const OIIO::ImageSpec& header, int channel) {
    if (channel < 0) return Alpha::None;
    const std::string_view format = input.format_name();
    if (header.get_int_attribute("oiio:UnassociatedAlpha", 0) != 0) return Alpha::Straight;
    return format == "openexr" || format == "tiff" ? Alpha::Premultiplied : Alpha::Straight;
}

PictureInfo infoOf(const OIIO::ImageInput& input, const OIIO::ImageSpec& header, const std::vector<Layer>& layers,
                   const Layer& layer) {
    PictureInfo info;
    const bool onItsSide = orientationOf(header) >= 5;
    info.width = onItsSide ? header.full_height : header.full_width;
    info.height = onItsSide ? header.full_width : header.full_height;
    const std::array<int, 4> map = channelMap(header, layer.prefix);
    const OIIO::TypeDesc type = header.channelformat(std::max(map[0], 0));
    info.bits = static_cast<int>(type.size()) * 8;
    info.half = type == OIIO::TypeDesc::HALF;
    info.alpha = alphaOf(input, header, map[3]);
    const std::string tag = header.get_string_attribute("oiio:ColorSpace");
    info.colour = colourOfTag(tag).value_or(type.is_floating_point() ? Colour::Linear : Colour::Srgb);
    info.colourName = info.colour == Colour::Other ? tag : colourWord(info.colour);
    const float aspect = header.get_float_attribute("PixelAspectRatio", 1.0f);
    if (aspect > 0.01f && aspect < 100.0f) info.pixelAspect = static_cast<double>(aspect);
    info.frameRate = frameRateOf(header);
    info.layer = layer.name();
    for (const Layer& other : layers)
        if (&other != &layer) info.others.push_back(other.name().empty() ? "the plain channels" : other.name());
    for (int i = 0; i < header.nchannels; ++i) {
        const std::string& channel = header.channelnames[static_cast<std::size_t>(i)];
        if (prefixOf(channel) == layer.prefix && std::find(map.begin(), map.end(), i) == map.end())
            info.others.push_back("channel " + channel);
    }
    info.tags = std::make_shared<PictureTags>(header);
    return info;
}

// ---- Samples ----------------------------------------------------------------------------------------------------

template <class Sample>
inline float asFloat(Sample sample) {
    if constexpr (std::is_same_v<Sample, float>)
        return sample;
    else
        return sampleOf(sample);
}

// Reads the part's samples in the type given and spreads them into the picture's window.
template <class Sample>
Picture readAs(OIIO::ImageInput& input, int part, std::array<int, 4> map, OIIO::TypeDesc type, const fs::path& path) {
    const OIIO::ImageSpec header = input.spec(part);
    int first = header.nchannels, last = -1;  // channels between are read along
    for (const int channel : map)
        if (channel >= 0) first = std::min(first, channel), last = std::max(last, channel);
    const auto channels = static_cast<std::size_t>(last - first + 1);
    std::vector<Sample> samples(static_cast<std::size_t>(header.width) * static_cast<std::size_t>(header.height) *
                                channels);
    if (!input.read_image(part, 0, first, last + 1, type, samples.data()))
        throw RunError("cannot read " + path.string() + ": " + input.geterror());
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
            for (std::size_t c = 0; c < 4; ++c) to[c] = map[c] < 0 ? 1.0f : asFloat(from[map[c] - first]);
    }
    return picture;
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

}  // namespace

PictureInfo readPictureInfo(const fs::path& path, const std::string& layer) {
    const auto input = openPicture(path);
    const std::vector<Layer> layers = layersOf(*input);
    const Layer& chosen = chosenLayer(*input, layers, layer, path);
    return infoOf(*input, input->spec(chosen.part), layers, chosen);
}

Picture readPicture(const fs::path& path, const std::string& layer, PictureInfo* info) {
    const auto input = openPicture(path);
    const std::vector<Layer> layers = layersOf(*input);
    const Layer& chosen = chosenLayer(*input, layers, layer, path);
    const OIIO::ImageSpec header = input->spec(chosen.part);
    requireSensible(header, path);
    const std::array<int, 4> map = channelMap(header, chosen.prefix);
    if (info) *info = infoOf(*input, header, layers, chosen);
    const int orientation = orientationOf(header);
    // Levels are divided here and not by the library, which multiplies by a rounded reciprocal.
    if (header.format == OIIO::TypeDesc::UINT8)
        return upright(readAs<std::uint8_t>(*input, chosen.part, map, OIIO::TypeDesc::UINT8, path), orientation);
    if (header.format == OIIO::TypeDesc::UINT16)
        return upright(readAs<std::uint16_t>(*input, chosen.part, map, OIIO::TypeDesc::UINT16, path), orientation);
    return upright(readAs<float>(*input, chosen.part, map, OIIO::TypeDesc::FLOAT, path), orientation);
}

}  // namespace quillon
