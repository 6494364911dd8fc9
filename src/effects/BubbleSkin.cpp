#include "effects/BubbleSkin.h"

#include <algorithm>
#include <cmath>
#include <new>

#include "noiselib/mtrandom.h"

namespace {

constexpr int FRAME = 1;  // zeroes around a sprite
constexpr float THICKNESS = 1.0f, FULL_RADIUS = 41.0f;
constexpr float THINNEST = 0.75f;  // half the skin's width, in the smaller pixels that sprites are summed from
constexpr float MIN_RADIUS = 2.0f;

// One place on the shell: the thin ring of the skin, seen edge-on at the rim, and the skin between the rim and the
// middle, which grows thicker in the line of sight.
float skin_at(float distance, float ring, float half_width, float rim) {
    const float edge = std::max(1.0f - std::fabs(distance - ring) / half_width, 0.0f);
    const float slant = static_cast<float>(2.0 * std::pow(double{distance / rim}, 2.3));
    return std::min(edge + slant, 1.0f);
}

struct Over {
    float* pixel;
    void operator()(const float* colour, float c) const {
        for (int i = 0; i < 3; ++i) pixel[i] = c * colour[i] + (1 - c) * pixel[i];
        pixel[3] = c + (1 - c) * pixel[3];
    }
};

// What is seen in the skin at a place of the bubble, as in a convex mirror: the slope of the skin says how far from the
// middle of the picture, so that straight lines bend around the bubble.
const float* mirrored_at(const K7Image& picture, float nx, float ny, float nz) {
    constexpr float REACH = 0.3f;  // of the picture, for a slope of 1
    const float slope = REACH / std::max(nz, 0.01f);
    const int width = static_cast<int>(picture.width);
    const int height = static_cast<int>(picture.height);
    const int x = std::clamp(static_cast<int>((0.5f + slope * nx) * static_cast<float>(width)), 0, width - 1);
    const int y = std::clamp(static_cast<int>((0.5f + slope * ny) * static_cast<float>(height)), 0, height - 1);
    return image_row<float>(&picture, y) + 4L * x;
}

class Painter {
  public:
    Painter(const Bubble& bubble, const K7Image* mirrored, float mirror_strength)
        : m_bubble(bubble), m_mirrored(mirrored), m_mirror(mirror_strength) {}

    // The skin at a sample of the sprite.
    void skin(const float* sample, float* pixel) const {
        const float covered = sample[3];
        if (!(covered > 0)) return;
        const float nx = sample[1] / covered, ny = sample[2] / covered;
        const float nz = std::sqrt(std::max(1.0f - nx * nx - ny * ny, 0.0f));
        const float coverage = sample[0] * m_bubble.coverage;
        float colour[3] = {m_bubble.colour[0], m_bubble.colour[1], m_bubble.colour[2]};
        if (m_mirrored) {
            const float* seen = mirrored_at(*m_mirrored, nx, ny, nz);
            for (int i = 0; i < 3; ++i) colour[i] += m_mirror * seen[i];
        }
        Over{pixel}(colour, coverage);
        highlight(nx, ny, nz, covered, pixel);
    }

  private:
    void highlight(float nx, float ny, float nz, float covered, float* pixel) const {
        const BubbleGloss& gloss = m_bubble.gloss;
        const float cosine = nx * gloss.half[0] + ny * gloss.half[1] + nz * gloss.half[2];
        if (cosine <= 0) return;
        const float power = static_cast<float>(std::pow(double{cosine}, double{gloss.exponent}));
        const float level = power * covered * m_bubble.coverage;
        for (int i = 0; i < 3; ++i) pixel[i] += level * gloss.strength[i];
        pixel[3] = std::min(pixel[3] + level * std::max({gloss.strength[0], gloss.strength[1], gloss.strength[2]}),
                            std::max(pixel[3], 1.0f));
    }

    const Bubble& m_bubble;
    const K7Image* m_mirrored;
    float m_mirror;
};

}  // namespace

// ---- Sprites --------------------------------------------------------------------------------------------------

BubbleSprite::BubbleSprite(float radius) : m_radius(radius) {
    const int reach = static_cast<int>(std::ceil(radius)) + 1;
    m_side = 2 * reach + 1;
    m_pitch = m_side + 2 * FRAME;
    m_samples.assign(4 * static_cast<std::size_t>(m_pitch) * static_cast<std::size_t>(m_pitch), 0.0f);

    const int fine = static_cast<int>(std::clamp(16.0f / radius, 4.0f, 16.0f));  // smaller pixels along a side
    const float rim = static_cast<float>(fine) * radius;
    const float ring = rim - THICKNESS * rim / FULL_RADIUS / 2;
    const float half_width = std::max(rim / FULL_RADIUS / 2, THINNEST);
    const float share = 1.0f / static_cast<float>(fine * fine);
    for (int y = -reach; y <= reach; ++y) {
        for (int x = -reach; x <= reach; ++x) {
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
            float* out = &m_samples[4 * static_cast<std::size_t>((y + reach + FRAME) * m_pitch + x + reach + FRAME)];
            for (int c = 0; c < 4; ++c) out[c] = sums[c] * share;
        }
    }
}

