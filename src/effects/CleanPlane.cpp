#include "effects/CleanPlane.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "k7pi_baselib/cpu.h"

namespace {

constexpr float SMALLEST_STEP = 0.00001f;
constexpr int STRIP = 256;  // columns of a task with column histograms
constexpr int BAND = 64;    // rows of any other task
constexpr int PAD = 64;     // columns beside a row of bins

const CleanKernels& kernels() {
    return cpu_select(baseline::clean_kernels, avx2::clean_kernels, avx512::clean_kernels);
}

// Cuts one block of memory into pieces, each at a cache line.
class Carver {
  public:
    explicit Carver(unsigned char* block) : m_block(block) {}
    template <class T>
    T* take(std::size_t count) {
        T* part = m_block ? reinterpret_cast<T*>(m_block + m_used) : nullptr;
        m_used += (count * sizeof(T) + 63) / 64 * 64;
        return part;
    }
    std::size_t used() const { return m_used; }

  private:
    unsigned char* m_block;
    std::size_t m_used = 0;
};

// A ring of rows for windows of at most CLEAN_SMALL_WINDOW samples.
struct RowRing {
    std::int16_t* bins;
    double* offsets;
    std::int16_t* inside;
    float* out;
    long pitch;
    std::size_t bytes;
    RowRing(unsigned char* block, int width, int rows) : pitch(width + 2 * PAD) {
        Carver carver(block);
        bins = carver.take<std::int16_t>(std::size_t(pitch * rows));
        offsets = carver.take<double>(std::size_t(pitch * rows));
        inside = carver.take<std::int16_t>(std::size_t(pitch));
        out = carver.take<float>(std::size_t(pitch));
        bytes = carver.used();
    }
    std::int16_t* binRow(int slot) const { return bins + slot * pitch + PAD; }
    double* offsetRow(int slot) const { return offsets + slot * pitch + PAD; }
};

// A strip of column histograms, and a row of samples on their way in or out.
struct Strip {
    CleanColumns columns;
    std::int16_t* bins;
    double* offsets;
    std::size_t bytes;
    Strip(unsigned char* block, int count) {
        Carver carver(block);
        // The histograms last: strips of any width leave zeros in them.
        columns.window = carver.take<std::int16_t[16]>(1 + 16 + 256);
        columns.reached = carver.take<int>(16 + 256);
        bins = carver.take<std::int16_t>(STRIP + 2 * CLEAN_MOST_RADIUS);
        offsets = carver.take<double>(STRIP + 2 * CLEAN_MOST_RADIUS);
        const std::size_t n = std::size_t(count);
        columns.columns = count;
        columns.sums = carver.take<double>(CLEAN_BINS * n);
        columns.fine = carver.take<std::int16_t>(CLEAN_BINS * n);
        columns.middle = carver.take<std::int16_t>(256 * n);
        columns.coarse = carver.take<std::int16_t>(16 * n);
        bytes = carver.used();
    }
};

}  // namespace

CleanBins clean_bins(float min, float max) {
    constexpr float LARGEST = std::numeric_limits<float>::max();
    if (min > max) min = max = 0;
    // Adding 0 makes one zero of both, whichever a thread met first.
    CleanBins bins{};
    bins.min = std::clamp(min, -LARGEST, LARGEST) + 0.0f;
    bins.max = std::clamp(max, -LARGEST, LARGEST) + 0.0f;
    const float step = (bins.max - bins.min) / (CLEAN_BINS - 1);
    bins.scale = step > SMALLEST_STEP ? 1 / step : 0;

    const double range = double(bins.max) - double(bins.min);
    const double width = bins.scale > 0 ? range / (CLEAN_BINS - 1) : range;
    const double largest = std::max(std::fabs(double(bins.min)), std::fabs(double(bins.max)));
    if (!(range > 0)) return bins;
    // 161 x 161 offsets of at most 1.0004 bins stay below 2^53 quanta, and any sample below 2^51, as rounding asks.
    const int quantum = std::max(std::ilogb(width) + 1 - 38, std::ilogb(largest) + 1 - 51);
    bins.rounding = std::ldexp(1.5, 52 + quantum);
    bins.base = (bins.min + bins.rounding) - bins.rounding;
    bins.step = bins.scale > 0 ? (width + bins.rounding) - bins.rounding : 0;
    return bins;
}

