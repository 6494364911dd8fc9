#include "effects/engines/sprites/Splats.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "effects/engines/sprites/Splats_simd.h"
#include "graphicslib/line_draw.h"
#include "graphicslib/mip_reader.h"
#include "graphicslib/row_bands.h"
#include "k7pi_baselib/portable_math.h"
#include "simdlib/cpu.h"

namespace {

constexpr int AHEAD = 2;     // items whose pixels are on their way
constexpr float FAR = 1e6f;  // pixels
constexpr float POINT_COVERAGE = 0.25f;

bool is_picture(const K7Image* image) {
    return image && image->pixels && image->channels == 4 && image->sample_type == SAMPLE_F32;
}

bool near(float x, float y) { return std::fabs(x) < FAR && std::fabs(y) < FAR; }

void cover(float* pixel, const float* colour, float coverage) {
    for (int c = 0; c < 3; ++c) pixel[c] = coverage * colour[c] + (1 - coverage) * pixel[c];
    pixel[3] = coverage + (1 - coverage) * pixel[3];
}

void turn(float radians, float& cosine, float& sine) {
    cosine = k7_cos(radians);
    sine = k7_sin(radians);
}

class CoveringLine final : public LineDraw {
  public:
    CoveringLine(K7Image* into, const float* colour, float opacity)
        : LineDraw(into), m_colour(colour), m_opacity(opacity) {}
    void pixel(int x, int y, float coverage, float) override { cover(pixel_at(x, y), m_colour, coverage * m_opacity); }

  private:
    const float* m_colour;
    float m_opacity;
};

// How a stamp reads its sprite: which two of the halved copies, and how many places of them for a pixel.
struct Filter {
    static constexpr int MOST_TAPS = 8;

    float squeeze_u, squeeze_v;  // pixels of the sprite in one of the picture, along each axis
    float reach_u, reach_v;      // from the sprite's middle, in its pixels
    int taps = 1;
    MipPicture::Reading reading;

    Filter(const MipPicture& sprite, float half_width, float half_height)
        : squeeze_u(0.5f * static_cast<float>(sprite.width()) / half_width),
          squeeze_v(0.5f * static_cast<float>(sprite.height()) / half_height) {
        // The copy follows the axis that is squeezed less, as long as the other can be covered by taps.
        const float most = std::max(squeeze_u, squeeze_v), least = std::min(squeeze_u, squeeze_v);
        const float width = std::max({least, most / MOST_TAPS, 1.0f});
        taps = std::clamp(static_cast<int>(std::ceil(std::min(most / width, 100.0f))), 1, MOST_TAPS);
        reading = sprite.reading(width);
        // A sample of a copy, and of the next one where it is mixed in, reaches this far beyond it.
        const auto beyond = static_cast<float>(1 << (reading.mix > 0 ? reading.level + 1 : reading.level));
        reach_u = 0.5f * static_cast<float>(sprite.width()) + beyond + tap_reach(squeeze_u);
        reach_v = 0.5f * static_cast<float>(sprite.height()) + beyond + tap_reach(squeeze_v);
    }
    float tap_reach(float squeeze) const { return taps > 1 ? 0.5f * squeeze : 0; }
};

}  // namespace

// ---- Collecting -----------------------------------------------------------------------------------------------

void Splats::begin(int width, int height) {
    m_width = width;
    m_height = height;
    m_items.clear();
    m_painters.clear();
}

// Clips what lies within the reach of a place. False when nothing is left.
bool Splats::place(Item& item, float x, float y, float reach_x, float reach_y) const {
    if (!near(x, y) || !near(reach_x, reach_y)) return false;
    item.x = x;
    item.y = y;
    item.first_column = std::max(static_cast<int>(std::ceil(x - reach_x)), 0);
    item.last_column = std::min(static_cast<int>(std::floor(x + reach_x)), m_width - 1);
    item.first_row = std::max(static_cast<int>(std::ceil(y - reach_y)), 0);
    item.last_row = std::min(static_cast<int>(std::floor(y + reach_y)), m_height - 1);
    return item.first_column <= item.last_column && item.first_row <= item.last_row;
}

