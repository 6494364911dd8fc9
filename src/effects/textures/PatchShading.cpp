#include "effects/textures/PatchShading.h"

#include <algorithm>
#include <array>
#include <vector>

#include "imagelib/imagelib_blur.h"
#include "imagelib/imagelib_colour.h"
#include "k7pi_baselib/in_memory.h"

namespace {

constexpr int TONES = 256;  // of 0 to 1; beyond counts as 1

float limited_luminance(const float* rgba) { return std::clamp(luminance(rgba), 0.0F, 1e4F); }

// The surface of second degree that lies nearest to each colour of a picture. Its terms are orthogonal on a grid of
// pixels, so that each coefficient is one quotient of sums.
class Trend {
  public:
    explicit Trend(const K7Image& picture) : m_width(picture.width), m_height(picture.height) {
        double products[3][TERMS] = {}, squares[TERMS] = {};
        for (int y = 0; y < m_height; ++y) {
            const float* p = image_row<float>(&picture, y);
            for (int x = 0; x < m_width; ++x, p += 4) {
                const Terms t = terms(x, y);
                for (int k = 0; k < TERMS; ++k) {
                    squares[k] += t[k] * t[k];
                    for (int c = 0; c < 3; ++c) products[c][k] += t[k] * double(p[c]);
                }
            }
        }
        for (int c = 0; c < 3; ++c)
            for (int k = 0; k < TERMS; ++k) m_of[c][k] = squares[k] > 1e-9 ? products[c][k] / squares[k] : 0.0;
    }
    float mean(int channel) const { return static_cast<float>(m_of[channel][0]); }
    void add(K7Image& picture, float sign) const {
        for_rows_float(m_height, [&](int first, int last) {
            for (int y = first; y <= last; ++y) {
                float* p = image_row<float>(&picture, y);
                for (int x = 0; x < m_width; ++x, p += 4) {
                    const Terms t = terms(x, y);
                    for (int c = 0; c < 3; ++c) p[c] += sign * value(m_of[c], t);
                }
            }
        });
    }

  private:
    static constexpr int TERMS = 6;
    using Terms = std::array<double, TERMS>;
    Terms terms(int x, int y) const {
        const double u = (2.0 * x - (m_width - 1)) / m_width, v = (2.0 * y - (m_height - 1)) / m_height;
        // The mean of u * u over n pixels is (1 - 1 / (n * n)) / 3.
        const double uu = u * u - (1.0 - 1.0 / (double(m_width) * m_width)) / 3.0;
        const double vv = v * v - (1.0 - 1.0 / (double(m_height) * m_height)) / 3.0;
        return {1.0, u, v, uu, u * v, vv};
    }
    static float value(const double* of, const Terms& t) {
        double sum = 0.0;
        for (int k = 0; k < TERMS; ++k) sum += of[k] * t[k];
        return static_cast<float>(sum);
    }

    int m_width, m_height;
    double m_of[3][TERMS] = {};
};

std::uint32_t brick_hash(std::uint32_t seed, int i, int j) {
    std::uint32_t h = seed * 0x9e3779b1U + std::uint32_t(i) * 0x85ebca6bU + std::uint32_t(j) * 0xc2b2ae35U;
    h ^= h >> 15, h *= 0x2c1b3c6dU;
    h ^= h >> 12, h *= 0x297a2d39U;
    return h ^ h >> 15;
}

// The share of pixels that are darker than each tone, and the whole at the end.
template <class Value>
std::vector<float> darker(int width, int height, const Value& value) {
    std::vector<int> counts(TONES, 0);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            ++counts[std::size_t(std::min(static_cast<int>(value(x, y) * float(TONES)), TONES - 1))];
    std::vector<float> shares(TONES + 1, 0.0F);
    std::int64_t sum = 0;
    for (int i = 0; i < TONES; ++i) {
        sum += counts[std::size_t(i)];
        shares[std::size_t(i) + 1] = static_cast<float>(double(sum) / (double(width) * height));
    }
    return shares;
}

}  // namespace

bool shade_bricks(K7Image& canvas, const K7Image& state, const QuiltGrid& grid, const BrickLook& look,
                  const StopRequested& stop) {
    const float half = 0.5F * look.joint;
    const float bevel = std::max(5.0F * look.unit, 0.04F * float(std::min(grid.step_x, grid.step_y)));
    return each_row_float(
        canvas.height, [&] { return wants_end(stop); },
        [&](int y) {
            float* p = image_row<float>(&canvas, y);
            const std::uint8_t* known = image_row<std::uint8_t>(&state, y);
            const int j = y / grid.step_y;
            const float v = float(y - grid.bottom(j)) + 0.5F;
            for (int x = 0; x < canvas.width; ++x, p += 4) {
                if (known[x] == QUILT_FIXED) continue;
                const int shift = grid.left(0, j), i = (x - shift) / grid.step_x;
                const float u = (float(x - grid.left(i, j)) + 0.5F) * look.aspect;
                const float sides[4] = {u, float(grid.step_x) * look.aspect - u, float(grid.step_y) - v, v};
                const int side = static_cast<int>(std::min_element(sides, sides + 4) - sides);
                const float light = limited_luminance(p);
                // Dark grains of the texture break out of the edge.
                const float inside = sides[side] - half + 2.0F * look.unit * (std::min(light, 1.0F) - 0.5F);
                const std::uint32_t hash = brick_hash(look.seed, i, j);
                float gain = 1.0F + look.variation * (float(hash >> 8) / 8388608.0F - 1.0F) * 0.6F;
                if (inside < bevel) {
                    const float slope = look.relief * std::clamp(1.0F - inside / bevel, 0.0F, 1.0F);
                    gain *= side == 0 || side == 2 ? 1.0F + 0.55F * slope : 1.0F - 0.5F * slope;
                }
                const float joint = look.joint > 0.0F ? std::clamp(0.5F - inside, 0.0F, 1.0F) : 0.0F;
                const float rough = 0.8F + 0.4F * std::min(light, 1.0F);
                for (int c = 0; c < 3; ++c) {
                    const float brick = p[c] * gain;
                    p[c] = brick + joint * (look.colour[c] * rough - brick);
                }
            }
        });
}

