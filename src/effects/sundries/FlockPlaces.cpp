#include "effects/sundries/FlockPlaces.h"

#include <algorithm>
#include <cmath>

#include "Library2/Made.h"
#include "imagelib/imagelib_distance.h"
#include "noiselib/place_hash.h"

namespace flock {

namespace {

constexpr int CELLS = 240;          // across a picture
constexpr float SEEN = 1.0F / 512;  // alpha of a shape's outermost pixels

// Means of the first channel over cells, `columns` of them in a row.
ImagePtr coarse(const K7Image& matte, int columns, int rows) {
    ImagePtr result = made(make_image(columns, rows, 1, SAMPLE_F32));
    for_rows_float(rows, [&](int first, int last) {
        for (int row = first; row <= last; ++row) {
            float* out = image_row<float>(result.get(), row);
            const auto begin_of = [](int i, int cells, int pixels) {
                return static_cast<int>(std::int64_t(i) * pixels / cells);
            };
            const int y0 = std::min(begin_of(row, rows, matte.height), matte.height - 1),
                      y1 = std::max(begin_of(row + 1, rows, matte.height), y0 + 1);
            for (int column = 0; column < columns; ++column) {
                const int x0 = std::min(begin_of(column, columns, matte.width), matte.width - 1),
                          x1 = std::max(begin_of(column + 1, columns, matte.width), x0 + 1);
                float sum = 0;
                for (int y = y0; y < y1; ++y) {
                    const float* in = image_row<float>(&matte, y);
                    for (int x = x0; x < x1; ++x) sum += std::clamp(in[std::ptrdiff_t(x) * matte.channels], 0.0F, 1.0F);
                }
                out[column] = sum / static_cast<float>((y1 - y0) * (x1 - x0));
            }
        }
    });
    return result;
}

int rows_for(const Ground& ground, int columns) {
    const float rows = ground.height * static_cast<float>(columns) / WIDTH;
    return static_cast<int>(std::clamp(rows + 0.5F, 1.0F, 4.0F * static_cast<float>(columns)));
}

}  // namespace

Ground::Ground(const K7Image& frame) {
    const bool known = frame.pixel_width > 0 && frame.pixel_height > 0;
    per_column = WIDTH / static_cast<float>(frame.width);
    per_row = known ? per_column * (frame.pixel_height / frame.pixel_width) : per_column;
    height = static_cast<float>(frame.height) * per_row;
}

// ---- Mattes ---------------------------------------------------------------------------------------------------

void KeepOut::make(const K7Image& matte) {
    const Ground ground(matte);
    const ImagePtr cells = coarse(matte, CELLS, rows_for(ground, CELLS));
    m_cell = WIDTH / CELLS;
    m_distance = made(make_image(cells->width, cells->height, 1, SAMPLE_F32));
    made(image_signed_distance(cells.get(), 0, 0.5F, m_distance.get()));
}

float KeepOut::distance(float x, float y, float away[2]) const {
    const K7Image& image = *m_distance;
    const auto limited = [](float at, int count) { return std::clamp(at, 0.0F, static_cast<float>(count - 1)); };
    const auto read = [&](float u, float v) {
        const float cu = limited(u, image.width), cv = limited(v, image.height);
        const int i = std::min(static_cast<int>(cu), std::max(image.width - 2, 0)),
                  j = std::min(static_cast<int>(cv), std::max(image.height - 2, 0));
        const int right = std::min(i + 1, image.width - 1), above = std::min(j + 1, image.height - 1);
        const float *low = image_row<float>(&image, j), *high = image_row<float>(&image, above);
        const float tu = cu - static_cast<float>(i), tv = cv - static_cast<float>(j);
        const float a = low[i] + tu * (low[right] - low[i]), b = high[i] + tu * (high[right] - high[i]);
        return a + tv * (b - a);
    };
    const float u = x / m_cell - 0.5F, v = y / m_cell - 0.5F;
    away[0] = read(u + 1, v) - read(u - 1, v);
    away[1] = read(u, v + 1) - read(u, v - 1);
    const float length = std::sqrt(away[0] * away[0] + away[1] * away[1]);
    if (length > 1e-4F) away[0] /= length, away[1] /= length;
    return read(u, v) * m_cell;
}

void BirthPlaces::make(const K7Image& matte) {
    const Ground ground(matte);
    m_columns = CELLS;
    const int rows = rows_for(ground, CELLS);
    const ImagePtr cells = coarse(matte, m_columns, rows);
    m_cell_x = WIDTH / CELLS, m_cell_y = ground.height / static_cast<float>(rows);
    m_sums.clear();
    m_sums.reserve(static_cast<std::size_t>(m_columns) * static_cast<std::size_t>(rows));
    float sum = 0;
    for (int y = 0; y < rows; ++y)
        for (int x = 0; x < m_columns; ++x) m_sums.push_back(sum += image_row<float>(cells.get(), y)[x]);
}

bool BirthPlaces::place(std::uint32_t word, float& x, float& y) const {
    const float sum = m_sums.back();
    if (!(sum > 0)) return false;
    const auto found = std::upper_bound(m_sums.begin(), m_sums.end(), unit_of(word) * sum);
    const auto cell =
        static_cast<int>(std::min<std::ptrdiff_t>(found - m_sums.begin(), std::ptrdiff_t(m_sums.size()) - 1));
    x = (static_cast<float>(cell % m_columns) + unit_of(place_hash(word, 1))) * m_cell_x;
    y = (static_cast<float>(cell / m_columns) + unit_of(place_hash(word, 2))) * m_cell_y;
    return true;
}

// ---- Shapes ---------------------------------------------------------------------------------------------------

ImagePtr shape_picture(const K7Image* colour, const K7Image* matte, const float ink[3], float tint) {
    const K7Image& like = colour ? *colour : *matte;
    ImagePtr result = made(make_image_uncleared(like.width, like.height, 4, SAMPLE_F32));
    result->pixel_width = like.pixel_width, result->pixel_height = like.pixel_height;
    for_rows_float(like.height, [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            const float* in = colour ? image_row<float>(colour, y) : nullptr;
            const float* shown = matte ? image_row<float>(matte, y) : nullptr;
            float* out = image_row<float>(result.get(), y);
            for (int x = 0; x < like.width; ++x, out += 4) {
                const float alpha = std::clamp(shown ? shown[4 * x] : in[4 * x + 3], 0.0F, 1.0F);
                for (int c = 0; c < 3; ++c) {
                    const float own = in ? in[4 * x + c] * (shown ? alpha : 1) : ink[c] * alpha;
                    out[c] = own + tint * (ink[c] * alpha - own);
                }
                out[3] = alpha;
            }
        }
    });
    return result;
}

