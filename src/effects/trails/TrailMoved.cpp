#include "effects/trails/TrailMoved.h"

#include <algorithm>
#include <cmath>

#include "imagelib/imagelib_curves.h"
#include "noiselib/place_hash.h"

namespace {

constexpr int EDDY_CELLS = 8;  // pixels of a layer along the side of a cell of the eddies

float lattice_noise(float x, float y, std::uint32_t seed) {
    const auto i = static_cast<int>(std::floor(x)), j = static_cast<int>(std::floor(y));
    const auto corner = [&](int dx, int dy) {
        return signed_of(place_hash(place_hash(seed, std::uint32_t(i + dx)), std::uint32_t(j + dy)));
    };
    const float fx = smoother_step(x - static_cast<float>(i)), fy = smoother_step(y - static_cast<float>(j));
    const float low = corner(0, 0) + fx * (corner(1, 0) - corner(0, 0)),
                high = corner(0, 1) + fx * (corner(1, 1) - corner(0, 1));
    return low + fy * (high - low);
}

// A layer's pixel between its pixels: colours mixed from four, the rest as their alphas weigh.
void read_between(const TrailLayer& layer, float x, float y, float* colours, float* extras) {
    const int left = static_cast<int>(std::floor(x)), low = static_cast<int>(std::floor(y));
    const float fx = x - static_cast<float>(left), fy = y - static_cast<float>(low);
    std::fill_n(colours, 4, 0.0F);
    std::fill_n(extras, 3, 0.0F);
    for (int j = low; j <= low + 1; ++j) {
        if (j < 0 || j >= layer.height) continue;
        const TrailLayer::Row& row = layer.rows[std::size_t(j)];
        for (int i = std::max(left, row.first); i <= std::min(left + 1, row.last); ++i) {
            const float weight = (i == left ? 1.0F - fx : fx) * (j == low ? 1.0F - fy : fy);
            const float *colour = layer.colours_of(j, i), *extra = layer.extras_of(j, i);
            for (int c = 0; c < 4; ++c) colours[c] += weight * colour[c];
            for (int c = 0; c < 2; ++c) extras[c] += weight * colour[3] * extra[c];
        }
    }
    if (colours[3] > 0.0F)
        for (int c = 0; c < 2; ++c) extras[c] /= colours[3];
}

}  // namespace

TrailEddies::TrailEddies(int width, int height, float size, float reach, std::uint32_t seed)
    : m_width(width / EDDY_CELLS + 2), m_height(height / EDDY_CELLS + 2), m_reach(reach) {
    const auto potential = [&](float x, float y) {
        return lattice_noise(x / size, y / size, seed) + 0.5F * lattice_noise(2.2F * x / size, 2.2F * y / size, ~seed);
    };
    m_ways.resize(2 * std::size_t(m_width) * std::size_t(m_height));
    const float step = 0.05F * size, scale = reach * size / (2.0F * step) * 0.5F;
    each_row_float(m_height, [&](int j) {
        for (int i = 0; i < m_width; ++i) {
            const float x = static_cast<float>(i * EDDY_CELLS), y = static_cast<float>(j * EDDY_CELLS);
            float* way = &m_ways[2 * (std::size_t(j) * std::size_t(m_width) + std::size_t(i))];
            way[0] = std::clamp(scale * (potential(x, y + step) - potential(x, y - step)), -reach, reach);
            way[1] = std::clamp(scale * (potential(x - step, y) - potential(x + step, y)), -reach, reach);
        }
    });
}

void TrailEddies::at(int x, int y, float& dx, float& dy) const {
    const int i = x / EDDY_CELLS, j = y / EDDY_CELLS;
    const float fx = static_cast<float>(x % EDDY_CELLS) / EDDY_CELLS,
                fy = static_cast<float>(y % EDDY_CELLS) / EDDY_CELLS;
    const float *low = &m_ways[2 * (std::size_t(j) * std::size_t(m_width) + std::size_t(i))], *high = low + 2 * m_width;
    const auto mixed = [&](int c) {
        const float a = low[c] + fx * (low[c + 2] - low[c]), b = high[c] + fx * (high[c + 2] - high[c]);
        return a + fy * (b - a);
    };
    dx = mixed(0);
    dy = mixed(1);
}

std::pair<int, int> moved_trail_row(const TrailLayer& layer, const TrailMoved& moved, const TrailEddies* eddies, int y,
                                    float* colours, float* extras) {
    const float margin = 1.0F + std::fabs(moved.drift_x) + std::fabs(moved.drift_y) +
                         (eddies ? eddies->reach() * (moved.eddies + moved.more_eddies) : 0.0F);
    const float from = static_cast<float>(y) - moved.y;
    if (!(from + margin >= 0.0F && from - margin < static_cast<float>(layer.height))) return {0, -1};
    int first = layer.width, last = -1;
    for (int j = std::max(static_cast<int>(std::floor(from - margin)), 0);
         j <= std::min(static_cast<int>(from + margin) + 1, layer.height - 1); ++j) {
        const TrailLayer::Row& row = layer.rows[std::size_t(j)];
        if (row.first > row.last) continue;
        first = std::min(first, row.first);
        last = std::max(last, row.last);
    }
    if (first > last) return {0, -1};
    const auto width = static_cast<float>(layer.width);
    first = static_cast<int>(std::clamp(std::floor(static_cast<float>(first) + moved.x - margin), 0.0F, width));
    last = static_cast<int>(std::clamp(static_cast<float>(last) + moved.x + margin + 1.0F, -1.0F, width - 1.0F));
    for (int x = first; x <= last; ++x, colours += 4, extras += 3) {
        float dx = 0.0F, dy = 0.0F;
        if (eddies) eddies->at(x, y, dx, dy);
        float part = 0.5F;
        for (int turn = 0; turn < 2; ++turn) {
            const float bent = moved.eddies + part * moved.more_eddies;
            read_between(layer, static_cast<float>(x) - moved.x - part * moved.drift_x - dx * bent,
                         from - part * moved.drift_y - dy * bent, colours, extras);
            if (colours[3] > 0.0F) part = extras[0];
        }
    }
    return {first, last};
}
