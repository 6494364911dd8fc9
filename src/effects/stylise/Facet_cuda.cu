// The mode filter on a device: the picture in bins, then a thread for each column of a channel in a band of rows, down
// which a histogram slides.
//
// Threads are numbered by samples, four to a pixel, so that neighbours read and write neighbouring samples.
#include <cstddef>
#include <cstdint>

#include "effects/stylise/Facet_cuda.h"
#include "gpulib/gpulib.h"
#include "gpulib/gpulib_operation.h"
#include "imagelib/imagelib_mode.h"
#include "imagelib/mode_formulas.h"

namespace facet_cuda {

struct alignas(4) PixelBins {
    std::uint8_t c[4];
};

GPU_AND_CPU void facetBinsKernel(GpuPlace at, const GpuPixel* pixels, int width, int height, PixelBins* sorted) {
    if (at.x >= width || at.y >= height) return;
    const std::size_t i =
        static_cast<std::size_t>(at.y) * static_cast<std::size_t>(width) + static_cast<unsigned>(at.x);
    const GpuPixel pixel = pixels[i];
    PixelBins bins;
    for (int c = 0; c < 4; ++c) bins.c[c] = static_cast<std::uint8_t>(mode_bin(pixel.c[c]));
    sorted[i] = bins;
}

struct Picture {
    const std::uint8_t* bins;  // of the samples
    int width, height;
    int half_x, half_y;

    GPU_AND_CPU const std::uint8_t* row(int y) const {
        const int inside = y < 0 ? 0 : (y < height ? y : height - 1);
        return bins + static_cast<std::size_t>(inside) * (static_cast<std::size_t>(width) * 4);
    }
    GPU_AND_CPU int column(int x) const { return x < 0 ? 0 : (x < width ? x : width - 1); }
};

// The counts of a window, its most frequent bin and, of several such, the lowest.
template <class Count>
class SlidingMode {
  public:
    GPU_AND_CPU SlidingMode(const Picture& picture, int sample, int y)
        : m_picture(picture), m_x(sample / 4), m_channel(sample % 4) {
        for (int bin = 0; bin < MODE_BINS; ++bin) m_counts[bin] = 0;
        for (int j = y - picture.half_y; j <= y + picture.half_y; ++j)
            each_bin(j, [this](int bin) { ++m_counts[bin]; });
        search();
    }
    GPU_AND_CPU int bin() const { return m_bin; }

    // To the window of the next row, of which one row leaves and one comes in.
    GPU_AND_CPU void slide(int leaving, int entering) {
        const int before = m_bin;
        const Count most = m_counts[m_bin];
        each_bin(leaving, [this](int bin) { --m_counts[bin]; });
        each_bin(entering, [this](int bin) {
            const Count count = ++m_counts[bin], best = m_counts[m_bin];
            if (count > best || (count == best && bin < m_bin)) m_bin = bin;
        });
        // No bin that nothing came into has more than the most frequent one had. So the search is only needed where
        // that one has lost, and nothing has more now.
        if (m_counts[m_bin] <= most && m_counts[before] < most) search();
    }

  private:
    template <class Use>
    GPU_AND_CPU void each_bin(int y, Use use) const {
        const std::uint8_t* row = m_picture.row(y) + m_channel;
        for (int x = m_x - m_picture.half_x; x <= m_x + m_picture.half_x; ++x) use(row[4 * m_picture.column(x)]);
    }
    GPU_AND_CPU void search() {
        m_bin = 0;
        Count most = m_counts[0];
#ifdef __CUDA_ARCH__
#pragma unroll 8  // all at once would take every register there is
#endif
        for (int bin = 1; bin < MODE_BINS; ++bin)
            if (m_counts[bin] > most) most = m_counts[m_bin = bin];
    }

    const Picture& m_picture;
    int m_x, m_channel, m_bin = 0;
    Count m_counts[MODE_BINS];
};

// A thread for each sample of a row; along y, for each band of rows.
template <class Count>
GPU_AND_CPU void facetKernel(GpuPlace at, Picture picture, int band_rows, float* out) {
    const int first = at.y * band_rows;
    if (at.x >= 4 * picture.width || first >= picture.height) return;
    const int end = first > picture.height - band_rows ? picture.height : first + band_rows;
    SlidingMode<Count> window(picture, at.x, first);
    for (int y = first; y < end; ++y) {
        if (y > first) window.slide(y - 1 - picture.half_y, y + picture.half_y);
        out[static_cast<std::size_t>(y) * (static_cast<std::size_t>(picture.width) * 4) + static_cast<unsigned>(at.x)] =
            mode_level(window.bin());
    }
}

}  // namespace facet_cuda

int cuda_facet(DeviceImage& source, DeviceImage& result, int half_x, int half_y, GpuStream stream) {
    using namespace facet_cuda;
    constexpr int LEAST_BAND = 64;  // rows
    const int width = source.width(), height = source.height();
    GpuOperation operation(stream);
    const auto fits = [](int half) { return half >= 1 && half <= WINDOW_MODE_MOST_HALF; };
    if (!fits(half_x) || !fits(half_y)) operation.fail(GPU_NOT_LAUNCHED);
    const auto* pixels = operation.read<GpuPixel>(source);
    auto* out = operation.write<float>(result);
    auto* bins = operation.scratch<PixelBins>(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    operation.launch(gpu_kernel<facetBinsKernel>(), gpu_shape_of_picture(width, height), pixels, width, height, bins);

    // The first window of a band takes as long as sliding along half as many rows as it has.
    const int rows = 2 * half_y + 1, band = 2 * rows > LEAST_BAND ? 2 * rows : LEAST_BAND;
    GpuShape shape = gpu_shape_of_line(4 * width);
    shape.blocks_y = static_cast<unsigned>(cuda_div_up(height, band));
    const Picture picture{reinterpret_cast<const std::uint8_t*>(bins), width, height, half_x, half_y};
    // Narrow counts, where they suffice, take half the memory.
    const bool narrow = rows * (2 * half_x + 1) <= 0xffff;
    operation.launch(narrow ? gpu_kernel<facetKernel<std::uint16_t>>() : gpu_kernel<facetKernel<std::uint32_t>>(),
                     shape, picture, band, out);
    return operation.finish();
}

double facet_nanoseconds(int half_x, int half_y) {
    if (half_x == 1 && half_y == 1) return 2.8;
    const bool small = (2 * half_x + 1) * (2 * half_y + 1) <= MODE_SMALL_WINDOW;
    return small ? 17 : 18 + 0.28 * (half_x + half_y);
}