bool CleanScratch::allocate(Block& block, std::size_t bytes) {
    if (bytes) block.reset(static_cast<unsigned char*>(k7_aligned_malloc_uncleared(bytes, 0, true)));
    return bytes == 0 || block;
}

bool CleanScratch::allocate(std::size_t row_bytes, std::size_t histogram_bytes) {
    if (!allocate(m_rows, row_bytes) || !allocate(m_histograms, histogram_bytes)) return false;
    // Not by the allocator: memory that is kept from the last render need not be touched for the first time again.
    std::fill_n(m_histograms.get(), histogram_bytes, static_cast<unsigned char>(0));
    return true;
}

CleanPlane::CleanPlane(const float* source, float* result, int width, int height, int radius_x, int radius_y,
                       const CleanBins& bins)
    : m_source(source),
      m_result(result),
      m_width(width),
      m_height(height),
      m_radius_x(std::clamp(radius_x, 1, CLEAN_MOST_RADIUS)),
      m_radius_y(std::clamp(radius_y, 1, CLEAN_MOST_RADIUS)),
      m_bins(bins) {
    if (!(bins.max > bins.min))
        m_method = Method::Fill;
    else if (!(bins.scale > 0))
        m_method = Method::Mean;
    else if ((2 * m_radius_x + 1) * (2 * m_radius_y + 1) <= CLEAN_SMALL_WINDOW)
        m_method = Method::Small;
    else
        m_method = Method::Large;
    const int length = m_method == Method::Large ? m_width : m_height;
    const int piece = m_method == Method::Large ? STRIP : BAND;
    m_tasks = (length + piece - 1) / piece;
}

std::size_t CleanPlane::rowBytes() const {
    if (m_method == Method::Small) return RowRing(nullptr, m_width, 2 * m_radius_y + 1).bytes;
    return m_method == Method::Mean ? std::size_t(m_width) * sizeof(double) : 0;
}
std::size_t CleanPlane::histogramBytes() const {
    return m_method == Method::Large ? Strip(nullptr, std::min(STRIP, m_width) + 2 * m_radius_x).bytes : 0;
}

void CleanPlane::run(int task, const CleanScratch& scratch) const {
    const int first = task * (m_method == Method::Large ? STRIP : BAND);
    const int last = std::min(first + BAND, m_height) - 1;
    switch (m_method) {
        case Method::Fill:
            return fill(first, last);
        case Method::Mean:
            return mean(first, last, scratch);
        case Method::Small:
            return small(first, last, scratch);
        case Method::Large:
            return large(first, std::min(STRIP, m_width - first), scratch);
    }
}

// The mean of equal samples is any of them.
void CleanPlane::fill(int first, int last) const { std::fill(resultRow(first), resultRow(last) + m_width, m_bins.min); }

