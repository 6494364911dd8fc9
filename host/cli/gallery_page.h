// The gallery as an HTML page: every picture with its effect, in a grid that follows the window's width.
#pragma once

#include <string>
#include <vector>

namespace quillon {

struct GalleryPicture {
    std::string file, caption;  // of the picture, relative to the page
};

struct GalleryEffect {
    std::string name, menu, description, settings;
    int width = 0, height = 0;
    std::vector<GalleryPicture> pictures;  // the scene first, then the presets
};

struct Gallery {
    std::string version, contactSheet;
    std::vector<GalleryEffect> effects;
    std::vector<std::string> withoutPicture;  // names
};

std::string galleryPage(const Gallery& gallery);

}  // namespace quillon
