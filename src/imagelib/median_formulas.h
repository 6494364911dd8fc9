// How samples fall into the bins of the median filter, and what comes out of a bin: the same on the processor and on
// devices. See imagelib_median.h for the method.
#pragma once

#include <cmath>
#include <limits>

#include "gpulib/gpulib_runtime.h"
#include "imagelib/median_simd.h"

// Infinities count as the largest numbers. Adding 0 makes one zero of both, whichever a thread met first.
GPU_AND_CPU float median_finite(float value) {
    constexpr float LARGEST = std::numeric_limits<float>::max();
    const float above = value < -LARGEST ? -LARGEST : value;
    return (LARGEST < above ? LARGEST : above) + 0.0f;
}

// The bins for samples from min to max. A channel without a number has min above max.
GPU_AND_CPU MedianBins median_bins(float min, float max) {
    constexpr float SMALLEST_STEP = 0.00001f;
    if (min > max) min = max = 0;
    MedianBins bins{};
    bins.min = median_finite(min);
    bins.max = median_finite(max);
    const float step = (bins.max - bins.min) / (MEDIAN_BINS - 1);
    bins.scale = step > SMALLEST_STEP ? 1 / step : 0;

    const double range = double(bins.max) - double(bins.min);
    const double width = bins.scale > 0 ? range / (MEDIAN_BINS - 1) : range;
    const double low = fabs(double(bins.min)), high = fabs(double(bins.max));
    if (!(range > 0)) return bins;
    // 161 x 161 offsets of at most 1.0004 bins stay below 2^53 quanta, and any sample below 2^51, as rounding asks.
    const int of_width = ilogb(width) + 1 - 38, of_samples = ilogb(low > high ? low : high) + 1 - 51;
    bins.rounding = ldexp(1.5, 52 + (of_width > of_samples ? of_width : of_samples));
    bins.base = (bins.min + bins.rounding) - bins.rounding;
    bins.step = bins.scale > 0 ? (width + bins.rounding) - bins.rounding : 0;
    return bins;
}

// One sample alone fills the channel: its median is that everywhere.
GPU_AND_CPU bool median_is_constant(const MedianBins& bins) { return !(bins.max > bins.min); }

// Within the channel's range; what is not a number counts as the smallest sample.
GPU_AND_CPU float median_sample(const MedianBins& bins, float sample) {
    const float above = sample > bins.min ? sample : bins.min;
    return above < bins.max ? above : bins.max;
}

// Of a sample within the range.
GPU_AND_CPU int median_bin(const MedianBins& bins, float sample) {
    if (!(bins.scale > 0)) return 0;
    const int bin = static_cast<int>((sample - bins.min) * bins.scale);
    return bin < MEDIAN_BINS - 1 ? bin : MEDIAN_BINS - 1;
}

// From the lower end of its bin, in whole quanta: sums of offsets are exact.
GPU_AND_CPU double median_offset(const MedianBins& bins, float sample, int bin) {
    return ((static_cast<double>(sample) + bins.rounding) - bins.rounding) -
           (bins.base + static_cast<double>(bin) * bins.step);
}

// The mean of a bin's samples from the sum of their offsets.
GPU_AND_CPU float median_mean(const MedianBins& bins, int bin, double sum, int samples) {
    return static_cast<float>((bins.base + static_cast<double>(bin) * bins.step) + sum / static_cast<double>(samples));
}
