#include "effects/weather/HeatHaze.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "effects/engines/refraction/Refraction_simd.h"
#include "effects/weather/HeatHaze_simd.h"
#include "imagelib/imagelib_colour.h"
#include "imagelib/imagelib_pyramid.h"
#include "imagelib/imagelib_resample.h"
#include "k7pi_baselib/k7pi_baselib.h"
#include "noiselib/solidnoise.h"
#include "simdlib/cpu.h"

namespace {

constexpr float NOMINAL_WIDTH = 720, NOMINAL_HEIGHT = 576;  // the frame that speeds are meant for
constexpr float LEAST_PLACE = 0.0001f, MOST_PLACE = 0.9999f;
constexpr int SMALLEST = 3;   // pixels; smaller pictures have no cells
constexpr float PUFF = 1.2f;  // frames that a puff is ahead of the mean rise or behind it; it never sinks

HazeSheet sheet_for(const K7Image& frame, float strength) {
    const float max_x = float(frame.width - 1), max_y = float(frame.height - 1);
    return {.width = frame.width,
            .max_x = max_x,
            .max_y = max_y,
            .dx = HAZE_REACH / max_x,
            .dy = HAZE_REACH / max_y,
            .strength = strength,
            .low_x = LEAST_PLACE * max_x,
            .high_x = MOST_PLACE * max_x,
            .low_y = LEAST_PLACE * max_y,
            .high_y = MOST_PLACE * max_y};
}

// Whether no line of sight is bent in this row, so that its pixels are the source's.
bool is_still(const K7Image& heat, int row) {
    const auto cold = [&](int y) {
        const float* values = image_row<float>(&heat, y);
        return std::all_of(values, values + heat.width, [](float h) { return h == 0.0f; });
    };
    return cold(row) && cold(row + 1);
}

// The rows of one worker, allocated once for all of them.
class Refraction {
  public:
    Refraction(const HazeSheet& sheet, const K7Image& heat)
        : m_sheet(sheet),
          m_heat(heat),
          m_padded(2 * std::size_t(sheet.width + 2 * HAZE_REACH)),
          m_rows(7 * std::size_t(sheet.width)) {}

    float* lane(int i) { return m_rows.data() + std::size_t(i) * std::size_t(m_sheet.width); }

    // The places of a row, into one of two alternating pairs of lanes.
    void places(int y) {
        float *above = m_padded.data(), *below = above + m_sheet.width + 2 * HAZE_REACH;
        pad(y - HAZE_REACH, above);
        pad(y + HAZE_REACH, below);
        haze_kernels().refract_row(m_sheet, above, image_row<float>(&m_heat, y), below, y, u(y), v(y));
    }
    void footprints(int y) {
        const FootprintLimits limits = {m_sheet.width, 0.0f, m_sheet.max_x, 0.0f, m_sheet.max_y};
        refraction_kernels().footprints(limits, u(y), v(y), u(y + 1), v(y + 1), lane(4), lane(5), lane(6));
    }
    const float* xs() { return lane(4); }
    const float* ys() { return lane(5); }
    const float* areas() { return lane(6); }

  private:
    float* u(int y) { return lane(y & 1); }
    float* v(int y) { return lane(2 + (y & 1)); }
    void pad(int y, float* out) const {
        const float* row = image_row<float>(&m_heat, std::clamp(y, 0, m_heat.height - 1));
        std::fill_n(out, HAZE_REACH, row[0]);
        std::copy_n(row, m_sheet.width, out + HAZE_REACH);
        std::fill_n(out + HAZE_REACH + m_sheet.width, HAZE_REACH, row[m_sheet.width - 1]);
    }

    const HazeSheet& m_sheet;
    const K7Image& m_heat;
    std::vector<float> m_padded, m_rows;
};

}  // namespace

void HeatHaze::ProcessFrame() {
    const K7Image* source = input.image.get();
    K7Image* result = output.image.get();
    const ImagePtr heat = heatMap(*source);
    if (abortRequested()) return;
    if (DispType.value == HeatMap) {
        constexpr bool NORMALISE = true;
        constexpr int LAST_CHANNEL_FOR_ALL = 1;
        made(image_to_layout(heat.get(), result, NORMALISE, KERNEL_BSPLINE, LAST_CHANNEL_FOR_ALL));
    } else {
        refract(*heat, *source, *result);
    }
}

