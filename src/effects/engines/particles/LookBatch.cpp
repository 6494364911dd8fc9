#include "effects/engines/particles/LookBatch.h"

#include "Library2/Made.h"

namespace particles {

void LookBatch::draw(K7Image& result, const ParticleLook& how, float width) {
    m_sprites.draw(&result);
    if (how.glow > 0)
        m_glow.draw(&result, m_sprites.sprites().data(), m_sprites.count(),
                    {how.GLOW_REACH, how.GLOW_LEAST * width / 1920, 0.3f * how.glow});
}

namespace {

struct Area {
    int left, right, bottom, top;
};

// What is not transparent of a picture; all of it where nothing is.
Area opaque_area(const K7Image& picture) {
    std::vector<Area> rows(picture.height);
    for_rows_float(picture.height, [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            const float* row = image_row<float>(&picture, y);
            int left = 0, right = picture.width - 1;
            while (left <= right && !(row[4L * left + 3] > 0.004f)) ++left;
            while (right > left && !(row[4L * right + 3] > 0.004f)) --right;
            rows[static_cast<std::size_t>(y)] = {left, right, 0, 0};
        }
    });
    Area all{picture.width, -1, picture.height, -1};
    for (int y = 0; y < picture.height; ++y) {
        const Area& row = rows[static_cast<std::size_t>(y)];
        if (row.left > row.right) continue;
        all = {std::min(all.left, row.left), std::max(all.right, row.right), std::min(all.bottom, y), y};
    }
    if (all.right < all.left) all = {0, picture.width - 1, 0, picture.height - 1};
    return all;
}

}  // namespace

MipPicture particle_picture(const K7Image& from, double drawn, bool premultiplied) {
    const Area area = opaque_area(from);
    const int wide = area.right - area.left + 1, high = area.top - area.bottom + 1;
    const int step = std::clamp(static_cast<int>(std::max(wide, high) / std::max(2.0 * drawn, 16.0)), 1, 64);
    const int width = std::max(wide / step, 1), height = std::max(high / step, 1);
    const ImagePtr small = made(make_image_uncleared(width, height, 4, SAMPLE_F32));
    for_rows_float(height, [&](int first, int last) {
        for (int y = first; y <= last; ++y)
            for (int x = 0; x < width; ++x) {
                float sum[4] = {};
                for (int i = 0; i < step * step; ++i) {
                    const float* p = image_row<float>(&from, area.bottom + y * step + i / step) +
                                     4L * (area.left + x * step + i % step);
                    const float weight = premultiplied ? 1 : p[3];
                    for (int c = 0; c < 3; ++c) sum[c] += weight * p[c];
                    sum[3] += p[3];
                }
                float* out = image_row<float>(small.get(), y) + 4L * x;
                for (int c = 0; c < 4; ++c) out[c] = sum[c] / static_cast<float>(step * step);
            }
    });
    return MipPicture(small.get());
}

}  // namespace particles
