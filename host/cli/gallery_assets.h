// The style and the script of the gallery's pages.
#pragma once

namespace quillon {

extern const char* const galleryStyle;
extern const char* const galleryScript;

}  // namespace quillon
