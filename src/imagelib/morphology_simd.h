// Private: the window extreme over one strip of columns, built for each instruction set.
#pragma once

#include <cstddef>

#include "simdlib/cpu.h"

// Offsets of a window's first and last row or column from the pixel; both ends are part of it.
struct Reach {
    int first, last;
    int count() const { return last - first + 1; }
};

enum class GateSide { none, keep_above, keep_below };

struct ExtremeStrip {
    const float* source;
    float* destination;
    const float* others;  // image that the channels outside `lanes` are taken from
    std::size_t row_floats;
    int width, height;
    int first_row, last_row;    // rows to write
    int first_column, columns;  // of the strip
    Reach across, down;
    bool maximum;
    unsigned lanes;  // bit for each channel to write
    GateSide gate;
    float threshold;
    bool is_streamed;  // the destination is too large for the caches
    float* line;       // extreme_line_floats()
    float* prefix;     // extreme_row_floats()
    float* slots;      // down.count() times extreme_row_floats()
};

// Sizes of the scratch lines: whole cache lines, with room for whole vectors to be read and written past the end.
constexpr std::size_t EXTREME_ALIGNMENT = 64;
constexpr std::size_t extreme_row_floats(int columns) { return (std::size_t(columns) * 4 + 47) / 16 * 16; }
constexpr std::size_t extreme_line_floats(int columns, int window) { return extreme_row_floats(columns + window) + 16; }

using ExtremeStripFunction = void (*)(const ExtremeStrip& strip);

QUILLON_SIMD_TABLE(ExtremeStripFunction, extreme_strip);
