#include "effects/blur/SpinBlur.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <memory>
#include <new>
#include <numbers>

#include "effects/blur/SpinBlur_simd.h"
#include "imagelib/imagelib_composite.h"
#include "imagelib/imagelib_resample.h"
#include "k7pi_baselib/cpu.h"
#include "k7pi_baselib/k7pi_baselib.h"

namespace {

constexpr int TURN_ENTRIES = 32000;
constexpr float DEGREE = 0.017453292f;
constexpr float NO_TURN = 0.00005f;                   // radians
constexpr float SLOWEST = -270.0f, FASTEST = 359.0f;  // degrees
constexpr std::size_t MOST_BYTES = 0x7fffffff;
constexpr float MOST_DISTANCE = 1e5f;
constexpr int COLUMNS_AT_ONCE = 64;  // that the kernels read positions of
constexpr int ROWS_AT_ONCE = 4;
constexpr int TILE_WIDTH = 64, TILE_HEIGHT = 16;
constexpr int DASHES = 10, CHORDS = 4;  // of a soft ring of the overlay, and of each of its dashes

const SpinBlurKernels& kernels() {
    return cpu_select(baseline::spin_blur_kernels, avx2::spin_blur_kernels, avx512::spin_blur_kernels);
}

// ---- The polar picture ----------------------------------------------------------------------------------------

// Where each column lies on a circle of radius 1, in pixels. Whole chunks, since the kernels read them so.
std::vector<float> circle_positions(const float* table, const SpinTable& polar, float pixel) {
    std::vector<float> positions(std::size_t(polar.columns + COLUMNS_AT_ONCE));
    for (int c = 0; c < polar.columns; ++c) {
        const double place = double(c) / polar.period * TURN_ENTRIES;
        const int entry = std::min(int(place), TURN_ENTRIES - 1);
        const double here = table[entry], next = table[entry + 1 == TURN_ENTRIES ? 0 : entry + 1];
        positions[std::size_t(c)] = float((here + (place - entry) * (next - here)) / pixel);
    }
    return positions;
}

// The weights of four neighbours for every fraction of a pixel, distances truncated to the kernel's table as everywhere
// in the library.
std::vector<float> filter_table(const ImagelibKernel& kernel) {
    std::vector<float> table;
    table.reserve(4 * SPIN_FILTER_ENTRIES);
    for (int i = 0; i < SPIN_FILTER_ENTRIES; ++i) {
        const int below = i / 2, above = (i + 1) / 2;
        table.push_back(kernel.weights[SPIN_FILTER_STEPS + below]);
        table.push_back(kernel.weights[below]);
        table.push_back(kernel.weights[SPIN_FILTER_STEPS - above]);
        table.push_back(kernel.weights[2 * SPIN_FILTER_STEPS - above]);
    }
    return table;
}

struct BorderSampler {
    const K7Image* image;
    const ImagelibKernel* kernel;
    static void sample(const void* owner, float x, float y, float* out) {
        const auto* sampler = static_cast<const BorderSampler*>(owner);
        image_sample(sampler->image, x, y, out, 4, sampler->kernel);
    }
};

// At least cache line aligned, and not cleared; null when there is no memory. Image memory begins at a page (alignment
// 0), as what is kept between renders does.
template <class T, bool IMAGE>
struct BlockDeleter {
    void operator()(T* block) const { k7_aligned_free(block, IMAGE); }
};
template <class T, bool IMAGE>
using Block = std::unique_ptr<T[], BlockDeleter<T, IMAGE>>;
template <class T, bool IMAGE>
Block<T, IMAGE> make_block(std::size_t count) {
    return Block<T, IMAGE>(static_cast<T*>(k7_aligned_malloc_uncleared(count * sizeof(T), IMAGE ? 0 : 64, IMAGE)));
}

// The picture as circles around a centre, summed along them: one row for each unit of radius up to the farthest
// corner, and columns as close together as the pixels are there.
class PolarPicture {
  public:
    PolarPicture(const K7Image& image, float cx, float cy);
    bool valid() const { return m_sums != nullptr; }
    float maxDistance() const { return m_max_distance; }

    // Circles of these radii and those beside them. False when there is no memory, or the effect's host wants an end.
    bool unwrap(const K7Image& source, const float* sine, const float* cosine, float smallest, float largest,
                const PluginK7* effect);
    void average(const SpinArcs& arcs, const K7Image& source, const K7Image* matte, K7Image& result) const;