// A channel with so little contrast that it is one bin: running sums, which are exact like those of the bins.
void CleanPlane::mean(int first, int last, const CleanScratch& scratch) const {
    auto* sums = reinterpret_cast<double*>(scratch.rows());
    std::fill_n(sums, m_width, 0.0);
    const auto addRow = [&](int y, double sign) {
        if (y < 0 || y >= m_height) return;
        for (int x = 0; x < m_width; ++x) {
            const float above = row(y)[x] > m_bins.min ? row(y)[x] : m_bins.min;
            const double sample = above < m_bins.max ? above : m_bins.max;
            sums[x] += sign * (((sample + m_bins.rounding) - m_bins.rounding) - m_bins.base);
        }
    };
    for (int y = first - m_radius_y; y < first + m_radius_y; ++y) addRow(y, 1);
    for (int y = first; y <= last; ++y) {
        addRow(y + m_radius_y, 1);
        if (y > first) addRow(y - m_radius_y - 1, -1);
        const int rows = std::min(y + m_radius_y, m_height - 1) - std::max(y - m_radius_y, 0) + 1;
        double sum = 0;
        for (int x = 0; x < std::min(m_radius_x, m_width); ++x) sum += sums[x];
        for (int x = 0; x < m_width; ++x) {
            if (x + m_radius_x < m_width) sum += sums[x + m_radius_x];
            if (x > m_radius_x) sum -= sums[x - m_radius_x - 1];
            const int columns = std::min(x + m_radius_x, m_width - 1) - std::max(x - m_radius_x, 0) + 1;
            resultRow(y)[x] = static_cast<float>(m_bins.base + sum / (double(rows) * columns));
        }
    }
}

void CleanPlane::small(int first, int last, const CleanScratch& scratch) const {
    const CleanKernels& table = kernels();
    const int slots = 2 * m_radius_y + 1;
    const RowRing ring(scratch.rows(), m_width, slots);
    std::fill_n(ring.bins, ring.pitch * slots, CLEAN_OUTSIDE);
    std::fill_n(ring.offsets, ring.pitch * slots, 0.0);
    for (int x = 0; x < ring.pitch; ++x) {
        const int inside = std::min(x + m_radius_x, m_width - 1) - std::max(x - m_radius_x, 0) + 1;
        ring.inside[x] = static_cast<std::int16_t>(std::max(inside, 1));
    }
    const auto enter = [&](int y) {
        if (y < m_height)
            table.sort_into_bins(m_bins, row(y), m_width, ring.binRow(y % slots), ring.offsetRow(y % slots));
    };
    for (int y = std::max(first - m_radius_y, 0); y < first + m_radius_y; ++y) enter(y);
    for (int y = first; y <= last; ++y) {
        enter(y + m_radius_y);
        CleanRows rows{};
        rows.radius = m_radius_x;
        rows.inside = ring.inside;
        for (int k = std::max(y - m_radius_y, 0); k <= std::min(y + m_radius_y, m_height - 1); ++k) {
            rows.bins[rows.count] = ring.binRow(k % slots);
            rows.offsets[rows.count++] = ring.offsetRow(k % slots);
        }
        table.small_row(m_bins, rows, m_width, ring.out);
        std::copy_n(ring.out, m_width, resultRow(y));
    }
}

void CleanPlane::large(int first_column, int columns, const CleanScratch& scratch) const {
    const CleanKernels& table = kernels();
    const Strip strip(scratch.histograms(), columns + 2 * m_radius_x);
    const int left = std::max(first_column - m_radius_x, 0);
    const int right = std::min(first_column + columns + m_radius_x, m_width);
    CleanColumns inside = strip.columns;  // from the first column that the picture has
    const int skipped = left - (first_column - m_radius_x);
    inside.coarse += 16 * skipped;
    inside.middle += 16 * skipped;
    inside.fine += 16 * skipped;
    inside.sums += skipped;
    const auto update = [&](int y, int sign) {
        if (y < 0 || y >= m_height) return;
        table.sort_into_bins(m_bins, row(y) + left, right - left, strip.bins, strip.offsets);
        table.update_columns(inside, strip.bins, strip.offsets, right - left, sign);
    };
    for (int y = 0; y < m_radius_y; ++y) update(y, 1);
    for (int y = 0; y < m_height; ++y) {
        update(y + m_radius_y, 1);
        update(y - m_radius_y - 1, -1);
        table.large_row(m_bins, strip.columns, m_radius_x, columns, resultRow(y) + first_column);
    }
    for (int y = m_height - 1 - m_radius_y; y < m_height; ++y) update(y, -1);
}
