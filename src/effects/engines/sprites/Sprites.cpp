#include "effects/engines/sprites/Sprites.h"

#include <algorithm>
#include <cmath>

#include "Library2/Made.h"
#include "imagelib/imagelib_resample.h"
#include "k7pi_baselib/portable_math.h"
#include "noiselib/mtrandom.h"

namespace {

constexpr std::uint32_t TEXTURE_SEED = 1789;
constexpr float SMALLEST_RADIUS = 0.01f;
constexpr float SMALLEST_TURN = 0.0001f;  // degrees
constexpr float STAR_SHARPNESS = 7.5f;

float gaussian(float squared_distance, float sigma) {
    return static_cast<float>(k7_exp(-static_cast<double>(squared_distance / (2 * sigma * sigma))));
}

ImagePtr make_square(int side) { return made(make_image(side, side, 1, SAMPLE_F32)); }

void limit(K7Image* image) {
    for (int y = 0; y < image->height; ++y) {
        float* row = image_row<float>(image, y);
        for (int x = 0; x < image->width; ++x) row[x] = std::clamp(row[x], 0.0f, 1.0f);
    }
}

int entry(float size, int last) { return size > 0 ? static_cast<int>(std::min(size, static_cast<float>(last))) : 0; }

template <class Make>
const Sprite* kept(Sprite& sprite, Make make) {
    if (!sprite) sprite = Sprite(make().get());
    return &sprite;
}

}  // namespace

ImagePtr make_soft_blob(float radius) {
    radius = std::max(radius, SMALLEST_RADIUS);
    const int reach = static_cast<int>(std::ceil(radius)) + 1;
    ImagePtr image = make_square(2 * reach + 1);
    for (int y = -reach; y <= reach; ++y) {
        float* row = image_row<float>(image.get(), y + reach);
        for (int x = -reach; x <= reach; ++x) row[x + reach] = gaussian(static_cast<float>(x * x + y * y), radius / 3);
    }
    return image;
}

ImagePtr make_textured_blob(float radius) {
    ImagePtr image = make_soft_blob(radius);
    MTRandom random(TEXTURE_SEED);
    for (int y = 0; y < image->height; ++y) {
        float* row = image_row<float>(image.get(), y);
        for (int x = 0; x < image->width; ++x) row[x] *= random.next_float();
    }
    return image;
}

ImagePtr make_star(float radius, float degrees) {
    radius = std::max(radius, SMALLEST_RADIUS);
    const int reach = static_cast<int>(std::ceil(radius));
    ImagePtr image = make_square(2 * reach + 1);
    const auto falling = [&](int distance) {
        return std::max(0.0f, 1 - std::fabs(static_cast<float>(distance)) / radius);
    };
    for (int y = -reach; y <= reach; ++y) {
        float* row = image_row<float>(image.get(), y + reach);
        for (int x = -reach; x <= reach; ++x) {
            const float a = falling(x);
            const float b = falling(y);
            double value = 1.5 * k7_pow(static_cast<double>(a * b), double{STAR_SHARPNESS});
            if (y == 0) value += a;
            if (x == 0) value += b;
            row[x + reach] = x == 0 && y == 0 ? 1 : static_cast<float>(std::min(value, 1.0));
        }
    }
    if (!(std::fabs(degrees) > SMALLEST_TURN)) return image;
    ImagePtr turned(made(image_rotate(image.get(), degrees, KERNEL_CUBIC, EDGE_BLACK)));
    limit(turned.get());
    return turned;
}

ImagePtr make_flake(int variant, int size) {
    const ImagePtr stamp = make_flake_stamp(variant);
    ImagePtr image = make_square(2 * std::max(size, 0) + 1);
    made(image_to_layout(stamp.get(), image.get(), true, KERNEL_BSPLINE, 0));
    limit(image.get());
    return image;
}

// ---- Sprites --------------------------------------------------------------------------------------------------

Sprite::Sprite(const K7Image* picture) {
    if (!picture || picture->channels != 1 || picture->sample_type != SAMPLE_F32) return;
    const int pitch = picture->width + 2 + SLACK;
    const std::size_t count = static_cast<std::size_t>(pitch) * static_cast<std::size_t>(picture->height + 2) + SLACK;
    m_samples.resize(count);
    m_width = picture->width;
    m_height = picture->height;
    m_pitch = pitch;
    for (int y = 0; y < m_height; ++y)
        std::copy_n(image_row<float>(picture, y), m_width,
                    m_samples.data() + static_cast<std::ptrdiff_t>(y + 1) * pitch + 1);
}

void SpriteTables::set_look_seed(std::uint32_t seed) {
    MTRandom random(seed);
    for (float& degrees : m_star_degrees) degrees = 180 * random.next_float();
    for (Sprite& star : m_stars) star = Sprite();
}

const Sprite* SpriteTables::soft_blob(float size) {
    const int i = entry(size, SIZES - 1);
    return kept(m_soft[static_cast<std::size_t>(i)], [i] { return make_soft_blob(static_cast<float>(i) + 0.5f); });
}

const Sprite* SpriteTables::textured_blob(float size) {
    const int i = entry(size, SIZES - 1);
    return kept(m_textured[static_cast<std::size_t>(i)],
                [i] { return make_textured_blob(static_cast<float>(i) + 0.5f); });
}

const Sprite* SpriteTables::star(float size) {
    const auto i = static_cast<std::size_t>(entry(size, SIZES - 1));
    return kept(m_stars[i], [&] { return make_star(std::max(static_cast<float>(i) + 0.5f, 2.0f), m_star_degrees[i]); });
}

const Sprite* SpriteTables::flake(int variant, float size) {
    const int shape = std::clamp(variant - 1, 0, FLAKE_VARIANTS - 1);
    const int i = entry(std::ceil(std::max(size, 0.01f)), FLAKE_SIZES - 1);
    return kept(m_flakes[static_cast<std::size_t>(shape)][static_cast<std::size_t>(i)],
                [=] { return make_flake(shape + 1, i); });
}