void Splats::add(const Item& item, const float* colour, float opacity) {
    if (!std::isfinite(opacity)) return;
    m_items.push_back(item);
    std::copy_n(colour, 3, m_items.back().colour);
    m_items.back().opacity = opacity;
}

bool Splats::point(const float* colour, float x, float y, float opacity) {
    Item item;
    item.kind = Kind::Point;
    if (!near(x, y) || !place(item, std::floor(x + 0.5f), std::floor(y + 0.5f), 0, 0)) return false;
    add(item, colour, opacity * POINT_COVERAGE);
    return true;
}

void Splats::line(const float* colour, float x0, float y0, float x1, float y1, float coverage) {
    if (!near(x0, y0) || !near(x1, y1)) return;
    Item item;
    item.kind = Kind::Line;
    const float cx = 0.5f * (x0 + x1);
    const float cy = 0.5f * (y0 + y1);
    if (!place(item, cx, cy, 0.5f * std::fabs(x1 - x0) + 2, 0.5f * std::fabs(y1 - y0) + 2)) return;
    item.x = x0, item.y = y0, item.a = x1, item.b = y1;
    add(item, colour, coverage);
}

void Splats::sprite(const float* colour, const Sprite* sprite, float x, float y, float opacity) {
    if (!sprite) return;
    Item item;
    item.kind = Kind::Upright;
    item.source = sprite;
    if (place(item, x, y, 0.5f * static_cast<float>(sprite->width() + 1),
              0.5f * static_cast<float>(sprite->height() + 1)))
        add(item, colour, opacity);
}

void Splats::sprite_rotated(const float* colour, const Sprite* sprite, float x, float y, float opacity, float radians) {
    if (radians == 0) return this->sprite(colour, sprite, x, y, opacity);
    if (!sprite || !std::isfinite(radians)) return;
    Item item;
    item.kind = Kind::Turned;
    item.source = sprite;
    turn(radians, item.a, item.b);
    const float half_width = 0.5f * static_cast<float>(sprite->width() + 1);
    const float half_height = 0.5f * static_cast<float>(sprite->height() + 1);
    const float cosine = std::fabs(item.a);
    const float sine = std::fabs(item.b);
    if (place(item, x, y, cosine * half_width + sine * half_height, sine * half_width + cosine * half_height))
        add(item, colour, opacity);
}

void Splats::stamp(const MipPicture* sprite, float x, float y, const Look& look) {
    const auto drawable = [](float size) { return size > 0 && size < FAR; };
    if (!sprite || !*sprite || !drawable(look.half_width) || !drawable(look.half_height)) return;
    if (!std::isfinite(look.radians)) return;
    Item item;
    item.kind = Kind::Stamp;
    item.blend = look.blend;
    item.source = sprite;
    // What is smaller than a pixel is drawn as large as one, and fainter: it can't fall between pixels.
    item.half_width = std::max(look.half_width, 0.5f);
    item.half_height = std::max(look.half_height, 0.5f);
    const float fainter = look.half_width / item.half_width * (look.half_height / item.half_height);
    item.a = 1;
    if (look.radians != 0) turn(look.radians, item.a, item.b);
    const Filter filter(*sprite, item.half_width, item.half_height);
    const float cosine = std::fabs(item.a), sine = std::fabs(item.b);
    const float reach_x = filter.reach_u / filter.squeeze_u, reach_y = filter.reach_v / filter.squeeze_v;
    if (place(item, x, y, cosine * reach_x + sine * reach_y, sine * reach_x + cosine * reach_y))
        add(item, look.colour, look.opacity * fainter);
}

void Splats::painted(Painter painter, const void* owner, int index, int first_row, int last_row) {
    Item item;
    item.kind = Kind::Painted;
    item.first_row = std::max(first_row, 0);
    item.last_row = std::min(last_row, m_height - 1);
    if (item.first_row > item.last_row) return;
    if (m_painters.empty() || m_painters.back() != painter) m_painters.push_back(painter);
    item.source = owner;
    item.painter = static_cast<std::uint32_t>(m_painters.size() - 1);
    item.item = index;
    m_items.push_back(item);
}

