// The mode filter: a picture of bins, and windows that slide over it.
#include <algorithm>
#include <atomic>
#include <cstring>
#include <type_traits>

#include "imagelib/aligned_block.h"
#include "imagelib/imagelib_mode.h"
#include "imagelib/mode_filter_simd.h"
#include "imagelib/samples.h"
#include "simdlib/cpu.h"

namespace {

constexpr std::size_t STREAM_BYTES = 8u << 20;  // results beyond this go past the caches
constexpr int STRIP = 96;                       // columns whose counts are kept at a time: they fit the inner caches

// One pixel more in a bin, for either width of counts.
template <class Count>
constexpr Count COUNT_ONE = std::is_same_v<Count, ModeCount> ? MODE_COUNT_ONE : MODE_WIDE_COUNT_ONE;
void slide(const ModeKernels& table, const ModeCount* columns, int window, int count, unsigned char* modes) {
    table.slide(columns, window, count, modes);
}
void slide(const ModeKernels& table, const ModeWideCount* columns, int window, int count, unsigned char* modes) {
    table.slide_wide(columns, window, count, modes);
}

// The picture in bins, its edge pixels repeated to both sides as far as windows reach.
class ModeFilter {
  public:
    ModeFilter(const K7Image& source, int half_x, int half_y);
    bool run(K7Image& result);  // false when there is no memory

  private:
    const unsigned char* row(int y) const {  // begins half_x pixels left of the picture
        return m_bins.get() + std::size_t(std::clamp(y, 0, m_height - 1)) * m_pitch;
    }
    void quantise_rows(const K7Image& source, int first, int last);
    bool smallest_windows(K7Image& result, int first, int last) const;
    template <class Count>
    bool sliding_windows(K7Image& result, int first, int last) const;
    template <class Count>
    void slide_strip(Count* columns, int x, int channel, int first, int last) const;

    const ModeKernels& m_kernels = mode_kernels();
    int m_width, m_height, m_half_x, m_half_y;
    std::size_t m_pitch;
    AlignedBlock<unsigned char, true> m_bins, m_modes;
    unsigned char m_first_pixel[4]{};
    std::atomic<std::uint32_t> m_differing{0};  // bits of the four bins that differ anywhere from the first pixel's
};

ModeFilter::ModeFilter(const K7Image& source, int half_x, int half_y)
    : m_width(source.width), m_height(source.height), m_half_x(half_x), m_half_y(half_y) {
    m_pitch = (std::size_t(m_width + 2 * half_x) * 4 + MODE_SLACK + 63) / 64 * 64;
    m_bins = make_aligned_block<unsigned char, true>(m_pitch * std::size_t(m_height));
    if (!m_bins) return;
    m_kernels.quantise(image_row<float>(&source, 0), m_first_pixel, 4);
    for_rows_float(m_height, [&](int first, int last) { quantise_rows(source, first, last); });
}

void ModeFilter::quantise_rows(const K7Image& source, int first, int last) {
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

bool ModeFilter::run(K7Image& result) {
    if (!m_bins) return false;
    const bool smallest = m_half_x == 1 && m_half_y == 1;
    const long pixels = (2L * m_half_x + 1) * (2L * m_half_y + 1);
    if (!smallest) {
        m_modes = make_aligned_block<unsigned char, true>(std::size_t(m_width) * 4 * std::size_t(m_height));
        if (!m_modes) return false;
    }
    std::atomic<bool> complete{true};
    for_rows_float(m_height, [&](int first, int last) {
        if (first > last) return;
        const bool done = smallest                      ? smallest_windows(result, first, last)
                          : pixels <= MODE_SMALL_WINDOW ? sliding_windows<ModeCount>(result, first, last)
                                                        : sliding_windows<ModeWideCount>(result, first, last);
        if (!done) complete = false;
    });
    result.stats_valid = 0;
    return complete;
}

bool streams(const K7Image& image) { return std::size_t(image.row_bytes) * image.height > STREAM_BYTES; }

bool ModeFilter::smallest_windows(K7Image& result, int first, int last) const {
    const auto scratch = make_aligned_block<unsigned char, false>(3 * (std::size_t(m_width) * 4 + 8 + MODE_SLACK));
    if (!scratch) return false;
    for (int y = first; y <= last; ++y)
        m_kernels.mode_3x3(row(y - 1), row(y), row(y + 1), scratch.get(), image_row<float>(&result, y), 4L * m_width,
                           streams(result));
    return true;
}

// Column histograms move down the strip row by row; a window's histogram is the sum of its columns' and moves along the
// row column by column.
template <class Count>
bool ModeFilter::sliding_windows(K7Image& result, int first, int last) const {
    const auto columns = make_aligned_block<Count, false>(std::size_t(STRIP + 2 * m_half_x) * MODE_BINS);
    if (!columns) return false;
    for (int x = 0; x < m_width; x += STRIP)
        for (int channel = 0; channel < 4; ++channel) slide_strip(columns.get(), x, channel, first, last);
    for (int y = first; y <= last; ++y)
        m_kernels.restore(m_modes.get() + std::size_t(y) * 4 * std::size_t(m_width), image_row<float>(&result, y),
                          4L * m_width, streams(result));
    return true;
}

template <class Count>
void ModeFilter::slide_strip(Count* columns, int x, int channel, int first, int last) const {
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
    std::fill_n(columns, std::size_t(reach) * MODE_BINS, Count{0});
    for (int y = first - m_half_y; y <= first + m_half_y; ++y) {
        const unsigned char* entering = bins(y);
        for (int c = 0; c < reach; ++c) columns[c * MODE_BINS + entering[4L * c]] += ONE;
    }
    for (int y = first; y <= last; ++y) {
        const unsigned char *leaving = bins(y - 1 - m_half_y), *entering = bins(y + m_half_y);
        for (int c = 0; c < reach && y > first; ++c) {
            columns[c * MODE_BINS + leaving[4L * c]] -= ONE;
            columns[c * MODE_BINS + entering[4L * c]] += ONE;
        }
        slide(m_kernels, columns, 2 * m_half_x + 1, width, modes(y));
    }
}

}  // namespace

bool image_window_mode(const K7Image* source, K7Image* destination, int half_x, int half_y) {
    if (!is_float_rgba(source) || !is_float_rgba(destination) || !image_same_layout(source, destination)) return false;
    if (std::min(half_x, half_y) < 1 || std::max(half_x, half_y) > WINDOW_MODE_MOST_HALF) return false;
    return ModeFilter(*source, half_x, half_y).run(*destination);
}
