#include "imagelib/median_channel.h"

#include <algorithm>

#include "imagelib/median_formulas.h"
#include "simdlib/cpu.h"

namespace {

constexpr int BAND = 64;                  // rows of a task
constexpr int STRIP = MEDIAN_STRIP - 10;  // columns, so that those that the usual windows reach are whole vectors
constexpr int LARGE_BAND = 32;            // rows of a task with histograms
constexpr int TRANSPOSED = 16;            // rows and columns that are transposed at once
constexpr int TRANSPOSED_COLUMNS = 64;
constexpr int PAD = 64;  // columns beside a row of bins

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

}  // namespace

// A ring of a strip's rows, for windows of at most MEDIAN_SMALL_WINDOW samples.
struct MedianChannel::RowRing {
    static constexpr long PITCH = MEDIAN_STRIP + 2 * PAD;
    std::int16_t* bins;
    double* offsets;
    std::int16_t* inside;
    std::int16_t* work;
    std::size_t bytes;
    RowRing(unsigned char* block, int rows) {
        Carver carver(block);
        bins = carver.take<std::int16_t>(std::size_t(PITCH * rows));
        offsets = carver.take<double>(std::size_t(PITCH * rows));
        inside = carver.take<std::int16_t>(MEDIAN_STRIP);
        work = carver.take<std::int16_t>(MEDIAN_WORK_LISTS * MEDIAN_WORK_PITCH);
        bytes = carver.used();
    }
    std::int16_t* bin_row(int slot) const { return bins + slot * PITCH + PAD; }
    double* offset_row(int slot) const { return offsets + slot * PITCH + PAD; }
};

// A band of rows, transposed, with the histograms of its windows and a buffer for the transposition.
struct MedianChannel::BandMemory {
    MedianBand band{};
    std::int16_t* bins;
    double* offsets;
    std::int16_t* row_bins;
    double* row_offsets;
    std::size_t bytes;
    BandMemory(unsigned char* block, int width, int rows, int radius_x, int radius_y) {
        Carver carver(block);
        band.columns = width;
        band.pitch = rows + 2 * radius_y;
        band.radius_x = radius_x, band.radius_y = radius_y;
        const std::size_t samples = std::size_t(band.columns * band.pitch);
        band.bins = bins = carver.take<std::int16_t>(samples + std::size_t(band.pitch) + MEDIAN_LANES);
        band.offsets = offsets = carver.take<double>(samples);
        band.counts = carver.take<std::int16_t>((1 + MEDIAN_ROWS_AT_ONCE) * MEDIAN_HISTOGRAM);
        band.sums = carver.take<double>((1 + MEDIAN_ROWS_AT_ONCE) * MEDIAN_HISTOGRAM);
        row_bins = carver.take<std::int16_t>(TRANSPOSED * TRANSPOSED_COLUMNS);
        row_offsets = carver.take<double>(TRANSPOSED * TRANSPOSED_COLUMNS);
        bytes = carver.used();
    }
};

bool MedianScratch::allocate(std::size_t bytes) {
    m_part = bytes / 4 / 64 * 64;
    if (bytes) m_block = make_aligned_block<unsigned char, true>(bytes);
    return bytes == 0 || m_block;
}

MedianChannel::MedianChannel(const K7Image& source, K7Image& result, int channel, MedianRadii radii,
                             const MedianBins& bins)
    : m_source(image_row<float>(&source, 0)),
      m_result(image_row<float>(&result, 0)),
      m_channel(channel),
      m_width(source.width),
      m_height(source.height),
      m_radius_x(std::clamp(radii.x, 1, MEDIAN_MOST_RADIUS)),
      m_radius_y(std::clamp(radii.y, 1, MEDIAN_MOST_RADIUS)),
      m_bins(bins) {
    if (median_is_constant(bins))
        m_method = Method::Fill;
    else if (!(bins.scale > 0))
        m_method = Method::Mean;
    else if ((2 * m_radius_x + 1) * (2 * m_radius_y + 1) <= MEDIAN_SMALL_WINDOW)
        m_method = Method::Small;
    else
        m_method = Method::Large;
}

std::size_t MedianChannel::scratch_bytes() const {
    switch (m_method) {
        case Method::Fill:
            return 0;
        case Method::Mean:
            return std::size_t(STRIP + 2 * MEDIAN_MOST_RADIUS) * sizeof(double);
        case Method::Small:
            return RowRing(nullptr, 2 * m_radius_y + 1).bytes;
        case Method::Large:
            break;
    }
    return BandMemory(nullptr, m_width, LARGE_BAND, m_radius_x, m_radius_y).bytes;
}

