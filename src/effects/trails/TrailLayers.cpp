#include "effects/trails/TrailLayers.h"

#include <algorithm>
#include <cmath>

#include "Library2/Made.h"
#include "effects/trails/TrailLive_simd.h"
#include "imagelib/imagelib_colour.h"
#include "imagelib/imagelib_curves.h"
#include "imagelib/imagelib_distance.h"
#include "imagelib/imagelib_guided.h"

namespace {

constexpr float FAINTEST = 1e-4F;
constexpr float LEAST_CONTRAST = 0.08F;  // between a thing and what is behind it
constexpr int MOST_MOMENTS = 20;
constexpr float APART = 2.0F;  // pixels of the layer between moments, where that needs no more of them
constexpr int BROAD = 24;      // pixels of the layer: half of a thing whose middle counts as deepest

// The motion of a frame in cells of the shrunk picture, and how far each counts as moving.
struct Field {
    int width, height;
    std::vector<float> motion, bend, moves;  // two floats, two and one a cell

    Field(const TrailMaking& making, const TrailTake& take)
        : width(take.motion.back->width),
          height(take.motion.back->height),
          motion(2 * std::size_t(width) * std::size_t(height)),
          bend(motion.size()),
          moves(motion.size() / 2) {
        const TrailKey& key = making.key;
        const float u = key.follows_camera ? take.motion.camera_u : 0.0F,
                    v = key.follows_camera ? take.motion.camera_v : 0.0F;
        const float to_widths = static_cast<float>(take.motion_shrink) / static_cast<float>(take.frame.width);
        const float row_height = 1.0F / (take.frame.pixel_aspect > 0.0F ? take.frame.pixel_aspect : 1.0F);
        each_row_float(height, [&](int y) {
            const float* from = image_row<float>(take.motion.back.get(), y);
            for (int x = 0; x < width; ++x) {
                const std::size_t n = std::size_t(y) * std::size_t(width) + std::size_t(x);
                const float du = from[2 * x] - u, dv = from[2 * x + 1] - v, tall = dv * row_height;
                motion[2 * n] = du;
                motion[2 * n + 1] = dv;
                moves[n] = smooth_step(std::sqrt(du * du + tall * tall) * to_widths, key.speed_low, key.speed_high);
                if (moves[n] > 0.0F && take.earlier)
                    bendWay(*take.earlier, key.follows_camera, static_cast<float>(x) + from[2 * x],
                            static_cast<float>(y) + from[2 * x + 1], &motion[2 * n], &bend[2 * n]);
            }
        });
    }

  private:
    // What the way before it differs by, where it looks like that of the same thing.
    void bendWay(const FrameMotion& earlier, bool follows_camera, float x, float y, const float* way,
                 float* bent) const {
        const int i = static_cast<int>(std::floor(x + 0.5F)), j = static_cast<int>(std::floor(y + 0.5F));
        if (i < 0 || j < 0 || i >= width || j >= height) return;
        const float* before = image_row<float>(earlier.back.get(), j) + 2 * i;
        const float a = before[0] - (follows_camera ? earlier.camera_u : 0.0F) - way[0],
                    b = before[1] - (follows_camera ? earlier.camera_v : 0.0F) - way[1];
        if (a * a + b * b > 0.5F * (way[0] * way[0] + way[1] * way[1])) return;
        bent[0] = a;
        bent[1] = b;
    }
};

// A line of cells read at places of the layer.
struct CellPlace {
    int cell, next;
    float between;
    CellPlace(int pixel, float cells_per_pixel, int cells) {
        const float at = std::clamp((static_cast<float>(pixel) + 0.5F) * cells_per_pixel - 0.5F, 0.0F,
                                    static_cast<float>(cells - 1));
        cell = static_cast<int>(at);
        next = std::min(cell + 1, cells - 1);
        between = at - static_cast<float>(cell);
    }
};

// What the frame shows around the edge of what moves, where a cell may hold both. Cells whose neighbours all move are
// the thing itself, cells none of whose neighbours do are background. In between a pixel's alpha is its place on the
// way from the colour of the nearest background to that of the nearest part of the thing (as in matting from a trimap).
class Edge {
  public:
    enum Kind : char { Behind, Between, Inside };

