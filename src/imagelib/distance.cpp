#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdint>

#include "imagelib/aligned_block.h"
#include "imagelib/imagelib_distance.h"
#include "imagelib/samples.h"

namespace {

constexpr int STRIP = 32;  // columns that go down the picture together

// Into `distance`, rows to the nearest other label up or down the column.
void column_distances(const K7Image& labels, K7Image& distance, bool edge_counts, int x0, int x1) {
    const int rows = labels.height;
    const float beyond = edge_counts ? 0.0f : DISTANCE_NONE;
    for (int y = 0; y < rows; ++y) {
        const std::uint32_t* own = image_row<std::uint32_t>(&labels, y);
        float* to = image_row<float>(&distance, y);
        if (y == 0) {
            std::fill(to + x0, to + x1, beyond + 1);
            continue;
        }
        const std::uint32_t* below = image_row<std::uint32_t>(&labels, y - 1);
        const float* from = image_row<float>(&distance, y - 1);
        for (int x = x0; x < x1; ++x) to[x] = (own[x] == below[x] ? from[x] : 0.0f) + 1;
    }
    float down[STRIP];  // rows to another label above
    std::fill_n(down, STRIP, beyond);
    for (int y = rows - 1; y >= 0; --y) {
        const std::uint32_t* own = image_row<std::uint32_t>(&labels, y);
        const std::uint32_t* above = y + 1 < rows ? image_row<std::uint32_t>(&labels, y + 1) : own;
        float* to = image_row<float>(&distance, y);
        for (int x = x0; x < x1; ++x) {
            down[x - x0] = (own[x] == above[x] ? down[x - x0] : 0.0f) + 1;
            to[x] = std::min(std::min(to[x], down[x - x0]), DISTANCE_NONE);
        }
    }
}

// The lower envelope of parabolas (x - place)^2 + height.
class Envelope {
  public:
    explicit Envelope(int width) : m_places(make_aligned_block<int, false>(std::size_t(width) + 2)) {
        m_heights = make_aligned_block<double, false>(std::size_t(width) + 2);
        m_starts = make_aligned_block<double, false>(std::size_t(width) + 2);
    }
    explicit operator bool() const { return m_places && m_heights && m_starts; }

    void clear() { m_count = 0; }
    // Places come in ascending order.
    void add(int place, double height) {
        const double x = place;
        double start = -1e30;
        while (m_count > 0) {
            const double last = m_places[m_count - 1];
            start = ((height + x * x) - (m_heights[m_count - 1] + last * last)) / (2 * (x - last));
            if (start > m_starts[m_count - 1]) break;
            --m_count;
            start = -1e30;
        }
        m_places[m_count] = place, m_heights[m_count] = height, m_starts[m_count] = start;
        ++m_count;
    }
    // Distances of [first, last).
    void read(int first, int last, float* distances) const {
        if (m_count == 0) return std::fill(distances + first, distances + last, DISTANCE_NONE);
        int i = 0;
        for (int x = first; x < last; ++x) {
            while (i + 1 < m_count && m_starts[i + 1] < x) ++i;
            const double along = x - m_places[i];
            distances[x] = static_cast<float>(std::sqrt(along * along + m_heights[i]));
        }
    }

  private:
    int m_count = 0;
    AlignedBlock<int, false> m_places;
    AlignedBlock<double, false> m_heights, m_starts;
};

void row_distances(const std::uint32_t* labels, float* distances, int width, bool edge_counts, Envelope& envelope) {
    for (int first = 0, last; first < width; first = last) {
        for (last = first + 1; last < width && labels[last] == labels[first];) ++last;
        envelope.clear();
        if (first > 0 || edge_counts) envelope.add(first - 1, 0);
        for (int x = first; x < last; ++x)
            if (distances[x] < DISTANCE_NONE) envelope.add(x, double(distances[x]) * double(distances[x]));
        if (last < width || edge_counts) envelope.add(last, 0);
        envelope.read(first, last, distances);
    }
}

}  // namespace

bool image_label_distance(const K7Image* labels, K7Image* distance, bool edge_counts, const StopRequested& stop) {
    if (!is_label_image(labels) || !is_plane(distance, labels->width, labels->height)) return false;
    distance->stats_valid = 0;
    const int width = labels->width, strips = (width + STRIP - 1) / STRIP;
    if (!each_row_float(
            strips, [&] { return wants_end(stop); },
            [&](int i) {
                column_distances(*labels, *distance, edge_counts, i * STRIP, std::min((i + 1) * STRIP, width));
            }))
        return false;
    std::atomic<bool> complete{true};
    for_rows_float(labels->height, [&](int first, int last) {
        Envelope envelope(width);
        if (!envelope) complete = false;
        for (int y = first; y <= last && complete; ++y) {
            if (wants_end(stop)) complete = false;
            row_distances(image_row<std::uint32_t>(labels, y), image_row<float>(distance, y), width, edge_counts,
                          envelope);
        }
    });
    return complete;
}

bool image_signed_distance(const K7Image* mask, int channel, float level, K7Image* distance,
                           const StopRequested& stop) {
    if (!is_valid(mask) || mask->sample_type != SAMPLE_F32 || channel < 0 || channel >= mask->channels) return false;
    const int width = mask->width;
    const ImagePtr inside = make_image_uncleared(width, mask->height, 1, SAMPLE_U32);
    if (!inside) return false;
    for_rows_float(mask->height, [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            const float* samples = image_row<float>(mask, y) + channel;
            auto* labels = image_row<std::uint32_t>(inside.get(), y);
            for (int x = 0; x < width; ++x) labels[x] = samples[std::ptrdiff_t(x) * mask->channels] >= level ? 1 : 0;
        }
    });
    if (!image_label_distance(inside.get(), distance, false, stop)) return false;
    for_rows_float(mask->height, [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            const auto* labels = image_row<std::uint32_t>(inside.get(), y);
            float* to = image_row<float>(distance, y);
            for (int x = 0; x < width; ++x) to[x] = labels[x] ? 0.5f - to[x] : to[x] - 0.5f;
        }
    });
    return true;
}