int MedianChannel::bands(int rows, bool large) {
    const int height = large ? LARGE_BAND : BAND;
    return (rows + height - 1) / height;
}

void MedianChannel::run_band(int band, const MedianScratch& scratch) const {
    large(band * LARGE_BAND, std::min((band + 1) * LARGE_BAND, m_height) - 1, scratch);
}

void MedianChannel::run_band(const std::vector<const MedianChannel*>& channels, int band,
                             const MedianScratch& scratch) {
    const int width = channels[0]->m_width, height = channels[0]->m_height;
    const int first = band * BAND, last = std::min(first + BAND, height) - 1;
    alignas(64) float out[4][MEDIAN_STRIP] = {};
    for (int x = 0; x < width; x += STRIP) {
        const Columns strip{x, std::min(STRIP, width - x)};
        for (std::size_t k = 0; k < channels.size(); ++k) channels[k]->begin(first, strip, scratch.part(k));
        for (int y = first; y <= last; ++y) {
            for (std::size_t k = 0; k < channels.size(); ++k)
                channels[k]->next(y, y == first, strip, scratch.part(k), out[k]);
            float* pixels = channels[0]->result(x, y) - channels[0]->m_channel;
            if (channels.size() == 4)
                median_kernels().join(out[0], MEDIAN_STRIP, strip.count, pixels);
            else
                for (std::size_t k = 0; k < channels.size(); ++k)
                    for (int i = 0; i < strip.count; ++i) pixels[4 * i + channels[k]->m_channel] = out[k][i];
        }
    }
}

void MedianChannel::begin(int first, Columns strip, unsigned char* memory) const {
    if (m_method == Method::Mean) begin_mean(first, strip, memory);
    if (m_method == Method::Small) begin_small(first, strip, memory);
}

// The mean of equal samples is any of them.
void MedianChannel::next(int y, bool is_first, Columns strip, unsigned char* memory, float* out) const {
    if (m_method == Method::Fill) std::fill_n(out, strip.count, m_bins.min);
    if (m_method == Method::Mean) next_mean(y, is_first, strip, memory, out);
    if (m_method == Method::Small) next_small(y, strip, memory, out);
}

// ---- Means: a channel with so little contrast that it is one bin ----------------------------------------------

// Sums of columns, from the first one that a window of the strip reaches; they are exact like those of bins.
void MedianChannel::add_row(int y, double sign, Columns strip, double* sums) const {
    if (y < 0 || y >= m_height) return;
    const int left = std::max(strip.first - m_radius_x, 0);
    const int right = std::min(strip.first + strip.count + m_radius_x, m_width);
    for (int x = left; x < right; ++x) {
        const float sample = median_sample(m_bins, pixels(x, y)[m_channel]);
        sums[x - left] += sign * median_offset(m_bins, sample, 0);
    }
}

void MedianChannel::begin_mean(int first, Columns strip, unsigned char* memory) const {
    auto* sums = reinterpret_cast<double*>(memory);
    std::fill_n(sums, STRIP + 2 * MEDIAN_MOST_RADIUS, 0.0);
    for (int y = first - m_radius_y; y < first + m_radius_y; ++y) add_row(y, 1, strip, sums);
}

void MedianChannel::next_mean(int y, bool is_first, Columns strip, unsigned char* memory, float* out) const {
    auto* sums = reinterpret_cast<double*>(memory);
    add_row(y + m_radius_y, 1, strip, sums);
    if (!is_first) add_row(y - m_radius_y - 1, -1, strip, sums);
    const int rows = std::min(y + m_radius_y, m_height - 1) - std::max(y - m_radius_y, 0) + 1;
    int left = std::max(strip.first - m_radius_x, 0), right = left;
    double sum = 0;
    const double *entering = sums, *leaving = sums;
    for (int i = 0; i < strip.count; ++i) {
        const int x = strip.first + i;
        for (; right <= std::min(x + m_radius_x, m_width - 1); ++right) sum += *entering++;
        for (; left < x - m_radius_x; ++left) sum -= *leaving++;
        out[i] = median_mean(m_bins, 0, sum, rows * (right - left));
    }
}

// ---- Small windows --------------------------------------------------------------------------------------------

void MedianChannel::enter_row(int y, Columns strip, const RowRing& ring) const {
    if (y >= m_height) return;
    const int left = std::min(strip.first, m_radius_x);
    const int right = std::min(m_width - strip.first - strip.count, m_radius_x);
    const int slot = y % (2 * m_radius_y + 1);
    median_kernels().sort_into_bins(m_bins, pixels(strip.first - left, y), m_channel, left + strip.count + right,
                                    ring.bin_row(slot) - left, ring.offset_row(slot) - left);
}