    Edge(const K7Image& shrunk, const Field& field)
        : m_field(field), m_kinds(field.moves.size(), Behind), m_colours(shrunk), m_mixes(field.moves.size()) {
        each_row_float(field.height, [&](int y) {
            for (int x = 0; x < field.width; ++x) m_kinds[at(x, y)] = kindOf(x, y);
        });
        each_row_float(field.height, [&](int y) {
            for (int x = 0; x < field.width; ++x)
                if (m_kinds[at(x, y)] == Between) m_mixes[at(x, y)] = mixAt(x, y);
        });
    }
    // The pixel times its alpha, without what of the background is in it. False: not known, as the two look alike or
    // one of them is too far.
    bool part(int cell_x, int cell_y, float* pixel, float share) const {
        const std::size_t n = at(cell_x, cell_y);
        if (m_kinds[n] != Between || !(m_mixes[n].per > 0.0F)) return false;
        const Mix& mix = m_mixes[n];
        float along = 0.0F;
        for (int c = 0; c < 3; ++c) along += (pixel[c] - mix.behind[c]) * mix.way[c];
        const float alpha = smooth_step(along * mix.per, 0.1F, 0.9F);
        for (int c = 0; c < 3; ++c)
            pixel[c] = alpha > FAINTEST ? share * std::max(pixel[c] - (1.0F - alpha) * mix.behind[c], 0.0F) : 0.0F;
        pixel[3] = alpha > FAINTEST ? share * alpha : 0.0F;
        return true;
    }

  private:
    struct Mix {
        float behind[3], way[3], per = 0.0F;
    };
    std::size_t at(int x, int y) const { return std::size_t(y) * std::size_t(m_field.width) + std::size_t(x); }
    template <class Visit>
    void around(int x, int y, int reach, Visit visit) const {
        for (int j = std::max(y - reach, 0); j <= std::min(y + reach, m_field.height - 1); ++j)
            for (int i = std::max(x - reach, 0); i <= std::min(x + reach, m_field.width - 1); ++i) visit(i, j);
    }
    Kind kindOf(int x, int y) const {
        bool all = true, any = false;
        around(x, y, 1, [&](int i, int j) {
            const bool moves = m_field.moves[at(i, j)] > 0.5F;
            all = all && moves;
            any = any || moves;
        });
        return all ? Inside : (any ? Between : Behind);
    }
    Mix mixAt(int x, int y) const {
        Mix mix{};
        float inside[3] = {}, behind[3] = {}, insides = 0.0F, behinds = 0.0F;
        around(x, y, 3, [&](int i, int j) {
            const Kind kind = m_kinds[at(i, j)];
            if (kind == Between) return;
            const float* colour = image_row<float>(&m_colours, j) + 4 * i;
            (kind == Inside ? insides : behinds) += 1.0F;
            for (int c = 0; c < 3; ++c) (kind == Inside ? inside : behind)[c] += colour[c];
        });
        if (insides <= 0.0F || behinds <= 0.0F) return mix;
        float length = 0.0F;
        for (int c = 0; c < 3; ++c) {
            mix.behind[c] = behind[c] / behinds;
            mix.way[c] = inside[c] / insides - mix.behind[c];
            length += mix.way[c] * mix.way[c];
        }
        mix.per = length > LEAST_CONTRAST * LEAST_CONTRAST ? 1.0F / length : 0.0F;
        return mix;
    }

