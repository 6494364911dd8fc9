// The effect reference as Markdown, from the declarations alone.
#pragma once

#include <functional>
#include <map>
#include <string>

#include "host/cli/declarations.h"

namespace quillon {

// Whether there is a picture of the effect of this name ("Darken") in ../images/effects/ beside the pages.
using HasPicture = std::function<bool(const std::string& effect)>;

// By file name: "Darken.md" and so on, and "README.md", the index.
std::map<std::string, std::string> referencePages(const Declarations& declarations, const HasPicture& hasPicture);

}  // namespace quillon
