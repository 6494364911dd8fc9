#include "effects/weather/BubbleSkin.h"

#include <algorithm>
#include <cmath>

#include "Library2/Made.h"
#include "effects/weather/Bubbles_simd.h"
#include "k7pi_baselib/portable_math.h"
#include "noiselib/mtrandom.h"
#include "simdlib/cpu.h"

namespace {

constexpr float THICKNESS = 1.0f, FULL_RADIUS = 41.0f;
constexpr float THINNEST = 0.75f;  // half the skin's width, in the smaller pixels that sprites are summed from
constexpr float MIN_RADIUS = 2.0f;

// One place on the shell: the thin ring of the skin, seen edge-on at the rim, and the skin between the rim and the
// middle, which grows thicker in the line of sight.
float skin_at(float distance, float ring, float half_width, float rim) {
    const float edge = std::max(1.0f - std::fabs(distance - ring) / half_width, 0.0f);
    const float slant = 2.0f * k7_pow_float(double{distance / rim}, 2.3);
    return std::min(edge + slant, 1.0f);
}

}  // namespace

// ---- Sprites --------------------------------------------------------------------------------------------------

BubbleSprite::BubbleSprite(float radius) : m_radius(radius), m_reach(static_cast<int>(std::ceil(radius)) + 1) {
    m_samples.assign(4 * static_cast<std::size_t>(rows()) * static_cast<std::size_t>(pitch()), 0.0f);

    const int fine = static_cast<int>(std::clamp(16.0f / radius, 4.0f, 16.0f));  // smaller pixels along a side
    const float rim = static_cast<float>(fine) * radius;
    const float ring = rim - THICKNESS * rim / FULL_RADIUS / 2;
    const float half_width = std::max(rim / FULL_RADIUS / 2, THINNEST);
    const float share = 1.0f / static_cast<float>(fine * fine);
    for (int y = -m_reach; y <= m_reach; ++y) {
        for (int x = -m_reach; x <= m_reach; ++x) {
            float sums[4] = {};
            for (int j = 0; j < fine; ++j) {
                for (int i = 0; i < fine; ++i) {
                    const float dx = static_cast<float>(x * fine + i) + 0.5f - 0.5f * static_cast<float>(fine);
                    const float dy = static_cast<float>(y * fine + j) + 0.5f - 0.5f * static_cast<float>(fine);
                    const float distance = std::sqrt(dx * dx + dy * dy);
                    if (distance > rim) continue;
                    sums[0] += skin_at(distance, ring, half_width, rim);
                    sums[1] += dx / rim;
                    sums[2] += dy / rim;
                    sums[3] += 1;
                }
            }
            for (int plane = 0; plane < 4; ++plane) m_samples[index(plane, x, y)] = sums[plane] * share;
        }
    }
}

ShellSprite BubbleSprite::shell() const {
    return {.middle = &m_samples[index(0, 0, 0)],
            .plane = static_cast<long>(rows()) * pitch(),
            .pitch = pitch(),
            .reach = m_reach,
            .radius = m_radius};
}

const BubbleSprite* BubbleSprites::get(float radius) {
    const int index = radius > 0 ? static_cast<int>(std::min(radius, static_cast<float>(SIZES - 1))) : 0;
    BubbleSprite& sprite = m_sprites[static_cast<std::size_t>(index)];
    if (sprite.empty()) sprite = BubbleSprite(std::max(static_cast<float>(index) * 0.5f + 0.5f, MIN_RADIUS));
    return &sprite;
}

// ---- Light ----------------------------------------------------------------------------------------------------

const float* GlossPowers::of(float exponent) {
    if (m_powers.empty() || exponent != m_exponent) {
        m_powers.resize(GLOSS_STEPS + 2);
        for (int i = 1; i < GLOSS_STEPS; ++i)
            m_powers[static_cast<std::size_t>(i)] =
                k7_pow_float(static_cast<double>(i) / GLOSS_STEPS, double{exponent});
        m_powers[GLOSS_STEPS] = m_powers[GLOSS_STEPS + 1] = 1;
        m_exponent = exponent;
    }
    return m_powers.data();
}

ImagePtr mirrored_picture(const K7Image* picture, int across) {
    if (!picture || picture->channels != 4 || picture->sample_type != SAMPLE_F32 || !picture->width || !picture->height)
        return nullptr;
    const int width = picture->width, height = picture->height;
    const int cell = std::max(width / across, 1);
    ImagePtr cells = made(make_image((width + cell - 1) / cell, (height + cell - 1) / cell, 4, SAMPLE_F32));
    for_rows_float(cells->height, [&](int first, int last) {
        for (int row = first; row <= last; ++row) {
            float* out = image_row<float>(cells.get(), row);
            std::fill_n(out, 4L * cells->width, 0.0f);
            const int bottom = row * cell, top = std::min(bottom + cell, height);
            for (int y = bottom; y < top; ++y) {
                const float* in = image_row<float>(picture, y);
                for (int column = 0; column < cells->width; ++column) {
                    const int end = std::min((column + 1) * cell, width);
                    float sum[4] = {};
                    for (int x = column * cell; x < end; ++x)
                        for (int c = 0; c < 4; ++c) sum[c] += in[4L * x + c];
                    for (int c = 0; c < 4; ++c) out[4L * column + c] += sum[c];
                }
            }
            for (int column = 0; column < cells->width; ++column) {
                const int wide = std::min((column + 1) * cell, width) - column * cell;
                const float share = 1.0f / static_cast<float>(wide * (top - bottom));
                for (int c = 0; c < 4; ++c) out[4L * column + c] *= share;
            }
        }
    });
    return cells;
}