    const Field& m_field;
    std::vector<Kind> m_kinds;
    const K7Image& m_colours;
    std::vector<Mix> m_mixes;
};

// The frame at the size of the layer, times what of it leaves trails.
void key_picture(const TrailMaking& making, const K7Image* matte, const Field& field, const Edge& edge,
                 float cells_per_pixel, K7Image& picture) {
    const TrailKey& key = making.key;
    const bool by_brightness = key.bright_high > 0.0F;
    each_row_float(picture.height, [&](int y) {
        const CellPlace row(y, cells_per_pixel, field.height);
        const float* low = &field.moves[std::size_t(row.cell) * std::size_t(field.width)];
        const float* high = &field.moves[std::size_t(row.next) * std::size_t(field.width)];
        float* pixel = image_row<float>(&picture, y);
        const float* mask = matte ? image_row<float>(matte, y) : nullptr;
        const int nearest_y = row.between < 0.5F ? row.cell : row.next;
        for (int x = 0; x < picture.width; ++x, pixel += 4) {
            const CellPlace place(x, cells_per_pixel, field.width);
            const float a = low[place.cell] + row.between * (high[place.cell] - low[place.cell]),
                        b = low[place.next] + row.between * (high[place.next] - low[place.next]);
            const float moves = a + place.between * (b - a);
            float wanted = moves > 0.0F ? 1.0F : 0.0F;
            if (wanted > 0.0F && by_brightness) wanted = smooth_step(luminance(pixel), key.bright_low, key.bright_high);
            if (wanted > 0.0F && mask) wanted *= std::clamp(luminance(mask + 4L * x), 0.0F, 1.0F);
            // A cell that moves may reach a little farther than it looks in either direction.
            const int nearest_x = place.between < 0.5F ? place.cell : place.next;
            if (wanted > FAINTEST && edge.part(nearest_x, nearest_y, pixel, wanted * std::min(2.0F * moves, 1.0F)))
                continue;
            const float share = wanted * smooth_step(moves, 0.4F, 0.95F);
            for (int c = 0; c < 3; ++c) pixel[c] = share > FAINTEST ? pixel[c] * share : 0.0F;
            pixel[3] = share > FAINTEST ? share : 0.0F;
        }
    });
}

// 0 at the edge of a thing to 1 at its middle, which is what lies deepest for BROAD pixels around.
std::vector<float> depths(const K7Image& picture, const StopRequested& stop) {
    const int width = picture.width, height = picture.height;
    const ImagePtr distance = made(make_image_uncleared(width, height, 1, SAMPLE_F32));
    std::vector<float> depth(std::size_t(width) * std::size_t(height));
    if (!image_signed_distance(&picture, 3, 0.5F, distance.get(), stop)) return depth;
    std::vector<float> deepest(depth.size());
    const auto at = [&](int x, int y) { return std::size_t(y) * std::size_t(width) + std::size_t(x); };
    const auto most = [](const float* from, std::size_t step, int place, int count) {
        float found = 0.0F;
        for (int n = std::max(place - BROAD, 0); n <= std::min(place + BROAD, count - 1); n += 4)
            found = std::max(found, from[std::size_t(n) * step]);
        return std::max(found, from[std::size_t(place) * step]);
    };
    each_row_float(height, [&](int y) {
        float* row = image_row<float>(distance.get(), y);
        for (int x = 0; x < width; ++x) row[x] = std::max(-row[x], 0.0F);
        for (int x = 0; x < width; ++x) deepest[at(x, y)] = row[x] > 0.0F ? most(row, 1, x, width) : 0.0F;
    });
    each_row_float(height, [&](int y) {
        const float* row = image_row<float>(distance.get(), y);
        for (int x = 0; x < width; ++x)
            if (row[x] > 0.0F) depth[at(x, y)] = row[x] / most(&deepest[std::size_t(x)], std::size_t(width), y, height);
    });
    return depth;
}

// What moves at one moment on the way to the frame before: each cell that moves is carried there, with its motion as
// far as it has gone, onto the cells around. Where several arrive, the fastest counts.
struct Moment {
    float part;
    std::vector<float> motion;     // (x, y) pixels of the layer
    std::vector<int> first, last;  // cells in use, by rows
};
Moment carried(const Field& field, float part, float pixels_per_cell) {
    Moment m{part, std::vector<float>(field.motion.size()), std::vector<int>(std::size_t(field.height), field.width),
             std::vector<int>(std::size_t(field.height), -1)};
    std::vector<float> speeds(field.moves.size(), 0.0F);
    const float arc = 0.5F * part * (part - 1.0F);  // of the parabola through three frames
    for (int y = 0; y < field.height; ++y)
        for (int x = 0; x < field.width; ++x) {
            const std::size_t from = std::size_t(y) * std::size_t(field.width) + std::size_t(x);
            if (!(field.moves[from] > 0.0F)) continue;
            const float u = field.motion[2 * from], v = field.motion[2 * from + 1], speed = u * u + v * v;
            const float gone_x = part * u + arc * field.bend[2 * from],
                        gone_y = part * v + arc * field.bend[2 * from + 1];
            const float there_x = static_cast<float>(x) + gone_x, there_y = static_cast<float>(y) + gone_y;
            if (!(there_x > -2.0F && there_y > -2.0F && there_x < static_cast<float>(field.width + 1) &&
                  there_y < static_cast<float>(field.height + 1)))
                continue;
            const int i = static_cast<int>(std::floor(there_x + 0.5F)),
                      j = static_cast<int>(std::floor(there_y + 0.5F));
            for (int row = std::max(j - 1, 0); row <= std::min(j + 1, field.height - 1); ++row) {
                const int left = std::max(i - 1, 0), right = std::min(i + 1, field.width - 1);
                if (left > right) continue;
                m.first[std::size_t(row)] = std::min(m.first[std::size_t(row)], left);
                m.last[std::size_t(row)] = std::max(m.last[std::size_t(row)], right);
                for (int column = left; column <= right; ++column) {
                    const std::size_t to = std::size_t(row) * std::size_t(field.width) + std::size_t(column);
                    if (speed <= speeds[to]) continue;
                    speeds[to] = speed;
                    m.motion[2 * to] = gone_x * pixels_per_cell;
                    m.motion[2 * to + 1] = gone_y * pixels_per_cell;
                }
            }
        }
    return m;
}

std::vector<Moment> moments_of(const Field& field, float pixels_per_cell, bool smears) {
    float longest = 0.0F;  // squared
    for (std::size_t n = 0; n < field.moves.size(); ++n)
        if (field.moves[n] > 0.0F)
            longest = std::max(
                longest, field.motion[2 * n] * field.motion[2 * n] + field.motion[2 * n + 1] * field.motion[2 * n + 1]);
    const int wanted = static_cast<int>(std::min(std::sqrt(longest) * pixels_per_cell / APART, 1000.0F)) + 1;
    const int count = smears ? std::clamp(wanted, 2, MOST_MOMENTS) : 1;
    std::vector<Moment> moments(static_cast<std::size_t>(count));
    for_rows_float(count, [&](int first, int last) {
        for (int n = first; n <= last; ++n)
            moments[std::size_t(n)] =
                carried(field, static_cast<float>(n) / static_cast<float>(count), pixels_per_cell);
    });
    return moments;
}

// Rows of the layer in which any moment may show anything; the last is below the first where there is none.
std::pair<int, int> rows_in_use(const std::vector<Moment>& moments, float pixels_per_cell, int height) {
    int first = height, last = -1;
    for (const Moment& m : moments)
        for (int j = 0; j < static_cast<int>(m.first.size()); ++j) {
            if (m.first[std::size_t(j)] > m.last[std::size_t(j)]) continue;
            first = std::min(first, static_cast<int>(static_cast<float>(j - 1) * pixels_per_cell));
            last = std::max(last, static_cast<int>(static_cast<float>(j + 2) * pixels_per_cell));
        }
    if (first > last) return {0, -1};
    return {std::max(first, 0), std::min(last, height - 1)};
}

// A row of the moments at a row of the layer, mixed from the two rows of cells around it. A cell without motion takes
// that of the one beside it, so that mixing does not shorten it.
class MomentRow {
  public:
    MomentRow(const std::vector<Moment>& moments, const Field& field, float cells_per_pixel, int layer_width)
        : m_moments(moments),
          m_field(field),
          m_cells_per_pixel(cells_per_pixel),
          m_width(layer_width),
          m_motion(2 * std::size_t(field.width) * moments.size()),
          m_rows(moments.size()) {}