  private:
    float m_cx, m_cy, m_pixel_width, m_pixel_height;
    float m_max_distance = 0;
    SpinTable m_table{};
    Block<float, true> m_sums;
    std::vector<float> m_means;
};

PolarPicture::PolarPicture(const K7Image& image, float cx, float cy)
    : m_cx(cx), m_cy(cy), m_pixel_width(image.pixel_width), m_pixel_height(image.pixel_height) {
    const double x = std::max(std::fabs(cx), std::fabs(float(image.width) - cx)) * double(m_pixel_width);
    const double y = std::max(std::fabs(cy), std::fabs(float(image.height) - cy)) * double(m_pixel_height);
    m_max_distance = float(std::sqrt(x * x + y * y));
    if (!(m_max_distance >= 1 && m_max_distance < MOST_DISTANCE && m_pixel_width > 0 && m_pixel_height > 0)) return;

    m_table.period = 2 * std::numbers::pi * double(m_max_distance);
    m_table.columns = int(m_table.period);
    m_table.rows = int(m_max_distance) + 2;  // so that the farthest pixel still lies between two of them
    // An odd number of cache lines a row: neighbours in a column do not compete for the same places of the cache.
    m_table.pitch = ((4L * (m_table.columns + 2) + 15) / 16 | 1) * 16;
    const std::size_t floats = std::size_t(m_table.rows) * std::size_t(m_table.pitch);
    if (floats * sizeof(float) > MOST_BYTES) return;
    m_means.resize(4 * std::size_t(m_table.rows));
    m_sums = make_block<float, true>(floats);
    m_table.sums = m_sums.get();
    m_table.means = m_means.data();
}

bool PolarPicture::unwrap(const K7Image& source, const float* sine, const float* cosine, float smallest, float largest,
                          const PluginK7* effect) {
    const ImagelibKernel kernel(KERNEL_BSPLINE, EDGE_BLACK);
    if (!kernel.valid) return false;
    const StageTimer timer("Un-wrap image.");
    const std::vector<float> filter = filter_table(kernel);
    const std::vector<float> cosines = circle_positions(cosine, m_table, m_pixel_width);
    const std::vector<float> sines = circle_positions(sine, m_table, m_pixel_height);
    const BorderSampler border{&source, &kernel};
    const SpinSource view{.pixels = image_row<float>(&source, 0),
                          .width = source.width,
                          .height = source.height,
                          .cx = m_cx,
                          .cy = m_cy,
                          .filter = filter.data(),
                          .cosines = cosines.data(),
                          .sines = sines.data(),
                          .sample_border = BorderSampler::sample,
                          .owner = &border};
    const SpinBlurKernels& table = kernels();
    // Outer circles, mostly outside the picture, cost less than inner ones: whoever is free takes the next few.
    const float outermost = static_cast<float>(m_table.rows - 1);
    const int end = static_cast<int>(std::clamp(largest + 1, 0.0f, outermost)) + 1;
    std::atomic<int> next{static_cast<int>(std::clamp(smallest, 0.0f, outermost))};
    std::atomic<bool> complete{true};
    for_rows_float(end - next, [&](int first, int last) {
        if (first > last) return;
        const auto scratch = make_block<double, false>(4 * std::size_t(m_table.columns + 2));
        if (!scratch) complete = false;
        for (int row; complete && (row = next.fetch_add(ROWS_AT_ONCE)) < end;) {
            if (host_wants_abort(effect)) complete = false;
            for (int i = row; i < std::min(row + ROWS_AT_ONCE, end); ++i)
                table.unwrap_row(view, m_table, i, scratch.get());
        }
    });
    return complete;
}

void PolarPicture::average(const SpinArcs& arcs, const K7Image& source, const K7Image* matte, K7Image& result) const {
    const StageTimer timer("SpinBlur (CPU)");
    const SpinBlurKernels& table = kernels();
    const int width = result.width;
    // In tiles, whose arcs end in the same part of the table.
    const auto tile = [&](int x, int first, int last) {
        const int count = std::min(TILE_WIDTH, width - x);
        for (int y = first; y <= last; ++y)
            table.average_pixels(m_table, arcs, x, y, count, image_row<float>(&source, y) + 4 * x,
                                 matte ? image_row<float>(matte, y) + 4 * x : nullptr,
                                 image_row<float>(&result, y) + 4 * x);
    };
    for_rows_float(result.height, [&](int first, int last) {
        for (int y = first; y <= last; y += TILE_HEIGHT)
            for (int x = 0; x < width; x += TILE_WIDTH) tile(x, y, std::min(y + TILE_HEIGHT - 1, last));
    });
    result.stats_valid = 0;
}

bool is_picture(const K7Image* image) {
    return image && image->pixels && image->channels == 4 && image->sample_type == SAMPLE_F32;
}
bool same_size(const K7Image& a, const K7Image& b) { return a.width == b.width && a.height == b.height; }

}  // namespace

