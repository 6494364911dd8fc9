#include "host/cli/picture_tags.h"

#include <string_view>

namespace quillon {

namespace {

// What belongs to the way a file stored its samples, or is told anew of the file that is written.
constexpr std::string_view droppedBeginnings[] = {"oiio:",
                                                  "exr:",
                                                  "openexr:",
                                                  "png:",
                                                  "jpeg:",
                                                  "tiff:",
                                                  "dpx:",
                                                  "thumbnail",
                                                  "bmp:",
                                                  "targa:",
                                                  "Exif:PixelXDimension",
                                                  "Exif:PixelYDimension",
                                                  "ICCProfile:"};
constexpr std::string_view droppedNames[] = {
    "compression",   "CompressionQuality", "Orientation", "PixelAspectRatio", "FramesPerSecond", "textureformat",
    "name",          "chunkCount",         "type",        "Software",         "Exif:ColorSpace", "dataWindow",
    "displayWindow", "lineOrder",          "version"};

bool isDropped(std::string_view name) {
    for (const std::string_view beginning : droppedBeginnings)
        if (name.starts_with(beginning)) return true;
    for (const std::string_view dropped : droppedNames)
        if (OIIO::Strutil::iequals(OIIO::string_view(name.data(), name.size()),
                                   OIIO::string_view(dropped.data(), dropped.size())))
            return true;
    return false;
}

// Samples are written as RGB, whatever they were stored as (ICC.1:2022, 7.2.6: the colour space stands at byte 16).
bool isProfileOfRgb(const OIIO::ParamValue& profile) {
    const auto* bytes = static_cast<const char*>(profile.data());
    return profile.datasize() >= 128 && std::string_view(bytes + 16, 4) == "RGB ";
}

}  // namespace

PictureTags::PictureTags(const OIIO::ImageSpec& header) {
    for (const OIIO::ParamValue& tag : header.extra_attribs) {
        if (isDropped(tag.name().string())) continue;
        if (tag.name() == "ICCProfile" && !isProfileOfRgb(tag)) continue;
        m_list.push_back(tag);
    }
}

void PictureTags::addTo(OIIO::ImageSpec& header, bool sameColours) const {
    for (const OIIO::ParamValue& tag : m_list)
        if (sameColours || tag.name() != "ICCProfile") header.extra_attribs.push_back(tag);
}

}  // namespace quillon
