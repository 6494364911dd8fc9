// Sums and means of frames.
#include "imagelib/samples.h"

ImageAccumulator::ImageAccumulator(const K7Image* layout) {
    if (layout && layout->sample_type == SAMPLE_F32) m_sum.reset(image_clone_layout(layout));
}

ImageAccumulator::~ImageAccumulator() = default;

bool ImageAccumulator::add(const K7Image* frame) {
    if (!is_valid(frame) || !image_same_layout(frame, m_sum.get())) return false;
    const std::size_t row_samples = std::size_t(frame->width) * frame->channels;
    for_rows_float(frame->height, [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            const float* in = image_row<float>(frame, y);
            float* sum = image_row<float>(m_sum.get(), y);
            for (std::size_t i = 0; i < row_samples; ++i) sum[i] += in[i];
        }
    });
    ++m_count;
    return true;
}

bool ImageAccumulator::mean(K7Image* destination) const {
    if (m_count == 0 || !is_valid(destination) || !image_same_layout(destination, m_sum.get())) return false;
    const std::size_t row_samples = std::size_t(destination->width) * destination->channels;
    const float frames = static_cast<float>(m_count);
    for_rows_float(destination->height, [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            const float* sum = image_row<float>(m_sum.get(), y);
            float* out = image_row<float>(destination, y);
            for (std::size_t i = 0; i < row_samples; ++i) out[i] = sum[i] / frames;
        }
    });
    destination->stats_valid = 0;
    return true;
}