SpinBlur::SpinBlur()
    : m_sine(new (std::nothrow) float[TURN_ENTRIES]), m_cosine(new (std::nothrow) float[TURN_ENTRIES]) {
    if (!m_sine || !m_cosine) return;
    for (int i = 0; i < TURN_ENTRIES; ++i) {
        const double angle = 2 * std::numbers::pi * i / TURN_ENTRIES - std::numbers::pi;
        m_sine[i] = static_cast<float>(std::sin(angle));
        m_cosine[i] = static_cast<float>(std::cos(angle));
    }
}

void SpinBlur::ProcessFrame() {
    const K7Image* source = input.image.get();
    K7Image* result = output.image.get();
    if (!is_picture(source) || !is_picture(result) || !same_size(*source, *result)) return;
    const float mix = std::clamp(static_cast<float>(Blend.value) * 0.01f, 0.0f, 1.0f);
    if (mix == 1.0f || !blur(*source, *result)) {
        image_copy(source, result);
    } else if (mix > 0.0f) {
        image_cross_dissolve(result, source, mix);
    }
    if (!doAlpha) image_copy_channels(source, result, 8);
}

// False where there is nothing to blur, or no memory.
bool SpinBlur::blur(const K7Image& source, K7Image& result) const {
    const float width = result.width, height = result.height;
    const float cx = static_cast<float>(Centre.x) * width, cy = static_cast<float>(Centre.y) * height;
    const float angle = std::clamp(static_cast<float>(Speed.value), SLOWEST, FASTEST) * DEGREE;
    if (!(std::fabs(angle) >= NO_TURN) || !m_sine || !m_cosine) return false;

    PolarPicture polar(result, cx, cy);
    if (!polar.valid()) return false;

    float inner = static_cast<float>(IRadius.value) * width * 0.5f;
    float outer = static_cast<float>(ORadius.value) * width * 0.5f;
    if (outer <= inner) std::swap(inner, outer);
    const SpinArcs arcs{.cx = cx,
                        .cy = cy,
                        .pixel_width = result.pixel_width,
                        .pixel_height = result.pixel_height,
                        .angle = angle,
                        .max_distance = polar.maxDistance(),
                        .style = BStyle.value,
                        .inner = inner,
                        .outer = outer,
                        .soft = (outer - inner) * static_cast<float>(SRadius.value),
                        .twirl = std::max(static_cast<float>(Twirl.value), 0.0f),
                        .invert_matte = InvertMatte.value};
    const K7Image* amount = matte.image.get();
    if (!DoMatte.value || !is_picture(amount) || !same_size(*amount, result)) amount = nullptr;
    // A fading ring leaves the circles inside and outside as they are.
    const bool ring = arcs.style == Fade && inner <= outer;
    if (!polar.unwrap(source, m_sine.get(), m_cosine.get(), ring ? inner : 0.0f, ring ? outer : polar.maxDistance(),
                      this))
        return false;
    polar.average(arcs, source, amount, result);
    return true;
}

// ---- Overlay --------------------------------------------------------------------------------------------------

void SpinBlur::PrepareOverlay() {
    centreWidget.visible = angleWidget.visible = !Centre.hidden();
    innerWidget.visible = outerWidget.visible = BStyle.overlayValue == Fade;
}

// The soft rings inside the two circles of the fading ring.
void SpinBlur::DrawMore(const OverlayPen& pen) {
    if (BStyle.overlayValue != Fade) return;
    const Point centre = view.place(Centre.overlayX, Centre.overlayY);
    const double soft = (ORadius.overlayValue - IRadius.overlayValue) * SRadius.overlayValue;
    pen.colour(OVERLAY_WHITE);
    for (const double ring : {ORadius.overlayValue - soft, IRadius.overlayValue + soft}) {
        const float radius = view.length(ring);
        for (int dash = 0; dash < DASHES; ++dash) {
            for (int chord = 0; chord < CHORDS; ++chord) {
                const float from =
                    (static_cast<float>(dash) + 0.5f * static_cast<float>(chord) / CHORDS) * 360.0f / DASHES;
                const Point a = rotated({radius, 0.0f}, from);
                const Point b = rotated({radius, 0.0f}, from + 180.0f / DASHES / CHORDS);
                pen.line({centre.x + a.x, centre.y + a.y}, {centre.x + b.x, centre.y + b.y});
            }
        }
    }
}
