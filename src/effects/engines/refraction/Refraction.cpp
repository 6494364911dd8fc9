#include "effects/engines/refraction/Refraction.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "effects/engines/refraction/Refraction_simd.h"
#include "imagelib/imagelib_blur.h"
#include "imagelib/imagelib_pyramid.h"
#include "imagelib/imagelib_resample.h"
#include "k7pi_baselib/k7pi_baselib.h"
#include "k7pi_baselib/rows.h"

namespace {

constexpr float LEAST_INDEX = 0.01f;
constexpr float LEAST_CHROMATIC = 0.0001f;  // below it colours are read together
constexpr float FARTHEST = 1e8f;            // pixels; places beyond it count as there
constexpr int SMALLEST = 3;                 // pixels; smaller pictures have no cells
constexpr int COLOURS = 3;

RefractingGrid grid_of(const K7Image& picture, const RefractingSurface& surface) {
    const float max_x = float(picture.width - 1), max_y = float(picture.height - 1);
    const double index = std::fabs(surface.index) < LEAST_INDEX ? LEAST_INDEX : surface.index;
    return {.width = picture.width,
            .max_x = max_x,
            .max_y = max_y,
            .dx = 1 / max_x,
            .dy = 1 / max_y,
            .index_squared_less_1 = float(index * index - 1),
            .axial = surface.axial};
}

// The light from the middle of the picture, and half-way between it and the eye above.
ShiningLight shining(const RefractingSurface& surface) {
    const SurfaceLight& light = surface.light;
    const PlaneMap::Place centre = surface.to_plane.at(0.5f, 0.5f * surface.row_scale);
    const PlaneMap::Place place = surface.to_plane.at(light.x, light.y * surface.row_scale, light.z);
    const float x = place.x - centre.x, y = place.y - centre.y, z = place.z;
    const float length = std::sqrt(x * x + y * y + z * z);
    const float scale = length > 1e-10f && length < FARTHEST ? 1 / length : 1;
    ShiningLight out = {.to_plane = {},
                        .row_scale = surface.row_scale,
                        .centre_x = centre.x,
                        .centre_y = centre.y,
                        .light = {x * scale, y * scale, z * scale + 1},
                        .brightness = light.brightness,
                        .gloss = light.gloss};
    std::copy_n(surface.to_plane.rows.data(), 9, out.to_plane);
    return out;
}

// Rows of heights with their edge repeated at both ends, of one worker.
class HeightRows {
  public:
    explicit HeightRows(const K7Image& heights)
        : m_heights(heights), m_stride(std::size_t(heights.width) + 2), m_rows(3 * m_stride) {}

    // Of the rows before, at and after y.
    void centre(int y) {
        for (int i = 0; i < 3; ++i) {
            const float* row = image_row<float>(&m_heights, std::clamp(y + i - 1, 0, m_heights.height - 1));
            float* out = m_rows.data() + std::size_t(i) * m_stride;
            out[0] = row[0];
            std::copy_n(row, m_heights.width, out + 1);
            out[m_heights.width + 1] = row[m_heights.width - 1];
        }
    }
    const float* above() const { return m_rows.data(); }
    const float* here() const { return m_rows.data() + m_stride; }
    const float* below() const { return m_rows.data() + 2 * m_stride; }

  private:
    const K7Image& m_heights;
    std::size_t m_stride;
    std::vector<float> m_rows;
};

ImagePtr highlights(const K7Image& heights, const RefractingGrid& grid, const RefractingSurface& surface) {
    ImagePtr plane = made(make_image_uncleared(heights.width, heights.height, 1, SAMPLE_F32));
    const ShiningLight light = shining(surface);
    for_rows_float(heights.height, [&](int first, int last) {
        if (first > last) return;
        HeightRows rows(heights);
        for (int y = first; y <= last; ++y) {
            rows.centre(y);
            refraction_kernels().shine(grid, light, rows.above(), rows.here(), rows.below(), y,
                                       image_row<float>(plane.get(), y));
        }
    });
    const float softness = surface.light.softness;
    if (softness > 0) made(image_gaussian_blur(plane.get(), softness, softness, -1));
    return plane;
}

// One worker's lines of sight: bends of two rows, places of two rows, and the footprints between them.
class SightLines {
  public:
    SightLines(const RefractingGrid& grid, const K7Image& heights)
        : m_grid(grid),
          m_heights(heights),
          m_rows(heights),
          m_lanes(11 * std::size_t(grid.width)),
          m_bent(2 * blocks()) {}

    void bend(int y) {
        m_rows.centre(y);
        refraction_kernels().bends(m_grid, m_rows.above(), m_rows.here(), m_rows.below(), lane(y & 1),
                                   lane(2 + (y & 1)));
        refraction_kernels().find_bent(m_grid.width, lane(y & 1), lane(2 + (y & 1)), bent(y));
    }
    void footprints(float base, int y) {
        const RefractionKernels& kernels = refraction_kernels();
        for (int row = y; row <= y + 1; ++row)
            kernels.places(m_grid.width, base, image_row<float>(&m_heights, row), lane(row & 1), lane(2 + (row & 1)),
                           row, lane(4 + (row & 1)), lane(6 + (row & 1)));
        const FootprintLimits limits = {m_grid.width, -FARTHEST, FARTHEST, -FARTHEST, FARTHEST};
        kernels.footprints(limits, lane(4 + (y & 1)), lane(6 + (y & 1)), lane(5 - (y & 1)), lane(7 - (y & 1)), lane(8),
                           lane(9), lane(10));
    }
    // Pixels of row y but for the outermost. Where nothing is bent they are the picture's own.
    void read(const ImagelibPyramid& pyramid, const K7Image& picture, int y, float* row) {
        for (std::size_t block = 0, next = 0; block < blocks(); block = next) {
            const bool looks = isBent(y, block);
            for (next = block + 1; next < blocks() && isBent(y, next) == looks;) ++next;
            const int first = std::max(int(block) * SIGHT_BLOCK, 1);
            const int count = std::min(int(next) * SIGHT_BLOCK, m_grid.width - 1) - first;
            if (count <= 0) continue;
            if (looks)
                pyramid.sample_points(lane(8) + first, lane(9) + first, lane(10) + first, count, row + 4L * first);
            else
                std::copy_n(image_row<float>(&picture, y) + 4L * first, 4L * count, row + 4L * first);
        }
    }

