#include "fftlib/fft_lattice.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "fftlib/fftlib.h"
#include "imagelib/imagelib_blur.h"
#include "k7pi_baselib/in_memory.h"

namespace {

constexpr int MOST = 512;       // pixels to a side that are looked at
constexpr double SHORTEST = 4;  // pixels

struct Correlation {
    std::vector<float> values;  // of steps (x, y), at size * (y & (size - 1)) + (x & (size - 1))
    int size = 0, width = 0, height = 0;

    // 1 for the step 0, whatever part of the picture lies on itself.
    double at(int x, int y) const {
        const int mask = size - 1;
        const double both = double(width - std::abs(x)) * double(height - std::abs(y));
        const double share = both / (double(width) * double(height));
        return double(values[static_cast<std::size_t>(size * (y & mask) + (x & mask))]) / (double(values[0]) * share);
    }
    bool is_peak(int x, int y) const {
        const double here = at(x, y);
        for (int v = -1; v <= 1; ++v)
            for (int u = -1; u <= 1; ++u)
                if ((u != 0 || v != 0) && at(x + u, y + v) > here) return false;
        return true;
    }
};

struct Peak {
    double x, y, value, score;
};

// Luminance without its slow changes and its mean, around the part's middle.
ImagePtr detail_of(const K7Image* picture, int left, int bottom, int width, int height) {
    ImagePtr detail = make_image_uncleared(width, height, 1, SAMPLE_F32);
    if (!detail) return detail;
    for (int y = 0; y < height; ++y) {
        const float* from = image_row<float>(picture, bottom + y) + 4 * left;
        float* to = image_row<float>(detail.get(), y);
        for (int x = 0; x < width; ++x) {
            const float l = 0.3F * from[4 * x] + 0.5F * from[4 * x + 1] + 0.2F * from[4 * x + 2];
            to[x] = std::clamp(l, 0.0F, 2.0F);
        }
    }
    ImagePtr slow(image_duplicate(detail.get()));
    const auto radius = static_cast<float>(std::max(width, height)) / 8.0F;
    if (!slow || !image_gaussian_blur(slow.get(), radius, radius, -1)) return nullptr;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) image_row<float>(detail.get(), y)[x] -= image_row<float>(slow.get(), y)[x];
    return detail;
}

bool correlate(const K7Image& detail, Correlation& result) {
    result.width = detail.width, result.height = detail.height;
    // Room for all steps that are looked at without the picture meeting itself round the corner.
    const int room = std::max(detail.width, detail.height) * 8 / 5 + 2;
    for (result.size = 16; result.size < room;) result.size *= 2;
    const auto count = static_cast<std::size_t>(result.size) * static_cast<std::size_t>(result.size);
    result.values.assign(count, 0.0F);
    for (int y = 0; y < detail.height; ++y)
        std::copy_n(image_row<float>(&detail, y), detail.width,
                    result.values.begin() + static_cast<std::ptrdiff_t>(y) * result.size);
    std::vector<FFTComplex> frequencies(count);
    FFTConvolver transform(FFT_OWN_ENGINE);
    transform.set_multiprocess(fft_image_rows, nullptr);
    if (!transform.forward_2d(result.values.data(), frequencies.data(), result.size)) return false;
    for (FFTComplex& f : frequencies) f = {f.real * f.real + f.imaginary * f.imaginary, 0.0F};
    return transform.inverse_2d(frequencies.data(), result.values.data(), result.size);
}

// Between the pixels: the tops of two parabolas.
Peak refined(const Correlation& c, int x, int y) {
    const auto top = [](double before, double here, double after) {
        const double bend = before - 2 * here + after;
        return bend < 0 ? std::clamp(0.5 * (before - after) / bend, -0.5, 0.5) : 0.0;
    };
    const double here = c.at(x, y);
    return {x + top(c.at(x - 1, y), here, c.at(x + 1, y)), y + top(c.at(x, y - 1), here, c.at(x, y + 1)), here, 0};
}

std::vector<Peak> peaks_of(const Correlation& c, double least) {
    std::vector<Peak> peaks;
    const int reach_x = c.width * 3 / 5, reach_y = c.height * 3 / 5;
    const double diagonal = std::sqrt(double(c.width) * c.width + double(c.height) * c.height);
    for (int y = 0; y <= reach_y; ++y)
        for (int x = y == 0 ? 1 : -reach_x; x <= reach_x; ++x) {
            if (c.at(x, y) < least || double(x) * x + double(y) * y < SHORTEST * SHORTEST || !c.is_peak(x, y)) continue;
            Peak peak = refined(c, x, y);
            peak.score = peak.value * (1.0 - 0.5 * std::sqrt(peak.x * peak.x + peak.y * peak.y) / diagonal);
            peaks.push_back(peak);
        }
    std::stable_sort(peaks.begin(), peaks.end(), [](const Peak& a, const Peak& b) { return a.score > b.score; });
    return peaks;
}

// The same step many times over tells it more exactly.
void measure_far(const Correlation& c, double least, double& x, double& y) {
    for (int times = 2;; ++times) {
        const int far_x = static_cast<int>(std::floor(x * times + 0.5));
        const int far_y = static_cast<int>(std::floor(y * times + 0.5));
        if (std::abs(far_x) > c.width * 3 / 5 || std::abs(far_y) > c.height * 3 / 5) return;
        int best_x = far_x, best_y = far_y;
        for (int v = -2; v <= 2; ++v)
            for (int u = -2; u <= 2; ++u)
                if (c.at(far_x + u, far_y + v) > c.at(best_x, best_y)) best_x = far_x + u, best_y = far_y + v;
        if (c.at(best_x, best_y) < least || !c.is_peak(best_x, best_y)) return;
        const Peak peak = refined(c, best_x, best_y);
        x = peak.x / times, y = peak.y / times;
    }
}

}  // namespace

bool fft_texture_lattice(const K7Image* picture, int left, int bottom, int right, int top, double least,
                         TextureLattice& lattice) {
    lattice = {};
    if (!picture || picture->channels != 4 || picture->sample_type != SAMPLE_F32 || left < 0 || bottom < 0 ||
        right > picture->width || top > picture->height || left >= right || bottom >= top)
        return false;
    const int width = std::min(right - left, MOST), height = std::min(top - bottom, MOST);
    if (std::min(width, height) < 16) return true;
    return in_memory([&] {
        const ImagePtr detail =
            detail_of(picture, left + (right - left - width) / 2, bottom + (top - bottom - height) / 2, width, height);
        Correlation correlation;
        if (!detail || !correlate(*detail, correlation)) return false;
        if (!(correlation.values[0] > 1e-6F * static_cast<float>(width * height))) return true;  // flat
        for (const Peak& peak : peaks_of(correlation, least)) {
            const int n = lattice.axes;
            if (n == 1) {  // another direction, 20 degrees away at least
                const double area = std::fabs(lattice.x[0] * peak.y - lattice.y[0] * peak.x);
                const double lengths = std::sqrt((lattice.x[0] * lattice.x[0] + lattice.y[0] * lattice.y[0]) *
                                                 (peak.x * peak.x + peak.y * peak.y));
                if (area < 0.34 * lengths) continue;
            }
            lattice.x[n] = peak.x, lattice.y[n] = peak.y;
            measure_far(correlation, least, lattice.x[n], lattice.y[n]);
            if (++lattice.axes == 2) break;
        }
        return true;
    });
}
