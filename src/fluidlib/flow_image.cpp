// Pictures seen through the coordinate maps.
#include "fluidlib/flow_image_simd.h"
#include "fluidlib/fluid_work.h"
#include "graphicslib/sampling_pattern.h"

namespace {

constexpr std::uint32_t PATTERN_SEED = 1234567;
constexpr int PATTERN_SIDE = 2;
static_assert(PATTERN_SIDE * PATTERN_SIDE == FLOW_SAMPLES);

// What four neighbouring cells weigh in a cubic B-spline. It smooths steep slopes, which would show the cells as beads,
// and keeps straight ones.
struct SplineWeights {
    float w[4];
    explicit SplineWeights(float f) {
        const float g = 1 - f;
        w[0] = g * g * g / 6;
        w[1] = (4 - 3 * f * f * (2 - f)) / 6;
        w[2] = (4 - 3 * g * g * (2 - g)) / 6;
        w[3] = f * f * f / 6;
    }
};

// One map along a row of pixels, as polynomials between its cells. Beyond the outermost cells it goes on straight, so
// that the identity stays the identity: the ghost cells would bend it.
class MapRow {
  public:
    MapRow(const ScalarField& map, float* scratch) : m_map(map), m_pitch(std::size_t(map.width) + FLOW_SLACK) {
        m_row = scratch;
        for (int n = 0; n < 4; ++n) m_k[n] = scratch + std::size_t(n + 1) * m_pitch;
    }
    static std::size_t floats(const ScalarField& map) { return 5 * (std::size_t(map.width) + FLOW_SLACK); }

    // Where pixels stand at rest: at first + i * step in cell i.
    struct Rest {
        float first, step;
    };
    // At `place` cells above the lowest ones; values become length * map, and `part` of their distance from rest.
    void make(float place, float length, Rest rest, float part, const float* (&coefficients)[4]) {
        const int rows = m_map.height, j = std::clamp(static_cast<int>(place), 0, std::max(rows - 2, 0));
        const SplineWeights weights(rows > 1 ? std::min(place - static_cast<float>(j), 1.0F) : 0.0F);
        for (int i = 0; i < m_map.width; ++i) {
            const auto cell = [&](int row) { return m_map.data[m_map.index(i + 1, std::min(row, rows - 1) + 1)]; };
            const float low = cell(j), high = cell(j + 1);
            const float below = j > 0 ? cell(j - 1) : 2 * low - high,
                        above = j + 2 < rows ? cell(j + 2) : 2 * high - low;
            m_row[i + 1] =
                length * ((weights.w[0] * below + weights.w[3] * above) + (weights.w[1] * low + weights.w[2] * high));
        }
        const int cells = m_map.width;
        for (int i = 0; part < 1 && i < cells; ++i) {
            const float still = rest.first + static_cast<float>(i) * rest.step;
            m_row[i + 1] = still + part * (m_row[i + 1] - still);
        }
        m_row[0] = cells > 1 ? 2 * m_row[1] - m_row[2] : m_row[1];
        m_row[cells + 1] = cells > 1 ? 2 * m_row[cells] - m_row[cells - 1] : m_row[1];
        for (int i = 0; i + 1 < cells || i == 0; ++i) {
            const float a = m_row[i], b = m_row[i + 1], c = m_row[i + 2], d = m_row[std::min(i + 3, cells + 1)];
            m_k[0][i] = (a + 4 * b + c) / 6;
            m_k[1][i] = (c - a) / 2;
            m_k[2][i] = (a - 2 * b + c) / 2;
            m_k[3][i] = ((d - a) + 3 * (b - c)) / 6;
        }
        for (int n = 0; n < 4; ++n) coefficients[n] = m_k[n];
    }

