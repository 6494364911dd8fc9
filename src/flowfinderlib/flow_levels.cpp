#include "flowfinderlib/flow_levels.h"

#include <cmath>
#include <vector>

namespace {

constexpr float WHITE = 255.0F;

void extend(FlowPlane& plane) {
    flow_rows(plane.height, [&](int y) { plane.extend_row(y); });
    plane.extend_above_and_below();
}

float bent(float v) {
    if (!(v > -1.0F)) return v <= -1.0F ? -WHITE : 0.0F;
    return WHITE * (v <= 1.0F ? v : 2.0F - 1.0F / v);
}

template <class T>
void read_row(const T* from, int width, int channels, int channel, float scale, float* out) {
    for (int x = 0; x < width; ++x, from += channels) {
        if (channel < 0)
            out[x] = bent(scale * (0.299F * float(from[0]) + 0.587F * float(from[1]) + 0.114F * float(from[2])));
        else
            out[x] = bent(scale * float(from[channel]));
    }
}

void read_any_row(const K7Image* image, int y, int channel, float scale, float* out) {
    const int width = image->width, channels = image->channels;
    switch (image->sample_type) {
        case SAMPLE_U8:
            return read_row(image_row<std::uint8_t>(image, y), width, channels, channel, scale, out);
        case SAMPLE_U16:
            return read_row(image_row<std::uint16_t>(image, y), width, channels, channel, scale, out);
        case SAMPLE_U32:
            return read_row(image_row<std::uint32_t>(image, y), width, channels, channel, scale, out);
        default:
            return read_row(image_row<float>(image, y), width, channels, channel, scale, out);
    }
}

// Halves of kernels of even length: pixel n of the result lies between 2n and 2n + 1.
struct HalfKernel {
    int taps;
    float weights[3];
};
constexpr HalfKernel HALF_KERNELS[] = {{1, {0.5F, 0, 0}}, {2, {0.375F, 0.125F, 0}}, {3, {0.3125F, 0.15625F, 0.03125F}}};

}  // namespace

bool flow_read_grey(const K7Image* image, int channel, FlowPlane& grey) {
    if (!grey.make(image->width, image->height)) return false;
    const int channels = image->channels;
    const int from = channel > 0 ? std::min(channel, channels) - 1 : (channels >= 3 ? -1 : 0);
    const float scale = 1.0F / image_full_value(image->sample_type);
    flow_rows(image->height, [&](int y) { read_any_row(image, y, from, scale, grey.row(y)); });
    return true;
}

void flow_read_shrunk(const K7Image* image, int channel, int side, float gain, FlowPlane& plane) {
    const float scale = 1.0F / image_full_value(image->sample_type);
    for_rows_float(plane.height, [&](int first, int last) {
        std::vector<float> line(std::size_t(image->width));
        for (int y = first; y <= last; ++y) {
            float* out = plane.row(y);
            std::fill_n(out, plane.width, 0.0F);
            const int rows = std::min(side, image->height - y * side);
            for (int r = 0; r < rows; ++r) {
                read_any_row(image, y * side + r, channel, scale, line.data());
                for (int x = 0; x < image->width; ++x) out[x / side] += line[std::size_t(x)];
            }
            for (int x = 0; x < plane.width; ++x)
                out[x] *= gain / float(rows * std::min(side, image->width - x * side));
        }
    });
}

void flow_halve(const FlowPlane& from, FlowPlane& to, int filter) {
    const HalfKernel& kernel = HALF_KERNELS[filter];
    for_rows_float(to.height, [&](int first, int last) {
        std::vector<float> column(std::size_t(from.stride()));
        float* line = column.data() + FLOW_BORDER;
        for (int y = first; y <= last; ++y) {
            std::fill(column.begin(), column.end(), 0.0F);
            for (int k = 0; k < kernel.taps; ++k) {
                const float *above = from.row(2 * y - k), *below = from.row(2 * y + 1 + k);
                for (int x = -3; x < from.width + 4; ++x) line[x] += kernel.weights[k] * (above[x] + below[x]);
            }
            float* out = to.row(y);
            for (int x = 0; x < to.width; ++x) {
                float sum = 0;
                for (int k = 0; k < kernel.taps; ++k)
                    sum += kernel.weights[k] * (line[2 * x - k] + line[2 * x + 1 + k]);
                out[x] = sum;
            }
        }
    });
}

// Down to a few pixels: what is coarser than that is light, what is finer is needed to find long motion.
bool flow_flatten_brightness(FlowPlane& grey) {
    constexpr int FEW = 8;
    std::vector<FlowPlane> levels(1);
    levels[0].swap(grey);
    while (std::min(levels.back().width, levels.back().height) > FEW) {
        FlowPlane& fine = levels.back();
        FlowPlane half;
        if (!half.make((fine.width + 1) / 2, (fine.height + 1) / 2)) return false;
        extend(fine);
        flow_halve(fine, half, FLOW_WIDE_BINOMIAL);
        levels.push_back(std::move(half));
    }
    if (levels.size() == 1) {  // too small to tell light from picture
        grey.swap(levels[0]);
        return true;
    }
    FlowPlane mean = std::move(levels.back());
    for (std::size_t n = levels.size() - 1; n > 0; --n) {
        FlowPlane finer;
        if (!finer.make(levels[n - 1].width, levels[n - 1].height)) return false;
        flow_enlarge(mean, finer, 1.0F);
        mean.swap(finer);
    }
    grey.swap(levels[0]);
    flow_rows(grey.height, [&](int y) {
        for (int x = 0; x < grey.width; ++x) grey.row(y)[x] -= mean.row(y)[x];
    });
    return true;
}

void flow_differentiate(FlowGrey& level) {
    FlowPlane& grey = level.grey;
    extend(grey);
    flow_rows(grey.height, [&](int y) {
        const float *row = grey.row(y), *above = grey.row(y - 1), *below = grey.row(y + 1);
        float *to_x = level.x.row(y), *to_y = level.y.row(y);
        for (int x = 0; x < grey.width; ++x) {
            to_x[x] = 0.5F * (row[x + 1] - row[x - 1]);
            to_y[x] = 0.5F * (below[x] - above[x]);
        }
    });
}

void flow_enlarge(const FlowPlane& from, FlowPlane& to, float gain) {
    for_rows_float(to.height, [&](int first, int last) {
        std::vector<float> column(std::size_t(from.width) + 2);
        float* line = column.data() + 1;
        for (int y = first; y <= last; ++y) {
            const int near = y / 2, far = std::clamp(y % 2 ? near + 1 : near - 1, 0, from.height - 1);
            const float *a = from.row(near), *b = from.row(far);
            for (int x = 0; x < from.width; ++x) line[x] = gain * (0.75F * a[x] + 0.25F * b[x]);
            line[-1] = line[0];
            line[from.width] = line[from.width - 1];
            float* out = to.row(y);
            for (int x = 0; x < to.width; ++x)
                out[x] = 0.75F * line[x / 2] + 0.25F * line[x % 2 ? x / 2 + 1 : x / 2 - 1];
        }
    });
}
