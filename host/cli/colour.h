// Which numbers stand for which light in a file, and the way from one to another. The colours' primaries stay what they
// are; only the curve between light and number changes.
//
// Sources: IEC 61966-2-1 (sRGB) and ITU-R BT.709-6, both mirrored below zero and going on above white.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "host/cli/picture.h"

namespace quillon {

enum class Colour {
    Srgb,
    Linear,  // numbers are proportional to light
    Rec709,
    Other  // a curve that this program does not know: numbers pass as they are
};

const char* colourWord(Colour colour);                     // "srgb", "linear", "rec709", "other"
std::optional<Colour> parseColour(std::string_view word);  // of the first three
// Of what OpenImageIO calls "oiio:ColorSpace"; nothing for an empty text.
std::optional<Colour> colourOfTag(const std::string& tag);
const char* colourTag(Colour colour);  // and back; null for Other

enum class Alpha { None, Straight, Premultiplied };

// R, G and B of all pixels; premultiplied ones are divided by their alpha on the way. From and to Other nothing
// happens.
void convertColour(Picture& picture, Colour from, Colour to, Alpha alpha);
// Where alpha is 0, colours stay as they are: there is nothing to divide by.
void convertAlpha(Picture& picture, Alpha from, Alpha to);

}  // namespace quillon
