#include "imagelib/quilt_sample.h"

#include <algorithm>

#include "imagelib/quilt_simd.h"
#include "k7pi_baselib/in_memory.h"

namespace {

constexpr int CELLS_ACROSS = 12;  // of a patch in the search: fewer do not tell patches apart, more take longer

using simd::Pixel;

// The part of the sample, turned as wanted.
ImagePtr cut_out(const QuiltTask& task, bool flip_x, bool flip_y) {
    const QuiltBox& from = task.from;
    ImagePtr part = make_image_uncleared(from.width(), from.height(), 4, SAMPLE_F32);
    if (!part) return part;
    for_rows_float(from.height(), [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            const int source_y = flip_y ? from.top - 1 - y : from.bottom + y;
            const float* source = image_row<float>(task.sample, source_y) + 4 * from.left;
            float* to = image_row<float>(part.get(), y);
            for (int x = 0; x < from.width(); ++x) {
                const int source_x = flip_x ? from.width() - 1 - x : x;
                simd::store(to + 4 * x, simd::load<Pixel>(source + 4 * source_x));
            }
        }
    });
    return part;
}

void reduce(QuiltVariant& variant, int factor, int columns, int rows) {
    const float share = 1.0F / static_cast<float>(factor * factor);
    for_rows_float(rows, [&](int first, int last) {
        for (int y = first; y <= last; ++y)
            for (int x = 0; x < columns; ++x) {
                Pixel sum{};
                for (int v = 0; v < factor; ++v) {
                    const float* from = image_row<float>(variant.picture.get(), y * factor + v) + 4 * x * factor;
                    for (int u = 0; u < factor; ++u) sum += quilt_colour(from + 4 * u);
                }
                sum *= share;
                const auto at = static_cast<std::size_t>(y * columns + x);
                for (int c = 0; c < 3; ++c) variant.planes[c][at] = sum[c];
            }
    });
}

void average_luminance(QuiltVariant& variant, int box, int columns, int rows) {
    const auto cell = [&](int x, int y) {
        const auto at = static_cast<std::size_t>(std::min(y, rows - 1) * columns + std::min(x, columns - 1));
        return quilt_luminance(Pixel{variant.planes[0][at], variant.planes[1][at], variant.planes[2][at], 0});
    };
    const float share = 1.0F / static_cast<float>(box * box);
    for_rows_float(rows, [&](int first, int last) {
        for (int y = first; y <= last; ++y)
            for (int x = 0; x < columns; ++x) {
                float sum = 0;
                for (int v = 0; v < box; ++v)
                    for (int u = 0; u < box; ++u) sum += cell(x + u, y + v);
                variant.luminance[static_cast<std::size_t>(y * columns + x)] = sum * share;
            }
    });
}

}  // namespace

QuiltShape::QuiltShape(const QuiltTask& task) {
    width = std::clamp(task.patch_width, 4, std::max(4, task.from.width()));
    height = std::clamp(task.patch_height, 4, std::max(4, task.from.height()));
    overlap_x = std::clamp(task.overlap_x, 1, width * 45 / 100);
    overlap_y = std::clamp(task.overlap_y, 1, height * 45 / 100);
    factor = std::max(1, (std::min(width, height) + CELLS_ACROSS / 2) / CELLS_ACROSS);
    cell_width = width / factor, cell_height = height / factor;
    box = std::max(1, std::min(cell_width, cell_height) / 4);
}

void QuiltSample::count_blocked(const QuiltTask& task) {
    m_blocked.clear();
    if (!task.unusable) return;
    const auto pitch = static_cast<std::size_t>(width) + 1;
    m_blocked.assign(pitch * (static_cast<std::size_t>(height) + 1), 0);
    for (int y = 0; y < height; ++y) {
        const std::uint8_t* row = image_row<std::uint8_t>(task.unusable, task.from.bottom + y) + task.from.left;
        int* to = &m_blocked[(static_cast<std::size_t>(y) + 1) * pitch];
        int sum = 0;
        for (int x = 0; x < width; ++x) {
            sum += row[x] != 0;
            to[x + 1] = to[x + 1 - static_cast<std::ptrdiff_t>(pitch)] + sum;
        }
    }
    if (m_blocked.back() == 0) m_blocked.clear();
}

bool QuiltSample::usable(const QuiltShape& shape, const QuiltPlace& place) const {
    if (m_blocked.empty()) return true;
    const int x = (place.variant & 1) != 0 ? width - shape.width - place.x : place.x;
    const int y = (place.variant & 2) != 0 ? height - shape.height - place.y : place.y;
    const auto sum = [&](int column, int row) {
        return m_blocked[static_cast<std::size_t>(row) * (static_cast<std::size_t>(width) + 1) +
                         static_cast<std::size_t>(column)];
    };
    return sum(x + shape.width, y + shape.height) - sum(x, y + shape.height) - sum(x + shape.width, y) + sum(x, y) == 0;
}

bool QuiltSample::has_room(const QuiltTask& task, const QuiltShape& shape) {
    width = task.from.width(), height = task.from.height();
    if (shape.width > width || shape.height > height) return false;
    count_blocked(task);
    known_usable.clear();
    if (m_blocked.empty()) return true;
    for (int y = 0; y + shape.height <= height; y += shape.factor)
        for (int x = 0; x + shape.width <= width; x += shape.factor)
            if (usable(shape, {0, x, y})) known_usable.push_back({0, x, y});
    return !known_usable.empty();
}

bool QuiltSample::make(const QuiltTask& task, const QuiltShape& shape) {
    columns = width / shape.factor, rows = height / shape.factor;
    const auto cells = static_cast<std::size_t>(columns) * static_cast<std::size_t>(rows) + QUILT_SLACK + 256;
    // Bit 0 of a variant's number: mirrored from left to right, bit 1: upside down.
    variants.resize(task.flip_y ? 4 : (task.flip_x ? 2 : 1));
    for (std::size_t i = 0; i < variants.size(); ++i) {
        QuiltVariant& variant = variants[i];
        const bool wanted = ((i & 1) == 0 || task.flip_x) && ((i & 2) == 0 || task.flip_y);
        if (!wanted) continue;
        variant.picture = cut_out(task, (i & 1) != 0, (i & 2) != 0);
        if (!variant.picture) return false;
        for (std::vector<float>& plane : variant.planes) plane.assign(cells, 0.0F);
        reduce(variant, shape.factor, columns, rows);
        if (!task.guide) continue;
        variant.luminance.assign(cells, 0.0F);
        average_luminance(variant, shape.box, columns, rows);
    }
    return true;
}
