// The gallery as HTML pages: every picture with its effect, in rows that fill the window's width. Nothing is loaded
// from elsewhere: the pages work from a disk.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "host/cli/declarations.h"

namespace quillon {

// What is in the gallery's folder pictures/. Every view has FILE.jpg; those that move have FILE.webp besides.
struct Gallery {
    std::string version, contactSheet;
    int width = 1920, height = 1080;  // of the pictures
    std::vector<DeclaredEffect> effects;
    std::set<std::string> moving;  // DeclaredView::file
};

// By file name relative to the gallery's folder: "index.html", "gallery.css", "gallery.js" and a page for each effect,
// "effects/Rain.html".
std::map<std::string, std::string> galleryPages(const Gallery& gallery);

}  // namespace quillon
