#include "effects/stylise/Facet.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>
#include <memory>

#include "effects/stylise/Facet_simd.h"
#include "imagelib/imagelib_colour.h"
#include "imagelib/imagelib_composite.h"
#include "k7pi_baselib/cpu.h"
#include "k7pi_baselib/k7pi_baselib.h"

namespace {

// Windows up to 4095 x 4095 can be counted; the largest radius comes to 31 pixels at full scale.
constexpr int LARGEST_SIZE = 4095;
constexpr std::size_t STREAM_BYTES = 8u << 20;  // results beyond this go past the caches
constexpr int STRIP = 96;                       // columns whose counts are kept at a time: they fit the inner caches

const FacetKernels& kernels() {
    return cpu_select(baseline::facet_kernels, avx2::facet_kernels, avx512::facet_kernels);
}

// What counts of a window's pixels are kept in.
template <class Count>
constexpr Count COUNT_ONE = std::is_same_v<Count, FacetCount> ? FACET_COUNT_ONE : FACET_WIDE_COUNT_ONE;
void slide(const FacetKernels& table, const FacetCount* columns, int window, int count, unsigned char* modes) {
    table.slide(columns, window, count, modes);
}
void slide(const FacetKernels& table, const FacetWideCount* columns, int window, int count, unsigned char* modes) {
    table.slide_wide(columns, window, count, modes);
}

template <class T, bool IMAGE>
struct BlockDeleter {
    void operator()(T* block) const { k7_aligned_free(block, IMAGE); }
};
template <class T, bool IMAGE>
using Block = std::unique_ptr<T[], BlockDeleter<T, IMAGE>>;
// Cache line aligned at least; null when there is no memory.
template <class T, bool IMAGE>
Block<T, IMAGE> make_block(std::size_t count) {
    return Block<T, IMAGE>(static_cast<T*>(k7_aligned_malloc_uncleared(count * sizeof(T), IMAGE ? 0 : 64, IMAGE)));
}

// The picture in bins, its edge pixels repeated to both sides as far as windows reach.
class FacetFilter {
  public:
    FacetFilter(const K7Image& source, int half_x, int half_y);
    bool run(K7Image& result);  // false when there is no memory

  private:
    const unsigned char* row(int y) const {  // begins half_x pixels left of the picture
        return m_bins.get() + std::size_t(std::clamp(y, 0, m_height - 1)) * m_pitch;
    }
    void quantiseRows(const K7Image& source, int first, int last);
    bool smallestWindows(K7Image& result, int first, int last) const;
    template <class Count>
    bool slidingWindows(K7Image& result, int first, int last) const;
    template <class Count>
    void slideStrip(Count* columns, int x, int channel, int first, int last) const;

