#include "effects/pixels/PictureLayer.h"

#include <algorithm>
#include <atomic>

#include "Library2/Made.h"
#include "k7pi_baselib/rows.h"

ImagePtr multiplied_layer(const K7Image& source, bool alpha, bool multiplied) {
    if (alpha && multiplied) return nullptr;
    std::atomic<bool> opaque{true};
    each_row_float(source.height, [&](int y) {
        const float* row = image_row<float>(&source, y);
        bool all = true;
        for (int x = 0; x < source.width; ++x) all &= row[4 * x + 3] == 1.0F;
        if (!all) opaque = false;
    });
    if (opaque) return nullptr;
    ImagePtr layer = made(make_image_uncleared(source.width, source.height, 4, SAMPLE_F32));
    each_row_float(source.height, [&](int y) {
        const float* from = image_row<float>(&source, y);
        float* to = image_row<float>(layer.get(), y);
        for (int x = 0; x < source.width; ++x, from += 4, to += 4) {
            const float share = alpha ? std::min(from[3], 1.0F) : 1.0F;
            for (int c = 0; c < 3; ++c) to[c] = from[c] * share;
            to[3] = share;
        }
    });
    return layer;
}