void MedianChannel::begin_small(int first, Columns strip, unsigned char* memory) const {
    const int slots = 2 * m_radius_y + 1;
    const RowRing ring(memory, slots);
    std::fill_n(ring.bins, RowRing::PITCH * slots, MEDIAN_OUTSIDE);
    std::fill_n(ring.offsets, RowRing::PITCH * slots, 0.0);
    for (int i = 0; i < MEDIAN_STRIP; ++i) {
        const int x = strip.first + i;
        const int inside = std::min(x + m_radius_x, m_width - 1) - std::max(x - m_radius_x, 0) + 1;
        ring.inside[i] = static_cast<std::int16_t>(std::max(inside, 1));
    }
    for (int y = std::max(first - m_radius_y, 0); y < first + m_radius_y; ++y) enter_row(y, strip, ring);
}

void MedianChannel::next_small(int y, Columns strip, unsigned char* memory, float* out) const {
    const int slots = 2 * m_radius_y + 1;
    const RowRing ring(memory, slots);
    enter_row(y + m_radius_y, strip, ring);
    MedianRows rows;
    rows.count = 0;
    for (int k = std::max(y - m_radius_y, 0); k <= std::min(y + m_radius_y, m_height - 1); ++k) {
        rows.bins[rows.count] = ring.bin_row(k % slots);
        rows.offsets[rows.count++] = ring.offset_row(k % slots);
    }
    rows.radius = m_radius_x;
    rows.left = std::min(strip.first, m_radius_x);
    rows.right = std::min(m_width - strip.first - strip.count, m_radius_x);
    rows.inside = ring.inside;
    rows.work = ring.work;
    median_kernels().small_row(m_bins, rows, strip.count, out);
}

// ---- Large windows --------------------------------------------------------------------------------------------

// Transposes the rows of the picture from `first_row` on, as many as a column of the band has.
void MedianChannel::transpose(int first_row, const BandMemory& memory) const {
    const MedianKernels& table = median_kernels();
    const long pitch = memory.band.pitch;
    std::fill_n(memory.bins + m_width * pitch, pitch + MEDIAN_LANES, MEDIAN_NOWHERE);
    for (long j = 0; j < pitch; j += TRANSPOSED) {
        const long count = std::min<long>(TRANSPOSED, pitch - j);
        for (int x = 0; x < m_width; x += TRANSPOSED_COLUMNS) {
            const int columns = std::min(TRANSPOSED_COLUMNS, m_width - x);
            for (long i = 0; i < count; ++i) {
                const long y = first_row + j + i;
                std::int16_t* bins = memory.row_bins + i * TRANSPOSED_COLUMNS;
                double* offsets = memory.row_offsets + i * TRANSPOSED_COLUMNS;
                if (y >= 0 && y < m_height) {
                    table.sort_into_bins(m_bins, pixels(x, int(y)), m_channel, columns, bins, offsets);
                } else {
                    std::fill_n(bins, columns, MEDIAN_NOWHERE);
                    std::fill_n(offsets, columns, 0.0);
                }
            }
            for (int c = 0; c < columns; ++c) {
                std::int16_t* bins = memory.bins + (x + c) * pitch + j;
                double* offsets = memory.offsets + (x + c) * pitch + j;
                for (long i = 0; i < count; ++i) bins[i] = memory.row_bins[i * TRANSPOSED_COLUMNS + c];
                for (long i = 0; i < count; ++i) offsets[i] = memory.row_offsets[i * TRANSPOSED_COLUMNS + c];
            }
        }
    }
}

void MedianChannel::large(int first, int last, const MedianScratch& scratch) const {
    const auto& table = median_histogram_kernels();
    const int step = m_radius_y < 16 ? 4 : 8;
    const BandMemory memory(scratch.part(0), m_width, LARGE_BAND, m_radius_x, m_radius_y);
    transpose(first - m_radius_y, memory);
    for (int y = first; y <= last; y += step) {
        MedianBand band = memory.band;
        band.bins += y - first;
        band.offsets += y - first;
        float* out[MEDIAN_ROWS_AT_ONCE];
        band.rows = std::min(step, last - y + 1);
        for (int k = 0; k < band.rows; ++k) {
            band.inside[k] = std::min(y + k + m_radius_y, m_height - 1) - std::max(y + k - m_radius_y, 0) + 1;
            out[k] = result(0, y + k);
        }
        (step == 4 ? table.four : table.eight)(m_bins, band, out);
    }
}
