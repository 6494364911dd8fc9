// The manual that the bundle carries and its help buttons open: the reference of all effects as one PDF document.
#pragma once

#include <string>

#include "host/cli/declarations.h"

namespace quillon {

std::string manualPdf(const Declarations& declarations);

}  // namespace quillon
