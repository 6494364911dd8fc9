// Blurs: which lines of which samples go through the box passes. The passes themselves are in blur_simd.cpp.
//
// Float columns, and float rows of four channels, are blurred where they lie, several lines abreast. All other lines
// are packed into floats side by side, blurred there and written back.
#include "imagelib/imagelib_blur.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <numbers>

#include "imagelib/blur_simd.h"
#include "imagelib/device_call.h"
#include "imagelib/samples.h"
#include "k7pi_baselib/k7pi_baselib.h"
#include "k7pi_baselib/portable_math.h"
#include "simdlib/cpu.h"

BoxRadius box_radius(float radius, int length) {
    constexpr double SMALLEST_FRACTION = 0.01;  // smaller ones are not worth a second filter
    if (!(radius > 0.0f)) return {0, 0.0};
    const double limited = std::min(static_cast<double>(radius), static_cast<double>(length / 2));
    const int whole = static_cast<int>(limited);
    const double fraction = limited - whole;
    return {whole, fraction > SMALLEST_FRACTION ? fraction : 0.0};
}

namespace {

constexpr int MOST_LANES = 16;

struct AlignedFree {
    void operator()(void* memory) const { k7_aligned_free(memory, false); }
};

enum class Ends { clamped, wrapped };

struct Job {
    K7Image* image;
    const BlurKernels* kernels;
    BoxRadius box;
    int mask;
    Ends ends;
    int length;  // samples a line
    bool columns;
};

bool is_selected(int mask, int channel) { return mask >> std::min(channel, 31) & 1; }

int wrap_margin(const Job& job) {
    return job.ends == Ends::wrapped ? 3 * (job.box.radius + (job.box.fraction > 0.0)) : 0;
}

// Up to `lanes` lines of any sample type: where sample 0 of each lies, and the way from sample to sample.
struct LineGroup {
    int count = 0;
    std::ptrdiff_t first[MOST_LANES];  // in samples from the image's first
    std::ptrdiff_t step;
};

// The memory of one worker: scratch of the kernels, and lines packed side by side.
class LineWorker {
  public:
    explicit LineWorker(const Job& job) : m_job(job), m_lanes(job.kernels->lanes), m_margin(wrap_margin(job)) {
        const int extended = job.length + 2 * m_margin;
        const std::size_t scratch = (job.kernels->scratch_doubles(extended, job.box) + 7) / 8 * 8;
        const std::size_t bytes = scratch * sizeof(double) + std::size_t(extended) * m_lanes * sizeof(float);
        m_memory.reset(static_cast<double*>(k7_aligned_malloc(bytes, 64, false)));
        if (m_memory) m_packed = reinterpret_cast<float*>(m_memory.get() + scratch);
    }
    bool ready() const { return m_memory != nullptr; }

    void blur_in_place(float* first, std::ptrdiff_t step, std::ptrdiff_t group_step, const std::uint32_t* keep) {
        m_job.kernels->clamped({first, step, group_step, m_job.length, keep}, m_job.box, m_memory.get());
    }

    void blur_packed(const LineGroup& lines) {
        visit_sample_type(m_job.image->sample_type, [&](auto sample) { blur_packed_as<decltype(sample)>(lines); });
    }

  private:
    template <class T>
    void blur_packed_as(const LineGroup& lines) {
        T* const samples = static_cast<T*>(m_job.image->pixels);
        const int length = m_job.length;
        for (int k = 0; k < length; ++k) {
            float* const packed = m_packed + std::ptrdiff_t(m_margin + k) * m_lanes;
            for (int lane = 0; lane < lines.count; ++lane)
                packed[lane] = static_cast<float>(samples[lines.first[lane] + k * lines.step]);
            for (int lane = lines.count; lane < m_lanes; ++lane) packed[lane] = 0.0f;
        }
        if (m_job.ends == Ends::wrapped) wrap_ends();
        const BlurLines block = {m_packed, m_lanes, 4, length + 2 * m_margin, nullptr};
        (m_job.ends == Ends::wrapped ? m_job.kernels->wrapped : m_job.kernels->clamped)(block, m_job.box,
                                                                                        m_memory.get());
        for (int k = 0; k < length; ++k) {
            const float* const packed = m_packed + std::ptrdiff_t(k) * m_lanes;
            for (int lane = 0; lane < lines.count; ++lane)
                samples[lines.first[lane] + k * lines.step] = rounded<T>(packed[lane]);
        }
    }

