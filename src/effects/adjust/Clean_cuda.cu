// Medians of windows on a device: first the channels' ranges and every sample's bin, then a thread for each sample of a
// small window, or for each column of a channel in a band of rows, down which a histogram slides.
//
// Threads are numbered by samples, four to a pixel, so that neighbours read neighbouring samples.
#include <cstddef>
#include <cstdint>
#include <limits>

#include "effects/adjust/Clean_cuda.h"
#include "gpulib/gpulib.h"
#include "gpulib/gpulib_operation.h"
#include "imagelib/median_formulas.h"

namespace clean_cuda {

// ---- Ranges ---------------------------------------------------------------------------------------------------

struct alignas(16) Range {
    float low[4], high[4];
};
struct alignas(8) PixelBins {
    std::uint16_t c[4];
};

GPU_AND_CPU Range empty_range() {
    constexpr float ENDLESS = std::numeric_limits<float>::infinity();
    return {{ENDLESS, ENDLESS, ENDLESS, ENDLESS}, {-ENDLESS, -ENDLESS, -ENDLESS, -ENDLESS}};
}

// What is not a number changes nothing.
GPU_AND_CPU void widen(Range& range, int c, float low, float high) {
    range.low[c] = low < range.low[c] ? low : range.low[c];
    range.high[c] = high > range.high[c] ? high : range.high[c];
}

// Pixels that lie `threads` apart, of which some are on their way at once. Behind the end one is taken again.
GPU_AND_CPU void cleanRangeKernel(GpuPlace at, const GpuPixel* pixels, std::size_t count, int threads, Range* ranges) {
    if (at.x >= threads) return;
    constexpr int AT_ONCE = 4;
    const auto step = static_cast<std::size_t>(threads);
    Range range = empty_range();
    for (auto i = static_cast<std::size_t>(at.x); i < count; i += AT_ONCE * step) {
        GpuPixel some[AT_ONCE];
        for (int k = 0; k < AT_ONCE; ++k) some[k] = pixels[i + k * step < count ? i + k * step : i];
        for (const GpuPixel& pixel : some)
            for (int c = 0; c < 4; ++c) widen(range, c, pixel.c[c], pixel.c[c]);
    }
    ranges[at.x] = range;
}

GPU_AND_CPU Range joined(const Range* ranges, int first, int count, int distance) {
    Range range = empty_range();
    for (int i = first; i < count; i += distance)
        for (int c = 0; c < 4; ++c) widen(range, c, ranges[i].low[c], ranges[i].high[c]);
    return range;
}

GPU_AND_CPU void cleanJoinKernel(GpuPlace at, const Range* ranges, int count, int threads, Range* fewer) {
    if (at.x < threads) fewer[at.x] = joined(ranges, at.x, count, threads);
}

// A thread for each channel.
GPU_AND_CPU void cleanBinsKernel(GpuPlace at, const Range* ranges, int count, MedianBins* bins) {
    if (at.x >= 4) return;
    const Range range = joined(ranges, 0, count, 1);
    bins[at.x] = median_bins(range.low[at.x], range.high[at.x]);
}

GPU_AND_CPU void cleanSortKernel(GpuPlace at, const GpuPixel* pixels, int width, int height, const MedianBins* bins,
                                 PixelBins* sorted) {
    if (at.x >= width || at.y >= height) return;
    const std::size_t i =
        static_cast<std::size_t>(at.y) * static_cast<std::size_t>(width) + static_cast<unsigned>(at.x);
    const GpuPixel pixel = pixels[i];
    PixelBins places;
    for (int c = 0; c < 4; ++c)
        places.c[c] = static_cast<std::uint16_t>(median_bin(bins[c], median_sample(bins[c], pixel.c[c])));
    sorted[i] = places;
}

// ---- Windows --------------------------------------------------------------------------------------------------

struct Picture {
    const float* samples;
    const std::uint16_t* bins;  // of the samples
    const MedianBins* channels;
    int width, height;
    int radius_x, radius_y;

    GPU_AND_CPU std::size_t index(int sample, int y) const {
        return static_cast<std::size_t>(y) * (static_cast<std::size_t>(width) * 4) + static_cast<unsigned>(sample);
    }
};

// The columns of a window, as samples of one channel: [first, last], four apart. Beyond the picture there are none.
struct Columns {
    int first, last;

