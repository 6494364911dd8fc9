// The effect reference as Markdown, from the declarations and the pictures that are there.
#pragma once

#include <functional>
#include <map>
#include <string>

#include "host/cli/declarations.h"

namespace quillon {

struct PagePictures {
    std::string folder = "../images/effects/";         // from the pages
    std::function<bool(const std::string& file)> has;  // "Darken.jpg", "source-seeding.jpg"
};

std::string referencePage(const DeclaredEffect& effect, const PagePictures& pictures);

// By file name: "Darken.md" and so on, and "README.md", the index.
std::map<std::string, std::string> referencePages(const Declarations& declarations, const PagePictures& pictures);

}  // namespace quillon