Splats::Bounds Splats::bounds() const {
    Bounds all{m_width, -1, m_height, -1};
    for (const Item& item : m_items) {
        all.first_column = std::min(all.first_column, item.first_column);
        all.last_column = std::max(all.last_column, item.last_column);
        all.first_row = std::min(all.first_row, item.first_row);
        all.last_row = std::max(all.last_row, item.last_row);
    }
    return all;
}

// ---- Drawing --------------------------------------------------------------------------------------------------

void Splats::draw(K7Image* image) const {
    if (!is_picture(image) || image->width != m_width || image->height != m_height || m_items.empty()) return;
    image->stats_valid = 0;  // before any thread draws
    row_bands::draw(
        m_items.size(), m_height,
        [this](std::size_t i) {
            return std::pair{m_items[i].first_row, m_items[i].last_row};
        },
        [&](int first, int last, const std::uint32_t* begin, const std::uint32_t* end) {
            drawBand(image, begin, end, first, last);
        });
}

// Sprites lie anywhere, so every row of one is a likely cache miss.
void Splats::fetch(K7Image* image, const Item& item, int first, int last) {
    constexpr int LINE = 4;  // pixels
    if (item.last_column - item.first_column > 16 * LINE) return;
    for (int y = std::max(first, item.first_row); y <= std::min(last, item.last_row); ++y) {
        const float* row = image_row<float>(image, y);
        for (int x = item.first_column; x <= item.last_column + LINE - 1; x += LINE)
            __builtin_prefetch(row + 4L * std::min(x, item.last_column), 0, 2);
    }
}

namespace {

// Narrows the columns to those where a linear function of the column can lie within the reach, and one beside each.
void narrow(float slope, float offset, float reach, int& first, int& last) {
    if (std::fabs(slope) < 1e-4f) return;
    const float a = (-reach - offset) / slope, b = (reach - offset) / slope;
    const float low = std::min(a, b), high = std::max(a, b);
    if (low > static_cast<float>(first)) first = static_cast<int>(std::min(low, FAR));
    if (high < static_cast<float>(last)) last = static_cast<int>(std::max(high, -1.0f)) + 1;
}

}  // namespace

void Splats::drawStamp(const SplatTarget& target, const Item& item) {
    using ink::Quad;
    const auto& sprite = *static_cast<const MipPicture*>(item.source);
    const Filter filter(sprite, item.half_width, item.half_height);
    const MipReader reader(sprite, filter.reading);
    const float opacity = std::max(item.opacity, 0.0f), cover = std::min(opacity, 1.0f);
    const float strength = (item.blend == DrawBlend::add ? opacity : cover) / static_cast<float>(filter.taps);
    const Quad tint = {item.colour[0] * strength, item.colour[1] * strength, item.colour[2] * strength,
                       cover / static_cast<float>(filter.taps)};
    // The place in the sprite: its middle, and so much for each pixel of the picture to the right and upwards.
    const float mu = 0.5f * static_cast<float>(sprite.width()), mv = 0.5f * static_cast<float>(sprite.height());
    const float ux = item.a * filter.squeeze_u, uy = item.b * filter.squeeze_u;
    const float vx = -item.b * filter.squeeze_v, vy = item.a * filter.squeeze_v;
    const Quad middle = {mu, mv, mu, mv}, right = {ux, vx, ux, vx}, up = {uy, vy, uy, vy};
    // Places read for a pixel lie along the axis that is squeezed more, balanced about its centre.
    const float step = std::max(filter.squeeze_u, filter.squeeze_v) / static_cast<float>(filter.taps);
    const bool along_u = filter.squeeze_u > filter.squeeze_v;
    const Quad tap = along_u ? Quad{step, 0, step, 0} : Quad{0, step, 0, step};
    const Quad first_tap = tap * (-0.5f * static_cast<float>(filter.taps - 1));
    ink::with_blend(item.blend, [&](auto blend) {
        const int top = std::min(item.last_row, target.last_row);
        for (int y = std::max(item.first_row, target.first_row); y <= top; ++y) {
            const float dy = static_cast<float>(y) - item.y;
            int first = item.first_column, last = item.last_column;
            narrow(ux, uy * dy - ux * item.x, filter.reach_u, first, last);
            narrow(vx, vy * dy - vx * item.x, filter.reach_v, first, last);
            const Quad row = (middle + up * dy) + first_tap;
            float* out = target.pixels + y * target.pitch + 4L * first;
            for (int x = first; x <= last; ++x, out += 4) {
                Quad place = row + right * (static_cast<float>(x) - item.x);
                Quad sum = reader.sample(place);
                for (int i = 1; i < filter.taps; ++i) sum += reader.sample(place += tap);
                ink::store(out, ink::blended<blend()>(tint * sum, ink::load(out)));
            }
        }
    });
}

