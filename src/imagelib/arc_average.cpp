// The circles around a centre, their sums, and the threads that make and read them.
#include "imagelib/imagelib_arcs.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <new>
#include <numbers>

#include "imagelib/imagelib_resample.h"
#include "k7pi_baselib/in_memory.h"
#include "k7pi_baselib/portable_math.h"
#include "simdlib/cpu.h"

namespace {

constexpr std::size_t MOST_BYTES = 0x7fffffff;
constexpr float MOST_DISTANCE = 1e5f;
constexpr int COLUMNS_AT_ONCE = 64;  // that the kernels read positions of
constexpr int ROWS_AT_ONCE = 4;
constexpr int TILE_WIDTH = 64, TILE_HEIGHT = 16;

// Where each column lies on a circle of radius 1, in pixels. Whole chunks, since the kernels read them so.
std::vector<float> circle_positions(const float* table, const CircleSums& polar, float pixel) {
    std::vector<float> positions(std::size_t(polar.columns + COLUMNS_AT_ONCE));
    for (int c = 0; c < polar.columns; ++c) {
        const double place = double(c) / polar.period * TurnTable::ENTRIES;
        const int entry = std::min(int(place), TurnTable::ENTRIES - 1);
        const double here = table[entry], next = table[entry + 1 == TurnTable::ENTRIES ? 0 : entry + 1];
        positions[std::size_t(c)] = float((here + (place - entry) * (next - here)) / pixel);
    }
    return positions;
}

// The weights of four neighbours for every fraction of a pixel, distances truncated to the kernel's table as everywhere
// in the library. Truncated weights do not sum to 1: they are brought there, so that even areas keep their level.
std::vector<float> filter_table(const ImagelibKernel& kernel) {
    std::vector<float> table;
    table.reserve(4 * ARC_FILTER_ENTRIES);
    for (int i = 0; i < ARC_FILTER_ENTRIES; ++i) {
        const int below = i / 2, above = (i + 1) / 2;
        const double weights[4] = {double(kernel.weights[ARC_FILTER_STEPS + below]), double(kernel.weights[below]),
                                   double(kernel.weights[ARC_FILTER_STEPS - above]),
                                   double(kernel.weights[2 * ARC_FILTER_STEPS - above])};
        const double sum = weights[0] + weights[1] + weights[2] + weights[3];
        for (const double weight : weights) table.push_back(float(weight / sum));
    }
    return table;
}

}  // namespace

TurnTable::TurnTable() : m_sine(new (std::nothrow) float[ENTRIES]), m_cosine(new (std::nothrow) float[ENTRIES]) {
    if (!valid()) return;
    for (int i = 0; i < ENTRIES; ++i) {
        const double angle = 2 * std::numbers::pi * i / ENTRIES - std::numbers::pi;
        m_sine[i] = static_cast<float>(k7_sin(angle));
        m_cosine[i] = static_cast<float>(k7_cos(angle));
    }
}

ImagelibCircles::ImagelibCircles(const K7Image& layout, float cx, float cy)
    : m_cx(cx), m_cy(cy), m_pixel_width(layout.pixel_width), m_pixel_height(layout.pixel_height) {
    const double x = std::max(std::fabs(cx), std::fabs(float(layout.width) - cx)) * double(m_pixel_width);
    const double y = std::max(std::fabs(cy), std::fabs(float(layout.height) - cy)) * double(m_pixel_height);
    m_max_distance = float(std::sqrt(x * x + y * y));
    if (!(m_max_distance >= 1 && m_max_distance < MOST_DISTANCE && m_pixel_width > 0 && m_pixel_height > 0)) return;

    m_table.period = 2 * std::numbers::pi * double(m_max_distance);
    m_table.columns = int(m_table.period);
    m_table.rows = int(m_max_distance) + 2;  // so that the farthest pixel still lies between two of them
    // An odd number of cache lines a row: neighbours in a column do not compete for the same places of the cache.
    m_table.pitch = ((4L * (m_table.columns + 2) + 15) / 16 | 1) * 16;
    const std::size_t floats = std::size_t(m_table.rows) * std::size_t(m_table.pitch);
    if (floats * sizeof(float) > MOST_BYTES) return;
    if (!in_memory([&] { m_means.resize(4 * std::size_t(m_table.rows)); })) return;
    m_sums = make_aligned_block<float, true>(floats);
    m_table.sums = m_sums.get();
    m_table.means = m_means.data();
}

bool ImagelibCircles::unwrap(const K7Image& source, const TurnTable& turn, float smallest, float largest,
                             const StopRequested& stop) {
    const ImagelibKernel kernel(KERNEL_BSPLINE, EDGE_CLAMP);
    if (!valid() || !turn.valid() || !kernel.valid) return false;
    std::vector<float> filter, cosines, sines;
    const bool room = in_memory([&] {
        filter = filter_table(kernel);
        cosines = circle_positions(turn.cosine(), m_table, m_pixel_width);
        sines = circle_positions(turn.sine(), m_table, m_pixel_height);
    });
    if (!room) return false;
    const ArcSource view{.pixels = image_row<float>(&source, 0),
                         .width = source.width,
                         .height = source.height,
                         .cx = m_cx,
                         .cy = m_cy,
                         .filter = filter.data(),
                         .cosines = cosines.data(),
                         .sines = sines.data()};
    const ArcKernels& table = arc_kernels();
    // Circles cost more the more of them lies in the picture: threads take rows from a shared counter.
    const float outermost = static_cast<float>(m_table.rows - 1);
    const int end = static_cast<int>(std::clamp(largest + 1, 0.0f, outermost)) + 1;
    std::atomic<int> next{static_cast<int>(std::clamp(smallest, 0.0f, outermost))};
    std::atomic<bool> complete{true};
    for_rows_float(end - next, [&](int first, int last) {
        if (first > last) return;
        const auto scratch = make_aligned_block<double, false>(4 * std::size_t(m_table.columns + 2));
        if (!scratch) complete = false;
        for (int row; complete && (row = next.fetch_add(ROWS_AT_ONCE)) < end;) {
            if (wants_end(stop)) complete = false;
            for (int i = row; i < std::min(row + ROWS_AT_ONCE, end); ++i)
                table.unwrap_row(view, m_table, i, scratch.get());
        }
    });
    return complete;
}

bool ImagelibCircles::average(const K7Image& source, const K7Image* matte, const ArcLengths& lengths,
                              K7Image& destination) const {
    if (!valid() || !image_same_layout(&source, &destination) || (matte && !image_same_layout(matte, &destination)))
        return false;
    const ArcShape arcs{lengths, m_cx, m_cy, m_pixel_width, m_pixel_height, m_max_distance};
    const ArcKernels& table = arc_kernels();
    const int width = destination.width;
    // In tiles, whose arcs end in the same part of the table.
    const auto tile = [&](int x, int first, int last) {
        const int count = std::min(TILE_WIDTH, width - x);
        for (int y = first; y <= last; ++y)
            table.average_pixels(m_table, arcs, x, y, count, image_row<float>(&source, y) + 4 * x,
                                 matte ? image_row<float>(matte, y) + 4 * x : nullptr,
                                 image_row<float>(&destination, y) + 4 * x);
    };
    for_rows_float(destination.height, [&](int first, int last) {
        for (int y = first; y <= last; y += TILE_HEIGHT)
            for (int x = 0; x < width; x += TILE_WIDTH) tile(x, y, std::min(y + TILE_HEIGHT - 1, last));
    });
    destination.stats_valid = 0;
    return true;
}