const float* BubbleSprite::pixel(int dx, int dy) const {
    return &m_samples[4 * static_cast<std::size_t>((dy + reach() + FRAME) * m_pitch + dx + reach() + FRAME)];
}

bool BubbleSprite::sample(float dx, float dy, float* out) const {
    const float limit = static_cast<float>(reach()) + 1;
    if (!(std::fabs(dx) < limit && std::fabs(dy) < limit)) return false;
    const float left = std::floor(dx), below = std::floor(dy);
    const float fx = dx - left, fy = dy - below;
    const float* a = pixel(static_cast<int>(left), static_cast<int>(below));
    const float* b = a + 4L * m_pitch;
    for (int c = 0; c < 4; ++c) {
        const float low = a[c] + fx * (a[c + 4] - a[c]);
        const float high = b[c] + fx * (b[c + 4] - b[c]);
        out[c] = low + fy * (high - low);
    }
    return true;
}

const BubbleSprite* BubbleSprites::get(float radius) {
    const int index = static_cast<int>(std::clamp(radius, 0.0f, static_cast<float>(SIZES - 1)));
    BubbleSprite& sprite = m_sprites[static_cast<std::size_t>(index)];
    if (sprite.empty()) {
        try {
            sprite = BubbleSprite(std::max(static_cast<float>(index) * 0.5f + 0.5f, MIN_RADIUS));
        } catch (const std::bad_alloc&) {
            return nullptr;
        }
    }
    return &sprite;
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

// Stretched along its way while the shutter was open: every place shows the shell at its nearest point of the way.
void paint_whole(const Bubble& bubble, const Painter& painter, K7Image* image, int first, int last) {
    const float way_x = bubble.x - bubble.tail_x, way_y = bubble.y - bubble.tail_y;
    const float length = way_x * way_x + way_y * way_y;
    const float share = length > 1e-6f ? 1 / length : 0.0f;
    const float reach = bubble.reach();
    const int left = std::max(static_cast<int>(std::floor(std::min(bubble.x, bubble.tail_x) - reach)), 0);
    const int right = std::min(static_cast<int>(std::ceil(std::max(bubble.x, bubble.tail_x) + reach)),
                               static_cast<int>(image->width) - 1);
    for (int y = first; y <= last; ++y) {
        float* row = image_row<float>(image, y);
        for (int x = left; x <= right; ++x) {
            const float from_x = static_cast<float>(x) - bubble.tail_x, from_y = static_cast<float>(y) - bubble.tail_y;
            const float t = std::clamp((from_x * way_x + from_y * way_y) * share, 0.0f, 1.0f);
            float sample[4];
            const float dx = share > 0 ? from_x - t * way_x : static_cast<float>(x) - bubble.x;
            const float dy = share > 0 ? from_y - t * way_y : static_cast<float>(y) - bubble.y;
            if (bubble.sprite->sample(dx, dy, sample)) painter.skin(sample, row + 4L * x);
        }
    }
}

// A spray of droplets: pixels of the shell, thrown about.
void paint_burst(const Bubble& bubble, const Painter& painter, K7Image* image, int first, int last) {
    MTRandom random(bubble.seed);
    const int reach = bubble.sprite->reach();
    const int centre_x = static_cast<int>(std::floor(bubble.x + 0.5f));
    const int centre_y = static_cast<int>(std::floor(bubble.y + 0.5f));
    for (int dy = -reach; dy <= reach; ++dy) {
        for (int dx = -reach; dx <= reach; ++dx) {
            const float* sample = bubble.sprite->pixel(dx, dy);
            if (!(sample[3] > 0) || random.next_float() >= bubble.droplets) continue;
            const float away_x = random.next_float_in(-bubble.scatter, bubble.scatter);
            const float away_y = random.next_float_in(-bubble.scatter, bubble.scatter);
            const int x = centre_x + dx + static_cast<int>(std::floor(away_x + 0.5f));
            const int y = centre_y + dy + static_cast<int>(std::floor(away_y + 0.5f));
            if (x < 0 || x >= static_cast<int>(image->width) || y < first || y > last) continue;
            painter.skin(sample, image_row<float>(image, y) + 4L * x);
        }
    }
}

}  // namespace

void paint_bubble(const Bubble& bubble, const K7Image* mirrored, float mirror_strength, K7Image* image, int first,
                  int last) {
    const Painter painter(bubble, mirrored, mirror_strength);
    if (bubble.bursting)
        paint_burst(bubble, painter, image, first, last);
    else
        paint_whole(bubble, painter, image, first, last);
}