    template <class T>
    static T rounded(float value) {
        if constexpr (is_integer_sample<T>)
            return truncate_sample<T>(static_cast<double>(value) + 0.5);
        else
            return value;
    }

    void wrap_ends() {
        const int length = m_job.length;
        for (int k = 0; k < m_margin; ++k) {
            const int before = (length - m_margin % length + k) % length, after = k % length;
            std::copy_n(m_packed + std::ptrdiff_t(m_margin + before) * m_lanes, m_lanes,
                        m_packed + std::ptrdiff_t(k) * m_lanes);
            std::copy_n(m_packed + std::ptrdiff_t(m_margin + after) * m_lanes, m_lanes,
                        m_packed + std::ptrdiff_t(m_margin + length + k) * m_lanes);
        }
    }

    const Job& m_job;
    const int m_lanes, m_margin;
    std::unique_ptr<double, AlignedFree> m_memory;
    float* m_packed = nullptr;
};

// For each of `count` lanes from sample `from` of a pixel row on: all bits set where the channel is not in the mask.
// True if any channel is in the mask.
bool kept_lanes(const Job& job, std::ptrdiff_t from, int count, std::uint32_t* keep) {
    bool any = false;
    for (int lane = 0; lane < count; ++lane) {
        const bool selected = is_selected(job.mask, static_cast<int>((from + lane) % job.image->channels));
        keep[lane] = selected ? 0u : ~0u;
        any |= selected;
    }
    return any;
}

bool is_partial(const Job& job) {
    for (int channel = 0; channel < job.image->channels; ++channel)
        if (!is_selected(job.mask, channel)) return true;
    return false;
}

// False when there is no memory, like all that follows.
bool blur_rows(const Job& job, int first, int last) {
    LineWorker worker(job);
    if (!worker.ready()) return false;
    K7Image* const image = job.image;
    const int channels = image->channels;
    int y = first;
    if (image->sample_type == SAMPLE_F32 && channels == 4 && job.ends == Ends::clamped) {
        const int abreast = job.kernels->lanes / 4;
        std::uint32_t keep[MOST_LANES];
        kept_lanes(job, 0, job.kernels->lanes, keep);
        const std::uint32_t* const kept = is_partial(job) ? keep : nullptr;
        for (; y + abreast <= last + 1; y += abreast)
            worker.blur_in_place(image_row<float>(image, y), 4, std::ptrdiff_t(image->width) * 4, kept);
    }
    LineGroup lines;
    lines.step = channels;
    for (; y <= last; ++y) {
        for (int channel = 0; channel < channels; ++channel) {
            if (!is_selected(job.mask, channel)) continue;
            lines.first[lines.count++] = std::ptrdiff_t(y) * image->width * channels + channel;
            if (lines.count == job.kernels->lanes) worker.blur_packed(lines), lines.count = 0;
        }
    }
    if (lines.count > 0) worker.blur_packed(lines);
    return true;
}

bool blur_columns(const Job& job, int first, int last) {
    LineWorker worker(job);
    if (!worker.ready()) return false;
    K7Image* const image = job.image;
    const int lanes = job.kernels->lanes;
    const std::ptrdiff_t row_samples = std::ptrdiff_t(image->width) * image->channels;
    const std::ptrdiff_t end = std::ptrdiff_t(last + 1) * image->channels;
    const bool in_place = image->sample_type == SAMPLE_F32 && job.ends == Ends::clamped;
    const bool partial = is_partial(job);
    std::uint32_t keep[MOST_LANES];
    for (std::ptrdiff_t at = std::ptrdiff_t(first) * image->channels; at < end;) {
        // Strips begin at multiples of their width, so that they share no cache lines.
        const int count = static_cast<int>(std::min<std::ptrdiff_t>(lanes - at % lanes, end - at));
        if (kept_lanes(job, at, count, keep)) {
            if (in_place && count == lanes) {
                worker.blur_in_place(static_cast<float*>(image->pixels) + at, row_samples, 4, partial ? keep : nullptr);
            } else {
                LineGroup lines;
                lines.step = row_samples;
                for (int lane = 0; lane < count; ++lane)
                    if (!keep[lane]) lines.first[lines.count++] = at + lane;
                worker.blur_packed(lines);
            }
        }
        at += count;
    }
    return true;
}

bool blur_axis(K7Image* image, bool columns, float radius, int mask, Ends ends) {
    const int length = columns ? image->height : image->width;
    const BlurKernels& kernels = blur_kernels();
    const Job job = {image, &kernels, box_radius(radius, length), mask, ends, length, columns};
    if (!job.box.is_blur()) return true;
    std::atomic<bool> complete{true};
    for_rows(columns ? image->width : image->height, [&](int first, int last) {
        if (first <= last && !(job.columns ? blur_columns : blur_rows)(job, first, last)) complete = false;
    });
    return complete;
}

bool blur(K7Image* image, float x_radius, float y_radius, int mask, Ends ends) {
    if (!is_valid(image) || image_bytes_per_sample(image) < 0) return false;
    if (mask == 0 || (!(x_radius > 0.0f) && !(y_radius > 0.0f))) return true;
    image->stats_valid = 0;
    return blur_axis(image, false, x_radius, mask, ends) && blur_axis(image, true, y_radius, mask, ends);
}

bool pays_on_device(const K7Image* image, float x_radius, float y_radius, int mask) {
    constexpr double NANOSECONDS = 1.8;  // for one box along one axis
    if (!is_float_rgba(image) || (mask & 15) != 15) return false;
    const auto boxes = [](BoxRadius box) { return (box.radius > 0) + (box.fraction > 0); };
    const int count = boxes(box_radius(x_radius, image->width)) + boxes(box_radius(y_radius, image->height));
    return count > 0 && image_pays_on_device(image, 2, count * NANOSECONDS);
}

bool blur_on_device(const K7Image* source, K7Image* destination, float x_radius, float y_radius) {
    return done_on_device("cuda_gaussian_box_blur_2_pass", destination, [=](DeviceImage& result, GpuStream stream) {
        DeviceImage picture(host_picture(source), stream);
        return cuda_gaussian_box_blur_2_pass(source->pixels == destination->pixels ? result : picture, result, x_radius,
                                             y_radius, stream);
    });
}

bool take(const K7Image* source, K7Image* destination) {
    if (source && source == destination) return true;
    return image_to_layout(source, destination, true, 4, 0);
}

}  // namespace