ImagePtr HeatHaze::heatMap(const K7Image& frame) {
    const StageTimer timer("Heat map");
    const int width = frame.width, height = frame.height;
    ImagePtr heat = made(make_image_uncleared(width, height, 1, SAMPLE_F32));

    const SolidNoise noise(uint32_t(AtmSeed.value));
    const float time = float(currentFrame);
    const float scale_x = float(width) * 2 / NOMINAL_WIDTH, scale_y = float(height) * 2 / NOMINAL_HEIGHT;
    const float cells_x = frame.pixel_width * float(AtmDetX.value) / float(width);
    const float cells_y = float(AtmDetY.value) / float(height);
    const float flutter_x = float(FlutterX.value) * 0.05f * noise.noise(0.31f * time, 0.5f, 7.1f) * scale_x;
    const float puffs = time + PUFF * noise.noise(0.5f, 0.31f * time, 3.3f);
    const float flutter_y = float(FlutterY.value) * -0.05f * puffs * scale_y;
    const float offset_x = float(AtmX.value) * -0.0001f / scale_x * time + flutter_x;
    const float offset_y = float(AtmY.value) * -0.001f / scale_y * time + flutter_y;
    const float z = float(AtmZ.value) * 0.005f * time + 0.5f;
    const float octaves = float(Detail.value) + 0.05f;
    const float level = float(AtmCont.value) * 0.01f + 0.5f;

    const K7Image* mask = ROI.value ? matte.image.get() : nullptr;
    for_rows_float(height, [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            float* row = image_row<float>(heat.get(), y);
            const NoiseLine line{.x = double(offset_x) * double(cells_x),
                                 .step = double(cells_x),
                                 .y = (float(y) + offset_y) * cells_y,
                                 .z = z};
            noise.turbulence_row(line, 0, 1.0f, octaves, row, width);
            for (int x = 0; x < width; ++x) row[x] = std::max(row[x] + level, 0.0f);
            if (!mask) continue;
            const float* m = image_row<float>(mask, y);
            for (int x = 0; x < width; ++x) row[x] *= luminance(m + 4L * x);
        }
    });
    return heat;
}

void HeatHaze::refract(const K7Image& heat, const K7Image& source, K7Image& result) {
    const int width = source.width, height = source.height;
    const float strength = float(Temperature.value) * 0.001f;
    if (width < SMALLEST || height < SMALLEST || strength == 0.0f) {
        image_copy(&source, &result);
        return;
    }
    constexpr bool COPY_BASE = false, CPU_ONLY = true;
    ImagelibPyramid pyramid(&source, KERNEL_BSPLINE, EDGE_MIRROR, COPY_BASE, CPU_ONLY);
    made(pyramid.valid() && pyramid.set_kernel(KERNEL_TRIANGLE, EDGE_BLACK));

    const StageTimer timer("Refraction");
    const HazeSheet sheet = sheet_for(source, strength);
    for_rows_float(height, [&](int first, int last) {
        first = std::max(first, 1);
        last = std::min(last, height - 2);
        if (first > last) return;
        Refraction rows(sheet, heat);
        rows.places(first);
        for (int y = first; y <= last; ++y) {
            rows.places(y + 1);
            if (is_still(heat, y)) continue;
            rows.footprints(y);
            float* out = image_row<float>(&result, y);
            pyramid.sample_points(rows.xs() + 1, rows.ys() + 1, rows.areas() + 1, width - 2, out + 4);
            std::copy_n(out + 4, 4, out);
            std::copy_n(out + 4L * (width - 2), 4, out + 4L * (width - 1));
        }
    });
    if (!is_still(heat, 0)) std::copy_n(image_row<float>(&result, 1), 4L * width, image_row<float>(&result, 0));
    if (!is_still(heat, height - 2))
        std::copy_n(image_row<float>(&result, height - 2), 4L * width, image_row<float>(&result, height - 1));
}