  private:
    std::size_t blocks() const { return std::size_t((m_grid.width + SIGHT_BLOCK - 1) / SIGHT_BLOCK); }
    unsigned char* bent(int y) { return m_bent.data() + (y & 1 ? blocks() : 0); }
    // A footprint spans a pixel on either side and the row after.
    bool isBent(int y, std::size_t block) {
        for (std::size_t i = block > 0 ? block - 1 : 0; i <= std::min(block + 1, blocks() - 1); ++i)
            if (bent(y)[i] || bent(y + 1)[i]) return true;
        return false;
    }
    float* lane(int i) { return m_lanes.data() + std::size_t(i) * std::size_t(m_grid.width); }

    const RefractingGrid& m_grid;
    const K7Image& m_heights;
    HeightRows m_rows;
    std::vector<float> m_lanes;
    std::vector<unsigned char> m_bent;  // of two rows
};

void copy_channel(const float* from, int channel, int count, float* to) {
    for (long i = channel; i < 4L * count; i += 4) to[i] = from[i];
}

}  // namespace

int edge_of_choice(int choice) {
    constexpr int EDGES[] = {EDGE_CLAMP, EDGE_BLACK, EDGE_WRAP};
    return EDGES[std::clamp(choice, 1, 3) - 1];
}

bool refract_through(const K7Image& heights, const K7Image& source, const RefractingSurface& surface, bool alpha,
                     const StopRequested& stop, K7Image& result) {
    const int width = source.width, height = source.height;
    if (width < SMALLEST || height < SMALLEST) {
        image_copy(&source, &result);
        return true;
    }
    const StageTimer timer("Refraction");
    const RefractingGrid grid = grid_of(source, surface);
    const SurfaceLight& light = surface.light;
    const ImagePtr shine = light.brightness > 0 ? highlights(heights, grid, surface) : nullptr;
    if (stop && stop()) return false;
    constexpr bool COPY_BASE = false, CPU_ONLY = true;
    ImagelibPyramid pyramid(&source, KERNEL_BSPLINE, surface.edge, COPY_BASE, CPU_ONLY);
    made(pyramid.valid() && pyramid.set_kernel(KERNEL_TRIANGLE, surface.edge));
    const bool together = !(surface.chromatic > LEAST_CHROMATIC);
    const float colour[] = {light.red, light.green, light.blue};

    for_rows_float(height - 1, [&](int first, int last) {
        if (first > last) return;
        SightLines lines(grid, heights);
        std::vector<float> scratch(together ? 0 : 4 * std::size_t(width));
        const auto read = [&](float base, int y, float* row) {
            lines.footprints(base, y);
            lines.read(pyramid, source, y, row);
            if (shine)
                refraction_kernels().light_up(width - 2, light.contrast, image_row<float>(shine.get(), y) + 1, colour,
                                              row + 4);
            std::copy_n(row + 4, 4, row);
            std::copy_n(row + 4L * (width - 2), 4, row + 4L * (width - 1));
        };
        lines.bend(first);
        for (int y = first; y <= last && !(stop && stop()); ++y) {
            lines.bend(y + 1);
            float* out = image_row<float>(&result, y);
            if (together) {
                read(surface.base, y, out);
                continue;
            }
            if (alpha) {
                read(surface.base, y, scratch.data());
                copy_channel(scratch.data(), 3, width, out);
            }
            for (int c = 0; c < COLOURS; ++c) {
                read(surface.base + surface.chromatic * float(c + 1), y, scratch.data());
                copy_channel(scratch.data(), c, width, out);
            }
        }
    });
    if (stop && stop()) return false;
    std::copy_n(image_row<float>(&result, height - 2), 4L * width, image_row<float>(&result, height - 1));
    return true;
}

void weigh_by_matte(const K7Image& matte, bool inverted, K7Image& heights) {
    constexpr float THIRD = 0.333333f;
    for_rows_float(heights.height, [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            const float* m = image_row<float>(&matte, y);
            float* row = image_row<float>(&heights, y);
            for (int x = 0; x < heights.width; ++x) {
                const float mean = (m[4 * x] + m[4 * x + 1] + m[4 * x + 2]) * THIRD;
                row[x] *= inverted ? 1 - mean : mean;
            }
        }
    });
}

void weigh_by_alpha(const K7Image& picture, K7Image& heights) {
    for_rows_float(heights.height, [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            const float* pixel = image_row<float>(&picture, y);
            float* row = image_row<float>(&heights, y);
            for (int x = 0; x < heights.width; ++x) row[x] *= pixel[4 * x + 3];
        }
    });
}