    GPU_AND_CPU Columns(const Picture& picture, int sample) {
        const int x = sample / 4, channel = sample % 4, end = picture.width - 1;
        first = 4 * (x < picture.radius_x ? 0 : x - picture.radius_x) + channel;
        last = 4 * (x > end - picture.radius_x ? end : x + picture.radius_x) + channel;
    }
    GPU_AND_CPU int count() const { return (last - first) / 4 + 1; }
};

struct Rows {
    int first, last;

    GPU_AND_CPU Rows(const Picture& picture, int y) {
        const int end = picture.height - 1;
        first = y < picture.radius_y ? 0 : y - picture.radius_y;
        last = y > end - picture.radius_y ? end : y + picture.radius_y;
    }
    GPU_AND_CPU int count() const { return last - first + 1; }
};

// Windows of up to MOST_SMALL samples: the median's bin is found by four bits at a time, of which all sixteen values
// are counted in the bytes of two registers.
constexpr int MOST_SMALL = 255;

struct Nibbles {
    std::uint64_t low = 0, high = 0;  // counts of 0 to 7 and of 8 to 15

    GPU_AND_CPU void add(int nibble) {
        const std::uint64_t one = std::uint64_t{1} << (8 * (nibble & 7));
        low += nibble < 8 ? one : 0;
        high += nibble < 8 ? 0 : one;
    }
    GPU_AND_CPU int count(int nibble) const {
        return static_cast<int>((nibble < 8 ? low : high) >> (8 * (nibble & 7)) & 0xff);
    }
};

GPU_AND_CPU void cleanSmallKernel(GpuPlace at, Picture picture, float* out) {
    if (at.x >= 4 * picture.width || at.y >= picture.height) return;
    const MedianBins& channel = picture.channels[at.x % 4];
    const Columns columns(picture, at.x);
    const Rows rows(picture, at.y);
    float& median = out[picture.index(at.x, at.y)];
    if (median_is_constant(channel)) {
        median = channel.min;
        return;
    }
    int rank = columns.count() * rows.count() / 2;  // of the median among the samples that begin with `bin`
    int bin = 0, count = 0;
    for (int shift = 8; shift >= 0; shift -= 4) {
        Nibbles nibbles;
        for (int y = rows.first; y <= rows.last; ++y)
            for (int i = columns.first; i <= columns.last; i += 4) {
                const int place = picture.bins[picture.index(i, y)] >> shift;
                if (place >> 4 == bin) nibbles.add(place & 15);
            }
        int nibble = 0;
        for (count = nibbles.count(0); count <= rank; count = nibbles.count(++nibble)) rank -= count;
        bin = bin * 16 + nibble;
    }
    double sum = 0;
    for (int y = rows.first; y <= rows.last; ++y)
        for (int i = columns.first; i <= columns.last; i += 4) {
            const std::size_t k = picture.index(i, y);
            if (picture.bins[k] == bin) sum += median_offset(channel, median_sample(channel, picture.samples[k]), bin);
        }
    median = median_mean(channel, bin, sum, count);
}

// ---- Large windows --------------------------------------------------------------------------------------------

// The samples of a window in BAND neighbouring bins, in a ring. A median moves little from a window to the next, and as
// long as it is among these bins no others need be counted. Where it leaves them, they go half their number further,
// and where that is not enough they begin anew around it.
class SlidingMedian {
  public:
    GPU_AND_CPU SlidingMedian(const Picture& picture, int sample)
        : m_picture(picture), m_channel(picture.channels[sample % 4]), m_columns(picture, sample) {}

