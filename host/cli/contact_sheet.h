// Many pictures on one.
#pragma once

#include <string>
#include <vector>

#include "host/cli/picture.h"

namespace quillon {

struct SheetEntry {
    Picture picture;
    std::string label;
};

// In rows of a grid that is about as wide as a screen, each picture fitted into a cell with its label below; without
// labels where the system has no font.
Picture contactSheet(const std::vector<SheetEntry>& entries);

}  // namespace quillon