    const FacetKernels& m_kernels = kernels();
    int m_width, m_height, m_half_x, m_half_y;
    std::size_t m_pitch;
    Block<unsigned char, true> m_bins, m_modes;
    unsigned char m_first_pixel[4]{};
    std::atomic<std::uint32_t> m_differing{0};  // bits of the four bins that differ anywhere from the first pixel's
};

FacetFilter::FacetFilter(const K7Image& source, int half_x, int half_y)
    : m_width(source.width), m_height(source.height), m_half_x(half_x), m_half_y(half_y) {
    m_pitch = (std::size_t(m_width + 2 * half_x) * 4 + FACET_SLACK + 63) / 64 * 64;
    m_bins = make_block<unsigned char, true>(m_pitch * std::size_t(m_height));
    if (!m_bins) return;
    m_kernels.quantise(image_row<float>(&source, 0), m_first_pixel, 4);
    for_rows_float(m_height, [&](int first, int last) { quantiseRows(source, first, last); });
}

void FacetFilter::quantiseRows(const K7Image& source, int first, int last) {
    std::uint32_t first_pixel, differing = 0;
    std::memcpy(&first_pixel, m_first_pixel, 4);
    for (int y = first; y <= last; ++y) {
        unsigned char* const padded = m_bins.get() + std::size_t(y) * m_pitch;
        auto* const pixels = reinterpret_cast<std::uint32_t*>(padded) + m_half_x;
        m_kernels.quantise(image_row<float>(&source, y), padded + 4L * m_half_x, 4L * m_width);
        for (int x = 0; x < m_width; ++x) differing |= pixels[x] ^ first_pixel;
        std::fill_n(pixels - m_half_x, m_half_x, pixels[0]);
        std::fill_n(pixels + m_width, m_half_x, pixels[m_width - 1]);
    }
    m_differing.fetch_or(differing, std::memory_order_relaxed);
}

bool FacetFilter::run(K7Image& result) {
    if (!m_bins) return false;
    const bool smallest = m_half_x == 1 && m_half_y == 1;
    const long pixels = (2L * m_half_x + 1) * (2L * m_half_y + 1);
    if (!smallest) {
        m_modes = make_block<unsigned char, true>(std::size_t(m_width) * 4 * std::size_t(m_height));
        if (!m_modes) return false;
    }
    std::atomic<bool> complete{true};
    for_rows_float(m_height, [&](int first, int last) {
        if (first > last) return;
        const bool done = smallest                       ? smallestWindows(result, first, last)
                          : pixels <= FACET_SMALL_WINDOW ? slidingWindows<FacetCount>(result, first, last)
                                                         : slidingWindows<FacetWideCount>(result, first, last);
        if (!done) complete = false;
    });
    result.stats_valid = 0;
    return complete;
}

bool streams(const K7Image& image) { return std::size_t(image.row_bytes) * image.height > STREAM_BYTES; }

bool FacetFilter::smallestWindows(K7Image& result, int first, int last) const {
    const auto scratch = make_block<unsigned char, false>(3 * (std::size_t(m_width) * 4 + 8 + FACET_SLACK));
    if (!scratch) return false;
    for (int y = first; y <= last; ++y)
        m_kernels.mode_3x3(row(y - 1), row(y), row(y + 1), scratch.get(), image_row<float>(&result, y), 4L * m_width,
                           streams(result));
    return true;
}

// Column histograms (Perreault and Hebert, IEEE Transactions on Image Processing 16, 2007) that go down the strip row
// by row; the histogram of a window is the sum of its columns' and goes along the row column by column.
template <class Count>
bool FacetFilter::slidingWindows(K7Image& result, int first, int last) const {
    const auto columns = make_block<Count, false>(std::size_t(STRIP + 2 * m_half_x) * FACET_BINS);
    if (!columns) return false;
    for (int x = 0; x < m_width; x += STRIP)
        for (int channel = 0; channel < 4; ++channel) slideStrip(columns.get(), x, channel, first, last);
    for (int y = first; y <= last; ++y)
        m_kernels.restore(m_modes.get() + std::size_t(y) * 4 * std::size_t(m_width), image_row<float>(&result, y),
                          4L * m_width, streams(result));
    return true;
}

template <class Count>
void FacetFilter::slideStrip(Count* columns, int x, int channel, int first, int last) const {
    constexpr Count ONE = COUNT_ONE<Count>;
    const int width = std::min(STRIP, m_width - x), reach = width + 2 * m_half_x;
    const auto modes = [&](int y) { return m_modes.get() + (std::size_t(y) * std::size_t(m_width) + x) * 4 + channel; };
    // A flat channel, as alpha often is, has nothing to count.
    if ((m_differing.load(std::memory_order_relaxed) >> 8 * channel & 0xff) == 0) {
        for (int y = first; y <= last; ++y)
            for (int i = 0; i < width; ++i) modes(y)[4 * i] = m_first_pixel[channel];
        return;
    }

    const auto bins = [&](int y) { return row(y) + 4L * x + channel; };
    std::fill_n(columns, std::size_t(reach) * FACET_BINS, Count{0});
    for (int y = first - m_half_y; y <= first + m_half_y; ++y) {
        const unsigned char* entering = bins(y);
        for (int c = 0; c < reach; ++c) columns[c * FACET_BINS + entering[4L * c]] += ONE;
    }
    for (int y = first; y <= last; ++y) {
        const unsigned char *leaving = bins(y - 1 - m_half_y), *entering = bins(y + m_half_y);
        for (int c = 0; c < reach && y > first; ++c) {
            columns[c * FACET_BINS + leaving[4L * c]] -= ONE;
            columns[c * FACET_BINS + entering[4L * c]] += ONE;
        }
        slide(m_kernels, columns, 2 * m_half_x + 1, width, modes(y));
    }
}

bool is_picture(const K7Image* image) {
    return image && image->pixels && image->channels == 4 && image->sample_type == SAMPLE_F32;
}
bool same_size(const K7Image& a, const K7Image& b) { return a.width == b.width && a.height == b.height; }

int half_of(int size) { return std::max(size / 2, 1); }

}  // namespace

// Sizes in pixels of the image as it is; odd windows of twice the half size and one pixel come of them.
Facet::Window Facet::window(const K7Image& source) const {
    const auto whole = [](double size) {
        return static_cast<int>(std::clamp(std::isnan(size) ? 1.0 : size, -double{LARGEST_SIZE}, double{LARGEST_SIZE}));
    };
    const double scale = source.unit_scale > 0.0f ? double{source.unit_scale} : 1.0;
    const int x = whole(XRad.value / scale + 1.0);
    const double aspect = double{source.pixel_width} / double{source.pixel_height};
    return {x, DoSync.value ? whole(x * aspect + 0.5) : whole(YRad.value / scale + 1.0)};
}

void Facet::ProcessFrame() {
    const K7Image* source = input.image.get();
    K7Image* result = output.image.get();
    if (!is_picture(source) || !is_picture(result) || !same_size(*source, *result)) return;
    const StageTimer timer("Facet (CPU)");
    const auto [x, y] = window(*source);
    const bool nothing = x == 0 && y == 0;
    if (nothing || !FacetFilter(*source, half_of(x), half_of(y)).run(*result)) image_copy(source, result);
    applyMatte(*source, *result);
    if (!doAlpha) image_copy_channels(source, result, 8);
}

// Use Mask mixes the facets into the source by the matte's luminance, Composite puts the picture over the source with
// the same as its alpha.
void Facet::applyMatte(const K7Image& source, K7Image& result) {
    if (!DoMask.value && !DoComp.value) return;
    K7Image* mask = matte.image.get();
    if (!is_picture(mask) || !same_size(*mask, result)) return;
    image_luminance_in_place(mask, DoMask.value && InvertMask.value);
    if (DoMask.value) {
        for_rows_float(result.height, [&](int first, int last) {
            for (int y = first; y <= last; ++y) {
                const float *from = image_row<float>(&source, y), *weight = image_row<float>(mask, y);
                float* to = image_row<float>(&result, y);
                for (int i = 0; i < 4 * result.width; ++i) {
                    const float m = std::clamp(weight[i], 0.0f, 1.0f);
                    to[i] = from[i] + m * (to[i] - from[i]);
                }
            }
        });
    }
    if (DoComp.value) {
        constexpr int ALPHA_FROM_FIRST[] = {-1, -1, -1, 1};
        image_copy_mapped(mask, &result, ALPHA_FROM_FIRST, 4);
        image_composite(&result, &result, COMPOSITE_OVER, &source, false, -1, -1, -1, -1);
    }
}
