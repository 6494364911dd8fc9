// How ink meets what is in the picture. Ink is a colour c with a coverage a, already multiplied: light l = a * c.
#pragma once

#include <cstdint>

enum class DrawBlend : std::uint8_t {
    over,    // l + (1 - a) * there
    add,     // there + l
    screen,  // there + l - there * l, and never less than the brighter of both
};
// Alpha is a + (1 - a) * there in all of them, so that what was drawn on an empty picture can be composited.