ShapeCycle cut_shapes(const std::vector<ImagePtr>& pictures) {
    ShapeCycle cycle;
    int x0 = 1 << 30, y0 = 1 << 30, x1 = -1, y1 = -1;
    for (const ImagePtr& picture : pictures)
        for (int y = 0; y < picture->height; ++y) {
            const float* row = image_row<float>(picture.get(), y);
            for (int x = 0; x < picture->width; ++x)
                if (row[4 * x + 3] > SEEN) {
                    x0 = std::min(x0, x), x1 = std::max(x1, x);
                    y0 = std::min(y0, y), y1 = std::max(y1, y);
                }
        }
    if (x1 < x0) return cycle;
    const int width = x1 - x0 + 1, height = y1 - y0 + 1;
    const Ground ground(*pictures.front());
    cycle.aspect = static_cast<float>(height) * ground.per_row / (static_cast<float>(width) * ground.per_column);
    const ImagePtr cut = made(make_image_uncleared(width, height, 4, SAMPLE_F32)),
                   turned = made(make_image_uncleared(width, height, 4, SAMPLE_F32));
    for (const ImagePtr& picture : pictures) {
        for (int y = 0; y < height; ++y) {
            const float* in = image_row<float>(picture.get(), y0 + y) + 4 * std::ptrdiff_t(x0);
            float *out = image_row<float>(cut.get(), y), *back = image_row<float>(turned.get(), y);
            std::copy_n(in, 4 * width, out);
            for (int x = 0; x < width; ++x)
                std::copy_n(in + 4 * std::ptrdiff_t(x), 4, back + 4 * std::ptrdiff_t(width - 1 - x));
        }
        cycle.shapes.push_back({MipPicture(cut.get()), MipPicture(turned.get())});
        made(static_cast<bool>(cycle.shapes.back().right) && static_cast<bool>(cycle.shapes.back().left));
    }
    return cycle;
}

}  // namespace flock