bool image_gaussian_blur(K7Image* image, float x_radius, float y_radius, int mask) {
    if (pays_on_device(image, x_radius, y_radius, mask)) return blur_on_device(image, image, x_radius, y_radius);
    return blur(image, x_radius, y_radius, mask, Ends::clamped);
}

bool image_gaussian_blur_to(const K7Image* source, K7Image* destination, float x_radius, float y_radius, int mask) {
    if (image_same_layout(source, destination) && is_valid(source) &&
        pays_on_device(destination, x_radius, y_radius, mask)) {
        if (!blur_on_device(source, destination, x_radius, y_radius)) return false;
        image_copy_attributes(source, destination);
        destination->stats_valid = 0;
        return true;
    }
    return take(source, destination) && image_gaussian_blur(destination, x_radius, y_radius, mask);
}

bool image_wrap_blur(K7Image* image, float x_radius, float y_radius, int mask) {
    return blur(image, x_radius, y_radius, mask, Ends::wrapped);
}

bool image_wrap_blur_to(const K7Image* source, K7Image* destination, float x_radius, float y_radius, int mask) {
    return take(source, destination) && image_wrap_blur(destination, x_radius, y_radius, mask);
}

// The sum of a window of 2 r + 1 samples of a wave is Dirichlet's kernel.
double image_wrap_blur_gain(float radius, int length, int periods) {
    if (length < 1 || periods % length == 0) return 1.0;
    const double half_step = std::numbers::pi * periods / length, sine = k7_sin(half_step);
    const auto cubed_mean = [&](int r) {
        const double window = 2.0 * r + 1.0, mean = k7_sin(window * half_step) / (window * sine);
        return mean * mean * mean;
    };
    const BoxRadius box = box_radius(radius, length);
    if (box.fraction == 0.0) return cubed_mean(box.radius);
    return (1.0 - box.fraction) * cubed_mean(box.radius) + box.fraction * cubed_mean(box.radius + 1);
}