    // Pixels of the row that may show anything: the first and the last.
    std::pair<int, int> make(int y) {
        const CellPlace row(y, m_cells_per_pixel, m_field.height);
        int first = m_width, last = -1;
        for (std::size_t n = 0; n < m_moments.size(); ++n) {
            const Moment& m = m_moments[n];
            float* to = &m_motion[2 * std::size_t(m_field.width) * n];
            const auto low = std::size_t(row.cell), high = std::size_t(row.next);
            const int left = std::min(m.first[low], m.first[high]), right = std::max(m.last[low], m.last[high]);
            m_rows[n] = {to, m_width, -1, m.part};
            if (left > right) continue;
            const float *a = &m.motion[2 * low * std::size_t(m_field.width)],
                        *b = &m.motion[2 * high * std::size_t(m_field.width)];
            for (int i = 2 * std::max(left - 1, 0); i <= 2 * std::min(right + 1, m_field.width - 1) + 1; i += 2)
                mix(a + i, b + i, row.between, to + i);
            const float pixels = 1.0F / m_cells_per_pixel;
            m_rows[n].first = std::max(static_cast<int>((static_cast<float>(left) - 0.5F) * pixels), 0);
            m_rows[n].last = std::min(static_cast<int>((static_cast<float>(right) + 1.5F) * pixels), m_width - 1);
            first = std::min(first, m_rows[n].first);
            last = std::max(last, m_rows[n].last);
        }
        return {first, last};
    }
    const std::vector<TrailMoment>& rows() const { return m_rows; }

