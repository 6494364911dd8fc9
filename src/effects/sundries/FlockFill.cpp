#include "effects/sundries/FlockFill.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace flock {

namespace {

using ink::Quad;

constexpr float NOTHING = 1e-5F;  // areas below it are rounding errors of 0

bool any(Quad values) {
    std::uint64_t bits[2];
    std::memcpy(bits, &values, sizeof bits);
    return (bits[0] | bits[1]) != 0;
}

Corner at(Corner corner, float time) {
    const float x = corner[2] + time * (corner[0] - corner[2]), y = corner[3] + time * (corner[1] - corner[3]);
    return Corner{x, y, 0, 0};
}

}  // namespace

void Filler::fill(const Piece& piece, const Corner* corners, float* origin, int pitch, PixelWindow window,
                  const std::vector<Moment>* moments) {
    float left = 0, bottom = 0, right = 0, top = 0;
    if (moments) {
        for (const Moment& moment : *moments) {
            left = std::min(left, moment.dx), right = std::max(right, moment.dx);
            bottom = std::min(bottom, moment.dy), top = std::max(top, moment.dy);
        }
    }
    const auto below = [](float value) { return static_cast<int>(std::floor(std::clamp(value, -2e6F, 2e6F))); };
    window.x0 = std::max(window.x0, below(piece.left + left)),
    window.x1 = std::min(window.x1, below(piece.right + right));
    window.y0 = std::max(window.y0, below(piece.bottom + bottom)),
    window.y1 = std::min(window.y1, below(piece.top + top));
    if (window.x0 > window.x1 || window.y0 > window.y1) return;
    m_window = window;
    const int width = window.x1 - window.x0 + 1, height = window.y1 - window.y0 + 1;
    m_wide = static_cast<float>(width), m_high = static_cast<float>(height);
    m_pitch = (width + 3) / 4 * 4;
    // An edge changes its row and the next one; rounding may take it one further.
    const std::size_t cells = std::size_t(m_pitch) * std::size_t(height + 2);
    if (m_cells.size() < cells) m_cells.resize(cells, 0.0F), m_mean.resize(cells);
    if (m_sums.size() < std::size_t(m_pitch / 4)) m_sums.resize(std::size_t(m_pitch / 4));
    const int count = moments ? static_cast<int>(moments->size()) : piece.moments;
    const float share = 1 / static_cast<float>(count);
    for (int i = 0; i < count; ++i) {
        const Moment moment = moments      ? (*moments)[std::size_t(i)]
                              : count == 1 ? Moment{1, 0, 0}
                                           : Moment{(static_cast<float>(i) + 0.5F) * share, 0, 0};
        addLoop(piece, corners, moment);
        cover(i == 0);
    }
    lay(piece, share, moments != nullptr, origin, pitch);
}

// ---- Edges ----------------------------------------------------------------------------------------------------

void Filler::addLoop(const Piece& piece, const Corner* corners, const Moment& moment) {
    if (piece.sharp) return addCurve(piece, corners, moment);
    const Corner* loop = corners + piece.begin;
    const float dx = moment.dx - static_cast<float>(m_window.x0), dy = moment.dy - static_cast<float>(m_window.y0);
    const Corner last = at(loop[piece.count - 1], moment.time);
    float x = last[0] + dx, y = last[1] + dy;
    for (std::uint32_t i = 0; i < piece.count; ++i) {
        const Corner next = at(loop[i], moment.time);
        const float nx = next[0] + dx, ny = next[1] + dy;
        addEdge(x, y, nx, ny);
        x = nx, y = ny;
    }
}

// A smooth curve through the places of a loop, but for those that are points (Catmull and Rom, 1974).
void Filler::addCurve(const Piece& piece, const Corner* corners, const Moment& moment) {
    const Corner* loop = corners + piece.begin;
    const std::uint32_t count = piece.count;
    const Corner shift = {moment.dx - static_cast<float>(m_window.x0), moment.dy - static_cast<float>(m_window.y0), 0,
                          0};
    const auto ringed = [&](std::uint32_t i) { return at(loop[i % count], moment.time) + shift; };
    Corner from = ringed(0);
    const auto go_to = [&](Corner to) {
        addEdge(from[0], from[1], to[0], to[1]);
        from = to;
    };
    for (std::uint32_t i = 0; i < count; ++i) {
        const Corner p = ringed(i), q = ringed(i + 1);
        const float apart = std::fabs(q[0] - p[0]) + std::fabs(q[1] - p[1]);
        const int steps = std::min(1 + static_cast<int>(std::min(apart, 1000.0F) / 7), 10);
        const Corner before = piece.sharp[i] ? p : ringed(i + count - 1);
        const Corner after = piece.sharp[(i + 1) % count] ? q : ringed(i + 2);
        for (int k = 1; k < steps; ++k) {
            const float t = static_cast<float>(k) / static_cast<float>(steps), u = 1 - t;
            const float wa = -0.5F * t * u * u, wb = 0.5F * t * (t * (3 * t - 5)) + 1,
                        wc = 0.5F * t * (1 + t * (4 - 3 * t)), wd = -0.5F * t * t * u;
            go_to(wa * before + wb * p + wc * q + wd * after);
        }
        go_to(q);
    }
}