void MirroredPicture::make(const K7Image* picture) {
    int cells = 128;
    for (ImagePtr& level : m_levels) {
        level = mirrored_picture(picture, cells);
        picture = level.get();
        cells /= 2;
    }
}

const K7Image* MirroredPicture::at(float radius) const {
    constexpr float CELLS = 4;  // for one pixel of radius: a slope of 1 reaches 0.3 of the picture
    const ImagePtr* level = m_levels.data();
    while (level != &m_levels.back() && *level && static_cast<float>((*level)->width) > CELLS * radius) ++level;
    return level->get();
}

// ---- Painting -------------------------------------------------------------------------------------------------

float Bubble::reach() const { return static_cast<float>(sprite->reach() + 1) + (bursting ? std::ceil(scatter) : 0); }

bool Bubble::rows(float height, int* first, int* last) const {
    constexpr float FARTHEST = 1e6f;
    const float low = std::min(y, tail_y) - reach(), high = std::max(y, tail_y) + reach();
    const float left = std::min(x, tail_x), right = std::max(x, tail_x);
    if (!(left > -FARTHEST && right < FARTHEST && low > -FARTHEST && high < FARTHEST)) return false;
    if (high < 0 || low > height - 1) return false;
    *first = std::max(static_cast<int>(std::floor(low)), 0);
    *last = static_cast<int>(std::min(std::ceil(high), height - 1));
    return true;
}

namespace {

// A spray of droplets: pixels of the shell, thrown about.
void paint_burst(const Bubble& bubble, const ShellLook& look, K7Image* image, int first, int last) {
    constexpr int TOGETHER = 256;
    const ShellSprite shell = bubble.sprite->shell();
    MTRandom random(bubble.seed);
    long samples[TOGETHER];
    float* pixels[TOGETHER];
    int count = 0;
    const int centre_x = static_cast<int>(std::floor(bubble.x + 0.5f));
    const int centre_y = static_cast<int>(std::floor(bubble.y + 0.5f));
    for (int dy = -shell.reach; dy <= shell.reach; ++dy) {
        for (int dx = -shell.reach; dx <= shell.reach; ++dx) {
            if (!(bubble.sprite->at(BubbleSprite::Cover, dx, dy) > 0) || random.next_float() >= bubble.droplets)
                continue;
            const float away_x = random.next_float_in(-bubble.scatter, bubble.scatter);
            const float away_y = random.next_float_in(-bubble.scatter, bubble.scatter);
            const int x = centre_x + dx + static_cast<int>(std::floor(away_x + 0.5f));
            const int y = centre_y + dy + static_cast<int>(std::floor(away_y + 0.5f));
            if (x < 0 || x >= static_cast<int>(image->width) || y < first || y > last) continue;
            samples[count] = dy * shell.pitch + dx;
            pixels[count] = image_row<float>(image, y) + 4L * x;
            if (++count < TOGETHER) continue;
            shell_kernels().droplets(shell, look, samples, pixels, count);
            count = 0;
        }
    }
    shell_kernels().droplets(shell, look, samples, pixels, count);
}

}  // namespace

void paint_bubble(const Bubble& bubble, const K7Image* mirrored, float mirror_strength, K7Image* image, int first,
                  int last) {
    const BubbleGloss& gloss = bubble.gloss;
    const float brightest = std::max({gloss.strength[0], gloss.strength[1], gloss.strength[2]});
    const ShellLook look{.colour = {bubble.colour[0], bubble.colour[1], bubble.colour[2], 1},
                         .coverage = bubble.coverage,
                         .half = {gloss.half[0], gloss.half[1], gloss.half[2]},
                         .strength = {gloss.strength[0], gloss.strength[1], gloss.strength[2], brightest},
                         .powers = brightest > 0 ? gloss.powers : nullptr,
                         .mirrored = mirrored ? image_row<float>(mirrored, 0) : nullptr,
                         .mirrored_width = mirrored ? mirrored->width : 0,
                         .mirrored_height = mirrored ? mirrored->height : 0,
                         .mirrored_right = mirrored && mirrored->width > 1 ? 4L : 0L,
                         .mirrored_up = mirrored && mirrored->height > 1 ? 4L * mirrored->width : 0L,
                         .mirror = {mirror_strength, mirror_strength, mirror_strength, 0}};
    if (bubble.bursting) return paint_burst(bubble, look, image, first, last);
    const ShellTarget target{.pixels = image_row<float>(image, 0),
                             .pitch = 4L * image->width,
                             .width = image->width,
                             .first_row = first,
                             .last_row = last};
    constexpr float AT_REST = 1e-3f;  // pixels
    const float way_x = bubble.x - bubble.tail_x, way_y = bubble.y - bubble.tail_y;
    if (way_x * way_x + way_y * way_y > AT_REST * AT_REST)
        shell_kernels().drawn_out(target, bubble.sprite->shell(), look, bubble.x, bubble.y, bubble.tail_x,
                                  bubble.tail_y);
    else
        shell_kernels().still(target, bubble.sprite->shell(), look, bubble.x, bubble.y);
}