    GPU_AND_CPU void begin(const Rows& rows) {
        m_first = first_bin(rows);
        m_bin = m_first, m_below = 0;
        for (int i = 0; i < BAND; ++i) m_counts[i] = 0;
        for (int y = rows.first; y <= rows.last; ++y) add(y);
    }
    // A row that comes into the window, and one that leaves it.
    GPU_AND_CPU void add(int y) {
        each_sample(y, [this](std::size_t k, int bin) {
            m_below += bin < m_bin;
            if (is_counted(bin)) count(k, bin);
        });
    }
    GPU_AND_CPU void remove(int y) {
        each_sample(y, [this](std::size_t k, int bin) {
            m_below -= bin < m_bin;
            if (!is_counted(bin)) return;
            m_sums[slot(bin)] -= offset_of(k, bin);
            --m_counts[slot(bin)];
        });
    }
    // Looked for from the last one's place.
    GPU_AND_CPU float median(const Rows& rows) {
        if (!find(rank(rows))) {
            move_towards(rows);
            if (!find(rank(rows))) {
                begin(rows);
                find(rank(rows));
            }
        }
        return median_mean(m_channel, m_bin, m_sums[slot(m_bin)], m_counts[slot(m_bin)]);
    }

  private:
    static constexpr int BAND = 256, STEP = BAND / 2;

    template <class Use>
    GPU_AND_CPU void each_sample(int y, Use use) const {
        const std::size_t row = m_picture.index(0, y);
        for (int i = m_columns.first; i <= m_columns.last; i += 4)
            use(row + static_cast<unsigned>(i), m_picture.bins[row + static_cast<unsigned>(i)]);
    }
    static GPU_AND_CPU int slot(int bin) { return bin & (BAND - 1); }
    GPU_AND_CPU int rank(const Rows& rows) const { return m_columns.count() * rows.count() / 2; }
    GPU_AND_CPU bool is_counted(int bin) const { return bin >= m_first && bin < m_first + BAND; }
    GPU_AND_CPU double offset_of(std::size_t k, int bin) const {
        return median_offset(m_channel, median_sample(m_channel, m_picture.samples[k]), bin);
    }
    GPU_AND_CPU void count(std::size_t k, int bin) {
        const double offset = offset_of(k, bin);
        m_sums[slot(bin)] = m_counts[slot(bin)]++ ? m_sums[slot(bin)] + offset : offset;
    }
    // Where the counts have to begin to have the median in their middle.
    GPU_AND_CPU int first_bin(const Rows& rows) {
        constexpr int COARSE = MEDIAN_BINS / BAND, LAST = MEDIAN_BINS - BAND;
        for (int i = 0; i < BAND; ++i) m_counts[i] = 0;
        for (int y = rows.first; y <= rows.last; ++y)
            each_sample(y, [this](std::size_t, int bin) { ++m_counts[bin / COARSE]; });
        int place = 0;
        for (int above = rank(rows) - m_counts[0]; above >= 0; above -= m_counts[++place]) {
        }
        const int first = place * COARSE + COARSE / 2 - BAND / 2;
        return first < 0 ? 0 : (first > LAST ? LAST : first);
    }
    // Where the median is not, m_bin is the outermost bin on its side.
    GPU_AND_CPU void move_towards(const Rows& rows) {
        constexpr int LAST = MEDIAN_BINS - BAND;
        const int old = m_first, wanted = m_bin == old ? old - STEP : old + STEP;
        m_first = wanted < 0 ? 0 : (wanted > LAST ? LAST : wanted);
        const int from = m_first < old ? m_first : old + BAND, to = m_first < old ? old : m_first + BAND;
        for (int bin = from; bin < to; ++bin) m_counts[slot(bin)] = 0;
        for (int y = rows.first; y <= rows.last; ++y)
            each_sample(y, [=, this](std::size_t k, int bin) {
                if (bin >= from && bin < to) count(k, bin);
            });
    }
    GPU_AND_CPU bool find(int rank) {
        while (m_below > rank && m_bin > m_first) m_below -= m_counts[slot(--m_bin)];
        if (m_below > rank) return false;
        while (m_below + m_counts[slot(m_bin)] <= rank) {
            if (m_bin == m_first + BAND - 1) return false;
            m_below += m_counts[slot(m_bin++)];
        }
        return true;
    }