void Splats::drawBand(K7Image* image, const std::uint32_t* begin, const std::uint32_t* end, int first, int last) const {
    const SplatKernels& table = splat_kernels();
    const SplatTarget target{.pixels = image_row<float>(image, 0),
                             .pitch = 4L * m_width,
                             .width = m_width,
                             .first_row = first,
                             .last_row = last};
    for (const std::uint32_t* n = begin; n != end; ++n) {
        if (end - n > AHEAD) fetch(image, m_items[n[AHEAD]], first, last);
        const Item& item = m_items[*n];
        if (item.kind == Kind::Point) {
            cover(image_row<float>(image, item.first_row) + 4L * item.first_column, item.colour, item.opacity);
        } else if (item.kind == Kind::Line) {
            CoveringLine line(image, item.colour, item.opacity);
            line.set_clip(0, std::max(first, item.first_row), m_width - 1, std::min(last, item.last_row));
            line.draw(item.x, item.y, item.a, item.b);
        } else if (item.kind == Kind::Painted) {
            m_painters[item.painter](item.source, item.item, image, std::max(first, item.first_row),
                                     std::min(last, item.last_row));
        } else if (item.kind == Kind::Stamp) {
            drawStamp(target, item);
        } else {
            const auto* picture = static_cast<const Sprite*>(item.source);
            const SplatSprite sprite{picture->samples(), picture->width(), picture->height(), picture->pitch()};
            const SplatPlace place{.colour = {item.colour[0], item.colour[1], item.colour[2], 1},
                                   .opacity = item.opacity,
                                   .x = item.x,
                                   .y = item.y,
                                   .cosine = item.a,
                                   .sine = item.b,
                                   .first_column = item.first_column,
                                   .last_column = item.last_column,
                                   .first_row = item.first_row,
                                   .last_row = item.last_row};
            (item.kind == Kind::Upright ? table.upright : table.turned)(target, sprite, place);
        }
    }
}

// ---- One at once ----------------------------------------------------------------------------------------------

namespace {

template <class Collect>
bool draw_one(K7Image* image, Collect collect) {
    if (!is_picture(image)) return false;
    Splats splats;
    splats.begin(image->width, image->height);
    collect(splats);
    splats.draw(image);
    return splats.count() > 0;
}

}  // namespace

bool draw_point(K7Image* image, const float* colour, float x, float y, float opacity) {
    return draw_one(image, [&](Splats& splats) { splats.point(colour, x, y, opacity); });
}

bool draw_sprite(K7Image* image, const float* colour, const Sprite* sprite, float x, float y, float opacity) {
    return draw_one(image, [&](Splats& splats) { splats.sprite(colour, sprite, x, y, opacity); });
}

bool draw_sprite_rotated(K7Image* image, const float* colour, const Sprite* sprite, float x, float y, float opacity,
                         float radians) {
    return draw_one(image, [&](Splats& splats) { splats.sprite_rotated(colour, sprite, x, y, opacity, radians); });
}