ImagePtr luminance_of(const K7Image& picture, int width, int height) {
    ImagePtr result = make_image_uncleared(width, height, 1, SAMPLE_F32);
    if (!result) return result;
    for_rows_float(height, [&](int first, int last) {
        for (int y = first; y <= last; ++y)
            for (int x = 0; x < width; ++x)
                image_row<float>(result.get(), y)[x] = limited_luminance(image_row<float>(&picture, y) + 4 * x);
    });
    return result;
}

bool match_tones(K7Image& guide, const K7Image& sample, const QuiltBox& from) {
    return in_memory([&] {
        const auto wanted =
            darker(guide.width, guide.height, [&](int x, int y) { return image_row<float>(&guide, y)[x]; });
        const auto given = darker(from.width(), from.height(), [&](int x, int y) {
            return limited_luminance(image_row<float>(&sample, from.bottom + y) + 4 * (from.left + x));
        });
        std::vector<float> tones(TONES + 1);
        for (std::size_t i = 0, k = 0; i <= TONES; ++i) {
            while (k + 1 < TONES && given[k + 1] < wanted[i]) ++k;
            const float span = given[k + 1] - given[k];
            const float part = span > 0.0F ? std::clamp((wanted[i] - given[k]) / span, 0.0F, 1.0F) : 0.0F;
            tones[i] = (float(k) + part) / float(TONES);
        }
        for_rows_float(guide.height, [&](int first, int last) {
            for (int y = first; y <= last; ++y)
                for (int x = 0; x < guide.width; ++x) {
                    float& value = image_row<float>(&guide, y)[x];
                    const float at = std::clamp(value, 0.0F, 1.0F) * float(TONES);
                    const auto i = std::min(static_cast<std::size_t>(at), std::size_t{TONES - 1});
                    value = tones[i] + (at - float(i)) * (tones[i + 1] - tones[i]);
                }
        });
    });
}

bool shade_like(K7Image& canvas, const K7Image& light, float radius_x, float radius_y, float strength) {
    const ImagePtr own = luminance_of(canvas, canvas.width, canvas.height);
    const ImagePtr wanted(image_duplicate(&light));
    if (!own || !wanted || !image_gaussian_blur(own.get(), radius_x, radius_y, -1) ||
        !image_gaussian_blur(wanted.get(), radius_x, radius_y, -1))
        return false;
    for_rows_float(canvas.height, [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            const float *from = image_row<float>(own.get(), y), *to = image_row<float>(wanted.get(), y);
            float* p = image_row<float>(&canvas, y);
            for (int x = 0; x < canvas.width; ++x, p += 4) {
                const float ratio = std::clamp((to[x] + 0.01F) / (from[x] + 0.01F), 0.05F, 8.0F);
                const float gain = 1.0F + strength * (ratio - 1.0F);
                for (int c = 0; c < 3; ++c) p[c] *= gain;
            }
        }
    });
    return true;
}

bool even_light(K7Image& picture, const QuiltBox& part, float radius_x, float radius_y, float strength) {
    const ImagePtr slow = make_image_uncleared(part.width(), part.height(), 4, SAMPLE_F32);
    if (!slow) return false;
    for (int y = 0; y < part.height(); ++y) {
        const float* from = image_row<float>(&picture, part.bottom + y) + 4 * part.left;
        std::transform(from, from + 4L * part.width(), image_row<float>(slow.get(), y),
                       [](float value) { return std::clamp(value, 0.0F, 1e4F); });
    }
    // A blur knows nothing of what lies beyond the part's border, but a slope goes on there.
    const Trend trend(*slow);
    trend.add(*slow, -1.0F);
    if (!image_gaussian_blur(slow.get(), radius_x, radius_y, 7)) return false;
    trend.add(*slow, 1.0F);
    for_rows_float(part.height(), [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            float* p = image_row<float>(&picture, part.bottom + y) + 4 * part.left;
            const float* here = image_row<float>(slow.get(), y);
            for (int x = 0; x < 4 * part.width(); ++x) {
                if (x % 4 == 3) continue;
                const float ratio = (trend.mean(x % 4) + 0.01F) / (std::max(here[x], 0.0F) + 0.01F);
                p[x] *= 1.0F + strength * (std::clamp(ratio, 0.2F, 5.0F) - 1.0F);
            }
        }
    });
    return true;
}