  private:
    static void mix(const float* a, const float* b, float between, float* to) {
        const bool none_a = a[0] == 0.0F && a[1] == 0.0F, none_b = b[0] == 0.0F && b[1] == 0.0F;
        const float share = none_a ? 1.0F : (none_b ? 0.0F : between);
        for (int c = 0; c < 2; ++c) to[c] = a[c] + share * (b[c] - a[c]);
    }

    const std::vector<Moment>& m_moments;
    const Field& m_field;
    float m_cells_per_pixel;
    int m_width;
    std::vector<float> m_motion;
    std::vector<TrailMoment> m_rows;
};

// The pixels that show anything, row after row. The pictures begin at `first_row` of the layer.
void pack(const K7Image& colours, const K7Image& extras, int first_row, std::vector<TrailLayer::Row>& rows,
          TrailLayer& layer) {
    std::size_t count = 0;
    for (int n = 0; n < colours.height; ++n) {
        TrailLayer::Row& row = rows[std::size_t(first_row + n)];
        const float* alpha = image_row<float>(&colours, n) + 3;
        while (row.first <= row.last && alpha[4L * row.first] <= FAINTEST) ++row.first;
        while (row.first <= row.last && alpha[4L * row.last] <= FAINTEST) --row.last;
        if (row.first > row.last) row = {};
        row.offset = count;
        count += std::size_t(row.last - row.first + 1);
    }
    layer.colours.resize(4 * count);
    layer.extras.resize(3 * count);
    for (int n = 0; n < colours.height; ++n) {
        const TrailLayer::Row& row = rows[std::size_t(first_row + n)];
        const auto pixels = static_cast<std::size_t>(row.last - row.first + 1);
        std::copy_n(image_row<float>(&colours, n) + 4L * row.first, 4 * pixels, layer.colours.data() + 4 * row.offset);
        std::copy_n(image_row<float>(&extras, n) + 3L * row.first, 3 * pixels, layer.extras.data() + 3 * row.offset);
    }
    layer.rows = std::move(rows);
}

}  // namespace

bool make_trail_layer(const TrailMaking& making, const TrailTake& take, const StopRequested& stop, TrailLayer& layer) {
    const ImagePtr picture = made(image_shrunk(&take.frame, making.shrink));
    const ImagePtr mask = take.matte ? made(image_shrunk(take.matte, making.shrink)) : nullptr;
    const int width = picture->width, height = picture->height;
    const float cells_per_pixel = static_cast<float>(making.shrink) / static_cast<float>(take.motion_shrink);
    const Field field(making, take);
    key_picture(making, mask.get(), field, Edge(*take.motion.picture, field), cells_per_pixel, *picture);
    const std::vector<float> depth = making.depth ? depths(*picture, stop) : std::vector<float>();
    const std::vector<Moment> moments = moments_of(field, 1.0F / cells_per_pixel, making.smears);

    const std::pair<int, int> used = rows_in_use(moments, 1.0F / cells_per_pixel, height);
    const int rows_used = std::max(used.second - used.first + 1, 1);
    const ImagePtr colours = made(make_image_uncleared(width, rows_used, 4, SAMPLE_F32));
    const ImagePtr extras = made(make_image_uncleared(width, rows_used, 3, SAMPLE_F32));
    std::vector<TrailLayer::Row> rows(static_cast<std::size_t>(height));
    for_rows_float(used.second - used.first + 1, [&](int from, int to) {
        if (from > to) return;
        MomentRow row(moments, field, cells_per_pixel, width);
        for (int n = from; n <= to && !wants_end(stop); ++n) {
            const int y = used.first + n;
            const auto [first, last] = row.make(y);
            rows[std::size_t(y)] = {first, last, 0};
            if (first > last) continue;
            const TrailSmear smear{image_row<float>(picture.get(), 0),
                                   depth.empty() ? nullptr : depth.data(),
                                   width,
                                   height,
                                   cells_per_pixel,
                                   field.width,
                                   row.rows().data(),
                                   static_cast<int>(row.rows().size()),
                                   making.brightest};
            trail_rows().smear(smear, y, first, last, image_row<float>(colours.get(), n) + 4L * first,
                               image_row<float>(extras.get(), n) + 3L * first);
        }
    });
    if (wants_end(stop)) return false;
    layer.width = width;
    layer.height = height;
    pack(*colours, *extras, used.first, rows, layer);
    return true;
}