    const Picture& m_picture;
    const MedianBins& m_channel;
    Columns m_columns;
    int m_first = 0;               // of the bins that are counted
    int m_bin = 0, m_below = 0;    // of the latest median, and how many samples of the window are in lower ones
    std::uint16_t m_counts[BAND];  // of bin b at slot(b)
    double m_sums[BAND];           // of the samples' offsets, where there are counts
};

// A thread for each sample of a row; along y, for each band of rows.
GPU_AND_CPU void cleanKernel(GpuPlace at, Picture picture, int band_rows, float* out) {
    const int first = at.y * band_rows;
    if (at.x >= 4 * picture.width || first >= picture.height) return;
    const int end = first > picture.height - band_rows ? picture.height : first + band_rows;
    const MedianBins& channel = picture.channels[at.x % 4];
    if (median_is_constant(channel)) {
        for (int y = first; y < end; ++y) out[picture.index(at.x, y)] = channel.min;
        return;
    }
    SlidingMedian window(picture, at.x);
    window.begin(Rows(picture, first));
    for (int y = first; y < end; ++y) {
        if (y > first) {
            if (y > picture.radius_y) window.remove(y - picture.radius_y - 1);
            if (y < picture.height - picture.radius_y) window.add(y + picture.radius_y);
        }
        out[picture.index(at.x, y)] = window.median(Rows(picture, y));
    }
}

}  // namespace clean_cuda

// ---- The launches ---------------------------------------------------------------------------------------------

namespace {

using namespace clean_cuda;

constexpr int RANGES = 32768, JOINED = 32;  // threads that look for ranges, and ranges that one joins
constexpr int LEAST_BAND = 64;              // rows

// The bins of the channels from the ranges of their samples, without a way to the host.
const MedianBins* find_bins(GpuOperation& operation, const GpuPixel* pixels, std::size_t count) {
    auto* ranges = operation.scratch<Range>(2 * RANGES);
    auto* bins = operation.scratch<MedianBins>(4);
    if (operation.failed()) return nullptr;
    operation.launch(gpu_kernel<cleanRangeKernel>(), gpu_shape_of_line(RANGES), pixels, count, RANGES, ranges);
    int left = RANGES;
    for (int fewer; left > JOINED; ranges += left, left = fewer) {
        fewer = left / JOINED;
        operation.launch(gpu_kernel<cleanJoinKernel>(), gpu_shape_of_line(fewer), ranges, left, fewer, ranges + left);
    }
    operation.launch(gpu_kernel<cleanBinsKernel>(), gpu_shape_of_line(4), ranges, left, bins);
    return bins;
}

int within_limits(int radius) {
    if (radius < 1) return 1;
    return radius < MEDIAN_MOST_RADIUS ? radius : MEDIAN_MOST_RADIUS;
}

}  // namespace

int cuda_clean(DeviceImage& source, DeviceImage& result, int radius_x, int radius_y, GpuStream stream) {
    const int width = source.width(), height = source.height();
    GpuOperation operation(stream);
    const auto* pixels = operation.read<GpuPixel>(source);
    auto* out = operation.write<float>(result);
    const auto count = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    const MedianBins* bins = find_bins(operation, pixels, count);
    auto* sorted = operation.scratch<PixelBins>(count);
    operation.launch(gpu_kernel<cleanSortKernel>(), gpu_shape_of_picture(width, height), pixels, width, height, bins,
                     sorted);

    Picture picture{reinterpret_cast<const float*>(pixels),
                    reinterpret_cast<const std::uint16_t*>(sorted),
                    bins,
                    width,
                    height,
                    within_limits(radius_x),
                    within_limits(radius_y)};
    const int columns = 2 * picture.radius_x + 1, rows = 2 * picture.radius_y + 1;
    if (columns * rows <= MOST_SMALL) {
        operation.launch(gpu_kernel<cleanSmallKernel>(), gpu_shape_of_picture(4 * width, height), picture, out);
    } else {
        // The first window of a band takes as long as sliding along half as many rows as it has.
        const int band = 2 * rows > LEAST_BAND ? 2 * rows : LEAST_BAND;
        GpuShape shape = gpu_shape_of_line(4 * width);
        shape.blocks_y = static_cast<unsigned>(cuda_div_up(height, band));
        operation.launch(gpu_kernel<cleanKernel>(), shape, picture, band, out);
    }
    return operation.finish();
}

double clean_nanoseconds(int radius_x, int radius_y) {
    const double columns = 2.0 * within_limits(radius_x) + 1, rows = 2.0 * within_limits(radius_y) + 1;
    return columns * rows <= MEDIAN_SMALL_WINDOW ? 4 + 0.65 * columns * rows : 120 + 1.6 * rows;
}