// Places from the window's corner. What lies beside the window or above it changes nothing, what lies below it counts
// as if it were on its lower edge.
void Filler::addEdge(float px, float py, float qx, float qy) {
    float sign = 1;
    if (px > qx) {
        std::swap(px, qx), std::swap(py, qy);
        sign = -1;
    }
    if (!(px < qx) || qx <= 0 || px >= m_wide) return;
    const float slope = (qy - py) / (qx - px);
    if (px < 0) py -= px * slope, px = 0;
    if (qx > m_wide) qy = py + (m_wide - px) * slope, qx = m_wide;
    if (py >= 0 && qy >= 0 && py <= m_high && qy <= m_high) return addWithin(px, py, qx, qy, sign);
    if (py >= m_high && qy >= m_high) return;
    if (py <= 0 && qy <= 0) return addWithin(px, 0, qx, 0, sign);
    const auto column_at = [&](float y) { return std::clamp(px + (y - py) / slope, px, qx); };
    const float at_bottom = column_at(0), at_top = column_at(m_high);
    if (py < 0) {
        addWithin(px, 0, at_bottom, 0, sign);
        px = at_bottom, py = 0;
    } else if (qy < 0) {
        addWithin(at_bottom, 0, qx, 0, sign);
        qx = at_bottom, qy = 0;
    }
    if (py > m_high)
        px = at_top, py = m_high;
    else if (qy > m_high)
        qx = at_top, qy = m_high;
    if (px < qx) addWithin(px, py, qx, qy, sign);
}

// From left to right, inside the window.
void Filler::addWithin(float px, float py, float qx, float qy, float sign) {
    const int first = static_cast<int>(px), last = std::min(static_cast<int>(qx), static_cast<int>(m_wide) - 1);
    if (first >= last) return addToColumn(last, sign * (qx - px), py, qy);
    const float slope = (qy - py) / (qx - px);
    float x = px, y = py;
    for (int column = first; column < last; ++column) {
        const auto next_x = static_cast<float>(column + 1);
        const float next_y = std::clamp(py + (next_x - px) * slope, 0.0F, m_high);
        addToColumn(column, sign * (next_x - x), y, next_y);
        x = next_x, y = next_y;
    }
    addToColumn(last, sign * (qx - x), y, qy);
}

// The part of an edge within a column. The area above it is 0 below, grows in the rows that it runs through, and is
// the part's width from there up.
void Filler::addToColumn(int column, float width, float from, float to) {
    const float low = std::min(from, to), high = std::max(from, to);
    const int first = static_cast<int>(low), last = static_cast<int>(high);
    float* cell = m_cells.data() + std::ptrdiff_t(first) * m_pitch + column;
    if (first == last) {
        const float below = width * (0.5F * (low + high) - static_cast<float>(first));
        cell[0] += width - below;
        cell[m_pitch] += below;
        return;
    }
    const float rise = width / (high - low), half = 0.5F * rise;
    const float above = static_cast<float>(first + 1) - low, beyond = high - static_cast<float>(last);
    float before = half * above * above;
    *cell += before;
    for (int row = first + 1; row < last; ++row) {
        const float area = rise * (static_cast<float>(row) + 0.5F - low);
        *(cell += m_pitch) += area - before;
        before = area;
    }
    const float area = width - half * beyond * beyond;
    cell[m_pitch] += area - before;
    cell[2 * m_pitch] += width - area;
}

// ---- Pixels ---------------------------------------------------------------------------------------------------

// Sums up the changes, and adds the coverage of this loop to the mean.
void Filler::cover(bool first) {
    const int quads = m_pitch / 4, rows = m_window.y1 - m_window.y0 + 1;
    std::fill_n(m_sums.begin(), quads, Quad{});
    float* cells = m_cells.data();
    float* mean = m_mean.data();
    const Quad zero{};
    for (int row = 0; row < rows; ++row)
        for (int i = 0; i < quads; ++i, cells += 4, mean += 4) {
            const Quad sum = m_sums[std::size_t(i)] += ink::load(cells);
            ink::store(cells, zero);
            Quad area = sum < zero ? -sum : sum;
            area = (area - NOTHING) * (1 + 2.1F * NOTHING);
            area = area > zero ? area : zero;
            area = area < zero + 1 ? area : zero + 1;
            ink::store(mean, first ? area : ink::load(mean) + area);
        }
    std::fill_n(cells, 2 * m_pitch, 0.0F);
}

void Filler::lay(const Piece& piece, float share, bool black, float* origin, int pitch) const {
    const Quad from = black ? Quad{0, 0, 0, piece.from[3]} : piece.from;
    const Quad change = (black ? Quad{0, 0, 0, piece.to[3]} : piece.to) - from;
    // How far along its axis a pixel is, at the mean of the moments.
    const float middle = black || piece.moments == 1 ? 1 : 0.5F;
    const Corner a = at(piece.axis_from, middle), b = at(piece.axis_to, middle);
    const float x = b[0] - a[0], y = b[1] - a[1], squared = x * x + y * y;
    const float gx = squared > 0 ? x / squared : 0, gy = squared > 0 ? y / squared : 0;
    const int width = m_window.x1 - m_window.x0 + 1;
    const float* mean = m_mean.data();
    for (int row = m_window.y0; row <= m_window.y1; ++row, mean += m_pitch) {
        float* out = origin + 4 * (std::ptrdiff_t(row) * pitch + m_window.x0);
        const float start =
            gx * (static_cast<float>(m_window.x0) + 0.5F - a[0]) + gy * (static_cast<float>(row) + 0.5F - a[1]);
        for (int i = 0; i < width; i += 4) {
            if (!any(ink::load(mean + i))) continue;
            for (int k = i; k < std::min(i + 4, width); ++k) {
                const float along = std::clamp(start + gx * static_cast<float>(k), 0.0F, 1.0F);
                const Quad ink = (share * mean[k]) * (from + along * change);
                ink::store(out + 4 * k, ink::blended<DrawBlend::over>(ink, ink::load(out + 4 * k)));
            }
        }
    }
}

}  // namespace flock
