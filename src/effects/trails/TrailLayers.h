// What one frame leaves behind in a live trail: what moved in it, smeared to where it lay in the frame before.
#pragma once

#include <vector>

#include "effects/engines/motion/ClipMotion.h"
#include "imagelib/imagelib.h"

// What of a frame leaves trails.
struct TrailKey {
    float speed_low, speed_high;    // widths of the picture a frame: nothing up to the one, all from the other on
    float bright_low, bright_high;  // luminance; both 0: brightness does not count
    bool follows_camera;            // only what moves beside the camera's motion
    bool operator==(const TrailKey&) const = default;
};

// What a layer is made for. Layers are kept as long as this stays.
struct TrailMaking {
    TrailKey key;
    int shrink;      // pixels of the frame along the side of one of the layer
    bool smears;     // to where things lay in the frame before
    bool brightest;  // of all places in between, else their mean
    bool depth;      // how deep inside a thing a pixel lies is wanted
    bool masked;     // by a matte
    bool operator==(const TrailMaking&) const = default;
};

// The pixels that show anything, row by row.
class TrailLayer {
  public:
    struct Row {
        int first = 0, last = -1;  // none: the last is below the first
        std::size_t offset = 0;    // of the first, in pixels
    };
    int width = 0, height = 0;
    bool whole = true;  // false: made without a picture that the host did not give, and not to be kept
    std::vector<Row> rows;
    std::vector<float> colours;  // premultiplied RGBA
    // Three for each pixel: the part of the way to the frame before at which it was covered last, how deep inside the
    // thing that covered it, and the alpha of what is there in the frame itself.
    std::vector<float> extras;

    const float* colours_of(int y, int x) const { return colours.data() + 4 * index(y, x); }
    const float* extras_of(int y, int x) const { return extras.data() + 3 * index(y, x); }
    std::size_t bytes() const { return (colours.size() + extras.size()) * sizeof(float) + rows.size() * sizeof(Row); }

  private:
    std::size_t index(int y, int x) const {
        const Row& row = rows[std::size_t(y)];
        return row.offset + std::size_t(x - row.first);
    }
};

// What there is to make a layer of.
struct TrailTake {
    const K7Image& frame;
    const K7Image* matte;  // null: without
    const FrameMotion& motion;
    const FrameMotion* earlier;  // of the frame before, which bends the way; null: not known
    int motion_shrink;
};
// False: an end was asked for. Throws without memory.
bool make_trail_layer(const TrailMaking& making, const TrailTake& take, const StopRequested& stop, TrailLayer& layer);