  private:
    const ScalarField& m_map;
    std::size_t m_pitch;
    float* m_row;  // one straight on, the cells, one straight on
    float* m_k[4];
};

bool is_float_rgba(const K7Image* image) {
    return image && image->pixels && image->channels == 4 && image->sample_type == SAMPLE_F32;
}

// Cells from pixel to pixel, so that the corners of picture and map fall together.
float cells_per_pixel(int cells, int pixels) {
    return pixels > 1 ? static_cast<float>(cells - 1) / static_cast<float>(pixels - 1) : 0.0F;
}

bool is_readable(const ScalarField& map, const K7Image* source, const K7Image* target) {
    return map.kind == FLUID_BOUNDED && is_float_rgba(source) && is_float_rgba(target) &&
           source->pixels != target->pixels && source->width == target->width && source->height == target->height;
}

}  // namespace

bool FluidFlow::flow_image(const K7Image* source, K7Image* target, bool edge_escape, const FlowLook& look) {
    if (!coordinate_x || !coordinate_y) return false;
    if (edge_escape && is_readable(*coordinate_x, source, target)) pin_coordinate_maps();
    const FluidRows rows = executor();
    return image_through_maps({coordinate_x.get(), coordinate_y.get(), wrap_x, wrap_y}, source, target, look,
                              rows.runner, *rows.stop);
}

bool image_through_maps(const FlowMaps& maps_of_both, const K7Image* source, K7Image* target, const FlowLook& look,
                        const RowRunner& runner, const StopRequested& stop) {
    const ScalarField &map_x = *maps_of_both.x, &map_y = *maps_of_both.y;
    if (!is_readable(map_x, source, target)) return false;

    float offsets[FLOW_SAMPLES][2];
    StochasticSamplingPattern pattern;
    if (!pattern.init(PATTERN_SEED, PATTERN_SIDE, 1, StochasticSamplingPattern::JITTERED)) return false;
    for (auto& offset : offsets) {
        float place[3];
        pattern.centred_sample(FLOW_FOOTPRINT * setting_within(look.spread, 0, 1), place);
        offset[0] = place[0], offset[1] = place[1];
    }

    const int width = source->width, height = source->height;
    const FlowPicture picture{image_row<float>(source, 0),
                              height > 1 ? image_row<float>(source, 1) - image_row<float>(source, 0) : 0,
                              width,
                              height,
                              maps_of_both.wrap_x,
                              maps_of_both.wrap_y};
    const float step_y = cells_per_pixel(map_y.height, height);
    const auto across = static_cast<float>(width - 1), along = static_cast<float>(height - 1);
    const float part = setting_within(look.displacement, 0, 1);
    const auto kernels = fluid_flow_image();
    std::atomic<bool> short_of_memory{false};
    const bool done = FluidRows{runner, &stop}.for_rows(std::size_t(height), true, [&](int first, int last) {
        // Two maps, and the places of two rows of pixels.
        const std::size_t map_floats = MapRow::floats(map_x), row_floats = std::size_t(width) + 2 * FLOW_SLACK;
        const FluidArray<float> scratch = make_fluid_array<float>(2 * map_floats + 4 * row_floats);
        if (!scratch) {
            short_of_memory = true;
            return;
        }
        std::fill_n(scratch.get(), 2 * map_floats + 4 * row_floats, 0.0F);
        MapRow columns(map_x, scratch.get()), rows(map_y, scratch.get() + map_floats);
        float* free_floats = scratch.get() + 2 * map_floats + FLOW_SLACK;
        FlowPlaces places{free_floats, free_floats + row_floats};
        FlowPlaces below{places.x + 2 * row_floats, places.y + 2 * row_floats};
        FlowMapRow maps{{}, {}, std::max(map_x.width - 1, 1), cells_per_pixel(map_x.width, width)};
        const auto find = [&](int y, const FlowPlaces& to) {
            const float place = static_cast<float>(y) * step_y;
            columns.make(place, across, {0, across / static_cast<float>(maps.cells)}, part, maps.x);
            rows.make(place, along, {static_cast<float>(y), 0}, part, maps.y);
            kernels.find_places(maps, width, to);
        };
        find(std::max(first - 1, 0), below);
        for (int y = first; y <= last; ++y) {
            find(y, places);
            kernels.read_row(places, below, picture, offsets, width, image_row<float>(target, y));
            std::swap(places, below);
        }
    });
    return done && !short_of_memory;
}
