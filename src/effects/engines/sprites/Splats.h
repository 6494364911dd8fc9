// Drawing of particles into float RGBA pictures.
//
// Everything is laid over what is there with a coverage c, in all four channels: c * colour + (1 - c) * there, alpha
// c + (1 - c) * there. A colour's own alpha is not used. Stamps can also add their light or screen it. Whole numbers
// are pixel centres. Positions that are not finite, or far outside, draw nothing.
//
// A particle effect collects what it draws in a Splats and draws it at the end of its step: bands of rows in parallel,
// each in the order of collection, so that every pixel is covered in that order whatever the number of threads.
#pragma once

#include <cstdint>
#include <vector>

#include "effects/engines/sprites/Sprites.h"
#include "graphicslib/draw_blend.h"
#include "graphicslib/mip_picture.h"
#include "imagelib/imagelib.h"

struct SplatTarget;

class Splats {
  public:
    // Drawing that the effect does itself: item of the owner into rows first to last of the picture, and nothing else.
    using Painter = void (*)(const void* owner, int item, K7Image* image, int first, int last);

    // Forgets what was collected and begins anew for pictures of this size.
    void begin(int width, int height);

    // The pixel at the rounded position, with a quarter of the opacity. False outside the picture.
    bool point(const float* colour, float x, float y, float opacity);
    // One pixel wide, antialiased.
    void line(const float* colour, float x0, float y0, float x1, float y1, float coverage);
    // The sprite with its centre on (x, y), bilinear. Null sprites draw nothing. Sprites live until draw().
    void sprite(const float* colour, const Sprite* sprite, float x, float y, float opacity);
    void sprite_rotated(const float* colour, const Sprite* sprite, float x, float y, float opacity, float radians);
    // A sprite in colour, resampled with a filter of the pixel's size, so that it neither sparkles when small nor jumps
    // when its size changes.
    struct Look {
        float half_width, half_height;  // of the drawn sprite, in pixels, before rotation; above 0
        float radians = 0;              // counter-clockwise
        float colour[3] = {1, 1, 1};    // times the sprite's
        float opacity = 1;              // 0 to 1; with add also more
        DrawBlend blend = DrawBlend::over;
    };
    void stamp(const MipPicture* sprite, float x, float y, const Look& look);
    // Drawing that the effect does itself, into the rows that it names.
    void painted(Painter painter, const void* owner, int item, int first_row, int last_row);

    void draw(K7Image* image) const;
    std::size_t count() const { return m_items.size(); }

    // The pixels that it can reach, but for what owners draw themselves; empty: none.
    struct Bounds {
        int first_column, last_column, first_row, last_row;
        bool empty() const { return first_column > last_column || first_row > last_row; }
    };
    Bounds bounds() const;

  private:
    enum class Kind : std::uint8_t { Point, Line, Upright, Turned, Stamp, Painted };
    struct Item {
        Kind kind = Kind::Point;
        DrawBlend blend = DrawBlend::over;  // of a stamp
        float colour[3] = {};
        float opacity = 0;
        float x = 0, y = 0;                     // of a line: its start
        float a = 0, b = 0;                     // of a line: its end; of a rotated sprite or a stamp: cosine and sine
        float half_width = 0, half_height = 0;  // of a stamp
        // Pixels that it can reach, inside the picture
        int first_row = 0, last_row = 0, first_column = 0, last_column = 0;
        const void* source = nullptr;  // the sprite, or a painter's owner
        std::uint32_t painter = 0;     // its place in m_painters
        int item = 0;
    };

    bool place(Item& item, float x, float y, float reach_x, float reach_y) const;
    void add(const Item& item, const float* colour, float opacity);
    static void fetch(K7Image* image, const Item& item, int first, int last);
    static void drawStamp(const SplatTarget& target, const Item& item);
    void drawBand(K7Image* image, const std::uint32_t* begin, const std::uint32_t* end, int first, int last) const;

    int m_width = 0, m_height = 0;
    std::vector<Item> m_items;
    std::vector<Painter> m_painters;
};

// One at once, on the calling thread; lines: graphicslib/line_draw.h. False where the image is not float RGBA, or
// nothing could be drawn.
bool draw_point(K7Image* image, const float* colour, float x, float y, float opacity);
bool draw_sprite(K7Image* image, const float* colour, const Sprite* sprite, float x, float y, float opacity);
bool draw_sprite_rotated(K7Image* image, const float* colour, const Sprite* sprite, float x, float y, float opacity,
                         float radians);
