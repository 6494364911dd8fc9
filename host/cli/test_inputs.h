// Pictures made by arithmetic, for scenes and trials: "@chart", "@ramp", "@noise", "@dots", and "@flight", which
// moves. All samples are levels of 8 bits, so that an effect gets the same picture at every depth; the alpha is 1.
#pragma once

#include <string>
#include <vector>

#include "host/cli/picture.h"

namespace quillon {

const std::vector<std::string>& testInputNames();

// Throws UsageError for a name that is none of these.
Picture testInput(const std::string& name, int width, int height, int frame = 0);
bool testInputMoves(const std::string& name);

}  // namespace quillon
