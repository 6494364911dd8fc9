// The circles around a centre, their sums, and the threads that make and read them.
#include "imagelib/imagelib_arcs.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <new>
#include <numbers>

#include "imagelib/arc_tables.h"
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
std::vector<float> circle_positions(const float* table, const ArcGeometry& circles, float pixel) {
    std::vector<float> positions(std::size_t(circles.columns + COLUMNS_AT_ONCE));
    for (int c = 0; c < circles.columns; ++c) {
        const double place = double(c) / circles.period * TurnTable::ENTRIES;
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

ArcGeometry arc_geometry(const K7Image& layout, float cx, float cy) {
    ArcGeometry circles{.cx = cx, .cy = cy, .pixel_width = layout.pixel_width, .pixel_height = layout.pixel_height};
    const double x = std::max(std::fabs(cx), std::fabs(float(layout.width) - cx)) * double(circles.pixel_width);
    const double y = std::max(std::fabs(cy), std::fabs(float(layout.height) - cy)) * double(circles.pixel_height);
    circles.max_distance = float(std::sqrt(x * x + y * y));
    if (!(circles.max_distance >= 1 && circles.max_distance < MOST_DISTANCE && circles.pixel_width > 0 &&
          circles.pixel_height > 0))
        return circles;
    circles.period = 2 * std::numbers::pi * double(circles.max_distance);
    circles.columns = int(circles.period);
    const int rows = int(circles.max_distance) + 2;  // so that the farthest pixel still lies between two of them
    if (4 * sizeof(float) * std::size_t(rows) * std::size_t(circles.columns + 2) <= MOST_BYTES) circles.rows = rows;
    return circles;
}

float ArcGeometry::last_position() const {
    return std::min(static_cast<float>(period), std::nextafter(static_cast<float>(columns + 1), 0.0f));
}

ArcRange range_of_arcs(const ArcLengths& lengths, float max_distance) {
    // A fading ring leaves the circles inside and outside as they are.
    const bool ring = lengths.profile == ArcProfile::Ring && lengths.inner <= lengths.outer;
    return ring ? ArcRange{lengths.inner, lengths.outer} : ArcRange{0.0f, max_distance};
}

bool make_arc_tables(const ArcGeometry& circles, const TurnTable& turn, ArcTables& tables) {
    const ImagelibKernel kernel(KERNEL_BSPLINE, EDGE_CLAMP);
    return turn.valid() && kernel.valid && in_memory([&] {
               tables.filter = filter_table(kernel);
               tables.cosines = circle_positions(turn.cosine(), circles, circles.pixel_width);
               tables.sines = circle_positions(turn.sine(), circles, circles.pixel_height);
           });
}

ArcRows rows_of_arcs(const ArcGeometry& circles, const ArcRange& range) {
    const float outermost = static_cast<float>(circles.rows - 1);
    return {static_cast<int>(std::clamp(range.smallest, 0.0f, outermost)),
            static_cast<int>(std::clamp(range.largest + 1, 0.0f, outermost)) + 1};
}

ImagelibCircles::ImagelibCircles(const ArcGeometry& geometry) : m_geometry(geometry) {
    if (!geometry.valid()) return;
    m_table.period = geometry.period;
    m_table.last_position = geometry.last_position();
    m_table.columns = geometry.columns;
    m_table.rows = geometry.rows;
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
    ArcTables tables;
    if (!valid() || !make_arc_tables(m_geometry, turn, tables)) return false;
    const ArcSource view{.pixels = image_row<float>(&source, 0),
                         .width = source.width,
                         .height = source.height,
                         .cx = m_geometry.cx,
                         .cy = m_geometry.cy,
                         .filter = tables.filter.data(),
                         .cosines = tables.cosines.data(),
                         .sines = tables.sines.data()};
    const ArcKernels& table = arc_kernels();
    // Circles cost more the more of them lies in the picture: threads take rows from a shared counter.
    const auto [begin, end] = rows_of_arcs(m_geometry, {smallest, largest});
    std::atomic<int> next{begin};
    std::atomic<bool> complete{true};
    for_rows_float(end - begin, [&, end = end](int first, int last) {
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
    const ArcShape arcs = shape_of_arcs(m_geometry, lengths);
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
